"""What the tests with real receivers share: free ports, servers that are always stopped by their own
pid, waiting for a condition, and the program that submits events to the library.

Environment, set by CTest: ZVEVENT_EMIT is the command of the emitting program (under Wine several
words), ZVEVENT_PATH_PREFIX what the emitting side puts before absolute paths ("Z:" under Wine).
"""
import contextlib
import http.server
import os
import pathlib
import re
import shlex
import shutil
import signal
import socket
import struct
import subprocess
import sys
import threading
import time
import xml.sax.saxutils

DEADLINE_S = 30
DOCS = pathlib.Path(__file__).parents[2] / "docs"
SEVERITIES = ["debug", "info", "warning", "error"]


def need(*programs):
    """Ends the test as skipped where one is not installed; returns the path of the first."""
    os.environ["PATH"] += ":/usr/sbin"
    paths = [shutil.which(program) for program in programs]
    return paths[0] if all(paths) else sys.exit(77)


def documented(page, language):
    """What the page of the documentation shows in that language."""
    return re.search(rf"```{language}\n(.*?)```", (DOCS / page).read_text(), re.S)[1]


def receive_posts():
    """The address of a server that takes every POST, and the list it keeps: path, headers, body."""
    seen = []

    class Receiver(http.server.BaseHTTPRequestHandler):
        def do_POST(self):
            body = self.rfile.read(int(self.headers["Content-Length"])).decode()
            seen.append((self.path, {k.lower(): v for k, v in self.headers.items()}, body))
            self.send_response(204)
            self.end_headers()

    server = http.server.ThreadingHTTPServer(("127.0.0.1", 0), Receiver)
    threading.Thread(target=server.serve_forever, daemon=True).start()
    return f"127.0.0.1:{server.server_port}", seen


def free_port(kind=socket.SOCK_DGRAM, host="127.0.0.1"):
    family = socket.AF_INET6 if ":" in host else socket.AF_INET
    with socket.socket(family, kind) as probe:
        probe.bind((host, 0))
        return probe.getsockname()[1]


def wait_for(condition, what, seconds=DEADLINE_S):
    """Returns condition()'s first true value; fails after `seconds`."""
    end = time.monotonic() + seconds
    while True:
        value = condition()
        if value:
            return value
        if time.monotonic() > end:
            raise AssertionError(f"timed out waiting for {what}")
        time.sleep(0.05)


@contextlib.contextmanager
def running(command, **options):
    """A server, ended by its own pid whatever happens."""
    server = subprocess.Popen(command, stdin=subprocess.DEVNULL, **options)
    try:
        yield server
    finally:
        server.send_signal(signal.SIGTERM)
        try:
            server.wait(10)
        except subprocess.TimeoutExpired:
            server.kill()
            server.wait()


def config(**sinks):
    """A configuration text; keys are sink paths with "__" for the backslash, such as
    syslog__udp={"host": ...}. The sinks given are enabled, the native one is not unless given."""
    sinks.setdefault("native", {"enabled": "0"})

    def key(name, body):
        return f'<key name="{name}">{body}</key>'

    text = ""
    for path, values in sinks.items():
        body = key("main", "".join(
            f'<value name="{name}">{xml.sax.saxutils.escape(str(value))}</value>'
            for name, value in {"enabled": "1", "minimum_severity": "0", **values}.items()))
        for part in reversed(path.split("__")):
            body = key(part, body)
        text += body
    core = key("core", '<value name="minimum_severity">0</value>')
    state = key("state", '<value name="enabled">0</value>')
    return f'<zvCFG>{key("QRV", key("Events", core + state + key("sink", text)))}</zvCFG>'


FIELDS = """struct_size version event_id event_type source_id source_name message severity reserved
    action dedupe_key correlation_id utc_ns ptp_ns pts timecode value threshold units duration_ms
    details_json""".split()
LAYOUT = "IIQPPPPIIPPPQQqPddPQP"  # of a record; P is a text


def lines(events):
    """Events (dicts of fields; str, bytes or numbers) as emit.cpp reads them."""
    def line(event):
        texts, values = b"", []
        for name, kind in zip(FIELDS, LAYOUT):
            value = event.get(name, 0)
            if kind == "P" and name in event:
                text = value if isinstance(value, bytes) else str(value).encode()
                value, texts = struct.calcsize(LAYOUT) + len(texts), texts + text + b"\0"
            values.append(float(value) if kind == "d" else int(value))
        return (struct.pack(LAYOUT, *values) + texts).hex().encode() + b"\n"

    return b"".join(line({"struct_size": struct.calcsize(LAYOUT), "version": 0x10000,
                          "severity": 1, **event}) for event in events)


def run_emit(arguments, events):
    command = shlex.split(os.environ["ZVEVENT_EMIT"]) + arguments
    done = subprocess.run(command, input=lines(events), capture_output=True, timeout=120)
    assert done.returncode == 0, done.stderr
    return done


def emit(directory, config_text, events):
    """Submits `events`, waits for the end and returns what came on the standard error."""
    path = os.path.join(directory, "events.xml")
    with open(path, "w", encoding="utf-8") as file:
        file.write(config_text)
    path = os.environ.get("ZVEVENT_PATH_PREFIX", "") + path
    return run_emit([path], events).stderr.decode(errors="replace")
