# SPDX-License-Identifier: MIT
"""usage: python3 bench/service BUILD [--seconds N] [--rounds N] [--page]

Measures tovkit serve beside Flask with Pillow and Node with @napi-rs/canvas, two processes each, on the same label of three
lines: requests a second and times at 1, 16 and 256 connections by wrk, times at half of that load by h2load. Each round
runs all in random order; figures are medians of the rounds. They go to BUILD/service.json, with --page also to
bench/page/service.md, which ends the page of benchmarks, with its chart. Installs Node's part into BUILD/service-peers.
"""
import argparse
import datetime
import json
import os
import pathlib
import random
import re
import shutil
import signal
import statistics
import subprocess
import sys
import time

HERE = pathlib.Path(__file__).resolve().parent
sys.path.append(str(HERE.parents[1] / "tests/support"))
import report  # noqa: E402
from ports import free_port  # noqa: E402

CONNECTIONS = (1, 16, 256)
NAMES = {"tovkit": "tovkit serve", "cached": "tovkit serve, from its cache", "node": "Node, @napi-rs/canvas", "flask": "Flask, Pillow"}


def install_node(build):
    """Folder with node_modules, as the lock file says."""
    folder = build / "service-peers"
    folder.mkdir(exist_ok=True)
    for name in ("package.json", "package-lock.json"):
        shutil.copy(HERE / name, folder)
    subprocess.run(["npm", "install", "--ignore-scripts", "--no-audit", "--no-fund", "--silent"], cwd=folder, check=True)
    return folder


def commands(build, port, folder):
    ours = [str(build / "cli/tovkit"), "serve", "--listen", f"127.0.0.1:{port}", "-j", "2", "--queue", "1024", "--log", "none"]
    return {
        "tovkit": [*ours, "--cache", "0"],
        "cached": ours,
        "node": ["node", str(HERE / "label_node.js"), str(port), "2", str(folder)],
        "flask": ["/usr/bin/gunicorn", "--bind", f"127.0.0.1:{port}", "--workers", "2", "--worker-class", "gthread", "--threads", "4",
                  "--keep-alive", "60", "--log-level", "error", "--chdir", str(HERE), "label_flask:app"],
    }


class Running:
    """A service that runs while the block does."""

    def __init__(self, command, port):
        self.command, self.port = command, port

    def __enter__(self):
        self.process = subprocess.Popen(self.command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, start_new_session=True,
                                        env=dict(os.environ, PYTHONDONTWRITEBYTECODE="1"))
        end = time.monotonic() + 30
        while subprocess.run(["curl", "-fs", "-o", "/dev/null", f"http://127.0.0.1:{self.port}/readyz"], check=False).returncode:
            if self.process.poll() is not None or time.monotonic() > end:
                sys.exit(f"does not start: {' '.join(self.command)}")
            time.sleep(0.05)
        return self

    def __exit__(self, *_):
        os.killpg(self.process.pid, signal.SIGTERM)
        try:
            self.process.wait(10)
        except subprocess.TimeoutExpired:
            os.killpg(self.process.pid, signal.SIGKILL)
            self.process.wait()


def processor_seconds(session):
    """Of all processes of a session so far, those that have ended and were waited for among them: workers are replaced."""
    total = 0
    for file in pathlib.Path("/proc").glob("[0-9]*/stat"):
        try:
            fields = file.read_text().rpartition(")")[2].split()
        except OSError:
            continue
        if int(fields[3]) == session:
            total += sum(map(int, fields[11:15]))
    return total / os.sysconf("SC_CLK_TCK")


def run_wrk(port, connections, seconds, same):
    out = subprocess.run(["wrk", "--threads", "1", "--connections", str(connections), "--duration", f"{seconds}s", "--timeout", "30s",
                          "--script", str(HERE / "label.lua"), f"http://127.0.0.1:{port}", "--", "one" if same else "new"],
                         capture_output=True, text=True, check=True).stdout
    found = json.loads(out.splitlines()[-1])
    return {"rate": found["requests"] / found["seconds"], "failed": found["failed"],
            **{key: found[key] / 1e3 for key in ("p50", "p99", "p999")}}


def percentile(times, percent):
    return times[min(len(times) - 1, int(len(times) * percent / 100))]


def run_h2load(port, rate, seconds, scratch):
    """Times at a steady rate on 16 connections; each request has a background of its own, so that none is drawn before."""
    clients = 16
    urls, log = scratch / "urls", scratch / "h2load.log"
    start = random.randrange(1 << 24)
    urls.write_text("".join(f"http://127.0.0.1:{port}/v1/draw?format=png&size=400x120&background=%23{(start + i) % (1 << 24):06x}\n"
                            for i in range(int(rate * seconds) + clients)))
    log.unlink(missing_ok=True)
    out = subprocess.run(["h2load", "--h1", "--clients", str(clients), "--rps", f"{max(rate / clients, 0.1):.2f}", "--duration", str(seconds),
                          "--warm-up-time", "1", "--input-file", str(urls), "--data", str(HERE / "label.json"), "--header",
                          "content-type: application/json", "--log-file", str(log)], capture_output=True, text=True, check=True).stdout
    statuses, times = [], []
    for line in log.read_text().splitlines():
        _, status, micros = line.split("\t")[:3]
        statuses.append(int(status))
        times.append(int(micros) / 1e6)
    times.sort()
    finished = re.search(r"finished in [^,]+, ([0-9.]+) req/s", out)
    return {"rate": float(finished.group(1)), "failed": sum(status != 200 for status in statuses), "count": len(times),
            **{name: percentile(times, percent) for name, percent in (("p50", 50), ("p99", 99), ("p999", 99.9))}}


def measure_round(arguments, folder, scratch):
    found = {}
    for who in random.sample(list(NAMES), len(NAMES)):
        port = free_port()
        with Running(commands(arguments.build, port, folder)[who], port) as running:
            run_wrk(port, 16, 1, who == "cached")
            rows = {}
            for count in CONNECTIONS:
                before = processor_seconds(running.process.pid)
                row = rows[str(count)] = run_wrk(port, count, arguments.seconds, who == "cached")
                row["cost"] = (processor_seconds(running.process.pid) - before) / (row["rate"] * arguments.seconds)
            if who != "cached":
                rows["half"] = run_h2load(port, rows["16"]["rate"] / 2, arguments.seconds, scratch)
        found[who] = rows
        print(who, json.dumps(rows), file=sys.stderr, flush=True)
    return found


def medians(rounds):
    return {who: {row: {key: statistics.median(one[who][row][key] for one in rounds) for key in values}
                  for row, values in rounds[0][who].items()} for who in rounds[0]}


def main():
    parser = argparse.ArgumentParser(prog="bench/service", description=__doc__, formatter_class=argparse.RawDescriptionHelpFormatter)
    parser.add_argument("build", type=lambda text: pathlib.Path(text).resolve())
    parser.add_argument("--seconds", type=int, default=10, help="of each measurement (10)")
    parser.add_argument("--rounds", type=int, default=3)
    parser.add_argument("--page", action="store_true", help="write bench/page/service.md and the chart")
    arguments = parser.parse_args()
    folder = install_node(arguments.build)
    rounds = []
    for _ in range(arguments.rounds):
        rounds.append(measure_round(arguments, folder, folder))
        (arguments.build / "service.json").write_text(json.dumps({"date": str(datetime.date.today()), "seconds": arguments.seconds,
                                                                  "rounds": rounds}))
    found = medians(rounds)
    lines = list(report.table(found, NAMES))
    print("\n".join(lines))
    if arguments.page:
        report.write_page(HERE.parent, found, NAMES, lines, arguments)


if __name__ == "__main__":
    main()
