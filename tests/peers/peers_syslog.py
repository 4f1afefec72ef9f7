"""The syslog output against rsyslogd, set up as docs/syslog.md says: every field of every event comes
back equal, and goes onward over TCP byte for byte."""
import contextlib
import json
import os
import pathlib
import re
import socket
import tempfile

import peers

RSYSLOGD = peers.need("rsyslogd")
NASTY = 'quote " bracket ] [ backslash \\ \\" umlaut ä °C 温度 tab\t bell\x07 line\nfeed \x7f end'
TEXTS = ["action", "event_type", "source_id", "source_name", "dedupe_key", "correlation_id",
         "timecode", "units", "details_json"]
EVENTS = [
    {"event_type": "t", "source_id": "s", "source_name": "s", "action": "raise", "message": "Too hot",
     "details_json": '{"fan":["ok"]}', "severity": 2, "utc_ns": 1, "event_id": 4, "ptp_ns": 5},
    {**{name: f"{name} {NASTY}" for name in TEXTS}, "message": NASTY, "severity": 3,
     "event_id": 2**64 - 1, "utc_ns": 4102444799999999999, "ptp_ns": 2**64 - 1, "pts": -2**63,
     "value": -1234567.0, "threshold": 0.00001234567, "duration_ms": 2**64 - 1},
    {"event_type": "large", "source_id": "s", "source_name": "s", "action": "update",
     "message": "m" * 7000, "details_json": "{}", "severity": 0, "utc_ns": 1, "event_id": 3, "ptp_ns": 5},
]


def expected(event):
    fields = {name: event.get(name, "") for name in TEXTS}
    fields |= {name: str(event.get(name, 0)) for name in
               ["event_id", "utc_ns", "ptp_ns", "pts", "duration_ms"]}
    fields |= {name: f"{event.get(name, 0):g}" for name in ["value", "threshold"]}
    return fields | {"version": "65536", "severity": peers.SEVERITIES[event["severity"]]}


def listening(port):
    """Whether a UDP port of 127.0.0.1 and of ::1 is taken."""
    return all(f":{port:04X} 0" in pathlib.Path("/proc/net", table).read_text()
               for table in ("udp", "udp6"))


@contextlib.contextmanager
def collector(tcp_port, **changes):
    """rsyslogd set up as documented but for places and the settings named: a function that sends
    events to it, and its file."""
    text = peers.documented("syslog.md", "rsyslog")
    port = peers.free_port()
    with tempfile.TemporaryDirectory() as directory:
        log = pathlib.Path(directory, "zvevent.json")
        for old, new in [("/var/log/zvevent.json", str(log)), ("collector.example", "127.0.0.1"),
                         ("6514", str(tcp_port)), ('port="5140"', f'address="127.0.0.1" port="{port}"'),
                         *changes.items()]:
            text = text.replace(old, new)
        text += f'input(type="imudp" address="::1" port="{port}" ruleset="zvevent")\n'
        path = pathlib.Path(directory, "rsyslog.conf")
        path.write_text(text)

        def send(host, events):
            peers.emit(directory, peers.config(syslog__udp={
                "host": host, "port": port, "facility": "local4"}), events)

        with peers.running([RSYSLOGD, "-n", "-f", path, "-i", os.path.join(directory, "pid")]):
            peers.wait_for(lambda: listening(port), "rsyslogd")
            yield send, log


def lines(log, count):
    """The file's lines, once there are as many."""
    peers.wait_for(lambda: log.exists() and log.read_text().count("\n") == count, "the events")
    return log.read_text().splitlines()


with socket.create_server(("127.0.0.1", 0)) as tcp:
    tcp.settimeout(peers.DEADLINE_S)
    with collector(tcp.getsockname()[1]) as (send, log):
        for host in ["127.0.0.1", "::1"]:
            send(host, EVENTS)
        stream = tcp.accept()[0].makefile("rb")
        for event, line in zip(EVENTS * 2, lines(log, 2 * len(EVENTS)), strict=True):
            document = json.loads(line)
            assert document["rfc5424-sd"]["zavorin@32473"] == expected(event), (document, event)
            assert document["msg"] == event["message"], document
            # What is forwarded stands behind its length in bytes.
            raw = stream.read(int(b"".join(iter(lambda: stream.read(1), b" ")))).decode()
            priority, host = [167, 166, 164, 163][event["severity"]], re.escape(socket.gethostname())
            header = rf"<{priority}>1 \S+ {host} zvEvent \d+ "
            assert re.match(header, raw) and raw.endswith('"] ' + event["message"]), raw

# The other collector is away for longer than messages fit in memory: the file goes on.
with collector(peers.free_port(socket.SOCK_STREAM), **{'queue.size="100000"': 'queue.size="10"'}) as (
        send, log):
    send("127.0.0.1", EVENTS[:1] * 100)
    lines(log, 100)
