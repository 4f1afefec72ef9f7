"""A process killed at any moment of a save leaves the old configuration file or the new one. One
whose files may not grow lives on, loads, and leaves nothing beside the file.

    kill_saves.py ROUNDS COMMAND...
"""
import os
import pathlib
import random
import re
import resource
import subprocess
import sys
import tempfile
import time

rounds, command = int(sys.argv[1]), sys.argv[2:]
whole = re.compile(rb'(?s)<zvCFG>.*<value name="v">(a{200000}|b{300000})</value>\n</zvCFG>\n')
moments = random.Random(1)
with tempfile.TemporaryDirectory() as folder:
    file = pathlib.Path(folder, "c.xml")
    file.write_text("")
    if len(command) == 1:  # no emulator, which has limits of its own
        limited = subprocess.run([*command, str(file)], check=False, preexec_fn=lambda:
                                 resource.setrlimit(resource.RLIMIT_FSIZE, (100, 100)))
        assert limited.returncode == 3, f"not loaded, or ended by a signal: {limited.returncode}"
        assert [*pathlib.Path(folder).iterdir()] == [file] and file.read_bytes() == b""
    left = 0
    for number in range(rounds):
        with subprocess.Popen([*command, str(file)], stdout=subprocess.PIPE) as saver:
            assert saver.stdout.readline().strip() == b"begun", f"no save in round {number}"
            time.sleep(moments.uniform(0, 0.01))
            while number % 2 and len(os.listdir(folder)) == 1 + left and saver.poll() is None:
                pass  # every other time until a save is seen
            ended = saver.poll()
            saver.kill()
        assert ended is None, f"a save failed in round {number}"
        assert whole.fullmatch(file.read_bytes()), f"a torn file in round {number}"
        left = len(os.listdir(folder)) - 1  # they kept none from the next save
    assert left > 0, "no kill fell into a save"
    print(f"{rounds} kills, {left} of them within a save")
