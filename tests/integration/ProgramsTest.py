"""hevractl and hevra-stackd as processes on a real bus: what they print, how they end, and that wrong input sends
nothing."""

import json
import os
import signal
import subprocess
import tempfile
import unittest

import support
from dbus.lowlevel import MethodCallMessage
from peers import DBusPython, PeerError, wait
from support import HOST, Process, ctl

NAMES = "org.freedesktop.DBus.Error."


def delayed(*numbers, **changes):
    return [{"id": number, "delay": 3600, **changes} for number in numbers]


def second(**changes):
    return [{"id": 1}, {"id": 2, **changes}]


def typed(kind, value):
    return second(value={"type": kind, "value": value})


SEND = ["send", "--group", "g"]
VALUE = "[1].value.value"
WRONG_COMMANDS = [
    (b"", "line 1"), (b'[{"id": 1}\n,]', "line 2"), (b'[{"id": 1, "label": "\xff"}]', "line 1"), ({"id": 1}, "array"),
    ([{}], "[0].id"), ([{"id": 1}, {"id": 1}], "[1].id"), (second(colour=1), "colour"), (second(id=1.0), "[1].id"),
    (second(address=2**32), "4294967296"), (second(parameterId=2**64), "[1].parameterId"), (second(delay=-1), "-1"),
    (second(status=256), "[1].status"), (second(acei=4), "[1].acei"), (second(label="a\0b"), "[1].label"),
    (second(error={"type": 256}), "[1].error.type"), (second(value=7), "[1].value"), (typed("v", 7), '"v"'),
    (b"[" * 60000, "deep"), (b"[]\0x", "line 1"), (typed("n", -32769), "-32769"), (typed("t", 2**64), VALUE), (typed("s", "a\0"), VALUE), (typed("ay", "FF"), '"FF"')]
WRONG_LINES = [
    ([], ""), (["dance"], "dance"), (["--bright", "reset"], "bright"), (["reset", "now"], "now"),
    (["send", "-"], "group"), (SEND, "FILE"), (SEND + ["/nonexistent.json"], "/nonexistent.json"), (SEND + ["/"], "/"),
    (SEND + ["-", "-"], ""), (SEND + ["-", "--wait", "-1"], "-1"), (SEND + ["-", "--wait", "soon"], "soon"),
    (["send", "--group", b"\xff", "-"], ""), (["cancel", "--key", b"\xc0\x80"], ""),
    (["cancel", "--key", "g_1", "--priority", "1"], "--key"), (["cancel", "--priority", ""], ""),
    (["cancel", "--priority", "4294967296"], "4294967296"), (["cancel", "--priority", "-1"], "-1"),
    (["cancel", "--priority", "high"], "high"), (["--service", "all", "reset"], "all"),
    (["--app", "my-app", "cancel"], "my-app"), (["--app", "a/b", "cancel"], "a/b"), (["--app", "", "cancel"], "--app"),
    (["--app", "Größe", *SEND, "-"], "--app"), (["--app", b"\xff", "cancel"], "--app")]
"""What is wrong input, and what the error must name."""


def scenario(name):
    return ["--scenario", f"{support.SOURCES}/examples/scenarios/{name}.json"]


def rule(**changes):
    return [{"on": "add", "do": "silence"}, {"on": "add", "do": "delay", "ms": 1} | changes]


NESTED = json.loads("[" * 200 + "]" * 200)
WRONG_SCENARIOS = [
    ({}, "array"), (NESTED, "deep"), ([{"do": "late"}], "[0].on"), (rule(on="dance"), "[1]: a rule for 'dance'"),
    (rule(do="sleep"), '[1].do: "sleep"'), (rule(ms=-1), "[1].ms"), (rule(do="late"), '"ms"'),
    (rule(on="getnodes", group="g"), "[1]: a group"), (rule(nth=0), "[1]: nth 0"), (rule(times=0), "[1]: times 0"),
    (rule(colour=1), '"colour"'), ([{"on": "add", "do": "error", "name": "busy"}], "'busy'"),
    ([{"on": "progress", "do": "error", "name": "a.b"}], '"name"')]
WRONG_RECORDINGS = [
    (NESTED, "deep"), ({"time": 1e300, "type": "call"}, "line 1.time: 1e+300"),
    ({"time": -1, "type": "call"}, "line 1.time"), ({"time": 0, "type": "noise"}, "line 1.type"), ({"time": 0, "type": "call", "colour": 1}, '"colour"')] + [
    ({"time": 0, "type": "call", "signature": signature, "body": body}, "line 1") for signature, body in [
        ("u", ["x"]), ("u", [2**32]), ("u", []), ("u", [1, 2]), ("(u", [[1]]), ("ay", ["0"]), ("a{sv}", [[["x", 1]]]),
        ("v", [{"type": "uu", "value": 1}]), ("d", ["x"]), ("o", ["x"]), ("", 1), ("z", [1]), ("s", ["\0"])]]


def changed(kind, /, **changes):
    """The JSON form of a node of the kind, with these keys changed; None takes one away."""
    form = support.full_node(kind, 7)[1] | changes
    return {key: value for key, value in form.items() if value is not None}


SECRET = "5ec2e7" * 5 + "00"
SET, LINK = ["node", "set", "-", "--action", "1"], ["link", "set", "--node", "1", "--stack", "2", "--type", "0"]
WRONG_NODES = [
    (b"", ""), (b"[" * 1000000, "deep"), ([changed("sensor")], ""), (b'{"kind": "stack",\n"key": "%s' % SECRET.encode(), "line 2"),
    (changed("sensor", kind=None), "kind"), (changed("sensor", kind="beacon"), "beacon"),
    (changed("sensor", listening=None), "listening"), (changed("sensor", listening=1), "listening"),
    (changed("sensor", timeStamp=1), "timeStamp"), (changed("sensor", nodeClass=2), "nodeClass"),
    (changed("sensor", nodeClass=3), "UnknownNodeClass"), (changed("sensor", nodeClass=256), "256"),
    (changed("sensor", address=2**32), "4294967296"), (changed("sensor", stamp=2**64), "stamp"),
    (changed("sensor", stamp=1.5), "stamp"), (changed("sensor", state=256), "state"),
    (changed("actuator", multiInformationByte=-1), "-1"), (changed("controller", firstIdentity="0" * 27), "28"),
    (changed("controller", secondIdentity="0" * 34), "32"), (changed("controller", thirdIdentity="g" * 32), "32"),
    (changed("controller", firstIdentity=7), "firstIdentity"), (changed("stack", key=SECRET), "key"),
    (changed("stack", oldKey=SECRET + "0"), "oldKey"), (changed("stack", shortBlock="00"), "shortBlock"),
    (changed("stack", label="a\0b"), "label"), (changed("stack", label=7), "label"),
    (b'{"address": 1, "address": 2}', "address")]
WRONG_NODE_LINES = [
    (["node"], ""), (["node", "dance"], "dance"), (["node", "set", "-"], "--action"), (SET[:3] + ["x"], ""),
    (SET[:4] + ["modify"], "modify"), (SET[:4] + ["2147483648"], "2147483648"),
    (["node", "set", "/nonexistent.json", "--action", "1"], "/nonexistent.json"), (["node", "remove"], "ADDRESS"),
    (["node", "remove", "0x100000000"], "0x100000000"), (["node", "key", "1", SECRET[1:]], "32"),
    (["node", "key", "1", SECRET[1:] + "g"], "32"), (["node", "key", "1", "0" * 32], ""),
    (["node", "key", "1", "-"], "standard input"), (["node", "key", "1"], "HEX"),
    (["node", "key", "-1", SECRET], "-1"), (["nodes", "--class", "256"], "256"), (["nodes", "--type", "1"], "--class"),
    (["nodes", "--class", "1", "--type", "65536"], "65536"), (["link"], ""), (LINK + ["--action", "1"], "--id"),
    (LINK + ["--id", b"\xff", "--action", "1"], "id"), (LINK + ["--id", "x", "--action", "-2147483649"], "-2147483649"),
    (["link", "id", "1"], "--type"), (["link", "id", "1", "--type", "2147483648"], "2147483648"),
    (["link", "id", "one", "--type", "1"], "one"), (["watch", "now"], "now")]


class Programs(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bus = support.Bus()
        cls.addClassCleanup(cls.bus.close)

    def stackd(self, *options):
        process = self.bus.stackd("--pace", "0", *options)
        self.addCleanup(process.kill)
        return process

    def send(self, commands, *options, group="g"):
        return self.bus.ctl("--json", "send", "--group", group, "-", *options, commands=commands)

    def statuses(self, result):
        return [(line["command"]["id"], line["command"]["status"]) for line in result.lines]

    def file(self, commands):
        return support.json_file(self, commands)

    def test_send_and_follow_every_value(self):
        self.stackd()
        forms = [support.full_command(number)[1] for number in range(len(support.VALUES))]
        nothing = [{"id": 100, "value": None}, {"id": 101, "value": {"type": "null"}}, {"id": 102}]
        result = self.send(forms + nothing)
        self.assertEqual((result.status, result.errors), (0, ""), result)
        self.assertNotRegex(result.output, "[\x7f-\x9f\u202e]")
        last = {line["command"]["id"]: line for line in result.lines}
        for form in forms:
            self.assertEqual(last[form["id"]]["command"]["error"].pop("text").split(":")[0], form["error"].pop("text"))
            line = {"event": "progress", "group": "g", "status": 2, "final": True, "command": {**form, "status": 3}}
            self.assertEqual(last[form["id"]], line)
        for form in nothing:
            self.assertEqual(last[form["id"]]["command"]["value"], {"type": "ay", "value": ""})
        for number in last:
            self.assertEqual([status for id, status in self.statuses(result) if id == number], [1, 2, 3])

    def test_send_from_a_file_and_for_people(self):
        self.stackd()
        for options in [], ["--no-wait"]:
            result = self.bus.ctl("send", "--group", "g", self.file([{"id": 7}]), *options)
            self.assertEqual((result.status, result.errors), (0, ""), result)
            self.assertTrue(result.output)
            self.assertNotIn("\033", result.output)

    def test_send_decides_how_it_ends(self):
        two = [{"id": 1}, {"id": 2}]
        refusal = f"hevractl: {NAMES}Failed: "
        rows = [
            ([], [], [], 0, [], ""),
            ([], two, ["--no-wait"], 0, [], ""),
            ([], delayed(1), ["--wait", "1"], 4, None, "hevractl: "),
            ([], [{"id": 1, "delay": 1}], [], 0, [(1, 6), (1, 1), (1, 2), (1, 3)], ""),
            (["--fail", "1"], two[:1], [], 1, [(1, 1), (1, 2), (1, 4)], ""),
            (["--drop", "1"], two, ["--wait", "1"], 4, [], "hevractl: "),
            (["--refuse", "1"], two, [], 3, [], refusal),
            (scenario("restart"), two[:1], [], 3, [(1, 1)], "hevractl: "),
            (scenario("silence"), two[:1], ["--wait", "1"], 4, [(1, 1)], "hevractl: "),
            (scenario("refusal"), two, [], 3, [], "com.example.Error.Busy: the radio is busy"),
            (scenario("slow"), two[:1], ["--wait", "1"], 4, None, "hevractl: "),
            (scenario("garbled"), two[:1], [], 0, [(1, 2), (1, 2), (1, 3)], "signature"),
        ]
        for faults, commands, options, status, statuses, errors in rows:
            with self.subTest(faults=faults, options=options):
                service = self.stackd(*faults)
                result = self.send(commands, *options)
                self.assertEqual(result.status, status, result)
                if statuses is not None:  # None: how many come in a second is the machine's affair
                    self.assertEqual(self.statuses(result), statuses)
                self.assertIn(errors, result.errors)
                # A copy of the last report may come before the program has ended, and is then of no command.
                lines = [line for line in result.errors.splitlines() if "unknown originator" not in line]
                self.assertEqual(len(lines), 1 if errors else 0, result)
                if "--refuse" in faults:
                    for command in "reset", "cancel":
                        refused = self.bus.ctl(command)
                        self.assertEqual((refused.status, refused.output), (3, ""))
                        self.assertIn(refusal, refused.errors)
                service.end(signal.SIGTERM)

    def test_send_survives_doubled_reports(self):
        self.stackd("--duplicate", "1")
        result = self.send([{"id": 1}])
        self.assertEqual(result.status, 0, result)
        self.assertEqual(self.statuses(result)[:5], [(1, 1), (1, 1), (1, 2), (1, 2), (1, 3)])

    def test_cancel_what_is_sent(self):
        self.stackd()
        rows = [
            (["--key", "g_1"], [(1, 5)]), (["--key", "g_9"], []), (["--priority", "0x3"], [(2, 5)]),
            ([], [(1, 5), (2, 5)]),
        ]
        for arguments, cancelled in rows:
            with self.subTest(arguments):
                sender = Process(*support.EMULATOR, support.PROGRAMS + "hevractl", "--bus", self.bus.address, "--json",
                                 "send", "--group", "g", self.file(delayed(1) + delayed(2, acei=0x60)))
                self.addCleanup(sender.kill)

                def next_of(count):
                    lines = [json.loads(sender.line())["command"] for _ in range(count)]
                    return sorted((command["id"], command["status"]) for command in lines)

                self.assertEqual(next_of(2), [(1, 6), (2, 6)])
                result = self.bus.ctl("--json", "cancel", *arguments)
                self.assertEqual((result.status, result.lines, result.errors), (0, [{"done": True}], ""))
                self.assertEqual(next_of(len(cancelled)), cancelled)
                self.bus.ctl("cancel")
                self.assertEqual(len(next_of(2 - len(cancelled))), 2 - len(cancelled))
                self.assertEqual(sender.end(), (1, ""))

    def test_reset(self):
        self.stackd()
        for options, output in (["--json"], '{"reset":true}\n'), ([], "The daughter board was reset.\n"):
            result = self.bus.ctl(*options, "reset")
            self.assertEqual((result.status, result.output, result.errors), (0, output, ""))

    def test_put_back_the_nodes_that_they_list(self):
        self.stackd()
        house = self.bus.ctl("--json", "nodes")
        self.assertEqual((house.status, house.errors), (0, ""))
        self.assertEqual({node["kind"] for node in house.lines}, set(support.NODE_RECORDS))
        forms = [support.full_node(kind, 0xF0000000 + i)[1] for i, kind in enumerate(support.NODE_RECORDS)]
        for form in forms:
            result = self.bus.ctl("--json", "node", "set", "-", "--action", "0", commands=form)
            self.assertEqual((result.status, result.lines, result.errors), (0, [{"modified": True}], ""))
        for number in range(2):
            listed = self.bus.ctl("--json", "nodes")
            self.assertEqual(listed.lines, house.lines + forms)
            for line in listed.output.splitlines(keepends=True) if number == 0 else []:
                result = self.bus.ctl("--json", "node", "set", "-", "--action", "1", commands=line.encode())
                self.assertEqual((result.status, result.errors), (0, ""))
        for form, variant in zip(forms, ("hevra", "zuv")):
            self.assertEqual(self.bus.ctl("--service", variant, "node", "set", "-", "--action", "2",
                                          commands=form).status, 0)
            again = self.bus.ctl("--json", "node", "set", "-", "--action", "1", commands=form)
            self.assertEqual((again.status, again.lines, again.errors), (1, [{"modified": False}], ""))

    def test_show_what_goes_over_the_bus_but_no_keys(self):
        self.stackd()
        key = "a1" * 16
        self.assertIn(".changekey(4096, ****)\n", self.bus.ctl("node", "key", "0x1000", key, HEVRA_TRACE="1").errors)
        with tempfile.TemporaryDirectory() as folder:
            traced = [self.bus.ctl("--json", "nodes", HEVRA_TRACE=where).errors for where in ("1", folder + "/file")]
            with open(folder + "/file", encoding="utf-8") as file:
                traced[1] += file.read()
        for text in traced:
            reply = next(line for line in text.splitlines() if "<- return" in line and "(4096, " in line)
            self.assertRegex(reply, r"^\d+\.\d{6} <- return #\d+ of #\d+ from :1\.\d+ to :1\.\d+ \(\[\(4096, ")
            self.assertNotIn(key, text)

    def test_find_the_bus(self):
        self.stackd()
        rows = [
            ([], {"HEVRA_BUS": self.bus.address}),
            (["--bus", self.bus.address], {"HEVRA_BUS": "unix:path=/nowhere"}),
            ([], {"DBUS_SYSTEM_BUS_ADDRESS": self.bus.address}),
            (["--bus", "session"], {"DBUS_SESSION_BUS_ADDRESS": self.bus.address}),
        ]
        for options, variables in rows:
            with self.subTest(options, variables=variables):
                self.assertEqual(ctl(*options, "reset", **variables).status, 0)

    def test_say_what_is_wrong_with_the_bus(self):
        self.stackd("--service", "zuv")
        deny = support.Bus(f'<deny send_destination="{HOST}"/>')
        self.addCleanup(deny.close)
        owner = DBusPython(deny.address)
        self.addCleanup(owner.close)
        owner.own(HOST)
        nowhere = "unix:path=/nonexistent/bus"
        rows = [
            (nowhere, nowhere, 3), ("unix:abstract=hevra-nobody", "", 3), ("", None, 3), ("nonsense", "'nonsense'", 2),
            (self.bus.address, NAMES + "ServiceUnknown", 3), (deny.address, NAMES + "AccessDenied", 3),
        ]
        for address, text, status in rows:
            for command in ["reset"], ["cancel"], ["send", "--group", "g", "-"]:
                with self.subTest(address, command=command):
                    variables = {"DBUS_SYSTEM_BUS_ADDRESS": nowhere} if text is None else {}
                    result = ctl(*(["--bus", address] if address else []), *command, commands=[{"id": 1}], **variables)
                    self.assertEqual((result.status, result.output), (status, ""), result)
                    self.assertRegex(result.errors, "^hevractl: [^\n]+\n$")
                    self.assertIn(text or "", result.errors)

    def test_send_nothing_for_wrong_input(self):
        calls = []

        class Recorder(DBusPython):
            def filter(self, connection, message):
                calls.extend([message.get_member()] if isinstance(message, MethodCallMessage) else [])
                return super().filter(connection, message)

        service = Recorder(self.bus.address)
        self.addCleanup(service.close)
        service.own(HOST)

        rows = [(SEND + ["-"], commands, text) for commands, text in WRONG_COMMANDS]
        rows += [(arguments, [{"id": 1}], text) for arguments, text in WRONG_LINES]
        rows += [(SET, node, text) for node, text in WRONG_NODES]
        rows += [(arguments, changed("sensor"), text) for arguments, text in WRONG_NODE_LINES]
        for arguments, commands, text in rows:
            with self.subTest(arguments, commands=commands):
                result = self.bus.ctl("--json", *arguments, commands=commands)
                self.assertEqual((result.status, result.output), (2, ""), result)
                self.assertRegex(result.errors, "^hevractl: [^\n]+\n$")
                self.assertIn(text, result.errors)
                self.assertNotIn(SECRET[1:-1], result.errors)
        service.ask_bus("GetId", "")  # what was sent before has arrived now
        self.assertEqual(calls, [])

    def test_explain_themselves(self):
        for arguments in ["--help"], ["send", "--help"], ["--version"], ["reset", "--version"]:
            result = ctl(*arguments)
            self.assertEqual((result.status, result.errors), (0, ""))
            self.assertIn("hevractl", result.output)
        for option in "--help", "--version":
            process = Process(*support.EMULATOR, support.PROGRAMS + "hevra-stackd", option)
            self.assertIn("stack" if option == "--help" else "hevra-stackd", process.line())
            self.assertEqual(process.end(), (0, ""))

    def test_end_when_nobody_takes_what_they_print(self):
        self.stackd()
        file = self.file([{"id": 1}])
        rows = [["--help"], ["send", "--help"], ["--version"], ["watch"], ["record", file + ".record"], ["wait"],
                ["send", "--group", "g", file], ["send", "--group", "g", file, "--no-wait"], ["link", "id", "1", "--type", "0"],
                ["node", "remove", "0x1000"], ["reset"], ["cancel"], ["nodes"], ["doctor"]]
        error = "standard output cannot be written: No space left on device\n"
        with open("/dev/full", "wb") as full:
            for arguments in rows + [["--json", *row] for row in rows if "--no-wait" not in row]:
                with self.subTest(arguments):
                    result = self.bus.ctl(*arguments, output=full)
                    self.assertEqual((result.status, result.errors), (2, "hevractl: " + error))
            bus = support.Bus()
            self.addCleanup(bus.close)
            for options in ["--help"], ["--bus", bus.address]:
                ended = subprocess.run([*support.EMULATOR, support.PROGRAMS + "hevra-stackd", *options], stdout=full,
                                       stderr=subprocess.PIPE, env=support.environment(), timeout=support.DEADLINE,
                                       check=False)
                self.assertEqual((ended.returncode, ended.stderr.decode()), (2, "hevra-stackd: " + error))
        for arguments in ["watch"], ["send", "--group", "g", self.file(delayed(1))]:
            process = self.bus.run(*support.EMULATOR, support.PROGRAMS + "hevractl", "--bus", self.bus.address, *arguments)
            process.line()
            process.child.stdout.close()
            self.assertEqual(process.child.wait(support.DEADLINE), -signal.SIGPIPE)

    def test_the_service_escapes_what_it_logs_and_leaves_who_does_not_answer(self):
        service = self.stackd()
        peer = DBusPython(self.bus.address)
        self.addCleanup(peer.close)
        reports = []

        def progress(*_):
            reports.append(1)
            if len(reports) == 1:
                raise PeerError("test.Error.Evil", "\x1b[2J\x9b")

        peer.serve("/client", support.ORIGINATOR, {"progress": (support.PROGRESS, "")}, progress)
        peer.call(HOST, support.MANAGER_PATH, HOST + support.MANAGER, "add", support.ADD,
                  (("/client",), ("g",), [support.full_command(7)[0]]))
        wait(lambda: len(reports) == 2, "the report that is not answered")
        status, log = service.end(signal.SIGTERM)
        self.assertEqual(status, 0)
        self.assertRegex(log, r"^<4>[^\n]*test\.Error\.Evil: \\x1b\[2J\\xc2\\x9b\n$")

    def test_the_service_ends_cleanly(self):
        for how in signal.SIGTERM, signal.SIGINT:
            service = self.stackd()
            self.send(delayed(1, 2), "--no-wait")
            status, log = service.end(how)
            self.assertEqual(status, 0, log)
            self.assertEqual(self.bus.ctl("reset").status, 3)

    def test_the_service_says_why_it_does_not_start(self):
        deny = support.Bus(f'<deny own="{HOST}"/>')
        self.addCleanup(deny.close)
        self.stackd()
        rows = [
            (["--bus", "unix:path=/nonexistent/bus"], 3, "/nonexistent/bus"), (["--bus", self.bus.address], 3, HOST),
            (["--bus", deny.address], 3, HOST), (["--bus", "nonsense"], 2, "nonsense"), (["--fail", "2"], 2, "--fail"),
            (["--pace", "slow"], 2, "slow"), (["--service", "none"], 2, "none"), (["--unknown"], 2, "unknown"),
        ]
        os.truncate(long := self.file([]), 2**30)
        rows += [(["--nodes", self.file(NESTED)], 2, "deep"), (["--replay", "/"], 2, "directory"),
                 (["--replay", long], 2, "more than 268435456 bytes")]
        rows += [(["--scenario", self.file(document)], 2, text) for document, text in WRONG_SCENARIOS]
        rows += [(["--replay", self.file(document)], 2, text) for document, text in WRONG_RECORDINGS]
        for options, status, text in rows:
            with self.subTest(options):
                process = Process(*support.EMULATOR, support.PROGRAMS + "hevra-stackd", *options)
                ended, errors = process.end()
                self.assertEqual(ended, status, errors)
                self.assertRegex(errors, "^hevra-stackd: [^\n]+\n$")
                self.assertIn(text, errors)


if __name__ == "__main__":
    unittest.main(verbosity=2)
