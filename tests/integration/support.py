"""A private bus, the programs under test as processes, and the names they use. Nothing here sleeps: everything waits
for bytes of a pipe or the end of a process, with a deadline that only a failure reaches."""

import contextlib
import json
import os
import pathlib
import pwd
import re
import select
import subprocess
import tempfile
import time
import unittest

from gi.repository import GLib

DEADLINE = 300  # seconds
SOURCES = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
PROGRAMS = os.environ["HEVRA_BINARY_DIR"] + "/bin/"
EMULATOR = os.environ.get("HEVRA_EMULATOR", "").split()
CTL, STACKD = [*EMULATOR, PROGRAMS + "hevractl"], [*EMULATOR, PROGRAMS + "hevra-stackd"]

HOST = "com.quarnix.Application.Hevra"
HOSTS = {"hevra": HOST, "zuv": "com.quarnix.Application.Zuv"}
COMMANDS_PATH = "/com/quarnix/Application/HevraZuv/Manager/Command"
COMMANDS = ".Manager.Command"
BOARD_PATH = "/com/quarnix/Application/HevraZuv/Manager/DaughterBoard"
BOARD = HOST + ".Manager.DaughterBoard"
ORIGINATOR = "com.quarnix.Application.HevraZuv.Originator.Command"
RECORD = "utbuviiyisusuyy"
ADD = f"(o)(s)a({RECORD})"
PROGRESS = f"({RECORD})(s)i"
NODES = ".Manager.Node"
HEAD = "uyqyayayaytyuu"
NODE_RECORDS = {"actuator": f"({HEAD}yq)", "controller": f"({HEAD})", "sensor": f"({HEAD}yqqyyyyyqb)",
                "stack": f"({HEAD}ayayayays)"}
LINK = "(uusi)"

CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <type>session</type>
  <listen>unix:path=%s/bus</listen>
  <servicedir>%s/services</servicedir>
  <auth>EXTERNAL</auth>
  <policy context="default">
    <allow user="*"/><allow own="*"/><allow send_destination="*"/><allow receive_sender="*"/>
    %s
  </policy>
</busconfig>
"""


def environment(**changes):
    """The environment of a program: the caller's has only told where programs are, and the sanitizers what to do."""
    kept = {k: v for k, v in os.environ.items() if k in ("PATH", "LD_LIBRARY_PATH") or k.endswith("SAN_OPTIONS")}
    return {"PATH": os.defpath, "LANG": "C.UTF-8"} | kept | changes


def library_threads(pid):
    """The names of the library's threads in a process. Sanitizers and emulators have threads of their own."""
    names = [path.read_text().strip() for path in pathlib.Path(f"/proc/{pid}/task").glob("*/comm")]
    return [name for name in names if name in ("hevra-task", "hevra-timer", "hevra-bus")]


class Process:
    """A program whose standard output is read line by line."""

    def __init__(self, *command, output=None, **changes):
        self.child = subprocess.Popen(command, stdout=output or subprocess.PIPE, stderr=subprocess.PIPE,
                                      env=environment(**changes), bufsize=0)
        self.unread = {}

    def line(self):
        return self.line_of(self.child.stdout)

    def complaint(self):
        """The next line of its standard error, which `end` then does not return."""
        return self.line_of(self.child.stderr)

    def line_of(self, stream):
        end, unread = time.monotonic() + DEADLINE, self.unread.pop(stream, b"")
        while b"\n" not in unread:
            ready, _, _ = select.select([stream], [], [], max(0, end - time.monotonic()))
            more = os.read(stream.fileno(), 4096) if ready else b""
            if not more:
                self.child.kill()
                raise AssertionError(f"{self.child.args} printed no line: {self.child.communicate()}")
            unread += more
        line, self.unread[stream] = unread.split(b"\n", 1)
        return line.decode()

    def end(self, signal=None):
        """Its exit status and standard error, after the signal if one is given."""
        if signal:
            self.child.send_signal(signal)
        try:
            _, errors = self.child.communicate(timeout=DEADLINE)
        finally:
            self.child.kill()
        return self.child.returncode, errors.decode()

    def kill(self):
        self.child.kill()
        self.child.communicate()


class Bus(contextlib.ExitStack):
    """A dbus-daemon of our own. `rules` stand behind those that allow everything; `services`, by their names, are the
    files of services that it can start, on this bus in place of the system's."""

    def __init__(self, rules="", **services):
        super().__init__()
        self.folder = self.enter_context(tempfile.TemporaryDirectory(dir="/tmp"))  # a socket's path is short
        self.address = f"unix:path={self.folder}/bus"
        os.mkdir(self.folder + "/services")
        for name, text in services.items():
            self.write(f"services/{name}.service", text.replace("--bus system", f"--bus {self.address}"))
        self.write("configuration", self.configuration(rules))
        self.start()

    def start(self):
        self.daemon = self.run("dbus-daemon", f"--config-file={self.folder}/configuration", "--nofork",
                               "--print-address")
        self.daemon.line()

    def configuration(self, rules):
        return CONFIGURATION % (self.folder, self.folder, rules)

    def write(self, name, text):
        with open(f"{self.folder}/{name}", "w", encoding="utf-8") as file:
            file.write(text)

    def run(self, *command):
        process = Process(*command)
        self.callback(process.kill)
        return process

    def stackd(self, *options):
        """hevra-stackd, ready."""
        process = self.run(*STACKD, "--bus", self.address, *options)
        line = process.line()
        assert line == "ready", line
        return process

    def ctl(self, *arguments, **options):
        """What hevractl left."""
        return ctl("--bus", self.address, *arguments, **options)

    def ctl_process(self, *arguments):
        """hevractl, which goes on."""
        return self.run(*CTL, "--bus", self.address, *arguments)


class SystemBus(Bus):
    """A dbus-daemon with the configuration of this machine's system bus but for where it listens and whose it is;
    `rules` is the one file of its system.d, in which the user that the tests run as takes root's place."""

    def configuration(self, rules):
        os.chmod(self.folder, 0o755)  # the other users' way to the socket
        os.mkdir(self.folder + "/system.d")
        if rules:
            me = pwd.getpwuid(os.geteuid()).pw_name
            self.write("system.d/hevra.conf", rules.replace('user="root"', f'user="{me}"'))
        with open("/usr/share/dbus-1/system.conf", encoding="utf-8") as file:
            text = re.sub("unix:path=[^<]*", self.address, file.read())
        return re.sub("<(user|fork|syslog|pidfile).*|<include.*>/etc/.*", "", text)


class Result:
    """What hevractl left; `lines` are those of its standard output, each of which must be JSON."""

    def __init__(self, status, output, errors):
        self.status, self.output, self.errors = status, output.decode(), errors.decode(errors="backslashreplace")

    @property
    def lines(self):
        return [json.loads(line) for line in self.output.splitlines()]

    def __repr__(self):
        return f"status {self.status}, output {self.output!r}, errors {self.errors!r}"


def ctl(*arguments, commands=b"", output=None, **changes):
    """Runs hevractl to its end; `commands`, bytes or what becomes JSON, is its standard input, `output` a file that
    takes its standard output."""
    given = commands if isinstance(commands, bytes) else json.dumps(commands).encode()
    ended = subprocess.run([*CTL, *arguments], input=given, stdout=output or subprocess.PIPE, stderr=subprocess.PIPE,
                           env=environment(**changes), timeout=DEADLINE, check=False)
    return Result(ended.returncode, ended.stdout or b"", ended.stderr)


class Case(unittest.TestCase):
    """A test with a bus of its own."""

    def setUp(self):
        self.bus = self.another_bus()

    def another_bus(self, rules="", kind=Bus, **services):
        bus = kind(rules, **services)
        self.addCleanup(bus.close)
        return bus

    def file(self, value):
        """The name of a file that holds the value as JSON until the test ends."""
        file = tempfile.NamedTemporaryFile("w", suffix=".json")
        self.addCleanup(file.close)
        json.dump(value, file)
        file.flush()
        return file.name


VALUES = [
    ("ay", b"\x00\xff\x80", "00ff80"), ("ay", b"", ""),
    ("y", 255, 255), ("q", 65535, 65535), ("n", -32768, -32768),
    ("u", 4294967295, 4294967295), ("i", -2147483648, -2147483648),
    ("t", 18446744073709551615, 18446744073709551615), ("x", -9223372036854775808, -9223372036854775808),
    ("s", "Grüße, 家", "Grüße, 家"), ("s", "\x7f\x9b\u202e", "\x7f\x9b\u202e"), ("d", 0.1, 0.1), ("d", -5e-324, -5e-324),
    ("b", True, True), ("b", False, False)]
"""Values on the bus, and in JSON."""


ERROR = "1/-2147483648"


def full_command(number):
    """A command with all fields, on the bus and in JSON; `number`, its identifier, chooses the value too."""
    kind, value, form = VALUES[number % len(VALUES)]
    label = f"lamp {number}"
    record = (number, 18446744073709551615, True, 4294967295, GLib.Variant(kind, value), -2147483648, 2147483647, 1,
              -2147483648, ERROR, 0, label, 4294967295, 200, 227)
    return record, {
        "id": number, "parameterId": 18446744073709551615, "write": True, "address": 4294967295,
        "value": {"type": kind, "value": form}, "origin": -2147483648, "context": 2147483647,
        "error": {"type": 1, "id": -2147483648, "text": ERROR}, "delay": 0, "label": label, "tag": 4294967295,
        "status": 200, "acei": 227}


def nodes_path(host):
    return f"/{host.replace('.', '/')}/Manager/Node"


def block(first, count):
    return bytes(range(first, first + count))


NODE_MEMBERS = {
    "actuator": {"nodeClass": 5, "multiInformationByte": 0x81, "timeStamp": 0x8283},
    "controller": {"nodeClass": 6},
    "sensor": {"nodeClass": 1, "measuredValueParameterType": 0x91, "minimalSensedValue": 0x9293,
               "maximalSensedValue": 0x9495, "scaleFactor": 0x96, "resolutionValue": 0x97,
               "resolutionScaleFactor": 0x98, "operatingMode": 0x99, "maxNumberOfEventHandled": 0x9A,
               "minRefreshTimePeriod": 0x9B9C, "listening": True},
    "stack": {"nodeClass": 2, "key": block(0x30, 16), "oldKey": block(0x40, 16), "shortBlock": block(0x50, 3),
              "longBlock": block(0x60, 4), "label": "Küche, 家"}}


def full_node(kind, address, **changes):
    """A node with all fields, on the bus and in JSON."""
    fields = {"address": address, "nodeClass": 0, "nodeType": 0xCFC5, "manufacturerId": 5,
              "firstIdentity": block(0x10, 14), "secondIdentity": block(0x20, 16), "thirdIdentity": block(0x30, 16),
              "stamp": 18446744073709551615, "state": 0x8E, "extra": 0x95161718, "backboneAddress": 0x991A1B1C}
    fields |= NODE_MEMBERS[kind] | changes
    form = {name: value.hex() if isinstance(value, bytes) else value for name, value in fields.items()}
    return tuple(fields.values()), {"kind": kind} | form
