"""Runs one scenario of the exit program and looks at what came of it: that the process ended in
time and by itself, and which rows are in the CSV file.

    run_exit.py SCENARIO PLATFORM LIBRARY COMMAND...
"""
import csv
import os
import subprocess
import sys
import tempfile
import time

EVENTS = 100
LIMIT_S = 10
GOOD = 7
QUEUE = {"full_queue": 8}

# The number of rows that must be there: a range. On Windows the other threads are gone when the
# library hears of the exit, so rows are certain only where the events were delivered before.
ANY = range(0, EVENTS + 1)
ALL = range(EVENTS, EVENTS + 1)
ROWS = {
    "return": {"posix": ALL, "windows": ANY},
    "full_queue": {"posix": range(8, 10), "windows": ANY},
    "other_thread": {"posix": ALL, "windows": ANY},
    "unload": {"posix": ALL, "windows": ALL},
    "blocked_callback": {"posix": range(1, 2), "windows": ANY},
    "exit_in_callback": {"posix": range(1, 2), "windows": ANY},
    "thread_ends": {"posix": range(1, 2)},
    "thread_ends_shutdown": {"posix": range(EVENTS + 1, EVENTS + 2)},
    "cycles_shutdown": {"posix": ALL, "windows": ALL},
    "cycles": {"posix": ALL, "windows": ANY},
    "cycles_on_thread": {"posix": ALL, "windows": ALL},
    "shutdown_unload": {"posix": ALL, "windows": ALL},
    "thread_outlives": {"posix": ALL, "windows": ALL},
    "fork": {"posix": ALL},
}

CONFIG = """<zvCFG><key name="QRV"><key name="Events">
<key name="core"><value name="queue_size">{queue}</value></key>
<key name="state"><value name="enabled">0</value></key>
<key name="sink">
<key name="native"><key name="main"><value name="enabled">0</value></key></key>
<key name="csv"><key name="default">
<value name="enabled">1</value><value name="path">events.csv</value>
<value name="flush_each_event">{flush}</value>
</key></key></key></key></key></zvCFG>"""


def main():
    scenario, platform, library, *command = sys.argv[1:]
    with tempfile.TemporaryDirectory(prefix="zvevent-exit-") as directory:
        with open(os.path.join(directory, "events.xml"), "w", encoding="utf-8") as file:
            # "unload" ends while the sink is still open; on Windows nothing flushes it then.
            file.write(CONFIG.format(queue=QUEUE.get(scenario, 1024),
                                     flush=int(scenario == "unload" and platform == "windows")))
        start = time.monotonic()
        done = subprocess.run(command + [scenario, library, "events.xml"], cwd=directory,
                              capture_output=True, timeout=LIMIT_S + 5, check=False)
        seconds = time.monotonic() - start
        with open(os.path.join(directory, "events.csv"), newline="", encoding="utf-8") as file:
            rows = list(csv.DictReader(file))
    errors = done.stderr.decode(errors="replace")
    print(f"{scenario}: code {done.returncode}, {seconds:.1f} s, {len(rows)} rows\n{errors}")
    assert done.returncode == GOOD, done.returncode
    assert seconds < LIMIT_S, seconds
    assert len(rows) in ROWS[scenario][platform], len(rows)
    assert len({row["message"] for row in rows}) == len(rows), "an event came out twice"


main()
