"""Does what pages of the documentation say, in one folder of their own and in their order.

    run_pages.py PROJECT PAGE...

A comment before a fenced block says what is done with it:
    <!-- same as PATH -->    it must be that file of the project, whole
    <!-- file NAME -->       it is written there
    <!-- run -->             a shell runs it and must succeed; what is behind "$ " where it is a session
    <!-- run beside -->      the same, but it goes on beside the rest until the page ends; what the
                             page says next is done when it has printed its first line
    <!-- shows -->           what the last command printed must hold these lines, "..." standing for
                             anything in a line; of one that runs beside it is waited for

The home folder is that folder too, and the project lies in it as zvEvent, as if just cloned.
"""
import contextlib
import fnmatch
import os
import pathlib
import re
import subprocess
import sys
import tempfile
import time

DEADLINE_S = 120
BLOCK = re.compile(r"^<!-- (same as|file|run beside|run|shows)(?: (\S+))? -->\n+```\w*\n(.*?)^```",
                   re.M | re.S)


class Command:
    def __init__(self, text, log):
        text = "\n".join(re.findall(r"^\$ (.*)", text, re.M)) or text
        self.log = log
        self.process = subprocess.Popen(["bash", "-euo", "pipefail", "-c", text],
                                        stdout=log.open("wb"), stderr=subprocess.STDOUT,
                                        stdin=subprocess.DEVNULL)

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


def follow(page, project, beside):
    command = None
    blocks = BLOCK.findall(page.read_text())
    assert len(blocks) == page.read_text().count("<!-- ") > 0, f"{page.name}: a comment is not known"
    for number, (kind, name, text) in enumerate(blocks):
        if kind == "same as":
            assert (project / name).read_text() == text, f"{page.name}: not the text of {name}"
        elif kind == "file":
            pathlib.Path(name).write_text(text)
        elif kind == "shows":
            command.await_lines(text.splitlines())
        else:
            command = Command(text, pathlib.Path(f"{page.stem}-{number}.log"))
            if kind == "run beside":
                beside.callback(command.process.wait)
                beside.callback(command.process.terminate)
                command.await_lines(["*"])
            elif command.process.wait(DEADLINE_S) != 0:
                sys.exit(f"{page.name}: failed:\n{text}\n{command.log.read_text()}")


project = pathlib.Path(sys.argv[1]).resolve()
with tempfile.TemporaryDirectory() as folder:
    os.chdir(folder)
    os.environ["HOME"] = folder
    pathlib.Path("zvEvent").symlink_to(project)
    for page in sys.argv[2:]:
        with contextlib.ExitStack() as beside:
            follow(project / page, project, beside)
