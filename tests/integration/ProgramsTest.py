"""hevractl and hevra-stackd as processes on a real bus: what they print, how they end, and that wrong input sends
nothing."""

import fcntl
import json
import os
import pty
import signal
import subprocess
import termios
import unittest

import support
from support import HOST, STACKD, Process, ctl, full_node

NAMES = "org.freedesktop.DBus.Error."
SECRET = "5ec2e7" * 5 + "00"
SEND, SET = ["send", "--group", "g"], ["node", "set", "-", "--action"]
LINK = ["link", "set", "--node", "1", "--stack", "2", "--type", "0"]
WRONG_INPUT = [
    (SEND + ["-"], b"", "line 1"), (SEND + ["-"], [{"id": 1, "status": 9}], "[0].status: 9"),
    (SEND + ["-"], [{"id": 1}, {"id": 2, "colour": 3}], "colour"),
    (SET + ["1"], b'{"kind": "stack",\n"key": "%s' % SECRET.encode(), "line 2"),
    (SET + ["1"], full_node("stack", 7, key=SECRET)[1], "key"),
    (SET + ["1"], full_node("sensor", 7, nodeClass=3)[1], "UnknownNodeClass")]
WRONG_LINES = [
    ([], ""), (["dance"], "dance"), (["--bright", "reset"], "bright"), (["reset", "now"], "now"), (SEND, "FILE"),
    (["send", "-"], "group"), (SEND + ["/nonexistent.json"], "/nonexistent.json"), (SEND + ["/"], "/"),
    (SEND + ["-", "--wait", "-1"], "-1"), (SEND + ["-", "--wait", "1", "--no-wait"], "--no-wait"),
    (["send", "--group", b"\xff", "-"], ""), (["cancel", "--key", b"\xc0\x80"], ""),
    (["cancel", "--key", "g_1", "--priority", "1"], "--key"), (["cancel", "--priority", "4294967296"], "4294967296"),
    (["--service", "all", "reset"], "all"), (["--app", "a/b", "cancel"], "a/b"), (["--app", "", "cancel"], "--app"),
    (["node"], ""), (SET[:3], "--action"), (SET + ["2147483648"], "2147483648"), (["node", "remove"], "ADDRESS"),
    (["node", "remove", "0x100000000"], "0x100000000"), (["node", "key", "1", SECRET[1:]], "32"),
    (["node", "key", "1", SECRET[1:] + "g"], "32"), (["node", "key", "1", "0" * 32], ""),
    (["node", "key", "1", "-"], "standard input"), (["nodes", "--class", "256"], "256"), (["link"], ""),
    (["nodes", "--type", "1"], "--class"), (["nodes", "--class", "1", "--type", "65536"], "65536"),
    (LINK + ["--action", "1"], "--id"),
    (LINK + ["--id", b"\xff", "--action", "1"], "id"), (LINK + ["--id", "x", "--action", "-2147483649"], "-2147483649"),
    (["link", "id", "1"], "--type"), (["link", "id", "1", "--type", "2147483648"], "2147483648"),
    (["nods"], "did you mean nodes or node?; see hevractl --help"),
    (["node", "shwo", "1"], "show?; see hevractl node --help"),
    (["send", "--grup", "g", "-"], "--group?; see hevractl send --help"), (["link"], "missing: set, id"),
    (["help", "link", "st"], "did you mean set?"), (SET + ["9"], "remove (2); --raw"), (["nodes", "--class", "7"], "--raw"),
    (["nodes", "--class", "sensr"], "sensor (1)"), (["nodes", "--kind", "beacon"], "controller"),
    (["nodes", "--sort", "colour"], "address"), (["send", "1", "b"], "2 words"), (["send", "1", "b", "maybe"], "maybe"),
    (["send", "1", "y", "0x100"], "0x100"), (["send", "1", "ay", "0G"], "0G"), (["send", "1", b"\xff", "1"], "one of ay"),
    (["send", "2", "b", "1", "one", "b", "1"], "command 2: ADDRESS"), (SEND + ["-", "--delay", "1"], "--delay"),
    (SEND + ["-", "--label", "x"], "--label"), (["--timeout", "0", "reset"], "--timeout"),
    (["cancel", "--all", "--key", "g_1"], "--all"), (["watch", "--time", "noon"], "noon"), (["watch", "--for", "1m"], "1m")]
"""What is wrong, and what the error must name."""


def scenario(name):
    return ["--scenario", f"{support.SOURCES}/examples/scenarios/{name}.json"]


def rule(**changes):
    return [{"on": "add", "do": "silence"}, {"on": "add", "do": "delay", "ms": 1} | changes]


def call(**changes):
    return {"time": 0, "type": "call"} | changes


NESTED = json.loads("[" * 200 + "]" * 200)
WRONG_SCENARIOS = [
    (1, "array"), (NESTED, "deep"), ([{"do": "late"}], "[0].on"), (rule(on="dance"), "[1]: a rule for 'dance'"),
    (rule(do="sleep"), '[1].do: "sleep"'), (rule(ms=-1), "[1].ms"), (rule(do="late"), '"ms"'),
    (rule(on="getnodes", group="g"), "[1]: a group"), (rule(nth=0), "[1]: nth 0"), (rule(times=0), "[1]: times 0"),
    (rule(colour=1), '"colour"'), ([{"on": "add", "do": "error", "name": "busy"}], "'busy'"),
    ([{"on": "progress", "do": "error", "name": "a.b"}], '"name"'), ([{"at": 0, "do": "dance"}], '[0].do: "dance"'),
    ([{"at": -1, "do": "restart", "ms": 1}], "[0].at"), ([{"at": 0, "do": "restart", "text": ""}], '"text"'),
    ([{"at": 0, "do": "state", "address": 1, "state": [1, 256]}], "[0].state: 256"),
    ([{"at": 0, "do": "exception", "text": "", "times": 2}], "[0]: times without every"),
    ([{"at": 0, "do": "node", "node": {}, "action": "added"}], "[0].node.kind"),
    ([{"at": 0, "do": "link", "link": {"node": 1, "stack": 2, "id": "", "type": 0}, "action": 3}], "[0].action")]
WRONG_RECORDINGS = [
    (NESTED, "deep"), (1, "array"), (call(time=1e300), "[0].time: 1e+300"), ([call(), call(time=-1)], "[1].time"),
    (call(type="noise"), "[0].type"), (call(colour=1), '"colour"')]
WRONG_RECORDINGS += [(call(signature=signature, body=body), "[0]") for signature, body in [
    ("u", ["x"]), ("u", [2**32]), ("u", []), ("u", [1, 2]), ("(u", [[1]]), ("ay", ["0"]), ("a{sv}", [[["x", 1]]]),
    ("v", [{"type": "uu", "value": 1}]), ("d", ["x"]), ("o", ["x"]), ("", 1), ("z", [1]), ("s", ["\0"])]]


class Programs(support.Case):
    def stackd(self, *options):
        return self.bus.stackd("--pace", "0", *options)

    def expect_refusal(self, result, status, text):
        self.assertEqual((result.status, result.output), (status, ""), result)
        self.assertRegex(result.errors, "^hevra[^\n]*: [^\n]+\n$")
        self.assertIn(text, result.errors)
        self.assertNotIn(SECRET[1:-1], result.errors)

    def test_send_ends_as_its_commands_do(self):
        two, delayed = [{"id": 1}, {"id": 2}], [{"id": 1, "delay": 3600}]
        refusal = f"hevractl: {NAMES}Failed: "
        rows = [
            ([], [], [], 0, [], ""),
            ([], two, ["--no-wait"], 0, [], ""),
            ([], delayed, ["--wait", "1"], 4, None, "hevractl: "),
            ([], [{"id": 1, "delay": 1}], [], 0, [(1, 6), (1, 1), (1, 2), (1, 3)], ""),
            (["--fail", "1"], two[:1], [], 1, [(1, 1), (1, 2), (1, 4)], ""),
            (["--drop", "1"], two, ["--wait", "1"], 4, [], "hevractl: "),
            (["--duplicate", "1"], two[:1], [], 0, [(1, 1), (1, 1), (1, 2), (1, 2), (1, 3)], ""),
            (["--refuse", "1"], two, [], 3, [], refusal),
            (scenario("restart"), two[:1], [], 3, [(1, 1)], f"hevractl: {HOST} has gone, and with it 1 command: 1"),
            (scenario("silence"), two[:1], ["--wait", "1"], 4, None, "hevractl: "),
            (scenario("refusal"), two, [], 3, [], "com.example.Error.Busy: the radio is busy"),
            (scenario("slow"), two[:1], ["--wait", "1"], 4, None, "hevractl: "),
            (scenario("garbled"), two[:1], [], 0, [(1, 2), (1, 2), (1, 3)], "signature"),
        ]
        for faults, commands, options, status, statuses, errors in rows:
            with self.subTest(faults=faults, options=options):
                service = self.stackd(*faults)
                result = self.bus.ctl("--json", *SEND, "-", *options, commands=commands)
                self.assertEqual(result.status, status, result)
                if statuses is not None:  # None: how many come in a second is the machine's affair
                    told = [(line["command"]["id"], line["command"]["status"]) for line in result.lines]
                    self.assertEqual(told, statuses)
                self.assertIn(errors, result.errors)
                # A copy of the last report may come before the program has ended, and is then of no command.
                lines = [line for line in result.errors.splitlines() if "unknown originator" not in line]
                self.assertEqual(len(lines), 1 if errors else 0, result)
                if "--refuse" in faults:
                    for command in "reset", "cancel":
                        self.expect_refusal(self.bus.ctl(command), 3, refusal)
                self.assertEqual(service.end(signal.SIGTERM)[0], 0)

    def test_tell_people_what_was_done(self):
        self.stackd()
        file = self.file([{"id": 7}])
        for arguments, output in [
                (["reset"], r"The daughter board was reset\.\n"), (SEND + [file, "--no-wait"], r"Sent 1 command\.\n"),
                (SEND + [file], r"COMMAND [^\033]*g_7 [^\033]* COMPLETED [^\033]*1 of 1 command completed\.\n"),
                (["send", "0x1001", "b", "on", "0x1002", "i", "-5", "--label", "hall", "--delay", "0"],
                 r'COMMAND [^\033]*\nh[0-9a-f]{8}_2 +COMPLETED [^\033]* i -5  "hall"\n[^\033]*2 of 2 commands .*\n'),
                (["send", "0x1001", "s", "[a,b]", "--no-wait"], r"Sent 1 command as the group h[0-9a-f]{8}\.\n"),
                (["nodes", "--sort", "address", "--kind", "controller"],
                 r"KIND [^\n]*\ncontroller +0x3001 +controller [^\n]*\n"),
                (["node", "show", "0x2001"], r"kind +sensor\naddress +0x2001\nnodeClass +sensor\n([^\n]+\n){19}"),
                (["--version"], r"hevractl [0-9.]+\n"), (["reset", "--version"], r"hevractl [0-9.]+\n")]:
            result = self.bus.ctl(*arguments)
            self.assertEqual((result.status, result.errors), (0, ""))
            self.assertRegex(result.output, f"^{output}$")
        version = Process(*STACKD, "--version")
        self.assertIn("hevra-stackd", version.line())
        self.assertEqual(version.end(), (0, ""))

    def test_show_no_keys(self):
        service = self.stackd()
        key, trace = "a1" * 16, self.bus.folder + "/trace"
        watches = [self.bus.ctl_process(*options, "watch") for options in ([], ["--show-keys"])]
        for watch in watches:
            watch.line(), watch.line()  # that it is ready, and the titles
        for process in service, *watches:
            self.assertEqual(support.library_threads(process.child.pid), [], "everything is to run on the dispatcher")
        traced = self.bus.ctl("node", "key", "0x1000", key, HEVRA_TRACE="1").errors
        self.assertIn(".changekey(4096, ****)\n", traced)
        self.assertEqual(self.bus.ctl("--json", "nodes", HEVRA_TRACE=trace).errors, "")
        with open(trace, encoding="utf-8") as file:
            traced += file.read()
        self.assertRegex(traced, r"(?m)^\d+\.\d{6} <- return #\d+ of #\d+ from :1\.\d+ to :1\.\d+ \(\[\(4096, ")
        for text in traced, watches[0].line(), self.bus.ctl("nodes").output, \
                self.bus.ctl("node", "show", "0x1000").output:
            self.assertNotIn(key, text)
        for text in watches[1].line(), self.bus.ctl("nodes", "--show-keys").output:
            self.assertIn(key, text)

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
        deny = self.another_bus(f'<deny send_destination="{HOST}"/>')
        deny.stackd()
        nowhere = "unix:path=/nonexistent/bus"
        rows = [
            (["--bus", nowhere], nowhere, 3), (["--bus", "unix:abstract=hevra-nobody"], "", 3), ([], nowhere, 3),
            (["--bus", "nonsense"], "'nonsense'", 2), (["--bus", self.bus.address], NAMES + "ServiceUnknown", 3),
            (["--bus", deny.address], NAMES + "AccessDenied", 3)]
        for options, text, status in rows:
            for command in ["reset"], ["cancel"], [*SEND, "-"]:
                with self.subTest(options, command=command):
                    result = ctl(*options, *command, commands=[{"id": 1}], DBUS_SYSTEM_BUS_ADDRESS=nowhere)
                    self.expect_refusal(result, status, text)

    def test_send_nothing_for_wrong_input(self):
        """What is sent gets an error from the bus, which has no service."""
        rows = WRONG_INPUT + [(arguments, [{"id": 1}], text) for arguments, text in WRONG_LINES]
        for arguments, given, text in rows:
            with self.subTest(arguments, given=given):
                result = self.bus.ctl(*arguments, commands=given)
                self.expect_refusal(result, 2, text)

    def test_end_when_nobody_takes_what_they_print(self):
        self.stackd()
        file = self.file([{"id": 1, "delay": 1}])
        rows = [["--help"], ["--version"], ["watch"], ["record", file + ".record"], ["wait"], SEND + [file],
                ["link", "id", "1", "--type", "0"], ["node", "remove", "0x1000"], ["reset"], ["nodes"], ["doctor"]]
        error = "standard output cannot be written: No space left on device\n"
        with open("/dev/full", "wb") as full:
            for arguments in rows + [["--json", *row] for row in rows] + [SEND + [file, "--no-wait"]]:
                with self.subTest(arguments):
                    result = self.bus.ctl(*arguments, output=full)
                    self.assertEqual((result.status, result.errors), (2, "hevractl: " + error))
            for options in ["--help"], ["--bus", self.another_bus().address]:
                service = Process(*STACKD, *options, output=full)
                self.assertEqual(service.end(), (2, "hevra-stackd: " + error))
        for arguments in ["watch"], SEND + [file]:
            process = self.bus.ctl_process(*arguments)
            process.line()
            process.child.stdout.close()
            self.assertEqual(process.child.wait(support.DEADLINE), -signal.SIGPIPE)

    def test_a_signal_ends_a_call_that_nobody_answers(self):
        self.stackd("--service", "hevra", "--silent", "1")
        file = self.file([{"id": 1}])
        rows = [(["reset"], ".hardreset("), (["nodes"], ".getnodes("), (["cancel"], ".cancel("), (SEND + [file], ".add("),
                (["link", "id", "1", "--type", "0"], ".getNodeLink("), (["doctor"], ".add("),
                (["node", "remove", "1"], ".removeChildrenNodes("), (["--service", "zuv", "wait"], ".GetNameOwner(")]
        for arguments, call in rows:
            # A script's background processes ignore interrupts; the commands that go on until one comes heed it.
            for ignored in "", "trap '' INT; ":
                heeded = not ignored or "send" in arguments
                with self.subTest(arguments, ignored=ignored):
                    process = Process("sh", "-c", ignored + 'exec "$@"', "sh", *support.CTL, "--bus", self.bus.address,
                                      *arguments, HEVRA_TRACE="/dev/stdout")
                    self.addCleanup(process.kill)
                    while call not in process.line():
                        pass
                    process.child.send_signal(signal.SIGINT)
                    last = signal.SIGINT if heeded else signal.SIGTERM
                    self.assertEqual(process.end(None if heeded else last), (-last, ""))

    def test_a_call_takes_as_long_as_it_may(self):
        self.stackd("--service", "hevra", "--silent", "1")
        for command in (["reset"], ["nodes"], ["node", "show", "1"], ["cancel"],
                        ["send", "1", "b", "1", "--no-wait"], ["link", "id", "1", "--type", "0"]):
            with self.subTest(command):
                self.expect_refusal(self.bus.ctl("--timeout", "0.1", *command), 3, NAMES + "NoReply")
        self.assertEqual(self.bus.ctl("--timeout", "0.1", "node", "remove", "1").status, 0)
        failed = [line for line in self.bus.ctl("--timeout", "0.1", "--json", "doctor").lines if line["ok"] is False]
        self.assertEqual([line["step"] for line in failed], ["progress"])
        late = self.bus.ctl("--service", "zuv", "--timeout", "0.1", "wait")
        self.assertEqual(late.status, 4)
        self.assertIn("after 0.1 s", late.errors)

    def test_watch_the_service_and_the_bus_come_and_go(self):
        watch = self.bus.ctl_process("--json", "watch", "--time", "relative", "--count", "1")
        self.assertEqual(json.loads(watch.line()), {"event": "ready"})

        def expect(event, **rest):
            line = json.loads(watch.line())
            self.assertGreaterEqual(line.pop("time"), 0)
            self.assertEqual(line, {"event": event} | rest)

        self.assertEqual(watch.complaint(), f"hevractl: {HOST} is not there")
        service = self.stackd("--service", "hevra")
        expect("service", present=True)
        service.end(signal.SIGTERM)
        expect("service", present=False)
        self.bus.daemon.end(signal.SIGTERM)
        expect("bus", present=False)
        self.bus.start()
        expect("bus", present=True)
        self.stackd("--service", "hevra")
        while json.loads(watch.line())["event"] != "service":
            pass
        seen = self.bus.ctl_process("watch")
        titles = [seen.line() for _ in range(2)][1]
        self.assertRegex(titles, "^TIME +EVENT ")
        self.bus.ctl("link", "set", "--node", "0x2001", "--stack", "0x1000", "--id", "x", "--type", "sense",
                     "--action", "add")
        self.assertEqual(json.loads(watch.line())["event"], "linkModified")
        self.assertEqual(watch.end()[0], 0)
        self.assertRegex(seen.line(), r"^[0-9-]{10} [0-9:]{8}\.\d{3}  link +added +sensor +0x2001 .*sense to 0x1000")
        self.assertEqual(self.bus.ctl("watch", "--for", "0").status, 0)

    def test_the_service_reads_its_files_again(self):
        house = [full_node("sensor", 1)[1], full_node("controller", 7)[1]]
        nodes, scenario = self.file(house), self.file(
            [{"at": 0, "every": 3600000, "do": "exception", "text": "an hour"}, {"on": "hardreset", "do": "error"}])
        service = self.stackd("--nodes", nodes, "--scenario", scenario, "--time-scale", "1000000")
        self.assertEqual(self.bus.ctl("reset").status, 3)
        watch = self.bus.ctl_process("--json", "watch")
        lines = [json.loads(watch.line()) for _ in range(4)]
        self.assertEqual([line["event"] for line in lines], ["ready"] + ["exception"] * 3)

        def write(name, text):
            with open(name, "w", encoding="utf-8") as file:
                file.write(text)
            service.child.send_signal(signal.SIGHUP)

        write(nodes, "{")
        self.assertRegex(service.complaint(), f"^hevra-stackd: {nodes}: line 1.*; nothing was reloaded$")
        link = {"node": 1, "stack": 4096, "id": "hall", "type": 1}
        write(scenario, json.dumps({"at": 3600000, "do": "exception", "text": "read again"}))
        service.complaint()
        stack = full_node("stack", 4096)[1]
        write(nodes, json.dumps(house[0] | {"state": 9}) + "\n" + json.dumps(stack))
        self.assertEqual(service.line(), "reloaded")
        told, changes = [], []  # nodes and exceptions are announced by two objects, each in its order
        while {"event": "exception", "message": "read again"} not in told or len(changes) < 3:
            told.append(json.loads(watch.line()))
            changes = [(line["action"], line["node"]["address"]) for line in told if line["event"] == "modified"]
        self.assertEqual(changes, [(2, 7), (1, 1), (0, 4096)])
        self.assertEqual(self.bus.ctl("reset").status, 0)
        write(scenario, json.dumps([
            {"at": 0, "do": "state", "address": 1, "state": 5}, {"at": 1, "do": "node", "action": 2, "node": house[1]},
            {"at": 2, "do": "link", "action": "added", "link": link},
            {"at": 3, "do": "node", "action": "removed", "node": stack}]))
        self.assertEqual(service.line(), "reloaded")
        told = [json.loads(watch.line()) for _ in range(4)]
        self.assertEqual([(line["event"], line["action"], line["node"]["state"]) for line in told],
                         [("modified", 1, 5), ("linkModified", 0, 5), ("linkModified", 2, 5), ("modified", 2, 0x8E)])
        self.assertEqual(told[1]["link"], link)
        self.assertIn("the node 0x7 is not there", service.end(signal.SIGTERM)[1])

    def test_the_service_takes_the_nodes_that_another_has_listed(self):
        self.stackd()
        listed = self.bus.ctl("--json", "nodes").output
        self.bus.write("nodes", listed)
        copy = self.another_bus()
        service = copy.run("sh", "-c", f'exec "$@" <{self.bus.folder}/nodes', "sh", *STACKD, "--bus", copy.address,
                           "--nodes", "-")
        self.assertEqual(service.line(), "ready")
        self.assertEqual(copy.ctl("--json", "nodes").output, listed)
        service.child.send_signal(signal.SIGHUP)
        self.assertEqual(service.line(), "reloaded")
        self.assertEqual(copy.ctl("--json", "nodes").output, listed)

    def test_the_service_ends_with_its_terminal(self):
        own, its = pty.openpty()
        service = subprocess.Popen(
            [*STACKD, "--bus", self.bus.address], stdin=its, stdout=subprocess.PIPE, env=support.environment(),
            start_new_session=True, preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY))
        self.addCleanup(service.kill)
        os.close(its)
        self.assertEqual(service.stdout.readline(), b"ready\n")
        os.close(own)
        self.assertEqual(service.communicate(timeout=support.DEADLINE), (b"", None))
        self.assertEqual(service.returncode, 0)

    def test_the_service_says_why_it_does_not_start(self):
        self.stackd()
        deny = self.another_bus(f'<deny own="{HOST}"/>')
        os.truncate(long := self.file([]), 2**30)
        rows = [
            (["--bus", "unix:path=/nonexistent/bus"], 3, "/nonexistent/bus"), (["--bus", self.bus.address], 3, HOST),
            (["--bus", deny.address], 3, HOST), (["--bus", "nonsense"], 2, "nonsense"), (["--fail", "2"], 2, "--fail"),
            (["--pace", "slow"], 2, "slow"), (["--time-scale", "0"], 2, "0.001 to 1e+06"), (["--service", "none"], 2, "none"), (["--unknown"], 2, "unknown"),
            (["--nodes", self.file(NESTED)], 2, "deep"), (["--replay", "/"], 2, "directory"),
            (["--replay", long], 2, "more than 268435456 bytes")]
        rows += [(["--scenario", self.file(document)], 2, text) for document, text in WRONG_SCENARIOS]
        rows += [(["--replay", self.file(document)], 2, text) for document, text in WRONG_RECORDINGS]
        for options, status, text in rows:
            with self.subTest(options):
                ended, errors = Process(*STACKD, *options).end()
                self.expect_refusal(support.Result(ended, b"", errors.encode()), status, text)


if __name__ == "__main__":
    unittest.main(verbosity=2)
