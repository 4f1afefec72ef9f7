"""The report's text and plots."""
import datetime
import os
import pathlib
import platform
import shutil
import subprocess

from report.profiles import MOST
from report.scenarios import INSTANCES, LIBRARIES, OUTPUTS, PLAN, QUEUE_SIZES

PERCENTILES = ("p50", "p99", "p999")
PERCENTILE_HEADS = ("p50", "p99", "p99.9")


def table(heads, rows):
    lines = ["| " + " | ".join(heads) + " |", "|" + " --- |" * len(heads)]
    return "\n".join(lines + ["| " + " | ".join(map(str, row)) + " |" for row in rows]) + "\n"


def number(value, digits=0):
    return "-" if value != value else f"{value:,.{digits}f}"


class Page:
    def __init__(self, runs, bench, processes, output):
        self.runs, self.bench, self.processes, self.output = runs, bench, processes, output

    def text(self, targets, profiles, repetitions):
        cpuinfo = pathlib.Path("/proc/cpuinfo").read_text().splitlines()
        model = next((line.split(":", 1)[1].strip() for line in cpuinfo if line.startswith("model name")), "?")
        return f"""# Benchmark report

{datetime.date.today()}, {model}, {os.cpu_count()} cores, Linux {platform.release()}. Repetitions,
interleaved: {repetitions}; load {os.getloadavg()[0]:.1f} at the end. Medians; compare inside a column only.

## Targets

{targets_table(targets)}
## Submit, nanoseconds

{self.submits()}
`burst_5000` goes beyond the queue of 1,024: zvEvent and spdlog_overrun drop, poco's queue has no bounds, the
others wait.

{self.plot("submit", "A submit in bursts and one a millisecond", ("burst_500", "spaced"))}
## Producers, nanoseconds an event of all together

{self.by_scenario("who", "producers", (1, 2, 4))}
## Submit to callback, nanoseconds

{self.arrivals()}
{self.plot("arrival", "From submit to callback", ("arrival_burst", "arrival_spaced"))}
## Outputs, events a second

{self.outputs()}
## Outbox, events a second

{self.outbox()}
## What grows with what

A submit, nanoseconds, in bursts of three quarters of the queue, by `queue_size`:

{self.by_scenario("who", "queue", QUEUE_SIZES)}
One event, nanoseconds from the first submit to the end of a flush, by the number of outputs of a kind:

{self.by_scenario("outputs", "callbacks", INSTANCES, "callbacks")}{self.rows("csvs", INSTANCES, "CSV files")}
A raise, CPU nanoseconds, and the memory that an alert takes beside its key, by active alerts:

{self.alerts()}
Resident memory of a program, KiB, with {self.processes.backlog_events:,} events of 5 KB that wait for a callback:

{self.backlog()}
At rest a Python program with the library has {self.processes.rest_small_kib:,} KiB with a `queue_size` of 1,024 and
{self.processes.rest_large_kib:,} with 1,000,000.

## Formats and the rest, CPU nanoseconds

{self.formats()}
## Profiles of what was missed

By `perf`: the CPU time of all threads, the harness's included, and the {MOST} functions with most of it. Where
one event comes a millisecond, the harness's waiting is left out.

{profiles}"""

    def submits(self):
        of = self.runs.of
        return table(
            ("scenario", "who", "median", "its runs", *PERCENTILE_HEADS, "dropped"),
            [(s, w, number(of(s, w)), self.runs.spread(s, w), *(number(of(s, w, q)) for q in PERCENTILES),
              f"{of(s, w, 'dropped') / of(s, w, 'submitted'):.0%}")
             for s in ("burst_50", "burst_500", "burst_5000", "spaced") for w in self.runs.who(s)])

    def arrivals(self):
        return table(("scenario", "who", *PERCENTILE_HEADS),
                     [(s, w, *(number(self.runs.of(s, w, q)) for q in PERCENTILES))
                      for s in ("arrival_burst", "arrival_spaced") for w in self.runs.who(s)])

    def rows(self, scenario, counts, label=None):
        """Of each who one row with the medians by count."""
        return "".join(f"| {label or who} | "
                       + " | ".join(number(self.runs.of(f"{scenario}_{n}", who)) for n in counts) + " |\n"
                       for who in self.runs.who(f"{scenario}_{counts[0]}"))

    def by_scenario(self, what, scenario, counts, label=None):
        return table((what, *(f"{n:,}" for n in counts)), ()) + self.rows(scenario, counts, label)

    def outputs(self):
        return table(("what", "events a second", "ns an event, its runs"),
                     [(f"{s} ({w})", number(1e9 / self.runs.of(s, w)), self.runs.spread(s, w))
                      for s in ("csv", *OUTPUTS) for w in self.runs.who(s)])

    def outbox(self):
        return table(("what", "events a second"),
                     [(name, number(entry["items_per_second"])) for name, entry in self.bench.entries.items()
                      if name.startswith("BM_")])

    def alerts(self):
        return table(("active alerts", "a raise", "bytes an alert"),
                     [(f"{n:,}", number(self.bench.of(f"AlertRaise/{n}")),
                       number(self.bench.of(f"AlertRaise/{n}", "bytes_beside_key"))) for n in (1_000, 1_000_000)])

    def backlog(self):
        moments = {"rest": "at rest", "peak": "all queued", "after": "all delivered", "later": "three seconds later",
                   "stopped": "after a shutdown"}
        return table(moments.values(), [[f"{self.processes.backlog[name]:,}" for name in moments]])

    def formats(self):
        return table(("what", "ns"), [(name, number(entry["cpu_time"], 1)) for name, entry in
                                      self.bench.entries.items() if not name.startswith(("BM_", "AlertRaise"))])

    def plot(self, name, title, scenarios):
        """Bars of the percentiles by who, as an SVG by gnuplot."""
        if shutil.which("gnuplot") is None:
            return ""
        order = ("floor", "wakeup", *LIBRARIES)
        rows = [f'"{who} {scenario}" ' + " ".join(str(self.runs.of(scenario, who, q)) for q in PERCENTILES)
                for scenario in scenarios for who in order if who in PLAN[scenario] and who in self.runs.who(scenario)]
        (self.output / f"{name}.dat").write_text("\n".join(rows) + "\n")
        script = f"""set terminal svg size 800,420 background "white"; set output "{name}.svg"
set title "{title}" noenhanced; set logscale y; set ylabel "nanoseconds"; set style data histogram
set style fill solid 0.8; set xtics rotate by -30 noenhanced; set grid ytics; set key top left
set datafile missing "nan"
plot "{name}.dat" using 2:xtic(1) title "p50", "" using 3 title "p99", "" using 4 title "p99.9"
"""
        subprocess.run(["gnuplot"], input=script, text=True, cwd=self.output, check=True)
        return f"![{title}]({name}.svg)\n"


def targets_table(targets):
    return table(("what", "target", "measured", ""), [(t.what, t.wanted, t.measured, t.verdict) for t in targets])
