"""A session of hevractl is recorded and answered again from the recording: what hevractl prints is the same."""

import json
import os
import signal
import unittest

import support

KEY = "5ec2e7" * 5 + "01"


class Record(support.Case):
    def setUp(self):
        super().setUp()
        self.name = self.bus.folder + "/evening.jsonl"

    def begin(self, *arguments):
        process = self.bus.ctl_process("--json", *arguments)
        self.assertEqual(process.line(), '{"event":"ready"}')
        return process

    def end(self, recorder, file, signal_number=signal.SIGINT):
        """Ends it at once; all that it has kept. What the bus has taken until then must be there."""
        recorder.child.send_signal(signal_number)
        messages = json.loads(recorder.line())["messages"]
        with open(file, encoding="utf-8") as lines:
            kept = [json.loads(line) for line in lines]
        self.assertEqual(len(kept), messages)
        return kept

    def session(self):
        """What hevractl says when every command is used; the last but one fails."""
        watcher = self.begin("watch")
        commands = [support.full_command(number)[1] for number in range(len(support.VALUES))]
        commands[0] |= {"address": 0x1001}
        link = ["link", "set", "--node", "7", "--stack", "0x1000", "--type", "0", "--id", "hall", "--action", "0"]
        said = []
        for arguments, given in [
                (["nodes"], b""), (["nodes", "--class", "4"], b""), (["nodes"], b""),
                (["node", "key", "0x1000", "-"], KEY.encode() + b"\n"),
                (["node", "set", "-", "--action", "0"], support.full_node("sensor", 7)[1]), (link, b""),
                (["link", "id", "7", "--type", "0"], b""), (["nodes"], b""),
                (["--raw", "send", "--group", "a", "-"], commands), (["--raw", "send", "--group", "a", "-"], commands),
                (["--raw", "send", "--group", "a", "-"], commands), (["cancel", "--key", "a_1"], b""), (["reset"], b""),
                (["node", "remove", "0x991a1b1c"], b"")]:
            result = self.bus.ctl("--json", *arguments, commands=given)
            said.append((arguments, result.status, result.output, result.errors))
        # The key, the new node, its link, the lamp that was switched, the link and the node again.
        said.append([watcher.line() for _ in range(6)])
        self.assertEqual(watcher.end(signal.SIGINT), (0, ""))
        return said

    def test_is_answered_again_as_it_was(self):
        scenario = f"{support.SOURCES}/examples/scenarios/refusal.json"
        service = self.bus.stackd("--pace", "5", "--scenario", scenario)
        recorder = self.begin("record", "--show-keys", self.name)
        recorded = self.session()
        kept = self.end(recorder, self.name)
        last = next(message for message in kept if message.get("member") == "removeChildrenNodes")
        self.assertEqual(kept[-1].get("replySerial"), last["serial"])
        self.assertEqual(recorder.end(), (0, ""))
        self.assertEqual([status for _, status, *_ in recorded[:-1]].count(3), 3, "two refused sends and the reset")
        service.end(signal.SIGTERM)

        for pace in "0", "200":
            service = self.bus.stackd("--pace", pace, "--replay", self.name)
            self.assertEqual(self.session(), recorded)
            unknown = self.bus.ctl("--service", "zuv", "nodes")
            self.assertEqual(unknown.status, 3)
            self.assertIn("NotRecorded", unknown.errors)
            self.assertEqual(service.end(signal.SIGINT), (0, ""))

    def test_keeps_no_keys_unless_it_is_told_to(self):
        self.bus.stackd()
        recorder = self.begin("record", self.name)
        shown = self.begin("record", "--show-keys", self.name + ".keys")
        self.bus.ctl("node", "key", "0x1000", KEY)
        self.bus.ctl("nodes")
        # The call, announced by both variants, answered; the list called for and answered: a node has the key twice.
        for process, name, keys in (recorder, self.name, 0), (shown, self.name + ".keys", 7):
            kept = self.end(process, name)
            self.assertEqual(len(kept), 6)
            self.assertEqual(json.dumps(kept).count(KEY), keys)
            self.assertEqual(os.stat(name).st_mode & 0o777, 0o600)

    def test_keeps_keys_where_nobody_else_reads_them(self):
        os.symlink(self.name, self.name + ".link")
        with open(self.name, "w", encoding="utf-8") as file:
            file.write("kept")
        for suffix, mode, text in (".link", 0o600, "a symbolic link"), ("", 0o640, "others"), ("", 0o602, "others"):
            os.chmod(self.name, mode)
            result = support.ctl("--bus", "unix:path=/nowhere", "--show-keys", "record", self.name + suffix)
            self.assertEqual(result.status, 2, result)
            self.assertRegex(result.errors, f"^hevractl: {self.name}{suffix}: .*{text}.*\n$")
            self.assertEqual(os.stat(self.name).st_size, len("kept"))

    def test_keeps_the_signals_where_the_bus_lets_nobody_listen(self):
        self.bus = self.another_bus('<deny send_interface="org.freedesktop.DBus.Monitoring"/>')
        self.bus.stackd()
        recorder = self.begin("record", self.name)
        self.bus.ctl("node", "remove", "0x1002")
        kept = self.end(recorder, self.name, signal.SIGTERM)
        self.assertEqual([message["member"] for message in kept], ["modified", "modified"])
        status, errors = recorder.end()
        self.assertEqual(status, 0)
        self.assertRegex(errors, "^hevractl: the bus lets nobody listen [^\n]*AccessDenied[^\n]*\n$")


if __name__ == "__main__":
    unittest.main(verbosity=2)
