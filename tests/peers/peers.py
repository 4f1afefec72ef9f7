"""What the tests with real receivers share: free ports, servers that are always stopped by their own
pid, waiting for a condition, and the command-line tool that sends and receives.

Environment, set by CTest: ZVEVENT_TOOL is the tool's command (under Wine several words),
ZVEVENT_PATH_PREFIX what it puts before absolute paths ("Z:" under Wine).
"""
import contextlib
import json
import os
import pathlib
import re
import shlex
import shutil
import signal
import socket
import subprocess
import sys
import threading
import time
import xml.sax.saxutils

DEADLINE_S = 30
TOOL = shlex.split(os.environ["ZVEVENT_TOOL"])
PREFIX = os.environ.get("ZVEVENT_PATH_PREFIX", "")
DOCS = pathlib.Path(__file__).resolve().parents[2] / "docs"
SEVERITIES = ["debug", "info", "warning", "error"]


def need(*programs):
    """Ends the test as skipped where one is not installed; returns the path of the first."""
    os.environ["PATH"] += ":/usr/sbin"
    paths = [shutil.which(program) for program in programs]
    return paths[0] if all(paths) else sys.exit(77)


def documented(page, language):
    """What the page of the documentation shows in that language."""
    return re.search(rf"```{language}\n(.*?)```", (DOCS / page).read_text(encoding="utf-8"), re.S)[1]


class Listener:
    """The tool's listen on free ports: `ports` by protocol, and `lines` of what came."""

    def __init__(self, protocols, json_lines, options):
        command = [*TOOL, "listen", *(["--json"] if json_lines else []), *options]
        for protocol in protocols:
            command += [f"--{protocol}", "0"]
        self.process = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.PIPE,
                                        text=True, encoding="utf-8")
        self.ports = {protocol: int(re.search(r'port"?[ :](\d+)', self.process.stdout.readline())[1])
                      for protocol in protocols}
        self.lines = []
        self.reader = threading.Thread(target=lambda: self.lines.extend(self.process.stdout), daemon=True)
        self.reader.start()

    def messages(self):
        return [json.loads(line) for line in list(self.lines)]

    def wait(self, count):
        """The messages, once there are as many."""
        wait_for(lambda: len(self.lines) >= count, f"{count} messages")
        return self.messages()


@contextlib.contextmanager
def listening(*protocols, json_lines=True, options=()):
    listener = Listener(protocols, json_lines, options)
    try:
        yield listener
    except BaseException:
        listener.process.kill()
        raise
    listener.process.send_signal(signal.SIGINT)
    assert listener.process.wait(DEADLINE_S) == 0
    listener.reader.join()


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


def lines(events):
    """Events (dicts of fields) as the tool's send reads them."""
    return "".join(json.dumps(event) + "\n" for event in events).encode()


def write_config(directory, text, name="events.xml"):
    """Writes it; returns its path as the sending side names it."""
    path = pathlib.Path(directory, name)
    path.write_text(text, encoding="utf-8")
    return PREFIX + str(path)


def emit(directory, config_text, events):
    """Submits `events`, waits for the end and returns what came on the standard error."""
    command = [*TOOL, "send", "--config", write_config(directory, config_text)]
    done = subprocess.run(command, input=lines(events), capture_output=True, timeout=120)
    assert done.returncode == 0, done.stderr
    return done.stderr.decode(errors="replace")
