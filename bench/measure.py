#!/usr/bin/env python3
"""Runs commands several times, interleaved, and reports each one's CPU time (user + system, of the
process and its children, from wait4's resource usage) and peak resident memory (ru_maxrss), as
medians over the runs, plus the ratios the local-MP4 benchmark is judged by. Standard library only.

  measure.py RUNS PLAN.json

PLAN.json: {"commands": {"name": {"argv": [...], "cleanup": [paths],
                                  "figures": {"path": FILE, "fields": [...]}}, ...},
            "ratios": [{"label": ..., "what": "cpu"|"rss_extra_mib"|"figure", "of": name,
                        "to": name, "field": ..., "target": number}, ...]}
"cpu" compares median CPU seconds (of / to, target is the largest ratio allowed);
"rss_extra_mib" is median peak RSS of `of` minus that of `to`, in MiB (target: the most allowed);
"figure" is the median of a figure the command reported itself (no `to`; target: the most
allowed). A command's figures are read after each run from the last line of its "figures" file,
a JSON object (velar-play's --stats file): the numbers named in "fields".
A run that exits with a status other than 0 stops the benchmark (exit 1).
"""

import json
import os
import statistics
import subprocess
import sys
import time


def run_once(argv):
    """(cpu seconds, peak RSS in KiB, wall seconds) of one run of argv."""
    start = time.monotonic()
    proc = subprocess.Popen(argv, stdout=subprocess.DEVNULL, stderr=subprocess.PIPE)
    # wait4 gives the resource usage of exactly this child.
    _, status, usage = os.wait4(proc.pid, 0)
    wall = time.monotonic() - start
    err = proc.stderr.read().decode(errors="replace")
    proc.stderr.close()
    proc.returncode = os.waitstatus_to_exitcode(status)
    if proc.returncode != 0:
        raise RuntimeError("%s exited with %d: %s" % (" ".join(argv), proc.returncode, err[-400:]))
    return usage.ru_utime + usage.ru_stime, usage.ru_maxrss, wall


def read_figures(request):
    """The named numbers of the last JSON line of request["path"]."""
    with open(request["path"]) as f:
        lines = [line for line in f if line.strip()]
    if not lines:
        raise RuntimeError("%s is empty" % request["path"])
    last = json.loads(lines[-1])
    values = {}
    for field in request["fields"]:
        if not isinstance(last.get(field), (int, float)):
            raise RuntimeError("%s: no number %s in %s" % (request["path"], field, lines[-1].strip()))
        values[field] = last[field]
    return values


def main(argv):
    if len(argv) != 3:
        sys.stderr.write(__doc__)
        return 2
    runs = int(argv[1])
    with open(argv[2]) as f:
        plan = json.load(f)
    commands = plan["commands"]
    samples = {name: [] for name in commands}
    figures = {name: [] for name in commands}
    for i in range(runs):
        # Interleaved, so that the shared machine's slow moments spread over all commands.
        for name, command in commands.items():
            try:
                samples[name].append(run_once(command["argv"]))
                if "figures" in command:
                    figures[name].append(read_figures(command["figures"]))
            except RuntimeError as e:
                print("benchmark run failed: %s" % e)
                return 1
            for path in command.get("cleanup", []):
                if os.path.exists(path):
                    os.remove(path)
    medians = {}
    print("%-28s %12s %12s %12s   (medians of %d runs; CPU = user + system)" %
          ("", "CPU s", "peak RSS MiB", "wall s", runs))
    for name, values in samples.items():
        cpu = statistics.median(v[0] for v in values)
        rss = statistics.median(v[1] for v in values) / 1024.0
        wall = statistics.median(v[2] for v in values)
        medians[name] = (cpu, rss)
        spread = "CPU %.2f-%.2f" % (min(v[0] for v in values), max(v[0] for v in values))
        print("%-28s %12.3f %12.1f %12.3f   %s" % (name, cpu, rss, wall, spread))
    figure_medians = {}
    for name, runs in figures.items():
        for field in (runs[0] if runs else {}):
            values = [r[field] for r in runs]
            figure_medians[(name, field)] = statistics.median(values)
            print("%-28s %s: median %g   (runs: %s)" % (name, field, statistics.median(values),
                                                        " ".join("%g" % v for v in values)))
    print()
    missed = 0
    for ratio in plan.get("ratios", []):
        target = ratio["target"]
        if ratio["what"] == "figure":
            value = figure_medians[(ratio["of"], ratio["field"])]
            text = "%g (target <= %g)" % (value, target)
            verdict = "met" if value <= target else "MISSED"
            missed += verdict != "met"
            print("%-52s %s  %s" % (ratio["label"], text, verdict))
            continue
        of, to = medians[ratio["of"]], medians[ratio["to"]]
        if ratio["what"] == "cpu":
            value = of[0] / to[0] if to[0] > 0 else float("inf")
            text = "%.2fx (target <= %.1fx)" % (value, target)
        else:
            value = of[1] - to[1]
            text = "%+.1f MiB (target <= +%.0f MiB)" % (value, target)
        verdict = "met" if value <= target else "MISSED"
        missed += verdict != "met"
        print("%-52s %s  %s" % (ratio["label"], text, verdict))
    print()
    print("targets: %s" % ("all met" if missed == 0 else "%d missed" % missed))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
