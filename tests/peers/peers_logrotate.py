"""logrotate on the CSV file of a running program, with the configurations that docs/csv.md shows."""
import csv
import os
import re
import subprocess
import tempfile

import peers

LOGROTATE = peers.need("logrotate")
PAGE = os.path.join(os.path.dirname(__file__), "../../docs/csv.md")


def numbers(path):
    """The events in a file that begins with a header."""
    if not os.path.exists(path) or os.path.getsize(path) == 0:
        return []
    with open(path, encoding="utf-8", newline="") as file:
        return [row["event_id"] for row in csv.DictReader(file, strict=True)]


def rotate(directory, configuration):
    log, conf = (os.path.join(directory, n) for n in ("events.csv", "conf"))
    with open(conf, "w", encoding="utf-8") as file:
        file.write(configuration.replace("/var/log/my-app/events.csv", log))
    config = peers.write_config(directory, peers.config(csv={"path": peers.PREFIX + log}))
    with subprocess.Popen([*peers.TOOL, "send", "--config", config], stdin=subprocess.PIPE) as emitter:
        for first in 10, 20:
            events = [str(first), str(first + 1)]
            emitter.stdin.write(peers.lines({"event_id": e, "source_id": "s", "message": "m"}
                                            for e in events))
            emitter.stdin.flush()
            peers.wait_for(lambda: numbers(log) == events, f"{events} in the file")
            subprocess.run([LOGROTATE, "-f", "-s", conf + ".state", conf], check=True)
            assert numbers(log + ".1") == events
        emitter.stdin.close()
        assert emitter.wait(peers.DEADLINE_S) == 0


with open(PAGE, encoding="utf-8") as page:
    found = re.findall(r"```\n(/var/log.*?)```", page.read(), re.DOTALL)
assert len(found) == 2
for example in found:
    with tempfile.TemporaryDirectory() as folder:
        rotate(folder, example)
