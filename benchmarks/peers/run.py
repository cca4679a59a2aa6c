#!/usr/bin/python3
"""Compares the project with other libraries and with what is written by hand: starts the buses, checks that all do the
same work, runs their programs in turn for several rounds, and passes the figures to report.py. See --help."""

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
PEERS = ["hevra", "hand-written", "sd-bus", "sdbus-c++", "libdbus", "gdbus"]
FEW = PEERS[:3]  # those that the limits are about
SIZES = {1: 20, 10: 20, 100: 20, 1000: 10, 10000: 2}
DAEMON, BROKER = "dbus-daemon", "dbus-broker"

# One measurement: a verb of the peers' programs, how often, of which size, on which bus, and by which peers.
Row = collections.namedtuple("Row", "name verb count size bus peers")


def rows():
    for size, count in SIZES.items():
        yield Row(f"encode {size}", "encode", count, size, DAEMON, PEERS)
        yield Row(f"decode {size}", "decode", count, size, DAEMON, PEERS)
    for verb in "encode-plain", "encode-errors", "encode-short-labels", "encode-long-labels":
        yield Row(f"{verb} 1000", verb, SIZES[1000], 1000, DAEMON, FEW)
    for verb in "encode-errors", "decode-add":
        yield Row(f"{verb} 1", verb, SIZES[1], 1, DAEMON, FEW)
    yield Row("decode-add 1000", "decode-add", SIZES[1000], 1000, DAEMON, FEW)
    yield Row("report", "report", SIZES[1], 1, DAEMON, FEW)
    for bus in DAEMON, BROKER:
        yield Row(f"call {bus}", "call", 1500, 1, bus, PEERS)
        yield Row(f"call-started {bus}", "call-started", 1500, 1, bus, ["hevra"])
        yield Row(f"first {bus}", "first", 60, 1, bus, PEERS)
        yield Row(f"list {bus}", "list", 20, 1000, bus, PEERS)
        yield Row(f"signals {bus}", "signals", 5000, 1, bus, PEERS)
        yield Row(f"signals-in-loop {bus}", "signals-in-loop", 5000, 1, bus, FEW)
        yield Row(f"async {bus}", "async", 6000, 1000, bus, FEW)
    yield Row("process", None, 12, 1, DAEMON, FEW)
    yield Row("add", "add", 12, 1000, DAEMON, FEW)
    for bus, counts in (DAEMON, (1, 4, 16)), (BROKER, (16,)):
        for threads in counts:
            yield Row(f"threads {threads} {bus}", "threads", 4000, threads, bus, PEERS)


def repeat_process(command, count):
    """Runs a program to its end, again and again. Returns its time and its processor time in microseconds."""
    times, cpu = [], 0
    actions = [(os.POSIX_SPAWN_OPEN, 1, "/dev/null", os.O_WRONLY, 0)]
    for _ in range(count):
        before = time.monotonic()
        pid = os.posix_spawn(command[0], command, os.environ, file_actions=actions)
        status, usage = os.wait4(pid, 0)[1:]
        times.append((time.monotonic() - before) * 1e6)
        cpu += (usage.ru_utime + usage.ru_stime) * 1e6
        if status != 0:
            raise RuntimeError(f"{' '.join(command)} failed")
    return {"us": statistics.median(times), "cpu": cpu / count}


class Bench:
    def __init__(self, build, folder):
        self.bin = build / "bin"
        self.folder = folder
        self.peers = [peer for peer in PEERS if (self.bin / f"peer-{peer}").exists()]
        self.buses = {}
        # What CI has built already is enough to show that the row works.
        tools = [build / "bin/hevractl", build.with_name("dev") / "bin/hevractl"]
        self.tool = next((str(tool) for tool in tools if tool.exists()), None)
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

    def process(self, peer, bus):
        """The program that calls "hardreset" once, or None."""
        address = self.buses[bus].address
        if peer == "hevra":
            return self.tool and [self.tool, "--bus", address, "reset"]
        if peer == "sd-bus":
            tool = shutil.which("busctl")
            return tool and [tool, f"--address={address}", "call", "com.quarnix.Application.Hevra",
                             "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard",
                             "com.quarnix.Application.Hevra.Manager.DaughterBoard", "hardreset"]
        return [str(self.bin / f"peer-{peer}"), "once", address, "1"]

    def check(self):
        """Checks that all peers write the same bytes and read the same values."""
        for verb, peers in ("check", PEERS), ("check-reports", FEW):
            records = {}
            for peer in (peer for peer in self.peers if peer in peers):
                record = f"{self.folder}/record-{peer}"
                with self.service(DAEMON, record):
                    self.run(peer, verb, DAEMON, 1)
                records[peer] = pathlib.Path(record).read_bytes()
            different = [peer for peer in records if records[peer] != records["hevra"]]
            if different or not records["hevra"]:
                raise RuntimeError(f"{verb}: {', '.join(different)} wrote other bytes than hevra did")
            print(f"{', '.join(records)}: the same {len(records['hevra'])} bytes written, the same values read")

    def measure(self, rounds, share, wanted):
        """Returns the figures by row and peer: a dictionary with the figures of each round. In each round, the peers run a row
        one after the other; each round begins with the next peer. Those that no limit concerns run in every third round."""
        figures = collections.defaultdict(dict)
        chosen = [row for row in rows() if row.bus in self.buses and re.search(wanted, row.name)]
        for turn in range(rounds):
            for bus in self.buses:
                with self.service(bus):
                    for row in (row for row in chosen if row.bus == bus):
                        peers = [peer for peer in self.peers if peer in row.peers and (turn % 3 == 0 or peer in FEW)]
                        first = turn % len(peers)
                        for peer in peers[first:] + peers[:first]:
                            found = self.measure_row(row, peer, max(1, int(row.count * share)))
                            if found:
                                figures[row.name, peer][turn] = found
            print(f"round {turn + 1} of {rounds}", file=sys.stderr, flush=True)
        return figures

    def measure_row(self, row, peer, count):
        if row.verb:
            return self.run(peer, row.verb, row.bus, count, row.size)
        command = self.process(peer, row.bus)
        return repeat_process(command, count) if command else None

    def system_calls(self):
        """Counts the system calls of a round trip, as lists of one number: the difference between 350 and 50 round trips, divided by 300. The service
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
        return {peer: [(more - less) / 300] for peer, (less, more) in totals.items()}

    def resident(self):
        """Measures how many KiB more than an empty program a started client has resident, with threads and without."""
        def kib(program, *arguments):
            command = [str(self.bin / program), *arguments]
            return [int(subprocess.run(command, capture_output=True, check=True).stdout) for _ in range(5)]
        with self.service(DAEMON):
            empty, address = statistics.median(kib("peer-resident-empty")), self.buses[DAEMON].address
            ways = {"with threads": [address], "on a dispatcher": [address, "dispatcher"]}
            return {way: [size - empty for size in kib("peer-resident", *arguments)] for way, arguments in ways.items()}

    def in_process(self, quick):
        """Runs the project's own benchmarks. expireCommands measures the memory of the process, so it has its own process."""
        found = collections.defaultdict(list)
        for which in ("expireCommands",) if quick else ("expireCommands", "-expireCommands"):
            command = [str(self.bin / "hevra-benchmarks"), "--benchmark_format=json", "--benchmark_min_time=0.02",
                       f"--benchmark_filter={which}"]
            if which.startswith("-"):
                command += ["--benchmark_repetitions=5", "--benchmark_enable_random_interleaving=true"]
            done = subprocess.run(command, capture_output=True, text=True, check=True)
            entries = [entry for entry in json.loads(done.stdout)["benchmarks"] if entry["run_type"] == "iteration"]
            for entry in sorted(entries, key=lambda entry: (
                    entry["family_index"], entry["per_family_instance_index"], entry["repetition_index"])):
                name = re.sub("/iterations:.*", "", entry["run_name"].removesuffix("/real_time"))
                found[name].append(entry)
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
    parser.add_argument("--rounds", type=int, default=18)
    parser.add_argument("--rows", default="", help="run only the rows whose name matches this pattern")
    parser.add_argument("--quick", action="store_true", help="run the checks and one short round")
    parser.add_argument("--page", type=pathlib.Path,
                        help="the folder for the page [docs/, with --quick the build folder]; --rows writes none")
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
    page = options.page or (options.build if options.quick else ROOT / "docs")
    if not options.rows:
        report.write(result, page)


if __name__ == "__main__":
    try:
        main()
    except (RuntimeError, subprocess.SubprocessError) as error:
        sys.exit(f"benchmarks/peers/run.py: {error}")
