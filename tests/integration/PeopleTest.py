"""hevractl for people: what stands on a terminal."""

import os
import re
import signal
import subprocess
import unittest

import pyte
import support
from screen import Screen, interrupt, narrow


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

    def test_interrupt_what_is_sent(self):
        seen = self.see("send", "--group", "g", self.file([{"id": 1}, {"id": 2, "delay": 3600, "label": "w" * 99}]),
                        then=[(b"DELAYED", narrow), (b"\x1b[J", interrupt)])
        self.assertEqual(seen.status, -signal.SIGINT, seen.written)
        self.assertEqual(seen.lines[0][:7], "COMMAND")
        self.assertIn("interrupted", seen.lines[-1] + seen.lines[-2])
        self.assertNotIn("g_1", "\n".join(seen.lines[-2:]))
        self.assertEqual((width(seen.lines[2]), seen.lines[2][-1]), (59, "…"))

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
            ("link id 1 --type ", {"-1", "0", "1", "2"}),
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
