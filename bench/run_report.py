"""Runs the library and its peers in turn, several times over, and writes what came of it: report.md
with tables and ratios, and its plots.

    run_report.py BIN_FOLDER LIBRARY OUTPUT_FOLDER REPETITIONS
"""
import ctypes
import datetime
import json
import os
import pathlib
import platform
import shutil
import statistics
import subprocess
import sys
import time

bin_folder, library, output, repetitions = (*(pathlib.Path(a).resolve() for a in sys.argv[1:4]), int(sys.argv[4]))
PEERS = ("zvevent", "spdlog_block", "spdlog_overrun")
# Scenario, then who takes part.
PLAN = {
    **{f"burst_{n}": ("floor", *PEERS) for n in (50, 500, 5000)},
    "spaced": ("floor", "wakeup", *PEERS),
    **{f"producers_{n}": ("floor", *PEERS) for n in (1, 2, 4)},
    "arrival_burst": PEERS,
    "arrival_spaced": ("wakeup", *PEERS),
    "csv": ("zvevent", "spdlog_block"),
    **{name: ("outputs",) for name in ("syslog", "sendto_syslog", "snmp", "sendto_snmp", "webhook",
                                       "curl", "csv_floor", "write")},
}
MAY_DROP = ("spdlog_overrun", "wakeup", "floor")
LIMIT_S = 120

results = {}  # (scenario, who): the objects of all its runs


def run(scenario, who):
    program = bin_folder / ("zvevent_bench_outputs" if who == "outputs" else f"zvevent_peer_{who}")
    if not program.exists():
        return
    done = subprocess.run([program, scenario], capture_output=True, text=True, timeout=LIMIT_S, check=True)
    result = json.loads(done.stdout)
    # Beyond the queue zvEvent's default policy drops; nobody else may, but who is meant to.
    if who not in MAY_DROP and (scenario, who) != ("burst_5000", "zvevent"):
        assert result["dropped"] == 0, (scenario, who, result)
    results.setdefault((scenario, who), []).append(result)


def of(scenario, who, name="median"):
    """The median of the runs, in nanoseconds."""
    runs = results.get((scenario, who))
    return statistics.median(r[name] for r in runs) if runs else float("nan")


def spread(scenario, who, name="median"):
    values = [r[name] for r in results[scenario, who]]
    return f"{min(values):,.0f} to {max(values):,.0f}"


def google_benchmarks():
    """CPU nanoseconds and counters by benchmark; CPU time, as others may run on the machine."""
    done = subprocess.run(
        [bin_folder / "zvevent_bench", "--benchmark_format=json", f"--benchmark_repetitions={min(repetitions, 5)}",
         "--benchmark_filter=Filtered|Floor|FullQueue|CsvRow|Json|Cloud|Alertmanager|SyslogM|SnmpT|Outbox|ToReceiver|AlertRaise"],
        capture_output=True, text=True, check=True)
    runs = {}
    for entry in json.loads(done.stdout)["benchmarks"]:
        if entry["run_type"] == "iteration":
            runs.setdefault(entry["run_name"].split("/iter")[0], []).append(entry)
    return {name: sorted(entries, key=lambda entry: entry["cpu_time"])[len(entries) // 2]
            for name, entries in runs.items()}


def load_time_us():
    """Loading the library in a fresh process, without what Python itself costs."""
    code = ("import ctypes,sys,time\nstart=time.perf_counter()\nctypes.CDLL(sys.argv[1])\n"
            "print((time.perf_counter()-start)*1e6)")
    return statistics.median(float(subprocess.check_output([sys.executable, "-c", code, library]))
                             for _ in range(5))


def in_fresh_process(code, *arguments):
    return json.loads(subprocess.check_output([sys.executable, "-c", PRELUDE + code, str(library), *arguments],
                                              cwd=output))


PRELUDE = """
import ctypes, json, sys, time
library = ctypes.CDLL(sys.argv[1])
def status(*names):
    lines = dict(line.split(':', 1) for line in open('/proc/self/status') if ':' in line)
    return [int(lines[name].split()[0]) for name in names]
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
    import glob, os
    return [open(path).read() for path in glob.glob('/proc/self/task/*/' + file)
            if path.split('/')[4] != str(os.getpid())]
def switches():
    return sum(int(line.split()[1]) for text in others('status')
               for line in text.splitlines() if line.startswith('voluntary'))
def cpu_ns():
    return sum(int(text.split()[0]) for text in others('schedstat'))
"""
MEMORY = """
start(config(int(sys.argv[2])))
rest = status('VmRSS')[0]
burst = int(sys.argv[3])
message = b'x' * 5000
for _ in range(burst):
    library.zvEventSubmitSimple(0, 2, b's', message)
library.zvEventFlush(0)
time.sleep(0.2)
print(json.dumps([rest, status('VmRSS')[0], status('VmHWM')[0]]))
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
FIRST_START = "print(json.dumps(start('') * 1e3))"


def plot(name, title, scenario_names, whos):
    """Bars of p50, p99 and p99.9 by who, as an SVG by gnuplot."""
    if shutil.which("gnuplot") is None:
        return ""
    rows = [f'"{who} {scenario}" {of(scenario, who, "p50")} {of(scenario, who, "p99")} {of(scenario, who, "p999")}'
            for scenario in scenario_names for who in whos if (scenario, who) in results]
    (output / f"{name}.dat").write_text("\n".join(rows) + "\n")
    script = f"""set terminal svg size 800,420 background "white"; set output "{name}.svg"
set title "{title}" noenhanced; set logscale y; set ylabel "nanoseconds"; set style data histogram
set style fill solid 0.8; set xtics rotate by -30 noenhanced; set grid ytics; set key top left
plot "{name}.dat" using 2:xtic(1) title "p50", "" using 3 title "p99", "" using 4 title "p99.9"
"""
    subprocess.run(["gnuplot"], input=script, text=True, cwd=output, check=True)
    return f"![{title}]({name}.svg)\n"


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + " --- |" * len(heads)]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n"


def verdict(value, most=None, least=None):
    if value != value:
        return "not measured"
    met = value <= most if most is not None else value >= least
    return "met" if met else "missed"


began = time.monotonic()
output.mkdir(parents=True, exist_ok=True)
for repetition in range(repetitions):
    for scenario, whos in PLAN.items():
        for who in whos:
            run(scenario, who)
    print(f"repetition {repetition + 1} of {repetitions}: {time.monotonic() - began:.0f} s", flush=True)
bench = google_benchmarks()
rest_small, _, _ = in_fresh_process(MEMORY, "1024", "0")
rest_large, after_burst, at_most = in_fresh_process(MEMORY, "1000000", "100000")
idle_wakeups, busy_cpu_s = in_fresh_process(IDLE)
first_start_ms = statistics.median(in_fresh_process(FIRST_START) for _ in range(5))


def cpu(name):
    return bench[name]["cpu_time"] if name in bench else float("nan")


floor = {n: of(f"burst_{n}", "floor") for n in (50, 500)}
targets = []


def target(what, value, most=None, least=None, unit=""):
    wanted = f"at most {most}{unit}" if most is not None else f"at least {least}{unit}"
    targets.append((what, wanted, f"{value:.2f}{unit}", verdict(value, most, least)))


for n in (50, 500):
    target(f"submit in bursts of {n}, of the floor", of(f"burst_{n}", "zvevent") / floor[n], most=1.3)
    target(f"submit in bursts of {n}, of spdlog async", of(f"burst_{n}", "zvevent") / of(f"burst_{n}", "spdlog_block"), most=0.05)
    target(f"submit p99.9 in bursts of {n}, of spdlog async's",
           of(f"burst_{n}", "zvevent", "p999") / of(f"burst_{n}", "spdlog_block", "p999"), most=0.2)
target("filtered, of the floor (CPU)", cpu("SubmitFiltered") / cpu("Floor"), most=0.2)
target("refused by a full queue, of the floor (CPU)", cpu("SubmitToFullQueue") / cpu("Floor"), most=0.2)
target("one submit a millisecond, of bare wake-up and floor",
       of("spaced", "zvevent") / (of("spaced", "wakeup") + of("spaced", "floor")), most=2.5)
target("one submit a millisecond, of spdlog async", of("spaced", "zvevent") / of("spaced", "spdlog_block"), most=0.35)
target("4 producers, rate of one producer's", of("producers_1", "zvevent") / of("producers_4", "zvevent"), least=0.9)
for scenario in ("arrival_burst", "arrival_spaced"):
    target(f"{scenario}: submit to callback p99, of spdlog async's",
           of(scenario, "zvevent", "p99") / of(scenario, "spdlog_block", "p99"), most=1)
target("wake-ups in 2 s of idleness", idle_wakeups, most=0)
target("CPU of the worker at 100 events a second", busy_cpu_s / 2 * 100, most=0.3, unit=" %")
for name in ("CsvRow", "JsonDocument", "CloudEvent", "AlertmanagerDocument", "SyslogMessage", "SnmpTrap"):
    if name in bench:
        target(f"allocations: {name}", bench[name]["allocations"], most=0)
target("CSV end to end, rate of spdlog async to file", of("csv", "spdlog_block") / of("csv", "zvevent"), least=2.5)
target("CSV row (CPU)", cpu("CsvRow"), most=250, unit=" ns")
target("syslog, rate of a bare sendto loop", of("sendto_syslog", "outputs") / of("syslog", "outputs"), least=0.85)
target("SNMP, rate of a bare sendto loop", of("sendto_snmp", "outputs") / of("snmp", "outputs"), least=0.85)
target("webhook, rate of a bare libcurl loop", of("curl", "outputs") / of("webhook", "outputs"), least=0.9)
target("JSON document, speed of RapidJSON's writer (CPU)", cpu("JsonDocumentByRapidJson") / cpu("JsonDocument"), least=2)
target("a raise with 1,000,000 active alerts, of one with 1,000 (CPU)",
       cpu("AlertRaise/1000000") / cpu("AlertRaise/1000"), most=3)
target("bytes an alert beside its key", bench["AlertRaise/1000000"]["bytes_beside_key"], most=150)
into, directly, through = (bench.get(f"BM_{name}", {}) for name in (
    "IntoOutbox/normal", "ToReceiver/directly", "ToReceiver/through_outbox"))
if into:
    target("a write into the outbox, median", into["median_us"], most=15, unit=" us")
    target("events a second into the outbox", into["items_per_second"], least=20000)
    target("sending through the outbox, rate of the direct way",
           through["items_per_second"] / directly["items_per_second"], least=0.8)
target("memory at rest, queue of 1,000,000 beside one of 1,024", (rest_large - rest_small) / 1024, most=1, unit=" MiB")
# Python submits more slowly than the worker takes: without a backlog the row would say nothing.
after_mib = (after_burst - rest_large) / 1024 if at_most - rest_large > 100 * 1024 else float("nan")
target("memory after a backlog of events of 5 KB, beside rest", after_mib, most=16, unit=" MiB")

model = next((line.split(":", 1)[1].strip() for line in open("/proc/cpuinfo") if line.startswith("model name")), "?")
text = f"""# Benchmark report

{datetime.date.today()}, {model}, {os.cpu_count()} cores, Linux {platform.release()}. {repetitions} interleaved
repetitions; load {os.getloadavg()[0]:.1f} at the end. Medians; compare inside a column only.

## Targets

{table(("what", "target", "measured", ""), targets)}
## Submit, nanoseconds

{table(("scenario", "who", "median", "its runs", "p50", "p99", "p99.9", "dropped"),
       [(s, w, f"{of(s, w):,.0f}", spread(s, w), *(f"{of(s, w, q):,.0f}" for q in ("p50", "p99", "p999")),
         f"{of(s, w, 'dropped') / of(s, w, 'submitted'):.0%}")
        for s in ("burst_50", "burst_500", "burst_5000", "spaced") for w in PLAN[s] if (s, w) in results])}
`burst_5000` goes beyond the queue of 1,024: zvEvent and spdlog_overrun drop, spdlog_block waits.

{plot("submit", "A submit in bursts and one a millisecond", ("burst_500", "spaced"), ("floor", "wakeup", *PEERS))}
## Producers, nanoseconds an event of all together

{table(("who", "1", "2", "4"), [(w, *(f"{of(f'producers_{n}', w):,.0f}" for n in (1, 2, 4))) for w in PLAN["producers_1"]])}
## Submit to callback, nanoseconds

{table(("scenario", "who", "p50", "p99", "p99.9"),
       [(s, w, *(f"{of(s, w, q):,.0f}" for q in ("p50", "p99", "p999")))
        for s in ("arrival_burst", "arrival_spaced") for w in PLAN[s] if (s, w) in results])}
{plot("arrival", "From submit to callback", ("arrival_burst", "arrival_spaced"), PEERS)}
## Outputs, events a second

{table(("what", "events a second", "ns an event, its runs"),
       [(f"{s} ({w})", f"{1e9 / of(s, w):,.0f}", spread(s, w))
        for s in ("csv", "csv_floor", "write", "syslog", "sendto_syslog", "snmp", "sendto_snmp", "webhook", "curl")
        for w in PLAN[s] if (s, w) in results])}
## Outbox, events a second

{table(("what", "events a second"), [(name, f"{entry['items_per_second']:,.0f}") for name, entry in bench.items() if name.startswith("BM_")])}
## Formats and the rest, CPU nanoseconds

{table(("what", "ns"), [(name, f"{entry['cpu_time']:,.1f}") for name, entry in bench.items() if not name.startswith("BM_")])}
Library: {library.stat().st_size:,} bytes, loaded in {load_time_us():,.0f} microseconds; first start with an empty file
{first_start_ms:.1f} ms. Memory at rest {rest_small:,} KiB with a queue of 1,024 and {rest_large:,} with 1,000,000 (Python
included); at most {at_most:,} in the burst and {after_burst:,} after it.
"""
(output / "report.md").write_text(text)
print(table(("what", "target", "measured", ""), targets))
print(f"{output}/report.md, {time.monotonic() - began:.0f} s")
