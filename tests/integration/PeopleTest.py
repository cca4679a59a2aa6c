"""hevractl for people: what stands on a terminal."""

import re
import signal
import unittest

import pyte
import support
from screen import Screen

CTL = [*support.EMULATOR, support.PROGRAMS + "hevractl"]


def width(line):
    return sum(pyte.screens.wcwidth(letter) for letter in line)


class People(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.bus = support.Bus()
        cls.addClassCleanup(cls.bus.close)
        cls.bus.stackd("--pace", "0")

    def file(self, commands):
        return support.json_file(self, commands)

    def see(self, *arguments, **options):
        return Screen(*CTL, "--bus", self.bus.address, *arguments, **options)

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
        seen = self.see("send", "--group", "g", self.file([{"id": 1}, {"id": 2, "delay": 3600}]),
                        interrupt_after=b"DELAYED")
        self.assertEqual(seen.status, -signal.SIGINT, seen.written)
        self.assertEqual(seen.lines[0][:7], "COMMAND")
        self.assertIn("interrupted", seen.lines[-1] + seen.lines[-2])
        self.assertNotIn("g_1", "\n".join(seen.lines[-2:]))


if __name__ == "__main__":
    unittest.main(verbosity=2)
