"""A process on the library that keeps a status file, and steps for it (see host.cpp). Its command is the
program's arguments, or ZVEVENT_STATUS_HOST.

ZVEVENT_PATH_PREFIX is what the process puts before absolute paths ("Z:" under Wine).
"""
import json
import os
import queue
import shlex
import shutil
import subprocess
import sys
import tempfile
import threading
import time

SOON_S = 20  # two seconds is what an idle machine takes; a loaded one is given more
PREFIX = os.environ.get("ZVEVENT_PATH_PREFIX", "")
COMMAND = shlex.split(os.environ.get("ZVEVENT_STATUS_HOST", "")) or sys.argv[1:]
PARTS = ("processed", "queued", "in_hand")


class Host:
    """The process, its configuration and its status file."""

    def __init__(self, core="", sinks="", status="status-{pid}.json", folder=None, **how):
        self.folder = folder or tempfile.mkdtemp()
        self.path = os.path.join(self.folder, "events.xml")
        self.settings = (f'<value name="status_file">{PREFIX}{self.folder}/{status}</value>'
                         '<value name="report_severity">warning</value>')
        self.write(self.settings + core, sinks)
        self.lines, self.reports, self.events = queue.Queue(), [], []
        self.process = subprocess.Popen(COMMAND, stdin=subprocess.PIPE,
                                        stdout=subprocess.PIPE, text=True, **how)
        self.listener = threading.Thread(target=self.listen, daemon=True)
        self.listener.start()
        assert self.do(f"init {PREFIX}{self.path}") == 0

    def __enter__(self):
        return self

    def __exit__(self, kind, *_):
        self.process.stdin.close()
        assert self.process.wait(60) in (0, -9) or kind
        shutil.rmtree(self.folder)

    def write(self, core, sinks=""):
        native = '<key name="native"><key name="main"><value name="enabled">0</value></key></key>'
        with open(self.path + ".new", "w") as file:
            file.write(f'<zvCFG><key name="QRV"><key name="Events"><key name="core">{core}</key>'
                       f'<key name="sink">{native}{sinks}</key></key></key></zvCFG>')
        os.replace(self.path + ".new", self.path)

    def listen(self):
        for line in self.process.stdout:
            kind, *rest = line.rstrip("\r\n").split("\t")
            {"report": self.reports.append, "event": self.events.append,
             "done": self.lines.put}[kind](rest)

    def do(self, step):
        self.process.stdin.write(step + "\n")
        self.process.stdin.flush()
        return int(self.lines.get(timeout=60)[0])

    def status(self):
        for name in os.listdir(self.folder):
            if name.startswith("status-") and name.endswith(".json"):
                with open(os.path.join(self.folder, name)) as file:
                    status = json.load(file)
                events = status["events"]
                parts = sum(events[part] for part in PARTS) + sum(events["dropped"].values())
                assert events["received"] == parts, events
                return status
        return None

    def soon(self, condition):
        end = time.monotonic() + SOON_S
        while time.monotonic() < end:
            status = self.status()
            found = status and condition(status)
            if found:
                return found
            time.sleep(0.02)
        raise AssertionError((self.status(), self.reports))

    def reported(self, action, kind, source):
        return self.soon(lambda _: [r for r in self.reports if r[:3] == [action, kind, source]])[0]
