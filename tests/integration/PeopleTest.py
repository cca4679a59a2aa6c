"""hevractl for people: what stands on a terminal."""

import os
import re
import signal
import subprocess
import unittest

import pyte
import support
from screen import Screen, interrupt, size, typing


def width(line):
    return sum(pyte.screens.wcwidth(letter) for letter in line)


class People(support.Case):
    def setUp(self):
        super().setUp()
        self.bus.stackd("--pace", "0")

    def see(self, *arguments, **options):
        return Screen(*support.CTL, "--bus", self.bus.address, *arguments, **options)

    def test_see_tables_as_wide_as_their_terminal(self):
        evil = "家" * 9 + "\x1b[31m\x9b\n" + "w" * 99
        house = [{"id": 7, "address": 0x123456, "label": evil, "value": {"type": "s", "value": evil}}]
        for columns, mark in (80, "…"), (50, "…"), (80, "..."), (0, "…"):
            options = {"columns": columns, "LANG": "C.UTF-8" if mark == "…" else "C"}
            for command in ["nodes"], ["send", "--group", "g" * 99, self.file(house)]:
                with self.subTest(command[0], **options):
                    seen = self.see(*command, **options)
                    self.assertEqual(seen.status, 0, seen.written)
                    text = re.sub("\x1b\\[[0-9;]*[A-Zm]", "", seen.written.decode())
                    self.assertNotRegex(text, "[\x00-\x09\x0b\x0c\x0e-\x1f\x7f-\x9f]")
                    lines = [line.rstrip("\r") for part in text.split("\n") for line in part.split("\r")]
                    free = (columns or 80) - max(map(width, lines))
                    self.assertIn(free, (1, 2), text)  # two before a wide letter
                    self.assertIn(mark, text)
        self.assertGreater(max(map(len, self.bus.ctl("nodes").output.split("\n"))), 80)

    def test_see_colours_unless_they_do_not_want_them(self):
        for changes, coloured in ({}, True), ({"NO_COLOR": "1"}, False), ({"TERM": "dumb"}, False):
            seen = self.see("send", "--group", "g", self.file([{"id": 7}]), **changes)
            self.assertEqual(b"\x1b[32mCOMPLETED" in seen.written, coloured, changes)

    def test_see_one_row_a_command_where_there_is_room(self):
        file = self.file([{"id": number, "delay": 1} for number in (1, 2, 3)])
        for rows, lines in (6, 5), (5, None):
            seen = self.see("send", "--group", "g", file, rows=rows)
            self.assertEqual(seen.status, 0, seen.written)
            if lines:
                self.assertEqual([line[:12] for line in seen.lines],
                                 ["COMMAND  STA", "g_1      COM", "g_2      COM", "g_3      COM", "3 of 3 comma"])
            else:
                self.assertEqual(seen.written.count(b"\n"), 1 + 3 * 4 + 1)

    def test_see_rows_in_a_terminal_that_changes(self):
        """And hear how what they have interrupted is cancelled."""
        label = "家e\u0301" * 99
        file = self.file([{"id": 1, "label": label}, {"id": 2, "delay": 3600, "label": label}, {"id": 3, "delay": 3600}])
        done, row, titles = b"COMPLETED", b"DELAYED", b"COMMAND"
        cleared, up = b"\x1b[H\x1b[J", b"\x1b[4A\r\x1b[J"
        grow, shrink, keys = size(30, 100), size(14, 60), typing(b"typed\r\r\r")
        rows = [
            (24, (done, keys), (row, interrupt)), (24, (done, shrink), (cleared, keys), (row, interrupt)),
            (24, (done, grow), (up, keys), (row, shrink), (cleared, interrupt)),
            (24, (done, typing(b"\x1a")), (titles, interrupt)), (5, (done, grow), (titles, interrupt))]
        for lines, *then in rows:
            with self.subTest(lines=lines, then=len(then)):
                seen = self.see("send", "--group", "g 1", file, rows=lines, then=then)
                self.assertEqual(seen.status, -signal.SIGINT, seen.written)
                text = "".join(seen.screen.display)
                self.assertNotIn("typed", text)
                self.assertIn("under way: 2 commands", text)
                for id, count in (1, 0), (2, 1), (3, 1):
                    self.assertEqual(text.count(f"cancel --key 'g 1_{id}'"), count, seen.lines)
                if keys in dict(then).values():
                    begin = [line[:5] for line in seen.lines[:5]]
                    self.assertEqual(begin, ["COMMA", "g 1_1", "g 1_2", "g 1_3", "1 of "], seen.lines)
                    self.assertIn(seen.screen.columns - width(seen.lines[2]), (1, 2), seen.lines)
                    self.assertEqual(seen.lines[2][-1], "…")

    def test_are_asked_before_all_is_cancelled(self):
        for arguments, answer, status in ([], b"n\r", 1), ([], b"\x04", 1), ([], b"y\r", 0), (["--all"], None, 0):
            seen = self.see("cancel", *arguments, then=[(b"[y/N]", typing(answer))] if answer else ())
            self.assertEqual((seen.status, b"all applications?" in seen.written), (status, bool(answer)), seen.written)
            self.assertEqual(b"was asked to cancel" in seen.written, status == 0)

    def test_learn_where_to_look_when_the_bus_fails(self):
        hint = "hevractl: 'hevractl --bus unix:path=/nowhere --service zuv doctor' looks for the cause"
        seen = Screen(*support.CTL, "--bus=unix:path=/nowhere", "--service", "zuv", "nodes", columns=120)
        self.assertEqual((seen.status, seen.lines[-1]), (3, hint))

    def test_complete_what_they_type(self):
        folder = self.bus.folder
        self.bus.write("hevractl", f'#!/bin/sh\nexec {" ".join(support.CTL)} "$@"\n')
        os.chmod(program := folder + "/hevractl", 0o755)
        nodes = self.bus.ctl("--json", "nodes").lines
        addresses = {hex(node["address"]) for node in nodes}
        rows = [
            ("s", {"send"}), ("link ", {"set", "id"}), ("--service ", {"hevra", "zuv"}), ("send --g", {"--group"}),
            ("node remove ", addresses), ("--json node key 0x10", {a for a in addresses if a.startswith("0x10")}),
            ("node key 0x1000 ", set()), ("link set --node ", addresses), ("link set --stack ", {"0x1000"}),
            ("link id 1 --type ", {"control", "sense", "relay", "unknown"}),
            ("nodes --class=se", {"sensor"}), ("--service=z", {"zuv"}), (f"--bus=unix:path={folder}/h", {program}),
            ("--bus=unix:path=/nowhere node remove ", set()), ("nodes --sort t", {"type"}), ("help li", {"link"}),
            ("--st", {"--strict"}), ("send 0x1", {a for a in addresses if a.startswith("0x1")}), ("send 0x1001 a", {"ay"}),
            ("send 0x1001 b ", {"true", "false"}), ("node set - --action ", {"add", "modify", "remove"}),
            ("nodes --class 1 --type ", {hex(node["nodeType"]) for node in nodes}),
            (f"send --group g {folder}/h", {program}), (f"--bus unix:path={folder}/h", {program}),
            ("--bus unix:path=/nowhere node remove ", set()), ("send --group ", set()), ("--bus unix:pa", {"path="})]
        self.expect_completions("hevractl", rows)

    def test_complete_what_they_type_for_the_service(self):
        folder = self.bus.folder
        self.bus.write("hevra-stackd", f'#!/bin/sh\nexec {" ".join(support.STACKD)} "$@"\n')
        os.chmod(program := folder + "/hevra-stackd", 0o755)
        self.expect_completions("hevra-stackd", [
            ("--sc", {"--scenario"}), ("--service ", {"hevra", "zuv", "both"}), ("--service=h", {"hevra"}),
            (f"--nodes {folder}/h", {program}), (f"--pace 0 --nodes={folder}/h", {program}), ("--pace ", set()),
            ("--bus=s", {"system", "session"}), (f"--bus=unix:path={folder}/h", {program})])

    def expect_completions(self, program, rows):
        for line, expected in rows:
            script = (f"source {support.SOURCES}/tools/completion/{program}.bash; COMP_LINE='{program} {line}'\n"
                      f"COMP_POINT=${{#COMP_LINE}}; _{program.replace('-', '_')} {program}; echo ${{COMPREPLY[*]}}")
            variables = support.environment(HEVRA_BUS=self.bus.address)
            variables["PATH"] = f"{self.bus.folder}:{variables['PATH']}"
            ended = subprocess.run(["bash", "--norc", "-c", script], capture_output=True, env=variables, check=False)
            self.assertEqual((set(ended.stdout.decode().split()), ended.stderr), (expected, b""), line)

    def test_read_how_a_command_is_used_on_one_screen(self):
        """The commands are those that the help of the level above lists."""
        levels = [[]]
        for command in levels:
            with self.subTest(command):
                text = support.ctl(*command, "--help").output
                self.assertLess(text.count("\n"), 24, text)  # with the line for the next command
                self.assertLess(max(map(len, text.split("\n"))), 80, text)
                self.assertIn("Example: ", text)
                listed = text.partition("Commands:\n")[2]
                levels += [command + [name] for name in re.findall("^  ([a-z]+) ", listed, re.MULTILINE)]
        self.assertGreater(len(levels), 12)


if __name__ == "__main__":
    unittest.main(verbosity=2)
