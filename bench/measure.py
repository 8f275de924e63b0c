#!/usr/bin/env python3
"""Runs the commands of one workload several times, interleaved (or all at once per round), and
records per command, as medians over the runs: CPU time (user + system of the process and its
children, from wait4's resource usage), wall time, peak resident memory (ru_maxrss), context
switches (voluntary + involuntary, from the same resource usage), the time from
the start of the process to the first byte it writes on standard output, and figures the command
reports itself. Prints them and appends them to a results file for report.py. Standard library
only.

  measure.py RUNS PLAN.json RESULTS.jsonl

PLAN.json: {"workload": "local MP4 720p 60 s", "concurrent": false,
            "commands": {"name": {"peer": "velar", "argv": [...], "timeout": 300,
                                  "process": true,
                                  "figures": {"path": FILE, "fields": [...]},
                                  "stdout_json": [...]}, ...}}
- Standard output is always a pipe that this script reads and throws away (the commands write
  their program or transport stream there); its first byte gives "first_out_ms".
- "first_out": false records no first byte (a command that prints only a summary at its end).
- "process": false records no CPU, wall, RSS or first byte (a command run for its own figures).
- "figures": the named numbers of the last line of FILE, a JSON object (velar-play's --stats).
- "stdout_json": the named fields of the last line of standard output, a JSON object; a field
  that is a list of numbers (one per seek, say) is pooled over the runs, and its figure is the
  median of all of them.
- "concurrent": true starts every command of a round at the same time (live workloads, where each
  command spends its time waiting for the live edge); otherwise they run one after the other.
- "server": {"argv": [...]}: a server started before each round (each round gets a fresh one) and
  stopped after it; it must print "PORT <n>" on its standard output within 10 s, and "{port}" in
  the commands' arguments becomes that port (the live simulator, whose clock starts with it).
- "timeout" (seconds, default 600): a run still going then is killed and counts as failed.
- "ok_status" (default [0]): the exit statuses that count as success.
A command whose run fails (exit status other than 0, time-out, a figure missing) is recorded as
failed with the reason and not run again; the others go on.

Each line of RESULTS.jsonl: {"workload", "peer", "command", "figure", "value", "runs"} or
{"workload", "peer", "command", "error"}.
"""

import json
import os
import select
import signal
import statistics
import subprocess
import sys
import tempfile
import threading
import time


def kill_group(pid):
    try:
        os.killpg(pid, signal.SIGKILL)
    except ProcessLookupError:
        pass


def run_once(argv, timeout, ok_status):
    """dict(cpu_s, rss_mib, wall_s, first_out_ms, stdout_tail) of one run of argv."""
    err = tempfile.TemporaryFile()
    start = time.monotonic()
    proc = subprocess.Popen(argv, stdout=subprocess.PIPE, stderr=err, stdin=subprocess.DEVNULL,
                            start_new_session=True)
    timer = threading.Timer(timeout, kill_group, args=(proc.pid,))
    timer.start()
    first = None
    tail = b""
    fd = proc.stdout.fileno()
    while True:
        chunk = os.read(fd, 1 << 16)
        if not chunk:
            break
        if first is None:
            first = time.monotonic() - start
        tail = (tail + chunk)[-65536:]
    # wait4 gives the resource usage of exactly this child (with its own waited-for children).
    _, status, usage = os.wait4(proc.pid, 0)
    wall = time.monotonic() - start
    expired = not timer.is_alive()
    timer.cancel()
    proc.returncode = os.waitstatus_to_exitcode(status)
    proc.stdout.close()
    if expired or proc.returncode not in ok_status:
        err.seek(0)
        text = err.read().decode(errors="replace").strip().splitlines()
        reason = "timed out after %d s" % timeout if expired else "exit %d" % proc.returncode
        raise RuntimeError("%s: %s" % (reason, text[-1][-300:] if text else "no message"))
    err.close()
    return {"cpu_s": usage.ru_utime + usage.ru_stime, "rss_mib": usage.ru_maxrss / 1024.0,
            "switches": usage.ru_nvcsw + usage.ru_nivcsw,
            "wall_s": wall, "first_out_ms": None if first is None else first * 1000.0,
            "stdout_tail": tail}


def last_json_line(text, where):
    lines = [line for line in text.splitlines() if line.strip()]
    if not lines:
        raise RuntimeError("%s is empty" % where)
    try:
        return json.loads(lines[-1])
    except ValueError:
        raise RuntimeError("%s: not JSON: %s" % (where, lines[-1][:200]))


def pick(obj, fields, where):
    values = {}
    for field in fields:
        value = obj.get(field)
        if isinstance(value, list) and value and all(isinstance(v, (int, float)) for v in value):
            values[field] = value
            continue
        if not isinstance(value, (int, float)) or isinstance(value, bool):
            raise RuntimeError("%s: no number %s" % (where, field))
        values[field] = value
    return values


def start_server(argv):
    """(process, port) of a server that announces "PORT <n>"; RuntimeError when it does not."""
    proc = subprocess.Popen(argv, stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                            stdin=subprocess.DEVNULL, start_new_session=True)
    deadline = time.monotonic() + 10
    while time.monotonic() < deadline:
        ready, _, _ = select.select([proc.stdout], [], [], max(0.0, deadline - time.monotonic()))
        line = proc.stdout.readline().decode() if ready else ""
        if line.startswith("PORT "):
            return proc, int(line.split()[1])
        if ready and not line:
            break
    stop_server(proc)
    raise RuntimeError("server %s did not announce its port" % " ".join(argv))


def stop_server(proc):
    kill_group(proc.pid)
    proc.wait()
    proc.stdout.close()


def measure(command, port):
    """The figures of one run of a command (raises RuntimeError on failure)."""
    argv = [a.replace("{port}", str(port)) for a in command["argv"]]
    result = run_once(argv, command.get("timeout", 600), command.get("ok_status", [0]))
    figures = {}
    if command.get("process", True):
        figures = {k: result[k] for k in ("cpu_s", "wall_s", "rss_mib", "switches", "first_out_ms")
                   if result[k] is not None}
        if not command.get("first_out", True):
            del figures["first_out_ms"]
    if "figures" in command:
        path = command["figures"]["path"]
        with open(path) as f:
            figures.update(pick(last_json_line(f.read(), path), command["figures"]["fields"], path))
    if "stdout_json" in command:
        text = result["stdout_tail"].decode(errors="replace")
        figures.update(pick(last_json_line(text, "standard output"), command["stdout_json"],
                            "standard output"))
    return figures


def main(argv):
    if len(argv) != 4:
        sys.stderr.write(__doc__)
        return 2
    runs = int(argv[1])
    with open(argv[2]) as f:
        plan = json.load(f)
    workload = plan["workload"]
    commands = plan["commands"]
    samples = {name: [] for name in commands}
    errors = {}

    def one(name, port):
        try:
            samples[name].append(measure(commands[name], port))
        except (RuntimeError, OSError) as e:
            errors[name] = str(e)

    for _ in range(runs):
        server, port = None, 0
        if "server" in plan:
            try:
                server, port = start_server(plan["server"]["argv"])
            except (RuntimeError, OSError) as e:
                print("benchmark run failed: %s" % e)
                return 1
        # Interleaved, so that the shared machine's slow moments spread over all commands.
        pending = [name for name in commands if name not in errors]
        if plan.get("concurrent"):
            threads = [threading.Thread(target=one, args=(name, port)) for name in pending]
            for t in threads:
                t.start()
            for t in threads:
                t.join()
        else:
            for name in pending:
                one(name, port)
        if server is not None:
            stop_server(server)

    print("== %s (medians of %d runs)" % (workload, runs))
    with open(argv[3], "a") as out:
        for name, command in commands.items():
            peer = command.get("peer", name)
            if name in errors:
                print("  %-34s FAILED: %s" % (name, errors[name]))
                out.write(json.dumps({"workload": workload, "peer": peer, "command": name,
                                      "error": errors[name]}) + "\n")
                continue
            parts = []
            for figure in samples[name][0]:
                values = [s[figure] for s in samples[name]]
                if isinstance(values[0], list):
                    values = [v for run in values for v in run]
                value = statistics.median(values)
                parts.append("%s %.4g" % (figure, value))
                out.write(json.dumps({"workload": workload, "peer": peer, "command": name,
                                      "figure": figure, "value": value, "runs": values}) + "\n")
            print("  %-34s %s" % (name, ", ".join(parts)))
    return 0


if __name__ == "__main__":
    sys.exit(main(sys.argv))
