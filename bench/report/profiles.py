"""Where the time goes in what missed its target, by perf: the functions and the system calls with most
of it."""
import re
import shutil
import subprocess

SAMPLES_A_SECOND = 5000
MOST = 5
LEAST_PERCENT = 1
NAME_LENGTH = 70
LIMIT_S = 120
# A harness that submits once a millisecond spins in between.
WAITING = re.compile(r"clock_gettime|steady_clock::now|^main$")


def profiles_of(targets, output):
    """Lines of the report. Targets of one program share a profile."""
    missed = {}
    for target in targets:
        if target.verdict == "missed" and target.command:
            missed.setdefault(tuple(map(str, target.command)), []).append(target.what)
    if not missed:
        return "Nothing that takes time was missed.\n"
    if shutil.which("perf") is None:
        return "perf is not installed here: no profiles.\n"
    return "\n".join(f"{'; '.join(whats)}:\n\n{profile(command, output / 'perf.data')}"
                     for command, whats in missed.items())


def profile(command, data):
    recorded = subprocess.run(
        ["perf", "record", "-q", "-g", "-e", "cpu-clock", "-F", str(SAMPLES_A_SECOND), "-o", data, *command],
        capture_output=True, text=True, timeout=LIMIT_S)
    if recorded.returncode != 0:
        return f"perf could not record: {' '.join(recorded.stderr.split())}\n"
    functions = shares(data, "--no-children", "overhead,symbol,dso")
    calls = [(share, symbol.removeprefix("__x64_sys_")) for share, symbol, _ in
             shares(data, "--children", "overhead_children,symbol,dso") if symbol.startswith("__x64_sys_")]
    data.unlink()
    whole = 100
    if "spaced" in command[-1]:
        functions = [entry for entry in functions if not WAITING.search(entry[1])]
        whole = sum(share for share, _, _ in functions)
    lines = ["| share | function | in |", "| --- | --- | --- |"]
    lines += [f"| {share * 100 / whole:.1f} % | `{name}` | {place} |" for share, name, place in functions[:MOST]]
    below = ", ".join(f"{name} {share * 100 / whole:.0f} %" for share, name in calls[:MOST]
                      if share * 100 / whole >= LEAST_PERCENT)
    return "\n".join(lines) + f"\n\nSystem calls, with what they call: {below or 'hardly any'}.\n"


def shares(data, mode, fields):
    """Percent of the time, function, object file; the most first."""
    shown = subprocess.run(
        ["perf", "report", "-q", "-i", data, "--stdio", mode, "-g", "none", "-F", fields, "-t", "|"],
        capture_output=True, text=True, timeout=LIMIT_S)
    rows = [line.split("|") for line in shown.stdout.splitlines() if line.count("|") >= 2]
    return [(float(share.strip().rstrip("%")), short(symbol), place.strip()) for share, symbol, place, *_ in rows]


def short(symbol):
    """Without where it runs, and without what stands between angle brackets."""
    name = re.sub(r"^\s*\[[.k]\]\s*", "", symbol).strip()
    while (shorter := re.sub(r"<[^<>]*>", "", name)) != name:
        name = shorter
    return name if len(name) <= NAME_LENGTH else name[:NAME_LENGTH] + "..."
