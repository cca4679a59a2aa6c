"""Formats the figures: the tables on the console, docs/benchmarks.md and docs/benchmarks.svg."""

import dataclasses
import math
import os
import pathlib
import platform
import statistics
import subprocess

PROJECT = "hevra"
PACKAGES = ["libsystemd0", "libsdbus-c++1", "libdbus-1-3", "libglib2.0-0", "dbus-daemon", "dbus-broker"]
SIZES = [1, 10, 100, 1000, 10000]

# Title, row and figure. Lower is better, except for the calls per second.
TABLE = [(f"encode `add` of {size:,} commands, us", f"encode {size}", "us") for size in SIZES]
TABLE += [(f"decode {size:,} sensor nodes, us", f"decode {size}", "us") for size in SIZES]
for bus in "dbus-daemon", "dbus-broker":
    for figure, unit in ("us", "median us"), ("cpu", "client CPU us"):
        TABLE += [(f"one call over {bus}, {unit}", f"call {bus}", figure),
                  (f"the same with managers started, {unit}", f"call-started {bus}", figure),
                  (f"list 1,000 nodes over {bus}, {unit}", f"list {bus}", figure)]
    TABLE += [(f"`modified` at full rate over {bus}, client CPU us each", f"signals {bus}", "cpu"),
              ("the same in the client's event loop, client CPU us each", f"signals-in-loop {bus}", "cpu"),
              (f"1,000 calls in flight from one thread over {bus}, calls/s", f"async {bus}", "rate"),
              ("the same, client CPU us each", f"async {bus}", "cpu")]
TABLE += [("`add` of 1,000 commands over dbus-daemon, client CPU us", "add", "cpu")]
for threads in 1, 4, 16:
    TABLE += [(f"{threads} threads, 99th percentile us", f"threads {threads}", "p99"),
              (f"{threads} threads, calls/s", f"threads {threads}", "rate")]

NOTES = [
    "Everything runs on one core: the client, the bus and the service. The rows of encoding and decoding, and those "
    "that say so, give the client's processor time; the others give wall time. The figures are medians, and the "
    "ratios are medians of the ratios of each round. Every message is used once, and the values differ between "
    "messages.",
    "Each library decodes into separate objects on the heap. The project encodes its Command objects and formats "
    "their error texts while it encodes; the peers have these texts ready.",
    "sd-bus and sdbus-c++ check a body while they read it, and have no public function that takes the bytes of a "
    "message. They decode a message that was sealed and rewound. The others, including the project, first check the "
    "whole message.",
    "sd-bus is used through its typed functions, which take about four fifths of the time of its format strings, for "
    "encoding and for decoding. A message of libdbus is ready when it is locked, which copies nothing. GDBus spends "
    "most of its time on allocating GVariants and counting references to them.",
    "sdbus-c++ 1.2 appends and reads byte arrays one byte at a time; later versions handle them as a whole.",
    "sd-bus uses one connection for each thread, because threads cannot share its connections. All others share one.",
    "`bare` uses no library: it makes the bytes of the call beforehand and calls send, poll and receive once each. "
    "The difference to `bare` is the cost of a library. The kernel takes most of the processor time of a call, "
    "because it switches to the bus and back.",
    "The client CPU of `hardReset` cannot reach 0.7 of sd-bus's on a machine where `bare` alone takes about that "
    "much. A profile of the call (perf, cpu-clock) has 56 % in the kernel's finish_task_switch, 9 % in its unlocking "
    "with interrupts, 86 % in the kernel in all, 7.5 % in the library and 4.4 % in libc. Beyond `bare`, the library "
    "takes about half of what sd-bus takes. Three measures reduced the time: the caller does not read before it "
    "sends, the background thread stays asleep, and waiting threads are woken while no mutex is held.",
    "The resident size with commands in flight is read after each round of adding and expiring 100,000 commands. The "
    "bytes in use return to the same number each time. The first rounds add arenas of malloc: the timers' thread "
    "queues the keys of expired commands and another thread frees them, and the scheduler decides how many wait at "
    "once.",
    "With 16 threads, the 99th percentile differs from sd-bus's by about 2 % in either direction from run to run. On "
    "one core, this is the time that the bus needs for the other fifteen threads.",
    "For the project, `add` includes the keys and timers of the commands; for sd-bus, it is only the call.",
]


@dataclasses.dataclass
class Result:
    figures: dict
    peers: list
    notes: list
    system_calls: dict = dataclasses.field(default_factory=dict)
    resident: dict = dataclasses.field(default_factory=dict)
    in_process: dict = dataclasses.field(default_factory=dict)
    sizes: dict = dataclasses.field(default_factory=dict)
    seconds: float = 0

    def median(self, row, peer, figure):
        rounds = self.figures.get((row, peer))
        return statistics.median(entry[figure] for entry in rounds) if rounds else None

    def ratio(self, row, other, figure, base=None):
        """The project's figure in `row`, divided by the other's in `base`, or in the same row."""
        mine, theirs = self.figures.get((row, PROJECT)), self.figures.get((base or row, other))
        if not mine or not theirs:
            return None
        return statistics.median(a[figure] / b[figure] for a, b in zip(mine, theirs))

    def each(self, name, figure):
        """A benchmark's figure; "us" is its time for each item."""
        entry = self.in_process.get(name)
        if not entry:
            return None
        if figure != "us":
            return entry.get(figure)
        unit = {"ns": 1e-3, "us": 1, "ms": 1e3}[entry["time_unit"]]
        parts = name.split("/")
        return entry["real_time"] * unit / int(parts[1] if parts[1].isdigit() else 1)


def targets(result):
    """Yields each target: its text, the measured value, and the least or the most that it may be."""
    def speedup(row):
        ratio = result.ratio(row, "sd-bus", "us")
        return 1 / ratio if ratio else None
    yield "encode 1,000 commands: times faster than sd-bus", speedup("encode 1000"), "at least", 15
    yield "encode 1 command: times faster than sd-bus", speedup("encode 1"), "at least", 4
    yield "decode 1,000 sensor nodes: times faster than sd-bus", speedup("decode 1000"), "at least", 4
    for bus, limit in ("dbus-daemon", 1.05), ("dbus-broker", 0.95):
        row, started = f"call {bus}", f"call-started {bus}"
        yield f"hardReset over {bus}: median, relative to sd-bus", result.ratio(row, "sd-bus", "us"), "at most", limit
        yield f"hardReset over {bus}: client CPU, relative to sd-bus", result.ratio(row, "sd-bus", "cpu"), "at most", 0.7
        yield ("the same with managers started: median", result.ratio(started, "sd-bus", "us", row),
               "at most", 1.1)
        yield ("the same with managers started: client CPU", result.ratio(started, "sd-bus", "cpu", row),
               "at most", 1)
    yield "hardReset: system calls", result.system_calls.get(PROJECT), "at most", 3.05
    yield "16 threads: calls/s, relative to sd-bus", result.ratio("threads 16", "sd-bus", "rate"), "at least", 1
    yield "16 threads: 99th percentile, relative to sd-bus", result.ratio("threads 16", "sd-bus", "p99"), "at most", 1
    for what, figure, limit in ("wall time", "us", 0.6), ("client CPU", "cpu", 0.25):
        yield (f"getNodes of 1,000: {what}, relative to sd-bus", result.ratio("list dbus-daemon", "sd-bus", figure), "at most",
               limit)
    yield "modified: client CPU, relative to sd-bus", result.ratio("signals dbus-daemon", "sd-bus", "cpu"), "at most", 0.7
    lost = [entry["lost"] for row, peer in result.figures if row.startswith("signals") and peer == PROJECT
            for entry in result.figures[row, peer]]
    yield "modified: lost signals", sum(lost) if lost else None, "at most", 0
    yield "add of 1,000: client CPU, relative to sd-bus's call alone", result.ratio("add", "sd-bus", "cpu"), "at most", 1
    yield "100,000 in flight: bytes each", result.each("addCommands/100000", "bytes_each"), "at most", 400
    for what, name in ("adding", "addCommands/100000"), ("re-arming", "rearmCommands/100000"), (
            "expiring", "expireCommands/100000"):
        yield f"100,000 in flight: {what}, us each", result.each(name, "us"), "at most", 2
    few, many = (result.each(f"expireCommands/{count}", "process_threads") for count in (1000, 100000))
    yield ("100,000 in flight: additional threads over 1,000", None if many is None or few is None else many - few,
           "at most", 0)
    for which, rounds in ("second", "the second round"), ("later", "the last eleven rounds"):
        grown = result.each("expireCommands/100000", f"{which}_round_KiB")
        yield f"100,000 in flight: KiB that the process grows in {rounds}", grown, "at most", 256
    within, over = (result.each(f"call{bus}/started:0", "us") for bus in ("InProcess", "OverDaemon"))
    yield "in-process call: time, relative to a call over dbus-daemon", within / over if within and over else None, "at most", 0.5
    yield "stripped library on 32-bit ARM, KiB", result.sizes.get("32-bit ARM"), "at most", 300
    for bus in "dbus-daemon", "dbus-broker":
        row = f"async {bus}"
        yield (f"1,000 calls in flight from one thread over {bus}: calls/s, relative to sd-bus",
               result.ratio(row, "sd-bus", "rate"), "at least", 1)
        yield "the same: client CPU, relative to sd-bus", result.ratio(row, "sd-bus", "cpu"), "at most", 0.8
        yield (f"modified on a dispatcher over {bus}: client CPU, relative to sd-bus's event loop",
               result.ratio(f"signals-in-loop {bus}", "sd-bus", "cpu"), "at most", 0.5)
    for way, limit in ("with threads", 1024), ("on a dispatcher", 600):
        yield f"started client {way}: KiB resident above an empty program", result.resident.get(way), "at most", limit


def number(value):
    if value is None:
        return "-"
    if value >= 1000:
        return f"{value:,.0f}"
    return f"{value:.3g}"


def target_rows(result):
    for text, value, direction, limit in targets(result):
        if value is None:
            reached = "not measured"
        else:
            reached = "yes" if (value >= limit if direction == "at least" else value <= limit) else "NO"
        yield [text, number(value), f"{direction} {number(limit)}", reached]


def figure_rows(result):
    for title, row, figure in TABLE:
        values = [result.median(row, peer, figure) for peer in result.peers]
        mine = values[0]
        if any(value is not None for value in values):
            yield [title] + [number(value) + (f" ({value / mine:.2f})" if value and mine and index else "")
                             for index, value in enumerate(values)]
    if result.system_calls:
        yield ["system calls of one call"] + [number(result.system_calls.get(peer)) for peer in result.peers]


def in_process_rows(result):
    for name, entry in sorted(result.in_process.items(), key=lambda item: (
            item[1]["family_index"], item[1]["per_family_instance_index"])):
        clock = "real_time" if "/real_time" in entry["run_name"] else "cpu_time"
        yield [name, f"{number(entry[clock])} {entry['time_unit']}",
               f"{number(entry['items_per_second'])}" if "items_per_second" in entry else "-"]


def lines(rows, heads):
    rows = [heads, *rows]
    widths = [max(len(row[i]) for row in rows) for i in range(len(heads))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows)


def markdown(rows, heads):
    rows = [heads, ["---"] * len(heads), *rows]
    return "\n".join("| " + " | ".join(row) + " |" for row in rows)


TARGET_HEADS = ["target", "measured", "limit", "reached"]
IN_PROCESS_HEADS = ["benchmark", "time", "items/s"]


def text(result):
    parts = [lines(figure_rows(result), ["(ratios to the project's)"] + result.peers),
             lines(target_rows(result), TARGET_HEADS)]
    if result.in_process:
        parts.insert(1, lines(in_process_rows(result), IN_PROCESS_HEADS))
    return "\n\n".join(parts + result.notes + [f"{result.seconds:.0f} s"])


def output(*command):
    try:
        return subprocess.run(command, capture_output=True, text=True, check=False).stdout.strip()
    except OSError:
        return ""


def machine():
    cpu = next((line.split(":")[1].strip() for line in pathlib.Path("/proc/cpuinfo").read_text().splitlines()
                if line.startswith("model name")), platform.machine())
    versions = [line for package in PACKAGES
                if (line := output("dpkg-query", "-W", "-f", "${Package} ${Version}", package))]
    return [f"{cpu}, {os.cpu_count()} cores", f"Linux {platform.release()}",
            output("g++", "--version").splitlines()[0] + ", `-O2`", ", ".join(versions)]


def write(result, folder):
    sizes = ", ".join(f"{number(size)} KiB on {where}" for where, size in result.sizes.items())
    notes = "\n".join(f"- {note}" for note in NOTES + result.notes)
    folder.joinpath("benchmarks.md").write_text(f"""# Benchmarks

`./dev bench` writes this page. It measures the project and four other libraries that do the same work. It first checks
that all of them write the same bytes and read the same values.

{chr(10).join(f"- {line}" for line in machine())}

## Targets

{markdown(target_rows(result), TARGET_HEADS)}

The shared library, stripped: {sizes}. [size.md](size.md) has the packages, the memory and the start-up on a gateway.

## Side by side

The figures in parentheses are ratios to the project's figure.

{markdown(figure_rows(result), [""] + result.peers)}

![Encoding and decoding by size](benchmarks.svg)

{notes}

## Inside one process

{markdown(in_process_rows(result), IN_PROCESS_HEADS)}
""", encoding="utf-8")
    folder.joinpath("benchmarks.svg").write_text(plot(result), encoding="utf-8")


COLOURS = ["#d62728", "#1f77b4", "#2ca02c", "#9467bd", "#7f7f7f"]


def plot(result):
    """Time by size, both logarithmic, one panel for encoding and one for decoding."""
    width, height, margin = 420, 320, 50
    peers = [peer for peer in result.peers if result.median("encode 1", peer, "us")]
    values = [value for verb in ("encode", "decode") for size in SIZES for peer in peers
              if (value := result.median(f"{verb} {size}", peer, "us"))]
    low, high = math.floor(math.log10(min(values))), math.ceil(math.log10(max(values)))
    out = [f'<svg xmlns="http://www.w3.org/2000/svg" viewBox="0 0 {2 * (width + margin) + 110} {height + 2 * margin}" '
           'font-family="sans-serif" font-size="12">', '<rect width="100%" height="100%" fill="white"/>']

    def y_of(value):
        return margin + height * (high - math.log10(value)) / (high - low)

    for panel, (verb, title) in enumerate((("encode", "encode commands"), ("decode", "decode sensor nodes"))):
        left = margin + panel * (width + margin)
        out.append(f'<text x="{left}" y="{margin - 15}" font-weight="bold">{title}, us</text>')
        for power in range(low, high + 1):
            y = y_of(10 ** power)
            out.append(f'<path d="M{left} {y:.1f}h{width}" stroke="#ddd"/>'
                       f'<text x="{left - 4}" y="{y + 4:.1f}" text-anchor="end">{10 ** power:g}</text>')
        x_of = {size: left + width * index / (len(SIZES) - 1) for index, size in enumerate(SIZES)}
        out += [f'<text x="{x:.1f}" y="{margin + height + 18}" text-anchor="middle">{size:,}</text>'
                for size, x in x_of.items()]
        for index, peer in enumerate(peers):
            values = [(x_of[size], result.median(f"{verb} {size}", peer, "us")) for size in SIZES]
            points = " ".join(f"{x:.1f},{y_of(value):.1f}" for x, value in values if value)
            out.append(f'<polyline points="{points}" fill="none" stroke="{COLOURS[index]}" stroke-width="2"/>')
    for index, peer in enumerate(peers):
        x, y = 2 * (width + margin) + 10, margin + 20 * index
        out.append(f'<path d="M{x} {y}h20" stroke="{COLOURS[index]}" stroke-width="2"/>'
                   f'<text x="{x + 26}" y="{y + 4}">{peer}</text>')
    return "\n".join(out + ["</svg>"]) + "\n"
