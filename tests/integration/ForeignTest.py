"""Another implementation of the bus at the other end: as the client of hevra-stackd, and as the service that hevractl
talks to."""

import json
import re
import signal
import threading
import unittest

import support
from peer import Peer, PeerError, wait, wake
from support import (ADD, BOARD, BOARD_PATH, COMMANDS, COMMANDS_PATH, ERROR, HOST, HOSTS, LINK, NODE_RECORDS, NODES,
                     ORIGINATOR, PROGRESS, Case, full_command, full_node, nodes_path)

ADDED, MODIFIED, REMOVED = range(3)
KEY, NEW_KEY = support.block(0x30, 16), support.block(0x70, 16)
FULL_LINK = (0xF1727374, 0xF5767778, "Küche, 家", -1)
LINK_FORM = {"node": 0xF1727374, "stack": 0xF5767778, "id": "Küche, 家", "type": -1}
TABLE = [
    ("stack", full_node("stack", 1)), ("actuator", full_node("actuator", 2)),
    ("actuator", full_node("actuator", 3, nodeClass=0)),
    ("sensor", full_node("sensor", 4, listening=False)), ("actuator", full_node("actuator", 5, nodeClass=4)),
    ("controller", full_node("controller", 0xFFFFFFFF, nodeType=7))]
PAIRS = [full_command(number) for number in range(len(support.VALUES))]


def record(address):
    return next(record for _, (record, _) in TABLE if record[0] == address)


def lists(*kinds):
    """The signature of lists of nodes of these kinds."""
    return "".join("a" + NODE_RECORDS[kind] for kind in kinds)


class ForeignClient(Case):
    """Calls hevra-stackd as an application does, and hears what it tells."""

    def setUp(self):
        super().setUp()
        nodes = self.file([form for _, (_, form) in TABLE])
        self.service = self.bus.stackd("--pace", "0", "--service", "both", "--nodes", nodes)
        self.peer = Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        self.owner = self.peer.ask_bus("GetNameOwner", "s", HOST)
        self.signals = {host: [] for host in HOSTS.values()}
        for host in self.signals:
            self.peer.listen(host + NODES, lambda *heard, host=host: self.heard(host, *heard))

    def heard(self, host, sender, path, *rest):
        self.assertEqual((sender, path), (self.owner, nodes_path(host)))
        self.signals[host].append(rest)

    def ask(self, member, signature="", *values, host=HOST):
        return self.peer.call(host, nodes_path(host), host + NODES, member, signature, values)

    def test_hears_every_status_of_every_command(self):
        reports = []

        def progress(sender, _, values):
            reports.append((sender, *values))
            if len(reports) == 1:
                raise PeerError("test.Error.Evil", "\x1b[2J\x9b")
            return ()

        self.peer.serve("/client", ORIGINATOR, {"progress": (PROGRESS, "")}, progress)
        for host in HOSTS.values():
            with self.subTest(host):
                reports.clear()
                sent = [record for record, _ in PAIRS]
                reply = self.peer.call(host, COMMANDS_PATH, host + COMMANDS, "add", ADD, (("/client",), ("g1",), sent))
                self.assertEqual(reply, ("", ()))
                wait(lambda: len(reports) == 3 * len(sent), "all reports")
                for command in sent:
                    expected = [(self.owner, command[:13] + (own,) + command[14:], ("g1",), status)
                                for own, status in ((1, 1), (2, 1), (3, 2))]
                    self.assertEqual([report for report in reports if report[1][0] == command[0]], expected)
        self.assertEqual(self.peer.call(HOST, BOARD_PATH, BOARD, "hardreset"), ("b", (True,)))
        status, log = self.service.end(signal.SIGTERM)
        self.assertEqual(status, 0)
        self.assertRegex(log, r"^(<4>[^\n]*test\.Error\.Evil: \\x1b\[2J\\xc2\\x9b\n){2}$")

    def test_is_told_of_what_it_can_call_and_hear(self):
        """As `dist/interfaces/` describes it."""
        self.bus.ctl_process("--app", "app", "watch").line()
        (names,) = self.peer.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", "ListNames")[1]
        application = next(name for name in names if name[0] == ":" and name not in (self.owner, self.peer.name))
        commands = [f"add {ADD}", "cancel ", "cancel s", "cancel u", "exception s"]
        nodes = ["getnodes ", "getnodes y", "getnodes yq", f"modifyLink {LINK}i-b", "removeChildrenNodes u",
                 "changekey uay", "getNodeLink uu-s"]
        for node in NODE_RECORDS.values():
            nodes += [f"modify {node}i-b", f"modified {node}y", f"linkModified {node}{LINK}y"]
        rows = [(HOST, BOARD_PATH, BOARD, ["hardreset -b"])]
        for variant, host in HOSTS.items():
            rows += [(host, COMMANDS_PATH, host + COMMANDS, commands), (host, nodes_path(host), host + NODES, nodes)]
        rows += [(application, "/com/quarnix/Application/app/Hevra/Originator", ORIGINATOR, [f"progress {PROGRESS}"])]
        for destination, path, interface, expected in rows:
            self.assertEqual(self.peer.describe(destination, path, interface), sorted(expected))

    def test_lists_and_changes_nodes_and_hears_of_it(self):
        everything = [record for _, (record, _) in TABLE]
        for host in HOSTS.values():
            kinds, values = self.ask("getnodes", host=host)
            self.assertEqual(kinds, lists("stack", "actuator", "sensor", "actuator", "controller"))
            self.assertEqual(values,
                             (everything[:1], everything[1:3], everything[3:4], everything[4:5], everything[5:]))
        for signature, values, kind, found in [
                ("y", (0,), "actuator", [3]), ("y", (1,), "sensor", [4]), ("yq", (6, 7), "controller", [0xFFFFFFFF])]:
            reply = self.ask("getnodes", signature, *values)
            self.assertEqual(reply, (lists(kind), ([record(address) for address in found],)))
        self.assertEqual(self.ask("getnodes", "yq", 6, 0xCFC5), ("", ()))
        self.assertEqual(self.ask("modifyLink", LINK + "i", (4, 1, "Küche, 家", -1), ADDED), ("b", (True,)))
        told = [("linkModified", NODE_RECORDS["sensor"] + LINK + "y", (record(4), (4, 1, "Küche, 家", -1), ADDED))]
        self.assertEqual(self.ask("getNodeLink", "uu", 4, 4294967295), ("s", ("Küche, 家",)))
        for kind in NODE_RECORDS:
            node = full_node(kind, 100)[0]
            for action in ADDED, MODIFIED, REMOVED:
                self.assertEqual(self.ask("modify", NODE_RECORDS[kind] + "i", node, action), ("b", (True,)))
                told.append(("modified", NODE_RECORDS[kind] + "y", (node, action)))
            self.assertEqual(self.ask("modify", NODE_RECORDS[kind] + "i", node, REMOVED), ("b", (False,)))
        self.assertEqual(self.ask("changekey", "uay", 1, NEW_KEY), ("", ()))
        changed = full_node("stack", 1, thirdIdentity=NEW_KEY, key=NEW_KEY, oldKey=KEY)[0]
        told.append(("modified", NODE_RECORDS["stack"] + "y", (changed, MODIFIED)))
        self.assertEqual(self.ask("removeChildrenNodes", "u", 5), ("", ()))
        for host in HOSTS.values():
            self.ask("getnodes", host=host)  # the answer comes behind the signals
            self.assertEqual(self.signals[host], told)


BUSY = PeerError("test.Error.Busy", "The board is müde")
DONE, NO, NO_ID = {"done": True}, {"modified": False}, {"linkId": ""}
SET = ["node", "set", "-", "--action", "remove"]
SET_LINK = ["--raw", "link", "set", "--node", "0xF1727374", "--stack", "0xF5767778", "--id", "Küche, 家", "--type", "-1",
            "--action", "2147483647"]
SENSOR, SENT_SENSOR = TABLE[3][1][1], ("modify", NODE_RECORDS["sensor"] + "i", record(4), REMOVED)
GET_ID, SENT_LINK = ("getNodeLink", "uu", 7, 1), ("modifyLink", LINK + "i", FULL_LINK, 2147483647)
QUESTIONS = [
    (["reset"], ("hardreset", ""), ("b", True), 0, [{"reset": True}], ""),
    (["reset"], ("hardreset", ""), ("b", False), 1, [{"reset": False}], ""),
    (["reset"], ("hardreset", ""), BUSY, 3, [], "hevractl: test.Error.Busy: The board is müde\n"),
    (["reset"], ("hardreset", ""), ("s", "yes"), 3, [], "hevractl: "),
    (["cancel"], ("cancel", ""), ("",), 0, [DONE], ""),
    (["cancel", "--key", ""], ("cancel", "s", ""), ("",), 0, [DONE], ""),
    (["cancel", "--key", "Größe _7"], ("cancel", "s", "Größe _7"), ("",), 0, [DONE], ""),
    (["cancel", "--priority", "0xFFFFFFFF"], ("cancel", "u", 4294967295), ("",), 0, [DONE], ""),
    (["nodes"], ("getnodes", ""), (lists("controller", "actuator"), [record(0xFFFFFFFF)] * 2, []), 0,
     [TABLE[5][1][1]] * 2, ""),
    (["nodes", "--raw", "--class", "255"], ("getnodes", "y", 255), (lists("sensor"), [record(4)]), 0, [SENSOR], ""),
    (["nodes", "--class", "0xFF", "--type", "0xFFFF", "--raw"], ("getnodes", "yq", 255, 65535), ("",), 0, [], ""),
    (["nodes", "--kind", "sensor"], ("getnodes", ""), (lists("controller", "sensor"), [record(0xFFFFFFFF)], [record(4)]), 0,
     [SENSOR], ""),
    (["nodes", "--sort", "address"], ("getnodes", ""), (lists("controller", "sensor"), [record(0xFFFFFFFF)], [record(4)]),
     0, [SENSOR, TABLE[5][1][1]], ""),
    (["node", "show", "0x4"], ("getnodes", ""), (lists("controller", "sensor"), [record(0xFFFFFFFF)], [record(4)]), 0,
     [SENSOR], ""),
    (["node", "show", "5"], ("getnodes", ""), (lists("sensor"), [record(4)]), 1, [], "there is no node 0x5"),
    (["nodes"], ("getnodes", ""), ("a" + LINK, [FULL_LINK]), 3, [], "BadSignatureOnBus"),
    (["nodes"], ("getnodes", ""), ("s", "no list"), 3, [], "hevractl: "),
    (["nodes"], ("getnodes", ""), (f"(u{NODE_RECORDS['sensor']})", (1, record(4))), 3, [], "BadSignatureOnBus"),
    (["nodes"], ("getnodes", ""), (f"({NODE_RECORDS['sensor']}{NODE_RECORDS['controller']})a{LINK}",
                                   (record(4), record(0xFFFFFFFF)), []), 0, [SENSOR, TABLE[5][1][1]], ""),
    (["nodes", "--class", "Sensor"], ("getnodes", "y", 1), BUSY, 3, [], "test.Error.Busy: The board is müde"),
    *[(SET, ("modify", NODE_RECORDS[kind] + "i", values, REMOVED), ("b", True), 0, [{"modified": True}], "", form)
      for kind, (values, form) in TABLE],
    (SET, SENT_SENSOR, ("b", False), 1, [NO], "", SENSOR),
    (SET, SENT_SENSOR, ("s", "yes"), 1, [NO], "NodeManager modify reply bad signature: s", SENSOR),
    (SET, SENT_SENSOR, BUSY, 3, [], "hevractl: test.Error.Busy", SENSOR),
    (SET_LINK, SENT_LINK, ("b", True), 0, [{"modified": True}], ""),
    (SET_LINK, SENT_LINK, ("b", False), 1, [NO], ""),
    (SET_LINK, SENT_LINK, ("",), 1, [NO], "NodeManager modify link reply bad signature:  (expected was b)"),
    (["link", "id", "7", "--type", "sense"], GET_ID, ("s", "Küche, 家"), 0, [{"linkId": "Küche, 家"}], ""),
    (["link", "id", "7", "--type", "1"], GET_ID, ("b", True), 1, [NO_ID], "bad response signature: b, expected was s"),
    (["link", "id", "0xFFFFFFFF", "--type", "-1"], ("getNodeLink", "uu", *[4294967295] * 2), ("s", "x"), 0,
     [{"linkId": "x"}], ""),
    (["node", "remove", "0xFFFFFFFF"], ("removeChildrenNodes", "u", 4294967295), BUSY, 0, [DONE], ""),
    (["node", "key", "7", NEW_KEY.hex().upper()], ("changekey", "uay", 7, NEW_KEY), ("s", "anything"), 0, [DONE], "")]
"""What hevractl is told, the call that it makes, the answer, and what hevractl makes of it."""


class ForeignService(Case):
    """Owns the service's names and answers hevractl."""

    def setUp(self):
        super().setUp()
        self.peer = Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        for host in HOSTS.values():
            self.peer.own(host)
        self.calls = []  # their values

    def serve(self, answer, member, signature="", reply="", host=HOST):
        """Answers with values, a function of (sender, values), or a PeerError."""

        def function(sender, _, values):
            self.calls.append(values)
            if isinstance(answer, PeerError):
                raise answer
            return answer(sender, values) if callable(answer) else answer

        if member == "hardreset":
            path, interface = BOARD_PATH, BOARD
        elif member in ("add", "cancel"):
            path, interface = COMMANDS_PATH, host + COMMANDS
        else:
            path, interface = nodes_path(host), host + NODES
        self.calls.clear()
        self.peer.serve(path, interface, {member: (signature, reply)}, function)

    def run_ctl(self, *arguments, commands=b""):
        """hevractl's result; its calls are answered meanwhile."""
        results = []

        def run():
            results.append(self.bus.ctl("--json", *arguments, commands=commands))
            wake()

        threading.Thread(target=run, daemon=True).start()
        wait(lambda: results, "the end of hevractl")
        return results[0]

    def expect(self, result, status, *lines, errors=""):
        """`errors` is a part of what stands on standard error; empty: nothing does."""
        self.assertEqual((result.status, result.lines), (status, list(lines)), result)
        self.assertIn(errors, result.errors)
        self.assertEqual(bool(errors), bool(result.errors), result)

    def test_is_asked_what_the_command_line_says(self):
        for variant, host in HOSTS.items():
            for arguments, (member, signature, *values), answer, status, lines, errors, *given in QUESTIONS:
                with self.subTest(variant, arguments=arguments, answer=answer):
                    reply, answer = ("", answer) if isinstance(answer, PeerError) else (answer[0], answer[1:])
                    self.serve(answer, member, signature, reply, host)
                    result = self.run_ctl("--service", variant, *arguments, commands=given[0] if given else b"")
                    self.expect(result, status, *lines, errors=errors)
                    self.assertEqual(self.calls, [tuple(values)])

    def report(self, sender, path, *arguments, done):
        self.peer.send(sender, path, ORIGINATOR, "progress", PROGRESS, arguments, done)

    def test_is_sent_every_value_and_reports_before_it_answers(self):
        replies, final = [], [3, 4, 5, 7, 8]
        path = "/com/quarnix/Application/golden_1/{}/Originator"
        expected = [(record[0], status) for record, _ in PAIRS for status in (1, 6, final[record[0] % 5])]

        def add(sender, values):
            (path,), group, commands = values
            for id, status in expected:
                changed = commands[id][:9] + (ERROR + ": a text",) + commands[id][10:13] + (status, commands[id][14])
                self.report(sender, path, changed, group, -status, done=replies.append)
            return ()

        for variant, host in HOSTS.items():
            with self.subTest(variant):
                replies.clear()
                self.serve(add, "add", ADD, host=host)
                result = self.run_ctl("--service", variant, "--app", "golden_1", "--raw", "send", "--group", "g 1", "-",
                                      commands=[form for _, form in PAIRS])
                originator = path.format(variant.capitalize())
                self.assertEqual(self.calls, [((originator,), ("g 1",), [record for record, _ in PAIRS])])
                wait(lambda: len(replies) >= len(expected), "the answers to the reports")
                self.assertEqual(replies, [("", ())] * len(expected))
                error = {"type": 1, "id": -2147483648, "text": f"{ERROR}: {ERROR}: a text"}
                self.expect(result, 1, *[
                    {"event": "progress", "group": "g 1", "status": -status, "final": status in final,
                     "command": {**PAIRS[id][1], "status": status, "error": error}} for id, status in expected])
                self.assertNotRegex(result.output, "[\x7f-\x9f\u202e]")

    def test_is_alone_in_reporting_to_the_strict(self):
        record, form = full_command(3)
        running, done = (record[:13] + (status, record[14]) for status in (1, 3))
        other = Peer(self.bus.address)
        self.addCleanup(other.close)
        replies = []

        def add(sender, values):
            (path,), group, _ = values

            def answered(reply):
                replies.append(reply.name if isinstance(reply, PeerError) else reply)
                self.report(sender, path, done, group, 2, done=lambda _: None)

            other.send(sender, path, ORIGINATOR, "progress", PROGRESS, (running, group, 1), answered)
            return ()

        self.serve(add, "add", ADD)
        denied = "org.freedesktop.DBus.Error.AccessDenied"
        for options, answer, heard in ([], ("", ()), [1, 2]), (["--strict"], denied, [2]):
            replies.clear()
            result = self.run_ctl(*options, "--raw", "send", "--group", "g", "-", commands=[form])
            self.assertEqual((result.status, [line["status"] for line in result.lines]), (0, heard), result)
            self.assertEqual(replies, [answer])

    def test_is_watched(self):
        record = NODE_RECORDS["sensor"]
        wrong = [(NODES, "modified", record, "NodeManager modified bad signature: "),
                 (NODES, "modified", record + "yy", "NodeManager modified bad signature: "),
                 (NODES, "modified", LINK + "y", "NodeManager modified bad signature: "),
                 (NODES, "linkModified", record + "y", "NodeManager link modified bad signature: "),
                 (NODES, "other", "", "NodeManager signal unknown member: other"),
                 (COMMANDS, "exception", "ss", "CommandManager exception bad signature: "),
                 (COMMANDS, "other", "s", "CommandManager exception unknown member: other")]
        values = {record: TABLE[3][1][0], LINK: FULL_LINK, "y": 1, "s": "text"}
        for (variant, host), how in zip(HOSTS.items(), (signal.SIGINT, signal.SIGTERM)):
            watch = self.bus.ctl_process("--json", "--service", variant, "watch")
            self.assertEqual(json.loads(watch.line()), {"event": "ready"})
            paths = {NODES: nodes_path(host), COMMANDS: COMMANDS_PATH}

            def tell(interface, member, signature, values):
                self.peer.emit(paths[interface], host + interface, member, signature, values)

            for interface, member, signature, _ in wrong:
                tell(interface, member, signature,
                     tuple(values[part] for part in re.findall(r"\(.*?\)|.", signature)))
            for kind, (node, form) in TABLE:
                tell(NODES, "modified", NODE_RECORDS[kind] + "y", (node, 255))
                tell(NODES, "linkModified", NODE_RECORDS[kind] + LINK + "y", (node, FULL_LINK, 2))
                for line in ({"event": "modified", "action": 255, "node": form},
                             {"event": "linkModified", "action": 2, "node": form, "link": LINK_FORM}):
                    self.assertEqual(json.loads(watch.line()), line)
            tell(COMMANDS, "exception", "s", ("Größe, 家",))
            self.assertEqual(json.loads(watch.line()), {"event": "exception", "message": "Größe, 家"})
            status, errors = watch.end(how)
            self.assertEqual(status, 0)
            expected = [text + (signature if text.endswith(" ") else "") for _, _, signature, text in wrong]
            self.assertEqual(sorted(re.findall("library> (.*)", errors)), sorted(expected))
            people = self.bus.ctl_process("--service", variant, "watch", "--time", "none", "--count", "1")
            people.line(), people.line()
            tell(COMMANDS, "exception", "s", ("Größe",))
            self.assertEqual((people.line(), people.end()), ("EXCEPTION  Größe", (0, "")))


if __name__ == "__main__":
    unittest.main(verbosity=2)
