"""Makes of the figures what people read: the table on the console, docs/benchmarks.md and docs/benchmarks.svg."""

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

# title, row, figure: the lower the better but for the last
TABLE = [(f"encode `add` of {size:,} commands, us", f"encode {size}", "us") for size in SIZES]
TABLE += [(f"decode {size:,} sensor nodes, us", f"decode {size}", "us") for size in SIZES]
for bus in "dbus-daemon", "dbus-broker":
    for figure, unit in ("us", "median us"), ("cpu", "client CPU us"):
        TABLE += [(f"one call over {bus}, {unit}", f"call {bus}", figure),
                  (f"the same with managers started, {unit}", f"call-started {bus}", figure),
                  (f"list 1,000 nodes over {bus}, {unit}", f"list {bus}", figure)]
    TABLE += [(f"`modified` at full rate over {bus}, client CPU us each", f"signals {bus}", "cpu")]
TABLE += [("`add` of 1,000 commands over dbus-daemon, client CPU us", "add", "cpu")]
for threads in 1, 4, 16:
    TABLE += [(f"{threads} threads, 99th percentile us", f"threads {threads}", "p99"),
              (f"{threads} threads, calls/s", f"threads {threads}", "rate")]

NOTES = [
    "Everything, the client, the bus and the service, is pinned to one core. Rows of encoding and decoding, and where "
    "it says so, are the client's processor time, the others wall time. Medians; ratios are the medians of each "
    "round's. Every message is used once, and values differ between messages.",
    "What a peer decodes ends in objects of their own on the heap, as the project's nodes are; what the project "
    "encodes are its Command objects, whose error text it formats on the way, while the peers have theirs at hand.",
    "sd-bus and sdbus-c++ check a body while it is read and have no public way to a message from bytes: they decode "
    "one that was sealed and rewound. The others, the project too, check the whole message first.",
    "sd-bus is used with its typed calls, which take about four fifths of the time that its format strings take, for "
    "encoding and for decoding. libdbus's message is ready once it is locked, which copies nothing. Most of GDBus's time "
    "is counting references of GVariants and allocating them.",
    "sdbus-c++ 1.2 appends and reads byte arrays element by element; later versions have them whole.",
    "sd-bus has a connection for each thread, because its connections are not shared by threads; all others share one.",
    "`bare` is no library: a call's bytes made beforehand, one send, one poll, one receive. What a library adds to that "
    "is its own; most of a call's processor time is the kernel's, which switches to the bus and back.",
    "The client CPU of `hardReset` cannot reach 0.7 of sd-bus's on a machine where `bare` alone is about that: a profile "
    "of the call (perf, cpu-clock) has 56 % in the kernel's finish_task_switch, 9 % in its unlocking with interrupts, "
    "86 % in the kernel in all, 7.5 % in the library, 4.4 % in libc. Beyond `bare`, the library takes about half of what "
    "sd-bus takes. Tried and kept: no read before the send, the background thread left asleep, waiters woken with no "
    "mutex held.",
    "In flight, what is resident is read after each round of adding and expiring 100,000 commands. The bytes in use come "
    "back to the same number each time; what early rounds add are malloc's arenas, since keys that expire are queued by "
    "the timers' thread and freed by another's, and how many wait at once is the scheduler's choice.",
    "With 16 threads the 99th percentile is sd-bus's within about 2 % either way, from run to run: on one core it is the "
    "time in which the bus serves the other fifteen.",
    "`add` of the project includes the keys and timers of the commands; of sd-bus only the call.",
]


@dataclasses.dataclass
class Result:
    figures: dict
    peers: list
    notes: list
    system_calls: dict = dataclasses.field(default_factory=dict)
    resident: float = None
    in_process: dict = dataclasses.field(default_factory=dict)
    sizes: dict = dataclasses.field(default_factory=dict)
    seconds: float = 0

    def median(self, row, peer, figure):
        rounds = self.figures.get((row, peer))
        return statistics.median(entry[figure] for entry in rounds) if rounds else None

    def ratio(self, row, other, figure, base=None):
        """The project's figure in `row` over the other's in the same, or in `base`."""
        mine, theirs = self.figures.get((row, PROJECT)), self.figures.get((base or row, other))
        if not mine or not theirs:
            return None
        return statistics.median(a[figure] / b[figure] for a, b in zip(mine, theirs))

    def each(self, name, figure):
        """A benchmark's figure; its time in us for each item."""
        entry = self.in_process.get(name)
        if not entry:
            return None
        if figure != "us":
            return entry.get(figure)
        unit = {"ns": 1e-3, "us": 1, "ms": 1e3}[entry["time_unit"]]
        parts = name.split("/")
        return entry["real_time"] * unit / int(parts[1] if parts[1].isdigit() else 1)


def inverse(value):
    return 1 / value if value else None


def targets(result):
    """What must be reached: a text, what it is, and the least or the most that it may be."""
    def beats(row, figure="us"):
        return inverse(result.ratio(row, "sd-bus", figure))
    yield "encode 1,000 commands: times faster than sd-bus", beats("encode 1000"), "at least", 15
    yield "encode 1 command: times faster than sd-bus", beats("encode 1"), "at least", 4
    yield "decode 1,000 sensor nodes: times faster than sd-bus", beats("decode 1000"), "at least", 4
    for bus, limit in ("dbus-daemon", 1.05), ("dbus-broker", 0.95):
        row, started = f"call {bus}", f"call-started {bus}"
        yield f"hardReset over {bus}: median of sd_bus_call's", result.ratio(row, "sd-bus", "us"), "at most", limit
        yield f"hardReset over {bus}: client CPU of its", result.ratio(row, "sd-bus", "cpu"), "at most", 0.7
        yield (f"the same with managers started: median of sd_bus_call's", result.ratio(started, "sd-bus", "us", row),
               "at most", 1.1)
        yield (f"the same with managers started: client CPU of its", result.ratio(started, "sd-bus", "cpu", row),
               "at most", 1)
    yield "hardReset: system calls", result.system_calls.get(PROJECT), "at most", 3.05
    yield "16 threads: calls/s of sd-bus's", result.ratio("threads 16", "sd-bus", "rate"), "at least", 1
    yield "16 threads: 99th percentile of sd-bus's", result.ratio("threads 16", "sd-bus", "p99"), "at most", 1
    for what, figure, limit in ("wall", "us", 0.6), ("client CPU", "cpu", 0.25):
        yield (f"getNodes of 1,000: {what} of sd-bus's", result.ratio("list dbus-daemon", "sd-bus", figure), "at most",
               limit)
    yield "modified: client CPU of sd-bus's", result.ratio("signals dbus-daemon", "sd-bus", "cpu"), "at most", 0.7
    lost = [entry["lost"] for row, peer in result.figures if row.startswith("signals") and peer == PROJECT
            for entry in result.figures[row, peer]]
    yield "modified: lost", sum(lost) if lost else None, "at most", 0
    yield "add of 1,000: client CPU of sd-bus's bare call", result.ratio("add", "sd-bus", "cpu"), "at most", 1
    yield "100,000 in flight: bytes each", result.each("addCommands/100000", "bytes_each"), "at most", 400
    for what, name in ("adding", "addCommands/100000"), ("re-arming", "rearmCommands/100000"), (
            "expiring", "expireCommands/100000"):
        yield f"100,000 in flight: {what}, us each", result.each(name, "us"), "at most", 2
    few, many = (result.each(f"expireCommands/{count}", "process_threads") for count in (1000, 100000))
    yield ("100,000 in flight: threads more than with 1,000", None if many is None or few is None else many - few,
           "at most", 0)
    for which, rounds in ("second", "the second round adds"), ("later", "twelve later rounds add"):
        grown = result.each("expireCommands/100000", f"{which}_round_KiB")
        yield f"100,000 in flight: KiB that {rounds} to the process", grown, "at most", 256
    within, over = (result.each(f"call{bus}/started:0", "us") for bus in ("InProcess", "OverDaemon"))
    yield "in-process call of the daemon's time", within / over if within and over else None, "at most", 0.5
    yield "stripped library on 32-bit ARM, KiB", result.sizes.get("32-bit ARM"), "at most", 300
    yield "started client beside an empty program, KiB resident", result.resident, "at most", 1024


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


TARGET_HEADS = ["what must be reached", "measured", "limit", "reached"]
IN_PROCESS_HEADS = ["benchmark", "time", "items/s"]


def text(result):
    parts = [lines(figure_rows(result), ["(times the project's)"] + result.peers),
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

Made by `./dev bench`, which measures the project and four other libraries doing the same work, in turn, after checking
that all write the same bytes and read the same values.

{chr(10).join(f"- {line}" for line in machine())}

## What must be reached

{markdown(target_rows(result), TARGET_HEADS)}

The shared library, stripped: {sizes}.

## Side by side

In parentheses, how many times the project's figure.

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
