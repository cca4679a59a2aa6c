"""The examples that the documentation shows, on a real bus."""

import os
import re
import signal
import socket
import unittest

import support

EXAMPLES = os.environ["HEVRA_BINARY_DIR"] + "/examples/"


class Examples(support.Case):
    def start(self, name, *arguments, bus=None, **environment):
        process = support.Process(*support.EMULATOR, EXAMPLES + name, *arguments,
                                  HEVRA_BUS=bus or self.bus.address, **environment)
        self.addCleanup(process.kill)
        return process

    def test_print_what_they_say(self):
        self.bus.stackd("--pace", "0")
        for name, *lines in (
                ("client", "TRANSMITTED", "IN_PROGRESS", "COMPLETED"), ("nodes", "reset: yes", "node 0x1000"),
                ("outcome", "2: ended with 5", "1: ended with 3"), ("in_process", "serves the managers"),
                ("coroutine", "reset: yes", "node 0x1000")):
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

    def test_have_one_thread_on_an_event_loop(self):
        self.bus.stackd("--service", "hevra", "--pace", "0")
        for name in ("epoll", "glib", "sd_event"):
            if name != "epoll" and not os.path.exists(EXAMPLES + name):
                continue  # it is built where its library is
            with self.subTest(name):
                house = self.start(name)
                lines = {house.line() for _ in range(6)}
                self.assertLessEqual({"nodes: 6", "node 0x1001 has changed", "the command has ended: finished"}, lines)
                with open(f"/proc/{house.child.pid}/status", encoding="utf-8") as status:
                    threads = int(re.search(r"Threads:\t(\d+)", status.read())[1])
                self.assertLessEqual(threads, 1 + self.threads_of_the_runtime(name))
                self.assertEqual(house.end(signal.SIGTERM), (0, ""))

    def threads_of_the_runtime(self, name):
        """The emulator and the thread sanitizer may each have a thread of their own."""
        with open(EXAMPLES + name, "rb") as file:
            return len(support.EMULATOR[:1]) + (b"__tsan_init" in file.read())

    def test_tell_systemd_their_state_while_bus_and_service_come_and_go(self):
        systemd = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
        self.addCleanup(systemd.close)
        systemd.settimeout(support.DEADLINE)
        systemd.bind(self.bus.folder + "/systemd")
        self.bus.daemon.kill()
        lamp = self.start("hevra-lamp", "0x1001", NOTIFY_SOCKET=self.bus.folder + "/systemd")
        waiting, on = b"STATUS=waiting for the stack service\n", b"STATUS=6 nodes, the lamp is on\n"

        def expect(*lines):
            self.assertEqual([systemd.recv(4096) for _ in lines], list(lines))

        expect(waiting)
        self.bus.start()
        service = self.bus.stackd("--service", "hevra", "--pace", "0")
        expect(b"READY=1\n", on)
        service.end(signal.SIGTERM)
        expect(waiting)
        service = self.bus.stackd("--service", "hevra", "--pace", "0")
        expect(b"READY=1\n", on)
        self.bus.daemon.kill()
        expect(waiting)
        service.end(signal.SIGTERM)
        self.bus.start()
        self.bus.stackd("--service", "hevra", "--pace", "0")
        expect(b"READY=1\n", on)
        self.assertEqual(lamp.end(signal.SIGTERM)[0], 0)
        expect(b"STOPPING=1\n")

    def test_say_what_is_wrong(self):
        for name, bus, status, said in (
                ("nodes", self.bus.address, 3, "ServiceUnknown"), ("client", self.bus.address, 1, "was not provided"),
                ("client", "unix:path=/nonexistent", 1, "Cannot connect"), ("client", None, 4, "the service has gone")):
            with self.subTest(name, bus=bus):
                if not bus:
                    self.bus.stackd("--scenario", support.SOURCES + "/examples/scenarios/restart.json")
                ended, errors = self.start(name, bus=bus).end()
                self.assertEqual(ended, status)
                self.assertIn(said, errors)


if __name__ == "__main__":
    unittest.main(verbosity=2)
