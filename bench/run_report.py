"""Runs the library and its peers in turn, several times over, and writes what came of it: report.md
with tables, ratios and profiles, and its plots.

    run_report.py BIN_FOLDER LIBRARY OUTPUT_FOLDER REPETITIONS
"""
import pathlib
import sys
import time

from report.page import Page, targets_table
from report.processes import Processes
from report.profiles import profiles_of
from report.scenarios import GoogleBenchmarks, Runs
from report.targets import targets_of


def main(bin_folder, library, output, repetitions):
    began = time.monotonic()

    def say(what):
        print(f"{what}: {time.monotonic() - began:.0f} s", flush=True)

    output.mkdir(parents=True, exist_ok=True)
    runs = Runs(bin_folder)
    for repetition in range(repetitions):
        runs.run_all_once()
        say(f"repetition {repetition + 1} of {repetitions}")
    bench = GoogleBenchmarks(bin_folder, repetitions)
    say("formats, alerts, outbox")
    processes = Processes(bin_folder, library, output, quick=repetitions == 1)
    say("memory, loading, starting")
    targets = targets_of(runs, bench, processes)
    profiles = profiles_of(targets, output)
    say("profiles")
    (output / "report.md").write_text(Page(runs, bench, processes, output).text(targets, profiles, repetitions))
    print(targets_table(targets))
    say(f"{output}/report.md")


main(*(pathlib.Path(argument).resolve() for argument in sys.argv[1:4]), int(sys.argv[4]))
