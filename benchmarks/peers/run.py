#!/usr/bin/python3
"""Compares the project with other libraries: starts the buses, checks that all libraries do the same work, runs their
programs in turn for several rounds, and passes the figures to report.py. See --help."""

import argparse
import collections
import contextlib
import json
import os
import pathlib
import re
import shutil
import statistics
import subprocess
import sys
import tempfile
import time

import buses
import report

ROOT = pathlib.Path(__file__).resolve().parents[2]
PEERS = ["hevra", "sd-bus", "sdbus-c++", "libdbus", "gdbus"]
BARE = "bare"  # without a library
SIZES = {1: 60, 10: 60, 100: 60, 1000: 40, 10000: 5}
DAEMON, BROKER = "dbus-daemon", "dbus-broker"

# One measurement: a verb of the peers' programs, how often, of which size, on which bus, and by which peers.
Row = collections.namedtuple("Row", "name verb count size bus peers")


def rows():
    for size, count in SIZES.items():
        yield Row(f"encode {size}", "encode", count, size, DAEMON, PEERS)
        yield Row(f"decode {size}", "decode", count, size, DAEMON, PEERS)
    for bus in DAEMON, BROKER:
        yield Row(f"call {bus}", "call", 4000, 1, bus, [*PEERS, BARE])
        yield Row(f"call-started {bus}", "call-started", 4000, 1, bus, ["hevra"])
        yield Row(f"list {bus}", "list", 60, 1000, bus, PEERS)
        yield Row(f"signals {bus}", "signals", 20000, 1, bus, PEERS)
        yield Row(f"signals-in-loop {bus}", "signals-in-loop", 20000, 1, bus, ["hevra", "sd-bus"])
        yield Row(f"async {bus}", "async", 20000, 1000, bus, ["hevra", "sd-bus"])
    yield Row("add", "add", 30, 1000, DAEMON, ["hevra", "sd-bus"])
    for threads in 1, 4, 16:
        yield Row(f"threads {threads}", "threads", 12000, threads, DAEMON, PEERS)


class Bench:
    def __init__(self, build, folder):
        self.bin = build / "bin"
        self.folder = folder
        self.peers = [peer for peer in [*PEERS, BARE] if (self.bin / f"peer-{peer}").exists()]
        self.buses = {}
        self.notes = [f"{peer} is not installed; its figures are missing." for peer in PEERS if peer not in self.peers]

    @contextlib.contextmanager
    def service(self, bus, record="/dev/null", pause=0):
        command = [str(self.bin / "peer-responder"), self.buses[bus].socket, record, str(pause)]
        with open(f"{self.folder}/responder.log", "w", encoding="utf-8") as log:
            process = buses.start_program(command, "ready", log)
            try:
                yield
            finally:
                buses.kill_program(process)

    def start_buses(self):
        self.buses[DAEMON] = buses.Bus(DAEMON, self.folder)
        try:
            self.buses[BROKER] = buses.Bus(BROKER, self.folder, self.buses[DAEMON])
            with self.service(BROKER):
                self.run("hevra", "call", BROKER, 1)
        except (RuntimeError, OSError) as error:
            self.notes.append(f"dbus-broker did not start; its rows are missing: {error}")
            if BROKER in self.buses:
                self.buses.pop(BROKER).stop()

    def run(self, peer, verb, bus, count, size=1, before=()):
        command = [*before, str(self.bin / f"peer-{peer}"), verb, self.buses[bus].address, str(count), str(size)]
        done = subprocess.run(command, capture_output=True, text=True, timeout=120, check=False)
        if done.returncode != 0:
            raise RuntimeError(f"{' '.join(command)} failed: {done.stderr.strip()}")
        return json.loads(done.stdout) if done.stdout else None

    def check(self):
        """Checks that all peers write the same bytes and read the same values."""
        records = {}
        for peer in (peer for peer in self.peers if peer != BARE):
            record = f"{self.folder}/record-{peer}"
            with self.service(DAEMON, record):
                self.run(peer, "check", DAEMON, 1)
            records[peer] = pathlib.Path(record).read_bytes()
        different = [peer for peer in records if records[peer] != records["hevra"]]
        if different or not records["hevra"]:
            raise RuntimeError(f"{', '.join(different)} wrote other bytes than hevra did")
        print(f"{', '.join(records)}: the same {len(records['hevra'])} bytes written, the same values read")

    def measure(self, rounds, share, wanted):
        """Returns the figures by row and peer, as lists with one entry for each round. In each round, the peers run a row one
        after the other; each round begins with the next peer."""
        figures = collections.defaultdict(list)
        chosen = [row for row in rows() if row.bus in self.buses and re.search(wanted, row.name)]
        for turn in range(rounds):
            for bus in self.buses:
                with self.service(bus):
                    for row in (row for row in chosen if row.bus == bus):
                        peers = [peer for peer in self.peers if peer in row.peers]
                        first = turn % len(peers)
                        for peer in peers[first:] + peers[:first]:
                            count = max(1, int(row.count * share))
                            figures[row.name, peer].append(self.run(peer, row.verb, bus, count, row.size))
            print(f"round {turn + 1} of {rounds}", file=sys.stderr, flush=True)
        return figures

    def system_calls(self):
        """Counts the system calls of a round trip: the difference between 350 and 50 round trips, divided by 300. The service
        answers late, because strace slows the caller so much that the answer would arrive before the caller waits."""
        totals = {}
        if not shutil.which("strace"):
            return totals
        with self.service(DAEMON, pause=1000):
            for peer in self.peers:
                for count in 50, 350:
                    out = f"{self.folder}/strace"
                    self.run(peer, "call", DAEMON, count, before=["strace", "-f", "-c", "-o", out])
                    lines = pathlib.Path(out).read_text(encoding="utf-8").splitlines()
                    total = next(line for line in reversed(lines) if line.endswith("total")).split()[3]
                    totals.setdefault(peer, []).append(int(total))
        return {peer: (more - less) / 300 for peer, (less, more) in totals.items()}

    def resident(self):
        """Measures how many KiB more than an empty program a started client has resident, with threads and without."""
        def kib(program, *arguments):
            command = [str(self.bin / program), *arguments]
            return statistics.median(int(subprocess.run(command, capture_output=True, check=True).stdout)
                                     for _ in range(5))
        with self.service(DAEMON):
            empty, address = kib("peer-resident-empty"), self.buses[DAEMON].address
            return {"with threads": kib("peer-resident", address) - empty,
                    "on a dispatcher": kib("peer-resident", address, "dispatcher") - empty}

    def in_process(self, quick):
        """Runs the project's own benchmarks. expireCommands measures the memory of the process, so it has its own process."""
        found = {}
        for which in ("expireCommands",) if quick else ("expireCommands", "-expireCommands"):
            command = [str(self.bin / "hevra-benchmarks"), "--benchmark_format=json", "--benchmark_min_time=0.05",
                       f"--benchmark_filter={which}"]
            if which.startswith("-"):
                command += ["--benchmark_repetitions=3", "--benchmark_enable_random_interleaving=true"]
            done = subprocess.run(command, capture_output=True, text=True, check=True)
            for entry in json.loads(done.stdout)["benchmarks"]:
                if entry["run_type"] == "iteration" and entry["repetitions"] == 1 or (
                        entry.get("aggregate_name") == "median"):
                    name = entry["run_name"].removesuffix("/real_time")
                    name = re.sub("/iterations:.*", "", name)
                    found[name] = entry
        return found


def stripped_size(library, strip):
    with tempfile.NamedTemporaryFile() as copy:
        subprocess.run([strip, "-o", copy.name, str(library)], check=True)
        return os.path.getsize(copy.name) / 1024


def sizes(build):
    found = {}
    for machine, library, strip in (
            ("x86-64", build / "lib/libHevraProxy.so", "strip"),
            ("32-bit ARM", build.with_name("arm-release") / "lib/libHevraProxy.so", "arm-linux-gnueabihf-strip")):
        if library.exists() and shutil.which(strip):
            found[machine] = stripped_size(library, strip)
    return found


def main():
    parser = argparse.ArgumentParser(description=__doc__)
    parser.add_argument("--build", type=pathlib.Path, default=ROOT / "build/release", help="the build folder")
    parser.add_argument("--rounds", type=int, default=5)
    parser.add_argument("--rows", default="", help="run only the rows whose name matches this pattern")
    parser.add_argument("--quick", action="store_true", help="run the checks and one short round")
    options = parser.parse_args()
    begin = time.monotonic()
    # Everything shares one core, the buses and the service too. All wait for each other anyway, and the figures do not
    # depend on the placement of processes by the scheduler.
    cores = sorted(os.sched_getaffinity(0))
    os.sched_setaffinity(0, {cores[-1]})
    with tempfile.TemporaryDirectory(prefix="hevra-bench-") as folder:
        bench = Bench(options.build, folder)
        bench.start_buses()
        bench.check()
        whole = not options.quick and not options.rows
        figures = bench.measure(1 if options.quick else options.rounds, 0.05 if options.quick else 1, options.rows)
        result = report.Result(figures=figures, peers=bench.peers, notes=bench.notes)
        if not options.rows:
            result.system_calls = bench.system_calls()
            result.resident = bench.resident()
            result.in_process = bench.in_process(options.quick)
            result.sizes = sizes(options.build)
        for bus in bench.buses.values():
            bus.stop()
    result.seconds = time.monotonic() - begin
    print(report.text(result))
    if whole:
        report.write(result, ROOT / "docs")


if __name__ == "__main__":
    try:
        main()
    except (RuntimeError, subprocess.SubprocessError) as error:
        sys.exit(f"benchmarks/peers/run.py: {error}")
