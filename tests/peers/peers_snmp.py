"""The SNMP output against snmptrapd and the MIB module, set up as docs/snmp.md says: names and values
of every trap come back equal. The module itself is checked by smilint."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import tempfile

import peers

MODULE = peers.DOCS / "mib/ZVEVENT-MIB.txt"
peers.need("snmptrapd", "snmptranslate", "smilint")
NASTY = 'quote " bracket ] backslash \\ umlaut ä °C 温度 tab\t bell\x07 line\nfeed \x7f end'
OBJECTS = [  # after the two of the severity: object, field, greatest length
    ("Id", "event_id", 32), ("Type", "event_type", 128), ("SourceId", "source_id", 128),
    ("SourceName", "source_name", 128), ("Action", "action", 64), ("Message", "message", 2048),
    ("DedupeKey", "dedupe_key", 256), ("CorrelationId", "correlation_id", 128),
    ("UtcNs", "utc_ns", 32), ("DetailsJson", "details_json", 2048)]
TEXTS = [field for _, field, _ in OBJECTS if field not in ("event_id", "utc_ns")]
EVENTS = [
    {"event_id": 42, "utc_ns": 1700000000123456789, "severity": 2,
     **{field: field + NASTY for field in TEXTS}},
    {"event_id": 2**64 - 1, "utc_ns": 2**64 - 1, "severity": 3,
     **{field: NASTY + "x" * 3000 for field in TEXTS}}]


def expected(event):
    """What snmptrapd writes after the time."""
    name = peers.SEVERITIES[event["severity"]]
    values = [f"Severity.0 = INTEGER: {name}({event['severity']})",
              f"SeverityName.0 = STRING: {name}"]
    objects = [f"ZVEVENT-MIB::zvEvent{value}".encode() for value in values]
    objects += [f"ZVEVENT-MIB::zvEvent{label}.0 = STRING: ".encode()
                + str(event[field]).encode()[:limit] for label, field, limit in OBJECTS]
    return (rb"UDP[^\n]*\n  \S+ = Timeticks: [^\n]*\n  \S+ = OID: ZVEVENT-MIB::zvEventTrap\n  "
            + re.escape(b"\n  ".join(objects)) + b"\n")


def documented(language, mibs):
    return peers.documented("snmp.md", language).replace("/usr/local/share/snmp/mibs", mibs)


with tempfile.TemporaryDirectory() as directory:
    mibs, log, smi = (f"{directory}/{name}" for name in ("mibs", "traps.log", "smi.conf"))
    shutil.copytree(peers.DOCS / "mib/stand-ins", mibs)
    shutil.copy(MODULE, mibs)
    for name in ["snmp.conf", "snmptrapd.conf"]:
        pathlib.Path(directory, name).write_text(documented(name, mibs))
    pathlib.Path(smi).write_text(f"path {mibs}\n")
    os.environ["SNMPCONFPATH"] = directory
    for command, said in [(["smilint", "-c", smi, "-l", "3", "-s", MODULE], ""),
                          (["snmptranslate", "-On", "ZVEVENT-MIB::zvEventTrap"],
                           ".1.3.6.1.4.1.32473.1.1.0.1\n")]:
        done = subprocess.run(command, capture_output=True, text=True)
        assert (done.returncode, done.stdout, done.stderr) == (0, said, ""), done

    port = peers.free_port()
    command = documented("sh", mibs).replace("/var/log/zvevent-traps.log", log).replace(
        "udp:162", f"udp:127.0.0.1:{port}").replace("udp6:162", f"udp6:[::1]:{port}")

    def logged(pattern):
        return pathlib.Path(log).exists() and len(re.findall(pattern, pathlib.Path(log).read_bytes()))

    with peers.running([*shlex.split(command), "-p", f"{directory}/pid"]):
        peers.wait_for(lambda: logged(b"NET-SNMP version"), "snmptrapd")
        for host in ["127.0.0.1", "::1"]:
            peers.emit(directory, peers.config(snmp__trap={"host": host, "port": port}), EVENTS)
        for event in EVENTS:
            peers.wait_for(lambda: logged(expected(event)) == 2, expected(event), 5)
