"""Runs one scenario of the exit program and looks at what came of it: that the process ended in
time and by itself, and which rows are in the CSV file.

    run_exit.py SCENARIO PLATFORM LIBRARY APPLICATION_LIBRARY COMMAND...
"""
import csv
import pathlib
import socket
import sqlite3
import subprocess
import sys
import tempfile
import time

sys.path.insert(1, str(pathlib.Path(__file__).parents[1] / "http"))
import http_tools

EVENTS = 100
LIMIT_S = 60  # waits at exit have limits of seconds each, and some scenarios have several
GOOD = 7

# How many rows must be there, where that is not all; None: any number. On Windows the other threads are gone when the
# library hears of the exit, so rows are certain only where the events were delivered before.
ROWS = {"full_queue": (8, 9), "busy_return": (1,), "exit_in_callback": (1,), "thread_ends": (1,),
        "hanging_shutdown": (1, 2), "fork": (EVENTS + 1,), "fork_early": (EVENTS + 1,),
        "late_shutdown": (EVENTS + 1,), **dict.fromkeys((
            "in_signal_handler", "amid_restarts", "library_end", "at_once", "quick_exit", "abort",
            "terminate", "signal", "exec", "fork_ends", "busy_unload"))}
CODES = {"abort": (-6, 3), "terminate": (-6, 3), "signal": (-15, 3), "main_thread_ends": (0,)}
CERTAIN_ON_WINDOWS = ("unload", "unload_states", "cycles_shutdown", "thread_outlives",
                      "late_shutdown", "library_unload")

CONFIG = """<zvCFG><key name="QRV"><key name="Events">
<key name="core"><value name="queue_size">{queue}</value>
<value name="drop_policy">{policy}</value>
<value name="status_file">status.json</value><value name="watch_config">on</value></key>
<key name="state"><value name="enabled">0</value></key>
<key name="sink">
<key name="native"><key name="main"><value name="enabled">0</value></key></key>
<key name="csv"><key name="default">
<value name="enabled">1</value><value name="path">events.csv</value>
<value name="flush_each_event">{flush}</value>
</key>{more}</key><key name="webhook"><key name="http"><key name="default">
<value name="enabled">{webhook}</value>
<value name="endpoint_url">{url}</value><value name="tls_verify">0</value>
<value name="connect_timeout_ms">60000</value>
<value name="request_timeout_ms">{timeout}</value>
<value name="retry_count">9</value><value name="backoff_ms">60000</value>
<value name="outbox">{outbox}</value>
</key></key></key></key></key></key></zvCFG>"""

MORE_FILES = "".join(f'''<key name="{number}"><value name="enabled">1</value>
<value name="path">{number}.csv</value></key>''' for number in range(400))

scenario, platform, library, application_library, *command = sys.argv[1:]
# Beside the CSV file, an outbox whose receiver hangs, or a receiver that hangs after the TLS handshake.
has_outbox, has_tls = scenario.startswith("outbox_"), scenario.startswith("https_")
scenario = scenario.removeprefix("outbox_").removeprefix("https_")
expected = ROWS.get(scenario, (EVENTS,))
if expected and platform == "windows" and scenario not in CERTAIN_ON_WINDOWS:
    expected = range(EVENTS + 1)
# A receiver that takes connections and never answers.
with tempfile.TemporaryDirectory(prefix="zvevent-exit-") as directory, \
        socket.create_server(("127.0.0.1", 0)) as receiver:
    url = f"http://127.0.0.1:{receiver.getsockname()[1]}/"
    busy = pathlib.Path(directory, "busy")
    if has_tls:
        http_tools.make_certificates(directory)
        url = http_tools.Server(lambda _, requests: [busy.touch() for _ in requests],
                                directory + "/lonely.pem").url(scheme="https")
    else:
        busy.touch()
    # "unload" ends while the sink is still open; on Windows nothing flushes it then.
    pathlib.Path(directory, "events.xml").write_text(CONFIG.format(
        policy="drop_debug_info_first" if scenario == "in_signal_handler" else "drop_newest",
        more=MORE_FILES if scenario == "fork_early" else "", queue=8 if scenario == "full_queue" else 1024, url=url,
        webhook=int(has_outbox or has_tls or scenario.startswith("hanging")),
        outbox="{pid}.outbox" if has_outbox else "",
        timeout=200 if scenario == "hanging_shutdown" else 60000,
        flush=int(scenario == "unload" and platform == "windows")))
    start = time.monotonic()
    # Into a file: services that Wine starts keep a pipe open beyond the program's end.
    with open(pathlib.Path(directory, "output"), "w+b") as output:
        done = subprocess.run(command + [scenario, library, "events.xml", application_library],
                              cwd=directory, stdout=output, stderr=output, timeout=LIMIT_S + 5, check=False)
        output.seek(0)
        print(output.read().decode(errors="replace"))
    seconds = time.monotonic() - start
    with open(pathlib.Path(directory, "events.csv"), newline="", encoding="utf-8") as file:
        messages = [row["message"] for row in csv.DictReader(file)]
    kept = 0
    for path in pathlib.Path(directory).glob("*.outbox"):
        with sqlite3.connect(path) as outbox:
            kept += outbox.execute("SELECT count(*) FROM pending").fetchone()[0]
print(f"{scenario}: code {done.returncode}, {seconds:.1f} s, {len(messages)} rows")
assert done.returncode in CODES.get(scenario, (GOOD,)) and seconds < LIMIT_S
assert not has_outbox or kept >= len(messages), kept
if expected:
    assert len(messages) in expected
    assert len(set(messages)) == len(messages), "an event came out twice"
