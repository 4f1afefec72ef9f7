"""Which scenario is run by which program, and what the runs printed."""
import json
import statistics
import subprocess

PEERS = ("spdlog_block", "spdlog_overrun", "log4cplus", "boost_log", "poco")
LIBRARIES = ("zvevent", *PEERS)
# With one event at a time no queue runs full: what spdlog does then makes no difference.
WAITING = tuple(name for name in LIBRARIES if name != "spdlog_overrun")
OUTPUTS = ("csv_floor", "write", "syslog", "sendto_syslog", "snmp", "sendto_snmp", "net_snmp", "webhook", "curl")
QUEUE_SIZES = (16, 1024, 65536)
INSTANCES = (1, 10, 100)
# Scenario, then who takes part.
PLAN = {
    **{f"burst_{n}": ("floor", *LIBRARIES) for n in (50, 500, 5000)},
    "spaced": ("floor", "wakeup", *WAITING),
    **{f"producers_{n}": ("floor", *LIBRARIES) for n in (1, 2, 4)},
    "arrival_burst": LIBRARIES,
    "arrival_spaced": ("wakeup", *WAITING),
    "csv": WAITING,
    **{name: ("outputs",) for name in OUTPUTS},
    **{f"queue_{n}": ("zvevent", "spdlog_block") for n in QUEUE_SIZES},
    **{f"{kind}_{n}": ("instances",) for kind in ("callbacks", "csvs") for n in INSTANCES},
}
HARNESSES = ("outputs", "instances")  # every other name is a peer's
MAY_DROP = ("spdlog_overrun", "wakeup", "floor")
LIMIT_S = 120
NAN = float("nan")
GOOGLE_FILTER = ("Filtered|Floor|FullQueue|CsvRow|Json|Cloud|Alertmanager|SyslogM|SnmpT|Outbox|ToReceiver|AlertRaise")


class Runs:
    def __init__(self, bin_folder):
        self.bin_folder = bin_folder
        self.results = {}  # (scenario, who): the objects of all its runs

    def command(self, scenario, who):
        return [self.bin_folder / f"zvevent_{'bench' if who in HARNESSES else 'peer'}_{who}", scenario]

    def run_all_once(self):
        for scenario, whos in PLAN.items():
            for who in whos:
                self.run(scenario, who)

    def run(self, scenario, who):
        """Nothing where a library is not on this machine."""
        command = self.command(scenario, who)
        if not command[0].exists():
            return
        done = subprocess.run(command, capture_output=True, text=True, timeout=LIMIT_S)
        if (scenario, done.returncode) == ("net_snmp", 2):
            return
        done.check_returncode()
        result = json.loads(done.stdout)
        # Beyond the queue zvEvent's default policy drops; nobody else may, but who is meant to.
        if who not in MAY_DROP and (scenario, who) != ("burst_5000", "zvevent"):
            assert result["dropped"] == 0, (scenario, who, result)
        self.results.setdefault((scenario, who), []).append(result)

    def who(self, scenario):
        return [who for who in PLAN[scenario] if (scenario, who) in self.results]

    def of(self, scenario, who, name="median"):
        """The median of the runs, in nanoseconds; not a number where it was not measured."""
        runs = self.results.get((scenario, who), [])
        values = [run[name] for run in runs if name in run]
        return statistics.median(values) if values else NAN

    def spread(self, scenario, who):
        values = [run["median"] for run in self.results[scenario, who]]
        return f"{min(values):,.0f} to {max(values):,.0f}"


class GoogleBenchmarks:
    """Medians by benchmark: CPU time, as others may run on the machine, and counters."""

    def __init__(self, bin_folder, repetitions):
        self.program = bin_folder / "zvevent_bench"
        done = subprocess.run(
            [self.program, "--benchmark_format=json", f"--benchmark_repetitions={repetitions}",
             "--benchmark_min_time=0.2",
             f"--benchmark_filter={GOOGLE_FILTER}"], capture_output=True, text=True, check=True)
        runs = {}
        for entry in json.loads(done.stdout)["benchmarks"]:
            assert not entry.get("error_occurred"), entry
            if entry["run_type"] == "iteration":
                runs.setdefault(entry["run_name"].split("/iter")[0], []).append(entry)
        self.entries = {name: sorted(entries, key=lambda entry: entry["cpu_time"])[len(entries) // 2]
                        for name, entries in runs.items()}

    def command(self, name):
        return [self.program, f"--benchmark_filter=^{name}(/iterations.*)?$"]

    def of(self, name, counter="cpu_time"):
        return self.entries.get(name, {}).get(counter, NAN)
