"""Formats the figures: the tables on the console, and the page benchmarks.md with its plot."""

import dataclasses
import os
import pathlib
import platform
import statistics
import subprocess
import tempfile

PROJECT, BY_HAND, BASE = "hevra", "hand-written", "sd-bus"
PACKAGES = ["libsystemd0", "libsdbus-c++1", "libdbus-1-3", "libglib2.0-0", "dbus-daemon", "dbus-broker"]
SIZES = [1, 10, 100, 1000, 10000]
BUSES = ["dbus-daemon", "dbus-broker"]

# Title, row and figure. Lower is better, except for the calls per second.
TABLE = [(f"encode `add` of {size:,} commands, us", f"encode {size}", "us") for size in SIZES]
TABLE += [("1,000 without an error text, us", "encode-plain 1000", "us"),
          ("1,000, each with an error text, us", "encode-errors 1000", "us"),
          ("1, with an error text, us", "encode-errors 1", "us"),
          ("1,000 with short labels, us", "encode-short-labels 1000", "us"),
          ("1,000 with long labels, us", "encode-long-labels 1000", "us"),
          ("encode `progress` of 1 command, us", "report", "us")]
TABLE += [(f"decode `add` of {size:,} commands, us", f"decode-add {size}", "us") for size in (1, 1000)]
TABLE += [(f"decode {size:,} sensor nodes, us", f"decode {size}", "us") for size in SIZES]
for bus in BUSES:
    for figure, unit in ("us", "median us"), ("cpu", "client CPU us"):
        TABLE += [(f"one call over {bus}, {unit}", f"call {bus}", figure),
                  (f"the same with managers started, {unit}", f"call-started {bus}", figure),
                  (f"from nothing to the first answer over {bus}, {unit}", f"first {bus}", figure),
                  (f"list 1,000 nodes over {bus}, {unit}", f"list {bus}", figure)]
    TABLE += [(f"`modified` at full rate over {bus}, client CPU us each", f"signals {bus}", "cpu"),
              ("the same in the client's event loop, client CPU us each", f"signals-in-loop {bus}", "cpu"),
              (f"1,000 calls in flight from one thread over {bus}, calls/s", f"async {bus}", "rate"),
              ("the same, client CPU us each", f"async {bus}", "cpu")]
TABLE += [("`add` of 1,000 commands over dbus-daemon, client CPU us", "add", "cpu")]
for bus, counts in zip(BUSES, ((1, 4, 16), (16,))):
    for threads in counts:
        TABLE += [(f"{threads} threads over {bus}, 99th percentile us", f"threads {threads} {bus}", "p99"),
                  (f"{threads} threads over {bus}, calls/s", f"threads {threads} {bus}", "rate")]
TABLE += [("a whole process: `hevractl reset`, one that only calls by hand, `busctl call`, median us", "process", "us"),
          ("the same, CPU us", "process", "cpu")]

# Rows that are compared with another row of sd-bus.
OTHER_BASE = {f"call-started {bus}": f"call {bus}" for bus in BUSES}

# What lies between the project and the hand-written client: title, row, figure, how many items, and what they are spent on.
ENCODING = ("the values are objects of twelve classes, which are recognised before they are written; every append is "
            "compared with the signature; texts may be UTF-8, of any length")
MESSAGE = "each message builds its header from its fields and owns its memory"
DECODING = ("every message is checked by its signature, in both byte orders and with the padding, before it is read, so "
            "that the bytes are passed twice; a node is an object of one of four classes")
CALL = ("a call may come from any thread and may be one of many: a mutex, an entry in the table of calls, the owner of "
        "the name, the deadline, and the message and its answer as objects")
BETWEEN = [
    ("encode, each of 1,000 commands", "encode 1000", "us", 1000, ENCODING),
    ("encode 1 command", "encode 1", "us", 1, MESSAGE),
    ("encode 1 report", "report", "us", 1, MESSAGE),
    ("decode, each of 1,000 nodes", "decode 1000", "us", 1000, DECODING),
    ("decode 1 node", "decode 1", "us", 1, "the header is checked by every rule of the format"),
    ("decode, each of 1,000 commands", "decode-add 1000", "us", 1000,
     "the check before the reading, and a value and texts that are objects of their own"),
    ("one call over dbus-daemon, client CPU", "call dbus-daemon", "cpu", 1, CALL),
    ("one call over dbus-broker, client CPU", "call dbus-broker", "cpu", 1, "the same"),
    ("list, each of 1,000 nodes, client CPU", "list dbus-daemon", "cpu", 1000, "decoding"),
    ("`modified`, client CPU", "signals dbus-daemon", "cpu", 1,
     "a queue and a task of the object, so that the application's hook delays nobody who reads"),
    ("the first answer over dbus-daemon, client CPU", "first dbus-daemon", "cpu", 1,
     "objects for the connection and its parts; whoever owns the name is asked for and watched"),
    ("a whole process", "process", "us", 1,
     "the command line, the output and the start of the library; the hand-written program only calls"),
]

NOTES = [
    "Everything runs on one core: the client, the bus and the service. The rows of encoding and decoding, and those "
    "that say so, give the client's processor time; the others give wall time. Every message is used once, and the "
    "values differ between messages.",
    "The programs run a row one after the other, in every round. A figure is the median over the rounds. A ratio is "
    "the median of the ratios of each round, and the lowest and the highest of them are in parentheses. A limit holds "
    "for the median. Two figures whose spreads overlap do not differ as far as this machine can tell. sdbus-c++, "
    "libdbus and gdbus, which no limit concerns, run in every third round.",
    "`hand-written` is a codec and a client for exactly these messages, which know every layout beforehand, use "
    "their buffers again and serve one thread, with one send, one poll and one receive for each call. They make the "
    "checks that no careful program leaves out. A library that does the same work cannot be faster; what it is slower "
    "is the cost of being one.",
    "The commands have all kinds of values in turn, and every other one of each kind has an error text. Short labels "
    "are those that a std::string keeps inside the object, long ones have more than 100 bytes.",
    "Each library decodes into separate objects on the heap. The project encodes its Command objects and formats "
    "their error texts while it encodes, and so does `hand-written`; the peers have these texts ready.",
    "sd-bus and sdbus-c++ check a body while they read it, and have no public function that takes the bytes of a "
    "message. They decode a message that was sealed and rewound. The others first check the whole message, except "
    "for `hand-written`.",
    "sd-bus is used through its typed functions, which take about four fifths of the time of its format strings, for "
    "encoding and for decoding. A message of libdbus is ready when it is locked, which copies nothing. GDBus spends "
    "most of its time on allocating GVariants and counting references to them.",
    "sdbus-c++ 1.2 appends and reads byte arrays one byte at a time; later versions handle them as a whole.",
    "sd-bus and `hand-written` use one connection for each thread, because threads cannot share it. All others share "
    "one.",
    "The first answer is that of a new connection in a running process; everything before it counts: connecting, "
    "authentication, the bus's greeting. A whole process counts from its start to its end, with the dynamic linker.",
    "The resident size with commands in flight is read after each round of adding and expiring 100,000 commands. The "
    "bytes in use return to the same number each time. The first rounds add arenas of malloc: the timers' thread "
    "queues the keys of expired commands and another thread frees them, and the scheduler decides how many wait at "
    "once.",
    "For the project, `add` includes the keys and timers of the commands; for the others, it is only the call.",
]


@dataclasses.dataclass
class Result:
    figures: dict  # by row and peer: a dictionary with the figures of each round
    peers: list
    notes: list
    system_calls: dict = dataclasses.field(default_factory=dict)
    resident: dict = dataclasses.field(default_factory=dict)
    in_process: dict = dataclasses.field(default_factory=dict)  # by name: a list with one entry for each repetition
    sizes: dict = dataclasses.field(default_factory=dict)
    seconds: float = 0

    def values(self, row, peer, figure):
        return [entry[figure] for entry in self.figures.get((row, peer), {}).values()]

    def compare(self, row, peer, figure, operation, base=BASE):
        """What the operation makes of a peer's figure and the base's, for each round that both have."""
        mine = self.figures.get((row, peer), {})
        theirs = self.figures.get((OTHER_BASE.get(row, row) if base == BASE else row, base), {})
        return [operation(mine[turn][figure], theirs[turn][figure]) for turn in mine if turn in theirs]

    def ratios(self, row, peer, figure):
        return self.compare(row, peer, figure, lambda mine, theirs: mine / theirs)

    def each(self, name, figure="us"):
        """A benchmark's figures; "us" is its time for each item."""
        entries = self.in_process.get(name, [])
        if figure != "us":
            return [entry[figure] for entry in entries]
        parts = name.split("/")
        items = int(parts[1]) if len(parts) > 1 and parts[1].isdigit() else 1
        return [entry["real_time"] * {"ns": 1e-3, "us": 1, "ms": 1e3}[entry["time_unit"]] / items for entry in entries]


def ratio_targets():
    """Yields the targets that are ratios to sd-bus: text, row, figure, and the least or the most that it may be."""
    yield "encode 1,000 commands, each with an error text", "encode-errors 1000", "us", "at most", 1 / 12
    yield "encode 1,000 commands without an error text", "encode-plain 1000", "us", "at most", 1 / 15
    yield "encode 1 command with an error text", "encode-errors 1", "us", "at most", 1 / 4
    for size in 1000, 10000:
        yield f"decode {size:,} sensor nodes", f"decode {size}", "us", "at most", 1 / 7
    for bus, median, cpu in ("dbus-daemon", 0.98, 0.72), ("dbus-broker", 0.88, 0.68):
        yield f"hardReset over {bus}: median", f"call {bus}", "us", "at most", median
        yield f"hardReset over {bus}: client CPU", f"call {bus}", "cpu", "at most", cpu
        yield "the same with managers started: median", f"call-started {bus}", "us", "at most", 1.1
        yield "the same with managers started: client CPU", f"call-started {bus}", "cpu", "at most", 0.85
    for bus, rate, p99 in ("dbus-daemon", 1, 1), ("dbus-broker", 1.05, 0.95):
        yield f"16 threads over {bus}: calls/s", f"threads 16 {bus}", "rate", "at least", rate
        yield f"16 threads over {bus}: 99th percentile", f"threads 16 {bus}", "p99", "at most", p99
    yield "getNodes of 1,000: wall time", "list dbus-daemon", "us", "at most", 0.46
    yield "getNodes of 1,000: client CPU", "list dbus-daemon", "cpu", "at most", 0.16
    for bus in BUSES:
        yield f"from nothing to the first answer over {bus}", f"first {bus}", "us", "at most", 0.9
    yield "hevractl reset, relative to busctl call", "process", "us", "at most", 0.9
    yield "modified: client CPU", "signals dbus-daemon", "cpu", "at most", 0.7
    yield "add of 1,000: client CPU, relative to the call alone", "add", "cpu", "at most", 1
    for bus in BUSES:
        yield f"1,000 calls in flight from one thread over {bus}: calls/s", f"async {bus}", "rate", "at least", 1
        yield "the same: client CPU", f"async {bus}", "cpu", "at most", 0.8
        yield f"modified on a dispatcher over {bus}: client CPU", f"signals-in-loop {bus}", "cpu", "at most", 0.5


def other_targets(result):
    """Yields the other targets: text, the measured values, and the least or the most that it may be."""
    yield "hardReset: system calls", result.system_calls.get(PROJECT, []), "at most", 3.05
    lost = [entry["lost"] for (row, peer), rounds in result.figures.items() if row.startswith("signals")
            and peer == PROJECT for entry in rounds.values()]
    yield "modified: lost signals", [sum(lost)] if lost else [], "at most", 0
    yield "100,000 in flight: bytes each", result.each("addCommands/100000", "bytes_each"), "at most", 400
    for what, name in ("adding", "addCommands/100000"), ("re-arming", "rearmCommands/100000"), (
            "expiring", "expireCommands/100000"):
        yield f"100,000 in flight: {what}, us each", result.each(name), "at most", 2
    few, many = (result.each(f"expireCommands/{count}", "process_threads") for count in (1000, 100000))
    yield ("100,000 in flight: additional threads over 1,000", [b - a for a, b in zip(few, many)], "at most", 0)
    for which, rounds in ("second", "the second round"), ("later", "the last eleven rounds"):
        grown = result.each("expireCommands/100000", f"{which}_round_KiB")
        yield f"100,000 in flight: KiB that the process grows in {rounds}", grown, "at most", 256
    within, over = (result.each(f"call{bus}/started:0") for bus in ("InProcess", "OverDaemon"))
    yield ("in-process call: time, relative to a call over dbus-daemon", [a / b for a, b in zip(within, over)],
           "at most", 0.5)
    size = result.sizes.get("32-bit ARM")
    yield "stripped library on 32-bit ARM, KiB", [size] if size else [], "at most", 310
    for way, limit in ("with threads", 1024), ("on a dispatcher", 600):
        yield (f"started client {way}: KiB resident above an empty program", result.resident.get(way, []), "at most",
               limit)


def number(value):
    return f"{value:,.0f}" if abs(value) >= 1000 else f"{value:.3g}"


def spread(values):
    """The median, and the lowest and the highest value if they differ from it."""
    if not values:
        return "-"
    median, low, high = (number(value) for value in (statistics.median(values), min(values), max(values)))
    return median if low == high else f"{median} ({low}-{high})"


def verdict(values, direction, limit):
    if not values:
        return "not measured"
    value = statistics.median(values)
    return "yes" if (value >= limit if direction == "at least" else value <= limit) else "NO"


RATIO_HEADS = ["work", PROJECT, BY_HAND, "limit", "reached"]
OTHER_HEADS = ["figure", "measured", "limit", "reached"]
BETWEEN_HEADS = ["work", "between them, us", "which is spent on"]
IN_PROCESS_HEADS = ["benchmark", "time of one run", "items/s"]


def ratio_rows(result):
    for text, row, figure, direction, limit in ratio_targets():
        mine = result.ratios(row, PROJECT, figure)
        yield [text, spread(mine), spread(result.ratios(row, BY_HAND, figure)), f"{direction} {number(limit)}",
               verdict(mine, direction, limit)]


def other_rows(result):
    for text, values, direction, limit in other_targets(result):
        yield [text, spread(values), f"{direction} {number(limit)}", verdict(values, direction, limit)]


def between_rows(result):
    for title, row, figure, items, text in BETWEEN:
        values = result.compare(row, PROJECT, figure, lambda mine, theirs: (mine - theirs) / items, base=BY_HAND)
        if values:
            yield [title, spread(values), text]


def figure_rows(result):
    for title, row, figure in TABLE:
        cells = []
        for peer in result.peers:
            values = result.values(row, peer, figure)
            cells.append(number(statistics.median(values)) if values else "-")
            ratios = result.ratios(row, peer, figure) if peer != BASE else []
            if ratios:
                cells[-1] += "\n" + spread(ratios)
        if any(cell != "-" for cell in cells):
            yield [title, *cells]
    if result.system_calls:
        yield ["system calls of one call"] + [spread(result.system_calls.get(peer, [])) for peer in result.peers]


def in_process_rows(result):
    for name, entries in result.in_process.items():
        clock = "real_time" if "/real_time" in entries[0]["run_name"] else "cpu_time"
        rates = [entry["items_per_second"] for entry in entries if "items_per_second" in entry]
        yield [name, f"{spread([entry[clock] for entry in entries])} {entries[0]['time_unit']}",
               number(statistics.median(rates)) if rates else "-"]


def lines(rows, heads):
    rows = [[cell.replace("\n", " = ") for cell in row] for row in (heads, *rows)]
    widths = [max(len(row[column]) for row in rows) for column in range(len(heads))]
    return "\n".join("  ".join(cell.ljust(width) for cell, width in zip(row, widths)).rstrip() for row in rows)


def markdown(rows, heads):
    rows = [heads, ["---"] * len(heads), *rows]
    return "\n".join("| " + " | ".join(row).replace("\n", "<br>") + " |" for row in rows)


def text(result):
    parts = [lines(figure_rows(result), ["(and ratios to sd-bus's)", *result.peers]),
             lines(between_rows(result), BETWEEN_HEADS),
             lines(ratio_rows(result), RATIO_HEADS), lines(other_rows(result), OTHER_HEADS)]
    if result.in_process:
        parts.insert(2, lines(in_process_rows(result), IN_PROCESS_HEADS))
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
    rounds = len(result.figures["encode 1", PROJECT])
    folder.joinpath("benchmarks.md").write_text(f"""# Benchmarks

`./dev bench` writes this page. It measures the project, four other libraries that do the same work, and a codec and a
client that are written by hand for this work alone. It first checks that all of them write the same bytes and read the
same values.

{chr(10).join(f"- {line}" for line in machine())}

## Limits

The figures are ratios to sd-bus's in the same round: the median over {rounds} rounds, and in parentheses the lowest and
the highest. What is written by hand shows how much can be reached at all.

{markdown(ratio_rows(result), RATIO_HEADS)}

These are not relative to sd-bus:

{markdown(other_rows(result), OTHER_HEADS)}

The shared library, stripped: {sizes}.

[size.md](size.md) tells what the packages take on a gateway.

## Between the library and what is written by hand

{markdown(between_rows(result), BETWEEN_HEADS)}

## Side by side

Below each figure is its ratio to sd-bus's.

{markdown(figure_rows(result), ["", *result.peers])}

![Processor time of encoding and decoding by size, each library a line](benchmarks.svg)

{notes}

## Inside one process

`encodeKind` and `decodeKind` have 1,000 commands of one kind each: with a value of this signature and, except where the
name says it, the usual label and no error text.

{markdown(in_process_rows(result), IN_PROCESS_HEADS)}
""", encoding="utf-8")
    plot(result, folder / "benchmarks.svg")


def plot(result, to):
    peers = [peer for peer in result.peers if result.values("encode 1", peer, "us")]
    every = []
    with tempfile.TemporaryDirectory() as folder:
        for verb in "encode", "decode":
            rows = [[size] + [statistics.median(result.values(f"{verb} {size}", peer, "us")) / size for peer in peers]
                    for size in SIZES]
            every += [value for row in rows for value in row[1:]]
            text = "\n".join(" ".join(map(str, row)) for row in [["items", *peers], *rows])
            pathlib.Path(folder, verb).write_text(text + "\n", encoding="utf-8")
        names = f"folder='{folder}'; out='{to}'; least={min(every)}; most={max(every)}"
        subprocess.run(["gnuplot", "-e", names, pathlib.Path(__file__).with_name("plot.gnuplot")], check=True)
