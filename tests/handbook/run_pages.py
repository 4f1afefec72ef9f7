"""Does what the README and the handbook say, a folder for each page, and follows their links.

    run_pages.py PROJECT [PAGE...]

A comment before a fenced block says what is done with it:
    <!-- same as PATH -->    it must be that file of the project, whole
    <!-- file NAME -->       it is written there
    <!-- run -->             a shell runs it and must succeed
    <!-- run beside -->      the same, but it goes on until the page ends; what the page says next is
                             done when it has printed its first line
    <!-- shows -->           what the last command printed must hold these lines, "..." standing for
    <!-- shows beside -->    anything in a line; what runs beside is waited for

Of every configuration in a page, or part of one, `zvevent check` must find nothing to say.

The pages share a home folder, so what getting-started.md installs in ~/zvevent is there for those
behind it. The project lies in every page's folder as zvEvent, as if cloned, and the ports in the pages
stand for free ones.
"""
import contextlib
import fnmatch
import os
import pathlib
import re
import socket
import subprocess
import sys
import tempfile
import time

DEADLINE_S = 120
PORTS = ["5140", "1162", "8080"]
BLOCK = re.compile(r"^<!-- (same as|file|run|shows)(?: (\S+))? -->\n+```\w*\n(.*?)^```", re.M | re.S)


class Command:
    def __init__(self, text, log, stop):
        self.log = log
        self.process = subprocess.Popen(["bash", "-euo", "pipefail", "-c", text],
                                        stdout=log.open("wb"), stderr=subprocess.STDOUT,
                                        stdin=subprocess.DEVNULL)
        stop.callback(self.process.wait)
        stop.callback(self.process.terminate)

    def await_lines(self, lines):
        wanted = [re.sub(r"\[", "[[]", line.strip()).replace("...", "*") for line in lines]
        deadline = time.monotonic() + DEADLINE_S
        while True:
            over = self.process.poll() is not None or time.monotonic() > deadline
            printed = [line.strip() for line in self.log.read_text().splitlines()]
            missing = [line for line in wanted if not fnmatch.filter(printed, line)]
            if not missing:
                return
            assert not over, f"not printed: {missing}\nbut: {printed}"
            time.sleep(0.02)


def blocks_of(page):
    text = page.read_text()
    for target in re.findall(r"\]\(([^):#]+)(?:#[^)]*)?\)", re.sub(r"```.*?```", "", text, flags=re.S)):
        assert (page.parent / target).exists(), f"{page.name}: no {target}"
    blocks = BLOCK.findall(text)
    assert len(blocks) == text.count("<!-- "), f"{page.name}: a comment that is not known"
    for kind, name, block in blocks:
        yield kind, name, re.sub("|".join(PORTS), lambda port: ports[port[0]], block)


def follow(page, project, stop):
    last = beside = None
    for number, (kind, name, text) in enumerate(blocks_of(page)):
        log = pathlib.Path(f"{page.stem}-{number}.log")
        if kind == "same as":
            assert (project / name).read_text() == text, f"{page.name}: not the text of {name}"
        elif kind == "file":
            pathlib.Path(name).parent.mkdir(exist_ok=True)
            pathlib.Path(name).write_text(text)
        elif kind == "shows":
            (beside if name else last).await_lines(text.splitlines())
        elif name:
            beside = Command("exec " + text, log, stop)
            beside.await_lines(["*"])
        else:
            last = Command(text, log, stop)
            if last.process.wait(DEADLINE_S) != 0:
                sys.exit(f"{page.name}: failed:\n{text}\n{log.read_text()}")


def check_configurations(page):
    for text in re.findall(r"^```xml\n(.*?)^```", page.read_text(), re.M | re.S):
        if "<zvCFG>" not in text:
            inner = text if 'name="core"' in text else f'<key name="sink">{text}</key>'
            text = f'<zvCFG><key name="QRV"><key name="Events">{inner}</key></key></zvCFG>'
        pathlib.Path("shown.xml").write_text(text)
        done = subprocess.run(["zvevent", "check", "shown.xml"], capture_output=True, text=True)
        assert done.returncode == 0, f"{page.name}: {text}\n{done.stdout}{done.stderr}"


def free_port():
    with socket.socket(type=socket.SOCK_DGRAM) as probe:
        probe.bind(("127.0.0.1", 0))
        return str(probe.getsockname()[1])


project = pathlib.Path(sys.argv[1]).resolve()
ports = {port: free_port() for port in PORTS}
with tempfile.TemporaryDirectory() as home:
    os.environ.update(HOME=home, PATH=f"{home}/zvevent/bin:{os.environ['PATH']}")
    named = [project / name for name in sys.argv[2:]]
    for page in named or sorted(path for folder in (".", "docs", "examples")
                                for path in (project / folder).glob("*.md")):
        folder = pathlib.Path(home, page.parent.name + "-" + page.stem)
        folder.mkdir()
        os.chdir(folder)
        pathlib.Path("zvEvent").symlink_to(project)
        with contextlib.ExitStack() as stop:
            follow(page, project, stop)
            check_configurations(page)
