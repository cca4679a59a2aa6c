"""Other implementations of the bus at the other end: each as the client of hevra-stackd, and as the service that
hevractl talks to. Every test runs with each implementation."""

import unittest

import roles
import support
from gi.repository import GLib
from peers import PeerError, wait
from support import ADD, BOARD, BOARD_PATH, HOST, MANAGER, MANAGER_PATH, ORIGINATOR, PROGRESS, ZUV_HOST, Variant

ACCESS_DENIED, INVALID_ARGUMENTS, UNKNOWN_METHOD, UNKNOWN_OBJECT = (
    "org.freedesktop.DBus.Error." + name for name in ("AccessDenied", "InvalidArgs", "UnknownMethod", "UnknownObject")
)
DELAYED, CANCELLED = 6, 5


class ForeignClient:
    """Calls hevra-stackd as the command manager of an application does, and serves the originator."""

    @classmethod
    def setUpClass(cls):
        cls.bus = support.Bus()
        cls.addClassCleanup(cls.bus.close)
        cls.bus.stackd("--pace", "0", "--service", "both")

    def setUp(self):
        self.peer = self.Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        self.reports = []  # (sender, command, group, status argument)
        self.peer.serve("/client", ORIGINATOR, {"progress": (PROGRESS, "")}, self.progress)

    def progress(self, sender, _, values):
        command, (group,), status = values
        self.reports.append((sender, command, group, status))
        return ()

    def ask(self, member, signature="", *values, host=HOST):
        return self.peer.call(host, MANAGER_PATH, host + MANAGER, member, signature, values)

    def statuses(self, number):
        """The statuses of a command as reported until now: its own, and the argument."""
        return [(command[13], status) for _, command, _, status in self.reports if command[0] == number]

    def await_statuses(self, number, *expected):
        wait(lambda: len(self.statuses(number)) >= len(expected), f"the reports of command {number}")
        self.assertEqual(self.statuses(number), list(expected))

    def test_hears_every_status_of_every_command(self):
        for host in HOST, ZUV_HOST:
            with self.subTest(host):
                self.reports.clear()
                commands = [support.full_command(number)[0] for number in range(len(support.VALUES))]
                reply = self.ask("add", ADD, ("/client",), ("g1",), commands, host=host)
                self.assertEqual(reply, ("", ()))
                for command in commands:
                    self.await_statuses(command[0], (1, 1), (2, 1), (3, 2))
                owner = self.peer.ask_bus("GetNameOwner", "s", host)
                for sender, command, group, _ in self.reports:
                    sent = commands[command[0]]
                    self.assertEqual((sender, group), (owner, "g1"))
                    self.assertEqual(command, sent[:13] + (command[13],) + sent[14:])

    def test_gets_back_what_the_service_makes_of_odd_commands(self):
        def odd(number, value=Variant("ay", b""), acei=0):
            return (number, 0, False, 0, value, 0, 0, 0, 0, "any text", 0, "", 0, 200, acei)

        sent = [odd(1, Variant("(ii)", (1, -1))), odd(2, acei=0xE4), odd(3, acei=0xFF), odd(4, acei=4)]
        self.ask("add", ADD, ("/client",), ("",), sent)
        for command, acei in zip(sent, (0, 0xE3, 0xFF, 0xE3)):
            self.await_statuses(command[0], (1, 1), (2, 1), (3, 2))
            report = [report for _, report, _, _ in self.reports if report[0] == command[0]][-1]
            self.assertEqual(report, odd(command[0])[:9] + ("0/0", 0, "", 0, 3, acei))

    def test_cancels_in_three_forms(self):
        rows = [("s", ("g_1",), {1}), ("u", (7,), {2}), ("s", ("g_9",), set()), ("", (), {1, 2})]
        for signature, values, cancelled in rows:
            with self.subTest(signature, values=values):
                self.reports.clear()
                pair = [support.full_command(n, delay=3600, acei=acei)[0] for n, acei in ((1, 0x20), (2, 0xE3))]
                self.ask("add", ADD, ("/client",), ("g",), pair)
                for number in 1, 2:
                    self.await_statuses(number, (DELAYED, 1))
                self.assertEqual(self.ask("cancel", signature, *values), ("", ()))
                for number in cancelled:
                    self.await_statuses(number, (DELAYED, 1), (CANCELLED, 3))
                self.ask("cancel")
                for number in 1, 2:
                    self.await_statuses(number, (DELAYED, 1), (CANCELLED, 3))

    def test_resets_the_daughter_board(self):
        self.assertEqual(self.peer.call(HOST, BOARD_PATH, BOARD, "hardreset"), ("b", (True,)))

    def test_gets_an_error_for_a_bad_call(self):
        commands = HOST + MANAGER
        rows = [
            (MANAGER_PATH, commands, "add", "", (), INVALID_ARGUMENTS),
            (MANAGER_PATH, commands, "add", "s", ("g",), INVALID_ARGUMENTS),
            (MANAGER_PATH, commands, "add", f"(s)(s)a({support.RECORD})", (("/a",), ("g",), []), INVALID_ARGUMENTS),
            (MANAGER_PATH, commands, "cancel", "i", (1,), INVALID_ARGUMENTS),
            (MANAGER_PATH, commands, "cancel", "su", ("g_1", 1), INVALID_ARGUMENTS),
            (MANAGER_PATH, commands, "Add", "", (), UNKNOWN_METHOD),
            (MANAGER_PATH, BOARD, "hardreset", "", (), UNKNOWN_METHOD),
            (MANAGER_PATH, "test.Other", "cancel", "", (), UNKNOWN_METHOD),
            (BOARD_PATH, BOARD, "hardreset", "b", (True,), INVALID_ARGUMENTS),
            (BOARD_PATH, ZUV_HOST + ".Manager.DaughterBoard", "hardreset", "", (), UNKNOWN_METHOD),
            (MANAGER_PATH + "/x", commands, "cancel", "", (), UNKNOWN_OBJECT),
        ]
        for path, interface, member, signature, values, name in rows:
            with self.subTest(path=path, interface=interface, member=member, signature=signature):
                with self.assertRaises(PeerError) as caught:
                    self.peer.call(HOST, path, interface, member, signature, values)
                self.assertEqual(caught.exception.name, name)
                self.assertTrue(caught.exception.text)
        self.assertEqual(self.reports, [])


class ForeignService(roles.Service):
    """Owns the service's name and answers hevractl."""

    def test_is_asked_for_a_reset(self):
        busy = PeerError("test.Error.Busy", "The board is müde")
        rows = [
            ((True,), "b", 0, [{"reset": True}], ""),
            ((False,), "b", 1, [{"reset": False}], ""),
            (busy, "", 3, [], "hevractl: test.Error.Busy: The board is müde\n"),
            ((), "", 3, [], "hevractl: "),
            (("yes",), "s", 3, [], "hevractl: "),
        ]
        for answer, reply, status, lines, errors in rows:
            with self.subTest(answer):
                self.serve(answer, "hardreset", reply=reply)
                self.expect(self.run_ctl("reset"), status, *lines, errors=errors)

    def test_is_asked_to_cancel(self):
        rows = [
            ([], "", ()), (["--key", "g1_7"], "s", ("g1_7",)), (["--key", ""], "s", ("",)),
            (["--key", "Größe _"], "s", ("Größe _",)), (["--priority", "7"], "u", (7,)),
            (["--priority", "0xFFFFFFFF"], "u", (4294967295,)),
        ]
        for variant, host in ("hevra", HOST), ("zuv", ZUV_HOST):
            for arguments, signature, values in rows:
                with self.subTest(variant, arguments=arguments):
                    self.calls.clear()
                    self.serve((), "cancel", signature, host=host)
                    self.expect(self.run_ctl("--service", variant, "cancel", *arguments), 0, {"done": True})
                    self.assertEqual([values for _, values in self.calls], [values])

    def report(self, sender, path, *arguments, replies=None):
        done = replies.append if replies is not None else lambda _: None
        self.peer.send(sender, path, ORIGINATOR, "progress", PROGRESS, arguments, done)

    def test_is_sent_every_value_and_reports_before_it_answers(self):
        pairs = [support.full_command(number) for number in range(len(support.VALUES))]
        replies = []
        for variant, host, folder in ("hevra", HOST, "Hevra"), ("zuv", ZUV_HOST, "Zuv"):

            def add(sender, values):
                (path,), group, commands = values
                for record in commands:
                    for status in 1, 6, 3:
                        changed = record[:9] + ("1/-2147483648: a text",) + record[10:13] + (status,) + record[14:]
                        self.report(sender, path, changed, group, -status, replies=replies)
                return ()

            with self.subTest(variant):
                self.calls.clear()
                replies.clear()
                self.serve(add, "add", ADD, host=host)
                forms = [form for _, form in pairs]
                result = self.run_ctl("--service", variant, "--app", "golden_1", "send", "--group", "g 1", "-",
                                      commands=forms)
                path = f"/com/quarnix/Application/golden_1/{folder}/Originator"
                self.assertEqual([values for _, values in self.calls],
                                 [((path,), ("g 1",), [record for record, _ in pairs])])
                wait(lambda: len(replies) >= 3 * len(pairs), "the answers to the reports")
                self.assertEqual(replies, [("", ())] * 3 * len(pairs))
                error = {"type": 1, "id": -2147483648, "text": "1/-2147483648: 1/-2147483648: a text"}
                lines = [
                    {"event": "progress", "group": "g 1", "status": -status, "final": status == 3,
                     "command": {**form, "status": status, "error": error}}
                    for form in forms for status in (1, 6, 3)
                ]
                self.expect(result, 0, *lines)

    def test_decides_how_sending_ends(self):
        record, form = support.full_command(3)
        late = PeerError("test.Error.Late", "tomorrow")
        rows = [
            (3, [], 0, 1, ""), (4, [], 1, 1, ""), (5, [], 1, 1, ""), (7, [], 1, 1, ""), (8, [], 1, 1, ""),
            (6, ["--wait", "1"], 4, None, "hevractl: "), (None, ["--no-wait"], 0, 0, ""),
            (late, [], 3, 0, "test.Error.Late: tomorrow"),
        ]
        for outcome, options, status, count, errors in rows:

            def add(sender, values):
                if isinstance(outcome, PeerError):
                    raise outcome
                if outcome:
                    self.report(sender, values[0][0], record[:13] + (outcome,) + record[14:], values[1], 0)
                return ()

            with self.subTest(outcome, options=options):
                self.serve(add, "add", ADD)
                result = self.run_ctl("send", "--group", "g", "-", *options, commands=[form])
                if count is not None:  # None: it may come too late for the second that is waited
                    self.assertEqual(len(result.lines), count, result)
                self.expect(result, status, *result.lines, errors=errors)

    def test_is_refused_what_is_no_report(self):
        record, form = support.full_command(3)
        replies = []

        def add(sender, values):
            (path,), group, _ = values
            done = record[:13] + (3,) + record[14:]
            for interface, member, signature, status in (
                (ORIGINATOR, "progress", f"({support.RECORD})(s)u", 1),
                (ORIGINATOR, "cancel", PROGRESS, 1),
                (HOST + MANAGER, "progress", PROGRESS, 1),
                (ORIGINATOR, "progress", PROGRESS, 2),
            ):
                self.peer.send(sender, path, interface, member, signature, (done, group, status), replies.append)
            return ()

        self.serve(add, "add", ADD)
        result = self.run_ctl("send", "--group", "g", "-", commands=[form])
        self.assertEqual((result.status, [line["status"] for line in result.lines]), (0, [2]), result)
        wait(lambda: len(replies) == 4, "the answers to all four")
        names = [reply.name if isinstance(reply, PeerError) else reply for reply in replies]
        self.assertEqual(names, [UNKNOWN_METHOD] * 3 + [("", ())])

    def test_is_alone_in_reporting_to_the_strict(self):
        record, form = support.full_command(3)
        running, done = (record[:13] + (status,) + record[14:] for status in (1, 3))
        other = self.Peer(self.bus.address)
        self.addCleanup(other.close)
        for options, answer, heard in ([], ("", ()), [1, 2]), (["--strict"], ACCESS_DENIED, [2]):
            replies = []

            def add(sender, values):
                (path,), group, _ = values

                def answered(reply):
                    replies.append(reply.name if isinstance(reply, PeerError) else reply)
                    self.report(sender, path, done, group, 2)

                other.send(sender, path, ORIGINATOR, "progress", PROGRESS, (running, group, 1), answered)
                return ()

            with self.subTest(options):
                self.serve(add, "add", ADD)
                result = self.run_ctl(*options, "send", "--group", "g", "-", commands=[form])
                self.assertEqual((result.status, [line["status"] for line in result.lines]), (0, heard), result)
                self.assertEqual(replies, [answer])

    def test_is_missed_at_once_when_it_goes(self):
        rows = [
            (lambda: self.peer.disown(HOST), "NameHasNoOwner"),
            (lambda: self.peer.close(), "NoReply"),
            (lambda: self.bus.close(), "Disconnected"),
        ]
        for leave, name in rows:
            with self.subTest(name):
                self.setUp()
                self.serve(lambda *_: GLib.idle_add(leave) and None, "hardreset", reply="b")
                result = self.run_ctl("reset")
                self.expect(result, 3, errors=f"hevractl: org.freedesktop.DBus.Error.{name}: ")
                self.assertNotIn(" within ", result.errors)  # the text of a time-out


roles.combine(globals(), ForeignClient, ForeignService)

if __name__ == "__main__":
    unittest.main(verbosity=2)
