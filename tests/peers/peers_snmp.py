"""The SNMP output against snmptrapd and the MIB module, set up as docs/snmp.md says: names and values
of every trap come back equal. The module itself is checked by smilint."""
import os
import pathlib
import re
import shlex
import shutil
import subprocess
import sys
import tempfile

import peers

HERE = os.path.dirname(os.path.abspath(__file__))
DOCS = os.path.join(HERE, "../../docs")
MODULE = os.path.join(DOCS, "mib/ZVEVENT-MIB.txt")
os.environ["PATH"] += ":/usr/sbin"
if any(shutil.which(tool) is None for tool in ["snmptrapd", "smilint"]):
    sys.exit(77)

NASTY = 'quote " bracket ] backslash \\ umlaut ä °C 温度 tab\t bell\x07 line\nfeed \x7f end'
EVENTS = [
    {"event_id": 42, "event_type": "temperature", "source_id": "psu-1", "source_name": "Power supply",
     "message": "Too hot", "severity": 2, "action": "raise", "utc_ns": 1700000000123456789,
     "dedupe_key": NASTY, "correlation_id": "c-7", "details_json": '{"fan":"ok"}'},
    {"event_id": 2**64 - 1, "utc_ns": 2**64 - 1, "severity": 3,
     **{field: NASTY + "x" * 3000 for field in
        ["event_type", "source_id", "source_name", "action", "message", "dedupe_key",
         "correlation_id", "details_json"]}},
]
SEVERITIES = ["debug", "info", "warning", "error"]
OBJECTS = [  # after the two of the severity: object, field, greatest length
    ("Id", "event_id", 32), ("Type", "event_type", 128), ("SourceId", "source_id", 128),
    ("SourceName", "source_name", 128), ("Action", "action", 64), ("Message", "message", 2048),
    ("DedupeKey", "dedupe_key", 256), ("CorrelationId", "correlation_id", 128),
    ("UtcNs", "utc_ns", 32), ("DetailsJson", "details_json", 2048)]


def expected(event):
    """The lines that snmptrapd writes after the uptime."""
    name = SEVERITIES[event["severity"]]
    lines = [b"OID: ZVEVENT-MIB::zvEventTrap",
             f"ZVEVENT-MIB::zvEventSeverity.0 = INTEGER: {name}({event['severity']})".encode(),
             f"ZVEVENT-MIB::zvEventSeverityName.0 = STRING: {name}".encode()]
    for label, field, limit in OBJECTS:
        value = str(event[field]).encode()[:limit]
        lines.append(f"ZVEVENT-MIB::zvEvent{label}.0 = STRING: ".encode() + value)
    return b"\n  ".join(lines) + b"\n"


def documented(language):
    with open(os.path.join(DOCS, "snmp.md"), encoding="utf-8") as file:
        return re.search(rf"```{language}\n(.*?)```", file.read(), re.S)[1]


with tempfile.TemporaryDirectory() as directory:
    mibs, log, smi = (os.path.join(directory, name) for name in ("mibs", "traps.log", "smi.conf"))
    shutil.copytree(os.path.join(HERE, "mibs"), mibs)
    for name in ["snmp.conf", "snmptrapd.conf"]:
        pathlib.Path(directory, name).write_text(
            documented(name).replace("/usr/local/share/snmp/mibs", mibs))
    pathlib.Path(smi).write_text(f"path {mibs}\n")
    lint = subprocess.run(["smilint", "-c", smi, "-l", "3", "-s", MODULE], capture_output=True)
    assert lint.returncode == 0 and not lint.stdout + lint.stderr, lint
    shutil.copy(MODULE, mibs)
    os.environ["SNMPCONFPATH"] = directory

    port = peers.free_port()
    command = documented("sh").replace("/var/log/zvevent-traps.log", log)
    command = command.replace("udp:162", f"udp:127.0.0.1:{port}")
    command = command.replace("udp6:162", f"udp6:[::1]:{port}")

    def logged(text):
        return pathlib.Path(log).exists() and pathlib.Path(log).read_bytes().count(text)

    with peers.running([*shlex.split(command), "-p", os.path.join(directory, "pid")]):
        peers.wait_for(lambda: logged(b"NET-SNMP version"), "snmptrapd")
        for host in ["127.0.0.1", "::1"]:
            peers.emit(directory, peers.config(snmp__trap={"host": host, "port": port}), EVENTS)
        for event in EVENTS:
            peers.wait_for(lambda: logged(expected(event)) == 2, expected(event), 5)
