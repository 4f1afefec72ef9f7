"""What is aimed at, beside what was measured."""
import dataclasses

from report.scenarios import PEERS


@dataclasses.dataclass
class Target:
    what: str
    wanted: str
    measured: str
    verdict: str
    command: list = None  # the program whose profile tells where the time goes


class Targets(list):
    def add(self, what, value, most=None, least=None, unit="", command=None):
        wanted = f"at most {most}{unit}" if most is not None else f"at least {least}{unit}"
        if value != value:
            verdict = "not measured"
        else:
            verdict = "met" if (value <= most if most is not None else value >= least) else "missed"
        self.append(Target(what, wanted, f"{value:,.2f}{unit}", verdict, command))

    def tell(self, what, wanted, measured):
        self.append(Target(what, wanted, measured, "told"))


def targets_of(runs, bench, processes):
    targets = Targets()
    add_submits(targets, runs, bench)
    add_arrivals(targets, runs, processes)
    add_formats(targets, bench)
    add_outputs(targets, runs)
    add_alerts(targets, bench)
    add_outbox(targets, bench)
    add_processes(targets, processes)
    return targets


def add_submits(targets, runs, bench):
    of = runs.of
    for n in (50, 500):
        burst, command = f"burst_{n}", runs.command(f"burst_{n}", "zvevent")
        targets.add(f"submit in bursts of {n}, of the floor", of(burst, "zvevent") / of(burst, "floor"), most=1.3,
                    command=command)
        targets.add(f"submit in bursts of {n}, of spdlog async", of(burst, "zvevent") / of(burst, "spdlog_block"),
                    most=0.05, command=command)
        targets.add(f"submit p99.9 in bursts of {n}, of spdlog async's",
                    of(burst, "zvevent", "p999") / of(burst, "spdlog_block", "p999"), most=0.2, command=command)
    for name, what in (("SubmitFiltered", "filtered"), ("SubmitToFullQueue", "refused by a full queue")):
        targets.add(f"{what}, of the floor (CPU)", bench.of(name) / bench.of("Floor"), most=0.2,
                    command=bench.command(name))
    spaced, command = of("spaced", "zvevent"), runs.command("spaced", "zvevent")
    targets.add("one submit a millisecond, of bare wake-up and floor",
                spaced / (of("spaced", "wakeup") + of("spaced", "floor")), most=2.5, command=command)
    targets.add("one submit a millisecond, of spdlog async", spaced / of("spaced", "spdlog_block"), most=0.35,
                command=command)
    four, command = of("producers_4", "zvevent"), runs.command("producers_4", "zvevent")
    targets.add("4 producers, rate of one producer's", of("producers_1", "zvevent") / four, least=0.9, command=command)
    others = [of("producers_4", peer) for peer in runs.who("producers_4") if peer in PEERS]
    targets.add("4 producers, rate of the fastest peer's", min(others, default=float("nan")) / four, least=1,
                command=command)


def add_arrivals(targets, runs, processes):
    for scenario in ("arrival_burst", "arrival_spaced"):
        targets.add(f"{scenario}: submit to callback p99, of spdlog async's",
                    runs.of(scenario, "zvevent", "p99") / runs.of(scenario, "spdlog_block", "p99"), most=1,
                    command=runs.command(scenario, "zvevent"))
    targets.add("wake-ups in 2 s of idleness", processes.idle_wakeups, most=0)
    targets.add("CPU of the worker at 100 events a second", processes.busy_percent, most=0.3, unit=" %")


def add_formats(targets, bench):
    for name in ("CsvRow", "JsonDocument", "CloudEvent", "AlertmanagerDocument", "SyslogMessage", "SnmpTrap"):
        targets.add(f"allocations: {name}", bench.of(name, "allocations"), most=0)
    targets.add("CSV row (CPU)", bench.of("CsvRow"), most=250, unit=" ns", command=bench.command("CsvRow"))
    targets.add("JSON document, speed of RapidJSON's writer (CPU)",
                bench.of("JsonDocumentByRapidJson") / bench.of("JsonDocument"), least=2,
                command=bench.command("JsonDocument"))


def add_outputs(targets, runs):
    def add(what, other, ours, least):
        targets.add(what, runs.of(*other) / runs.of(*ours), least=least, command=runs.command(*ours))

    add("CSV end to end, rate of spdlog async to file", ("csv", "spdlog_block"), ("csv", "zvevent"), 2.5)
    add("syslog, rate of a bare sendto loop", ("sendto_syslog", "outputs"), ("syslog", "outputs"), 0.85)
    add("SNMP, rate of a bare sendto loop", ("sendto_snmp", "outputs"), ("snmp", "outputs"), 0.85)
    add("SNMP, rate of the Net-SNMP library", ("net_snmp", "outputs"), ("snmp", "outputs"), 3)
    bare = runs.of("sendto_snmp", "outputs")
    targets.tell("SNMP, an event beyond a bare sendto loop", "the loop alone is most of either",
                 f"{runs.of('snmp', 'outputs') - bare:,.0f} ns; Net-SNMP's library {runs.of('net_snmp', 'outputs') - bare:,.0f} ns")
    add("webhook, rate of a bare libcurl loop", ("curl", "outputs"), ("webhook", "outputs"), 0.9)


def add_alerts(targets, bench):
    many = "AlertRaise/1000000"
    targets.add("a raise with 1,000,000 active alerts, of one with 1,000 (CPU)",
                bench.of(many) / bench.of("AlertRaise/1000"), most=3, command=bench.command(many))
    targets.add("bytes an alert beside its key", bench.of(many, "bytes_beside_key"), most=150)


def add_outbox(targets, bench):
    if "BM_IntoOutbox/normal" not in bench.entries:
        return  # built without
    into, through, directly = "BM_IntoOutbox/normal", "BM_ToReceiver/through_outbox", "BM_ToReceiver/directly"
    rate = "items_per_second"
    targets.add("a write into the outbox, median", bench.of(into, "median_us"), most=15, unit=" us",
                command=bench.command(into))
    targets.add("events a second into the outbox", bench.of(into, rate), least=20000, command=bench.command(into))
    targets.add("sending through the outbox, rate of the direct way", bench.of(through, rate) / bench.of(directly, rate),
                least=0.8, command=bench.command(through))


def add_processes(targets, processes):
    targets.add("memory at rest, queue of 1,000,000 beside one of 1,024",
                (processes.rest_large_kib - processes.rest_small_kib) / 1024, most=1, unit=" MiB")
    backlog = processes.backlog
    targets.add(f"memory three seconds after a backlog of {processes.backlog_events:,} events of 5 KB, beside rest",
                (backlog["later"] - backlog["rest"]) / 1024, most=16, unit=" MiB")
    targets.tell("first start with a fresh file", "the program it is to replace is not in the run",
                 f"{processes.first_start_ms:.2f} ms; {processes.first_start_ms / processes.bare_save_ms:.1f} times "
                 "writing and syncing the same bytes")
    targets.tell("size of the library", "small", f"{processes.bytes / 1024:,.0f} KiB")
    targets.tell("loading the library", "small", f"{processes.load_us:,.0f} us; {processes.load_alone_us:,.0f} us with "
                 "the libraries that it needs loaded before")
