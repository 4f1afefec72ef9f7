"""Runs an example program, which must raise the alert of the README: the CSV output tells.

    run_example.py COMMAND...
"""
import csv
import pathlib
import subprocess
import sys
import tempfile

CONFIG = """<zvCFG><key name="QRV"><key name="Events"><key name="sink">
<key name="csv"><key name="default"><value name="enabled">1</value></key></key>
<key name="native"><key name="main"><value name="enabled">0</value></key></key>
</key></key></key></zvCFG>"""
ALERT = {"event_type": "temperature", "source_id": "psu-1", "severity": "warning",
         "action": "raise", "message": "Power supply 1 is too hot", "value": "81.5", "units": "C"}

with tempfile.TemporaryDirectory() as folder:
    pathlib.Path(folder, "events.xml").write_text(CONFIG)
    subprocess.run(sys.argv[1:], cwd=folder, check=True, timeout=60)
    with open(pathlib.Path(folder, "zvEvent.csv"), newline="") as rows:
        row = next(csv.DictReader(rows))
assert {name: row[name] for name in ALERT} == ALERT, row
