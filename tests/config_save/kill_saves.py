"""A process killed at any moment of a save leaves the old configuration file or the new one.

    kill_saves.py ROUNDS COMMAND...
"""
import pathlib
import random
import subprocess
import sys
import tempfile
import time

rounds, command = int(sys.argv[1]), sys.argv[2:]
whole = {f'<zvCFG>\n  <value name="v">{letter * count}</value>\n</zvCFG>\n'
         for letter, count in (("a", 200_000), ("b", 300_000))}
moments = random.Random(1)
with tempfile.TemporaryDirectory() as folder:
    file = pathlib.Path(folder, "c.xml")
    file.write_text("")
    for number in range(rounds):
        with subprocess.Popen([*command, str(file)], stdout=subprocess.PIPE) as saver:
            assert saver.stdout.readline().strip() == b"begun", f"no save in round {number}"
            time.sleep(moments.uniform(0, 0.01))
            ended = saver.poll()
            saver.kill()
        assert ended is None, f"a save failed in round {number}"
        assert file.read_bytes().decode() in whole, f"a torn file in round {number}"
    # What the killed processes left kept none from the next save.
    left = sum(1 for _ in pathlib.Path(folder).iterdir()) - 1
    assert left > 0, "no kill fell into a save"
    print(f"{rounds} kills, {left} of them within a save")
