"""What is measured in processes of their own: size, loading, starting, memory, idleness."""
import json
import os
import re
import shutil
import statistics
import subprocess
import sys

BACKLOG_EVENTS = 1_000_000
BACKLOG_TEXT_BYTES = 5_000
BACKLOG_EVENT_BYTES = 5_700  # with what the queue needs beside the texts

PRELUDE = """
import ctypes, json, os, sys, time
library = ctypes.CDLL(sys.argv[1])
def start(text):
    open('report.xml', 'w').write(text)
    began = time.perf_counter()
    assert library.zvEventInitialize(b'report.xml') == 0
    return time.perf_counter() - began
def config(queue):
    return ('<zvCFG><key name="QRV"><key name="Events"><key name="core"><value name="queue_size">%d</value></key>'
            '<key name="sink"><key name="native"><key name="main"><value name="enabled">0</value></key></key></key>'
            '</key></key></zvCFG>' % queue)
def others(file):
    # Of each thread but Python's own.
    import glob
    return [open(path).read() for path in glob.glob('/proc/self/task/*/' + file)
            if path.split('/')[4] != str(os.getpid())]
def switches():
    return sum(int(line.split()[1]) for text in others('status')
               for line in text.splitlines() if line.startswith('voluntary'))
def cpu_ns():
    return sum(int(text.split()[0]) for text in others('schedstat'))
"""
REST_KIB = """
start(config(int(sys.argv[2])))
print(next(line.split()[1] for line in open('/proc/self/status') if line.startswith('VmRSS')))
"""
IDLE = """
start(config(1024))
time.sleep(0.2)
before = switches()
time.sleep(2)
idle = switches() - before
cpu = cpu_ns()
for _ in range(200):
    library.zvEventSubmitSimple(0, 2, b's', b'm')
    time.sleep(0.01)
print(json.dumps([idle, (cpu_ns() - cpu) / 1e9]))
"""
# The second is the least that a start with a fresh file does: write and sync those bytes, and rename.
FIRST_START = """
started = start('')
text = open('report.xml', 'rb').read()
began = time.perf_counter()
with open('report.tmp', 'wb') as file:
    file.write(text)
    file.flush()
    os.fsync(file.fileno())
os.rename('report.tmp', 'report.xml')
print(json.dumps([started * 1e3, (time.perf_counter() - began) * 1e3]))
"""
LOADING = """
import ctypes, sys, time
for needed in sys.argv[2:]: ctypes.CDLL(needed)
began = time.perf_counter()
ctypes.CDLL(sys.argv[1])
print((time.perf_counter() - began) * 1e6)
"""


class Processes:
    def __init__(self, bin_folder, library, output, quick):
        self.library = library
        self.output = output
        self.bytes = library.stat().st_size
        self.load_us = self.median_load_us([])
        self.load_alone_us = self.median_load_us(self.needed())
        self.rest_small_kib = self.fresh(REST_KIB, "1024")
        self.rest_large_kib = self.fresh(REST_KIB, "1000000")
        self.idle_wakeups, busy_s = self.fresh(IDLE)
        self.busy_percent = busy_s / 2 * 100
        starts = [self.fresh(FIRST_START) for _ in range(5)]
        self.first_start_ms, self.bare_save_ms = map(statistics.median, zip(*starts))
        self.backlog_events = BACKLOG_EVENTS // 10 if quick else self.events_that_fit()
        self.backlog = json.loads(subprocess.check_output(
            [bin_folder / "zvevent_bench_backlog", str(self.backlog_events), str(BACKLOG_TEXT_BYTES)]))
        assert self.backlog["dropped"] == 0, self.backlog

    def fresh(self, code, *arguments):
        return json.loads(subprocess.check_output(
            [sys.executable, "-c", PRELUDE + code, self.library, *arguments], cwd=self.output))

    def median_load_us(self, loaded_before):
        return statistics.median(
            float(subprocess.check_output([sys.executable, "-c", LOADING, self.library, *loaded_before]))
            for _ in range(5))

    def needed(self):
        """The libraries that ours names; none where no tool says so."""
        if shutil.which("readelf") is None:
            return []
        dynamic = subprocess.check_output(["readelf", "-d", self.library], text=True)
        return re.findall(r"\(NEEDED\).*\[(.+)\]", dynamic)

    @staticmethod
    def events_that_fit():
        available = os.sysconf("SC_AVPHYS_PAGES") * os.sysconf("SC_PAGE_SIZE")
        return min(BACKLOG_EVENTS, int(available * 0.7) // BACKLOG_EVENT_BYTES)
