"""hevractl --host: the bus of another machine. A stand-in for ssh reaches a bus of this one."""

import os
import shutil
import signal
import sys
import unittest

import support
from screen import Screen, interrupt
from support import HOST, Process, ctl

BRIDGE = "systemd-stdio-bridge"
SEND = ["send", "--group", "g"]


class Host(support.Case):
    def setUp(self):
        super().setUp()
        self.bus.stackd("--pace", "0")
        tools = self.bus.folder + "/tools"
        os.mkdir(tools)
        for program in support.EMULATOR[:1]:
            os.symlink(shutil.which(program), f"{tools}/{os.path.basename(program)}")
        self.nothing = {"PATH": tools}  # without an ssh
        self.bus.write("ssh", f'#!/bin/sh\nexec {sys.executable} -E {support.SOURCES}/tests/integration/ssh.py "$@"\n')
        os.chmod(self.bus.folder + "/ssh", 0o755)
        path = support.environment()["PATH"]
        self.ssh = {"PATH": f"{self.bus.folder}:{path}", "BRIDGED": self.bus.address,
                    "DBUS_SYSTEM_BUS_ADDRESS": self.bus.address}
        self.file = self.file([{"id": 1, "delay": 3600}])

    def test_is_reached_like_the_bus_of_this_machine(self):
        hosts = ["gw", "root@gw.example", "ssh://root@[fe80::1%25eth0]:22"]
        for host in hosts + ["systemd"] * bool(shutil.which(BRIDGE)):
            for command in ["nodes"], ["reset"], ["send", "--group", "g", "-"], ["wait"]:
                with self.subTest(host, command=command):
                    expected = self.bus.ctl("--json", *command, commands=[{"id": 7}])
                    result = ctl("--host", host, "--json", *command, commands=[{"id": 7}], **self.ssh)
                    self.assertEqual((result.status, result.output, result.errors), (0, expected.output, ""))
            checked = ctl("doctor", "--json", f"--host={host}", **self.ssh)
            self.assertEqual((checked.status, checked.errors), (0, ""), checked)
            self.assertIn(f"the system bus of {host}", checked.lines[1]["found"])
            self.assertNotIn("(hevra-stackd)", checked.output, "the process is one of the other machine")

    def test_says_what_is_missing(self):
        nowhere = self.ssh | {"BRIDGED": "unix:path=/nonexistent"}
        rows = [
            ("gw", self.nothing, ["ssh is missing on this machine"]),
            ("down", self.ssh, ["Connection refused; ssh has no connection to down"]),
            ("bare", self.ssh, ["command not found; systemd-stdio-bridge is missing on bare"]),
            ("gw", nowhere, ["Failed to connect to bus: No such file or directory; ",
                             "systemd-stdio-bridge has no connection to the system bus of gw"])]
        for host, variables, texts in rows:
            with self.subTest(texts):
                result = ctl("--host", host, "nodes", **variables)
                self.assertEqual((result.status, result.output), (3, ""))
                self.assertRegex(result.errors, r"^hevractl: [^\n]*\.NoServer: [^\n]*\n$")
                checked = ctl("--host", host, "--json", "doctor", **variables)
                self.assertEqual((checked.status, checked.lines[1]["ok"]), (3, False))
                self.assertIn(f"ssh {host} {BRIDGE}", checked.lines[1]["advice"])
                for text in texts:
                    self.assertIn(text, result.errors)
                    self.assertIn(text, checked.lines[1]["found"])
        for host in "", "-oProxyCommand=x", "root@-oProxyCommand=x", "@gw", "root@", "a b", "a\nb":
            result = ctl(*([f"--host={host}"] if host else ["--host", host]), "nodes", **self.ssh)
            self.assertEqual((result.status, result.output), (2, ""), result)
            self.assertIn("--host", result.errors)
        self.assertEqual(ctl("--host", "gw", "--bus", "system", "nodes", **self.ssh).status, 2)

    def test_is_lost_like_the_bus_of_this_machine(self):
        bridges = self.bus.folder + "/bridges"
        self.bus.write("bridges", "")
        log = Process("tail", "-f", bridges)
        self.addCleanup(log.kill)
        process = Process(*support.CTL, "--host", "gw", *SEND, self.file, **self.ssh, BRIDGES=bridges)
        self.addCleanup(process.kill)
        while "DELAYED" not in process.line():
            pass
        pid = process.child.pid
        with open(f"/proc/{pid}/task/{pid}/children", encoding="ascii") as children:
            self.assertEqual(children.read(), "", "ssh is no child, and the child that started it has been reaped")
        os.kill(int(log.line()), signal.SIGKILL)
        status, errors = process.end()
        self.assertEqual(status, 3)
        self.assertIn(f"hevractl: {HOST} has gone, and with it 1 command", errors)

    def test_survives_an_interrupt_on_the_terminal(self):
        seen = Screen(*support.CTL, "--host", "gw", *SEND, self.file, then=[(b"DELAYED", interrupt)], **self.ssh)
        self.assertEqual(seen.status, -signal.SIGINT, seen.written)
        self.assertIn("interrupted", "\n".join(seen.lines))
        self.assertNotIn("has gone", "\n".join(seen.lines))


if __name__ == "__main__":
    unittest.main(verbosity=2)
