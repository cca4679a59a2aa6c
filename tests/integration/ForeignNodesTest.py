"""Other implementations of the bus at the other end of the node manager: each as the client of hevra-stackd, and as the
service that hevractl talks to. Every test runs with each implementation."""

import json
import signal
import tempfile
import unittest

import roles
import support
from peers import PeerError, wait
from support import HOST, LINK, MANAGER, MANAGER_PATH, NODE_RECORDS, NODES, ZUV_HOST, full_node, nodes_path

ERROR = "org.freedesktop.DBus.Error."
HOSTS = {"hevra": HOST, "zuv": ZUV_HOST}
ADDED, MODIFIED, REMOVED = range(3)
KEY, OLD_KEY, NEW_KEY = support.block(0x30, 16), support.block(0x40, 16), support.block(0x70, 16)
FULL_LINK = (0xF1727374, 0xF5767778, "Küche, 家", -1)
LINK_FORM = {"node": 0xF1727374, "stack": 0xF5767778, "id": "Küche, 家", "type": -1}
TABLE = [
    ("stack", full_node("stack", 1)), ("actuator", full_node("actuator", 2)),
    ("actuator", full_node("actuator", 3, nodeClass=0, backboneAddress=2)),
    ("sensor", full_node("sensor", 4, listening=False)), ("actuator", full_node("actuator", 5, nodeClass=4)),
    ("controller", full_node("controller", 0xFFFFFFFF, nodeType=7, backboneAddress=2)),
]


def record(address):
    return next(record for _, (record, _) in TABLE if record[0] == address)


def lists(*kinds):
    """The signature of lists of nodes of these kinds."""
    return "".join("a" + NODE_RECORDS[kind] for kind in kinds)


class ForeignNodeClient:
    """Asks and changes hevra-stackd's nodes, and hears what it tells of them."""

    def setUp(self):
        self.bus = support.Bus()
        self.addCleanup(self.bus.close)
        with tempfile.NamedTemporaryFile("w", suffix=".json") as file:
            json.dump([form for _, (_, form) in TABLE], file)
            file.flush()
            self.bus.stackd("--pace", "0", "--service", "both", "--nodes", file.name)
        self.peer = self.Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        self.signals = {host: [] for host in HOSTS.values()}
        for host in HOSTS.values():
            self.listen(host)

    def listen(self, host):
        owner = self.peer.ask_bus("GetNameOwner", "s", host)

        def heard(sender, path, *rest):
            self.assertEqual((sender, path), (owner, nodes_path(host)))
            self.signals[host].append(rest)

        self.peer.listen(host + NODES, heard)

    def ask(self, member, signature="", *values, host=HOST):
        return self.peer.call(host, nodes_path(host), host + NODES, member, signature, values)

    def nodes(self, signature="", *values, host=HOST):
        return [node for nodes in self.ask("getnodes", signature, *values, host=host)[1] for node in nodes]

    def expect_signals(self, *expected):
        """Both services have told of this since the last time and of nothing else: the answer to a call comes last."""
        for host, signals in self.signals.items():
            self.ask("getnodes", host=host)
            self.assertEqual(signals, list(expected))
            signals.clear()

    def expect_change(self, reply, *expected):
        self.assertEqual(reply, ("b", (bool(expected),)))
        self.expect_signals(*expected)

    def modify(self, kind, values, action, host=HOST):
        return self.ask("modify", NODE_RECORDS[kind] + "i", values, action, host=host)

    def test_lists_nodes(self):
        everything = [record for _, (record, _) in TABLE]
        for host in HOSTS.values():
            with self.subTest(host):
                signature, values = self.ask("getnodes", host=host)
                self.assertEqual(signature, lists("stack", "actuator", "sensor", "actuator", "controller"))
                self.assertEqual(values, (everything[:1], everything[1:3], everything[3:4], everything[4:5],
                                          everything[5:]))
                rows = [
                    ("y", (0,), [3]), ("y", (1,), [4]), ("y", (2,), [1]), ("y", (6,), [0xFFFFFFFF]), ("y", (3,), []),
                    ("y", (255,), []), ("yq", (5, 0xCFC5), [2]), ("yq", (6, 7), [0xFFFFFFFF]), ("yq", (6, 0xCFC5), []),
                ]
                for signature, values, found in rows:
                    self.assertEqual(self.nodes(signature, *values, host=host), list(map(record, found)), values)

    def test_changes_nodes_and_hears_of_it(self):
        for host in HOSTS.values():
            for kind in NODE_RECORDS:
                with self.subTest(host, kind=kind):
                    address = 100 if host == HOST else 200
                    first, second = full_node(kind, address)[0], full_node(kind, address, stamp=1, state=1)[0]
                    told = NODE_RECORDS[kind] + "y"
                    self.expect_change(self.modify(kind, first, MODIFIED, host))
                    self.expect_change(self.modify(kind, first, REMOVED, host))
                    self.expect_change(self.modify(kind, first, ADDED, host), ("modified", told, (first, ADDED)))
                    self.expect_change(self.modify(kind, second, ADDED, host))
                    self.assertEqual(self.nodes()[-1], first)
                    self.expect_change(
                        self.modify(kind, second, MODIFIED, host), ("modified", told, (second, MODIFIED)))
                    self.assertEqual(self.nodes()[-1], second)
                    self.expect_change(self.modify(kind, second, REMOVED, host), ("modified", told, (second, REMOVED)))
                    self.assertNotIn(address, [node[0] for node in self.nodes()])

    def test_changes_links_and_hears_of_it(self):
        told = NODE_RECORDS["sensor"] + LINK + "y"
        first, second, removed = (4, 1, "4-1", -1), (4, 1, "Küche, 家", -1), (4, 1, "any", -1)
        rows = [
            (first, MODIFIED, None, ""), (first, ADDED, first, "4-1"), (second, ADDED, None, "4-1"),
            (second, MODIFIED, second, "Küche, 家"), (removed, REMOVED, second, ""), (removed, REMOVED, None, ""),
            ((77, 1, "no such node", -1), ADDED, None, ""), ((4, 2, "no stack node", -1), ADDED, None, ""),
        ]
        for link, action, heard, then in rows:
            with self.subTest(link, action=action):
                reply = self.ask("modifyLink", LINK + "i", link, action)
                self.expect_change(reply, *([("linkModified", told, (record(4), heard, action))] if heard else []))
                for host in HOSTS.values():
                    self.assertEqual(self.ask("getNodeLink", "uu", 4, 4294967295, host=host), ("s", (then,)))
                self.assertEqual(self.ask("getNodeLink", "uu", 4, 1), ("s", ("",)))

    def test_changes_the_key_and_hears_of_it(self):
        self.assertEqual(self.ask("changekey", "uay", 1, NEW_KEY)[0], "")
        changed = full_node("stack", 1, thirdIdentity=NEW_KEY, key=NEW_KEY, oldKey=KEY)[0]
        self.expect_signals(("modified", NODE_RECORDS["stack"] + "y", (changed, MODIFIED)))
        self.assertEqual(self.nodes("y", 2), [changed])

    def test_removes_children_and_hears_of_it(self):
        self.assertEqual(self.ask("removeChildrenNodes", "u", 2)[0], "")
        self.expect_signals(
            ("modified", NODE_RECORDS["actuator"] + "y", (record(3), REMOVED)),
            ("modified", NODE_RECORDS["controller"] + "y", (record(0xFFFFFFFF), REMOVED)))
        self.assertEqual(self.nodes(), list(map(record, (1, 2, 4, 5))))

    def test_hears_of_a_command_that_writes(self):
        command = (1, 0, True, 4, support.Variant("y", 9), 0, 0, 0, 0, "", 0, "", 0, 0, 0)
        self.peer.serve("/client", support.ORIGINATOR, {"progress": (support.PROGRESS, "")}, lambda *_: ())
        self.peer.call(HOST, MANAGER_PATH, HOST + MANAGER, "add", support.ADD, (("/client",), ("g",), [command]))
        wait(lambda: all(self.signals.values()), "the change of the node")
        changed = full_node("sensor", 4, listening=False, state=9)[0]
        self.expect_signals(("modified", NODE_RECORDS["sensor"] + "y", (changed, MODIFIED)))

    def test_gets_an_error_for_a_bad_call(self):
        stack = record(1)
        rows = [
            ("getnodes", "u", (1,), "InvalidArgs"), ("getnodes", "yu", (1, 1), "InvalidArgs"),
            ("modify", "", (), "InvalidArgs"), ("modify", NODE_RECORDS["stack"], (stack,), "InvalidArgs"),
            ("modify", NODE_RECORDS["stack"] + "u", (stack, 1), "InvalidArgs"),
            ("modify", LINK + "i", (FULL_LINK, 1), "InvalidArgs"),
            ("modifyLink", "uusii", (*FULL_LINK, 1), "InvalidArgs"), ("changekey", "uau", (1, [1]), "InvalidArgs"),
            ("changekey", "uay", (1, KEY[:15]), "InvalidArgs"), ("changekey", "uay", (1, KEY + b"0"), "InvalidArgs"),
            ("changekey", "uay", (1, bytes(16)), "InvalidArgs"), ("changekey", "uay", (2, NEW_KEY), "InvalidArgs"),
            ("modify", NODE_RECORDS["stack"] + "i", (stack, 3), "InvalidArgs"),
            ("modify", NODE_RECORDS["stack"] + "i", (full_node("stack", 1, nodeClass=0)[0], 1), "InvalidArgs"),
            ("modifyLink", LINK + "i", ((4, 1, "", 1), -1), "InvalidArgs"),
            ("removeChildrenNodes", "s", ("1",), "InvalidArgs"), ("getNodeLink", "ui", (1, 1), "InvalidArgs"),
            ("getNodes", "", (), "UnknownMethod"), ("add", "", (), "UnknownMethod"),
        ]
        for member, signature, values, name in rows:
            with self.subTest(member, signature=signature):
                with self.assertRaises(PeerError) as caught:
                    self.ask(member, signature, *values)
                self.assertEqual(caught.exception.name, ERROR + name)
                self.assertTrue(caught.exception.text)
        self.expect_signals()
        self.assertEqual(self.nodes(), [record for _, (record, _) in TABLE])


class ForeignNodeService(roles.Service):
    """Owns the service's name, answers hevractl and tells it of changes."""

    def test_is_asked_for_nodes(self):
        everything = ([TABLE[5][1][0], TABLE[5][1][0]], [TABLE[1][1][0]], [], [TABLE[3][1][0]], [TABLE[0][1][0]])
        kinds = lists("controller", "actuator", "actuator", "sensor", "stack")
        forms = [TABLE[i][1][1] for i in (5, 5, 1, 3, 0)]
        late = PeerError("test.Error.Late", "tomorrow, 家")
        odd = ([TABLE[0][1][0]], [FULL_LINK])
        rows = [
            ([], "", (), everything, kinds, 0, forms, ""),
            (["--class", "0x6"], "y", (6,), everything, kinds, 0, forms, ""),
            (["--class", "255", "--type", "0xFFFF"], "yq", (255, 65535), ([TABLE[3][1][0]],), lists("sensor"), 0,
             [TABLE[3][1][1]], ""),
            ([], "", (), (), "", 0, [], ""), ([], "", (), ([],), lists("stack"), 0, [], ""),
            ([], "", (), late, "", 3, [], "hevractl: test.Error.Late: tomorrow, 家\n"),
            (["--class", "1"], "y", (1,), late, "", 3, [], "test.Error.Late: tomorrow, 家"),
            (["--class", "1"], "y", (1,), PeerError("test.Error.Empty"), "", 3, [], "hevractl: "),
            ([], "", (), odd, lists("stack") + "a" + LINK, 3, [], "BadSignatureOnBus"),
            ([], "", (), ("text",), "s", 3, [], "hevractl: "),
        ]
        for variant, host in HOSTS.items():
            for arguments, signature, values, answer, reply, status, lines, errors in rows:
                with self.subTest(variant, arguments=arguments, answer=answer):
                    self.calls.clear()
                    self.serve(answer, "getnodes", signature, reply, host)
                    result = self.run_ctl("--service", variant, "nodes", *arguments)
                    self.expect(result, status, *lines, errors=errors)
                    self.assertEqual([values for _, values in self.calls], [values])

    def test_has_its_keys_hidden_from_people(self):
        values = TABLE[0][1][0]
        self.serve(([values],), "getnodes", "", lists("stack"))
        for options, seen in ([], False), (["--show-keys"], True):
            result = self.run_ctl("nodes", *options, json=False)
            self.assertEqual((result.status, result.errors), (0, ""))
            watch = self.bus.run(*support.EMULATOR, support.PROGRAMS + "hevractl", "--bus", self.bus.address, *options,
                                 "watch")
            for _ in "ready", "titles":
                watch.line()
            self.tell("modified", NODE_RECORDS["stack"] + "y", values, 1)
            self.tell("linkModified", NODE_RECORDS["stack"] + LINK + "y", values, FULL_LINK, 1)
            for text in result.output, watch.line(), watch.line():
                self.assertIn("Küche, 家", text)
                for secret in KEY, OLD_KEY:
                    self.assertEqual(secret.hex() in text.lower(), seen, text)

    def test_is_sent_changed_nodes(self):
        for variant, host in HOSTS.items():
            for kind, (values, form) in TABLE:
                for answer, status in (True, 0), (False, 1):
                    with self.subTest(variant, kind=kind, answer=answer):
                        self.calls.clear()
                        self.serve((answer,), "modify", NODE_RECORDS[kind] + "i", "b", host)
                        result = self.run_ctl(
                            "--service", variant, "node", "set", "-", "--action", "0x2", commands=form)
                        self.expect(result, status, {"modified": answer})
                        self.assertEqual([values for _, values in self.calls], [(values, REMOVED)])

    def test_is_sent_changed_links(self):
        arguments = ["--node", "0xF1727374", "--stack", "0xF5767778", "--id", "Küche, 家", "--type", "-1"]
        for answer, status in (True, 0), (False, 1):
            self.calls.clear()
            self.serve((answer,), "modifyLink", LINK + "i", "b")
            result = self.run_ctl("link", "set", *arguments, "--action", "2147483647")
            self.expect(result, status, {"modified": answer})
            self.assertEqual([values for _, values in self.calls], [(FULL_LINK, 2147483647)])

    def test_is_asked_for_a_link(self):
        for kind, number in ("1", 1), ("-1", 4294967295):
            for host, variant in (HOST, "hevra"), (ZUV_HOST, "zuv"):
                self.calls.clear()
                self.serve(("Küche, 家",), "getNodeLink", "uu", "s", host)
                result = self.run_ctl("--service", variant, "link", "id", "0xFFFFFFFF", "--type", kind)
                self.expect(result, 0, {"linkId": "Küche, 家"})
                self.assertEqual([values for _, values in self.calls], [(4294967295, number)])

    def test_is_asked_to_remove_children_and_to_change_the_key(self):
        refusal = PeerError("test.Error.Refused", "no")
        rows = [
            (["remove", "0xFFFFFFFF"], "removeChildrenNodes", "u", (4294967295,)),
            (["key", "7", NEW_KEY.hex().upper()], "changekey", "uay", (7, NEW_KEY)),
        ]
        for arguments, member, signature, values in rows:
            for answer, reply in ((), ""), (("anything",), "s"), (refusal, ""):
                with self.subTest(member, answer=answer):
                    self.calls.clear()
                    self.serve(answer, member, signature, reply)
                    self.expect(self.run_ctl("node", *arguments), 0, {"done": True})
                    self.assertEqual([values for _, values in self.calls], [values])
        self.peer.disown(HOST)
        for arguments, *_ in rows:
            self.expect(self.run_ctl("node", *arguments), 3, errors=f"hevractl: {ERROR}")

    def test_answers_what_is_not_expected(self):
        form = TABLE[3][1][1]
        link = ["link", "set", "--node", "1", "--stack", "2", "--id", "x", "--type", "0", "--action", "1"]
        node, ask = ["node", "set", "-", "--action", "1"], ["link", "id", "1", "--type", "0"]
        modify, refused = ("modify", NODE_RECORDS["sensor"] + "i"), PeerError("test.Error.Refused", "no")
        modify_link, get_link, no = ("modifyLink", LINK + "i"), ("getNodeLink", "uu"), {"modified": False}
        no_modify, no_link, no_id = (f"HV/ZUV proxy library> NodeManager {text}" for text in (
            "modify reply bad signature: %s (expected was b)\n",
            "modify link reply bad signature: %s (expected was b)\n",
            "getNodeLinkId bad response signature: %s, expected was s\n"))
        refusal = "hevractl: test.Error.Refused: no\n"
        rows = [
            (node, modify, ("yes",), "s", 1, [no], no_modify), (node, modify, (), "", 1, [no], no_modify),
            (node, modify, (True, True), "bb", 1, [no], no_modify),
            (link, modify_link, ("yes",), "s", 1, [no], no_link), (link, modify_link, (1,), "u", 1, [no], no_link),
            (ask, get_link, (True,), "b", 1, [{"linkId": ""}], no_id),
            (ask, get_link, ("a", "b"), "ss", 1, [{"linkId": ""}], no_id), (node, modify, refused, "", 3, [], refusal),
            (link, modify_link, refused, "", 3, [], refusal), (ask, get_link, refused, "", 3, [], refusal),
        ]
        for arguments, call, answer, reply, status, lines, errors in rows:
            with self.subTest(call[0], answer=answer):
                self.serve(answer, *call, reply)
                expected = errors % reply if "%s" in errors else errors
                self.expect(self.run_ctl(*arguments, commands=form), status, *lines, errors=expected)

    def watch(self, *options):
        process = self.bus.run(*support.EMULATOR, support.PROGRAMS + "hevractl", "--bus", self.bus.address, "--json",
                               *options, "watch")
        self.assertEqual(json.loads(process.line()), {"event": "ready"})
        return process

    def tell(self, member, signature, *values, host=HOST, peer=None):
        (peer or self.peer).emit(nodes_path(host), host + NODES, member, signature, values)

    def tell_exception(self, text, host=HOST):
        self.peer.emit(MANAGER_PATH, host + MANAGER, "exception", "s", (text,))

    def expect_lines(self, process, *lines):
        self.assertEqual([json.loads(process.line()) for _ in lines], list(lines))

    def test_is_watched(self):
        for (variant, host), how in zip(HOSTS.items(), (signal.SIGINT, signal.SIGTERM)):
            with self.subTest(variant):
                watch = self.watch("--service", variant)
                for kind, (values, form) in TABLE:
                    self.tell("modified", NODE_RECORDS[kind] + "y", values, 255, host=host)
                    self.tell("linkModified", NODE_RECORDS[kind] + LINK + "y", values, FULL_LINK, 2, host=host)
                    self.expect_lines(
                        watch, {"event": "modified", "action": 255, "node": form},
                        {"event": "linkModified", "action": 2, "node": form, "link": LINK_FORM})
                self.tell_exception("Größe, 家", host)
                self.expect_lines(watch, {"event": "exception", "message": "Größe, 家"})
                self.assertEqual(watch.end(how), (0, ""))

    def test_is_not_believed_when_it_tells_something_else(self):
        watch = self.watch("--strict")
        stranger = self.Peer(self.bus.address)
        self.addCleanup(stranger.close)
        watchers = set(self.peer.ask_bus("ListNames", "")) - {self.peer.name, stranger.name}
        with self.assertRaisesRegex(PeerError, "AccessDenied"):
            stranger.call(next(name for name in watchers if name[0] == ":"),
                          "/com/quarnix/Application/hevractl/Hevra/Originator", support.ORIGINATOR, "progress")
        values, form = TABLE[3][1]
        record = NODE_RECORDS["sensor"]
        self.tell("modified", record + "y", values, 1, peer=stranger)
        stranger.ask_bus("GetId", "")  # the signal is on its way to the watcher now
        self.tell("modified", record + "y", values, 2, host=ZUV_HOST)
        self.tell("modified", record + "yy", values, 3, 3)
        self.tell("modified", record + "i", values, 4)
        self.tell("modified", LINK + "y", FULL_LINK, 5)
        self.tell("linkModified", record + "y", values, 6)
        self.tell("linkModified", record + LINK + "ys", values, FULL_LINK, 7, "")
        self.tell("Modified", record + "y", values, 8)
        self.peer.emit(nodes_path(HOST), "test.Other", "modified", record + "y", (values, 9))
        self.peer.emit("/test/Other", HOST + NODES, "modified", record + "y", (values, 10))
        self.tell("modified", record + "y", values, 11)
        self.expect_lines(watch, {"event": "modified", "action": 11, "node": form})
        self.assertEqual(watch.end(signal.SIGTERM)[0], 0)

    def test_is_followed_to_another_connection(self):
        watch = self.watch()
        values, form = TABLE[0][1]
        for action in range(3):
            self.tell("modified", NODE_RECORDS["stack"] + "y", values, action)
            self.tell_exception("again")
            lines = [json.loads(watch.line()) for _ in range(2)]
            lines.sort(key=lambda line: line["event"])  # two managers tell of them
            self.assertEqual(lines, [{"event": "exception", "message": "again"},
                                     {"event": "modified", "action": action, "node": form}])
            self.peer.close()
            self.peer = self.Peer(self.bus.address)
            self.addCleanup(self.peer.close)
            self.peer.own(HOST)
        self.peer.disown(HOST)
        self.bus.stackd("--pace", "0")
        peer = self.Peer(self.bus.address)
        self.addCleanup(peer.close)
        peer.call(HOST, nodes_path(HOST), HOST + NODES, "modify", NODE_RECORDS["controller"] + "i",
                  (full_node("controller", 0xABCD)[0], ADDED))
        form = full_node("controller", 0xABCD)[1]
        self.expect_lines(watch, {"event": "modified", "action": ADDED, "node": form})
        self.assertEqual(watch.end(signal.SIGINT), (0, ""))


roles.combine(globals(), ForeignNodeClient, ForeignNodeService)

if __name__ == "__main__":
    unittest.main(verbosity=2)
