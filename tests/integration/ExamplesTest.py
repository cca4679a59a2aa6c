"""The examples that the documentation shows, on a real bus."""

import os
import unittest

import support

EXAMPLES = os.environ["HEVRA_BINARY_DIR"] + "/examples/"


class Examples(support.Case):
    def start(self, name):
        process = support.Process(*support.EMULATOR, EXAMPLES + name, HEVRA_BUS=self.bus.address)
        self.addCleanup(process.kill)
        return process

    def test_print_what_they_say(self):
        self.bus.stackd("--pace", "0")
        for name, *lines in (
                ("client", "TRANSMITTED", "IN_PROGRESS", "COMPLETED"), ("nodes", "reset: yes", "node 0x1000"),
                ("outcome", "2: ended with 5", "1: ended with 3"), ("in_process", "serves the managers")):
            with self.subTest(name):
                process = self.start(name)
                unseen = set(lines)  # a command may end before another is cancelled
                while unseen:
                    line = process.line()
                    unseen -= {text for text in unseen if text in line}
                self.assertEqual(process.end(), (0, ""))

    def test_watch_the_service_and_a_node(self):
        watch = self.start("watch")
        self.assertIn("has gone", watch.line())
        self.bus.stackd("--service", "hevra")
        self.assertEqual({watch.line() for _ in range(2)}, {support.HOST + " is there", "watching"})
        node = self.bus.ctl("--json", "nodes", "--class", "1").lines[0] | {"state": 4}
        self.bus.ctl("node", "set", "-", "--action", "1", commands=node)
        self.assertEqual(watch.line(), "node 0x2001 has changed")
        self.assertEqual(watch.end(), (0, ""))

    def test_say_what_is_wrong(self):
        status, errors = self.start("nodes").end()
        self.assertEqual(status, 3)
        self.assertIn("ServiceUnknown", errors)


if __name__ == "__main__":
    unittest.main(verbosity=2)
