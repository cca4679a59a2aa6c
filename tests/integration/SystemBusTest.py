"""The road of a command on a bus that is configured as a system bus is, with the policy that is shipped and without it;
and what `hevractl doctor` finds where the road is broken in one place."""

import json
import os
import shutil
import socket
import subprocess
import threading
import unittest

import support
from support import HOST, STACKD, Process, ctl

DIST = support.SOURCES + "/dist/"
ACCESS_DENIED = "org.freedesktop.DBus.Error.AccessDenied"
with open(DIST + "dbus/com.quarnix.Application.HevraZuv.conf", encoding="utf-8") as policy:
    POLICY = policy.read()
PROGRESS_RULE = POLICY[POLICY.index('<allow send_type="method_call" send_interface'):POLICY.index("</policy>")]
STEPS = ["system", "bus", "authentication", "versions", "service", "access", "command manager", "node manager",
         "daughter board", "application", "progress", "round trip", "counters"]


class SystemBus(support.Case):
    def setUp(self):
        """No bus but for those that the tests make."""

    def system_bus(self, rules):
        return self.another_bus(rules, kind=support.SystemBus)

    def test_carries_commands_nodes_and_signals_with_the_policy(self):
        bus = self.system_bus(POLICY)
        bus.stackd("--pace", "0")
        for variant in "hevra", "zuv":
            watch = bus.ctl_process("--json", "--service", variant, "watch")
            self.assertEqual(json.loads(watch.line()), {"event": "ready"})

            def run(*arguments, variant=variant, **options):
                return bus.ctl("--json", "--service", variant, *arguments, **options)

            sent = run("send", "--group", "g", "-", commands=[{"id": 7, "address": 0x1000, "write": True}])
            self.assertEqual((sent.status, [line["command"]["status"] for line in sent.lines]), (0, [1, 2, 3]), sent)
            node = run("nodes").lines[0]
            self.assertEqual(run("node", "set", "-", "--action", "1", commands=node).lines, [{"modified": True}])
            changes = [json.loads(watch.line()) for _ in range(2)]
            self.assertEqual([change["event"] for change in changes], ["modified"] * 2)
            self.assertEqual(run("cancel").status, 0)
            healthy = run("doctor")
            self.assertEqual((healthy.status, [line["step"] for line in healthy.lines]), (0, STEPS), healthy)
            told = {name: value for line in healthy.lines for name, value in line.items()}
            self.assertEqual((told["system"]["hevractl"], told["system"]["machine"]), (told["library"], os.uname().machine))
            options = told["system"]["options"]
            self.assertEqual((options["bus"], options["service"]), (bus.address, variant))
            self.assertRegex(told["bus"]["id"], "^[0-9a-f]{32}$")
            self.assertIn("org.freedesktop.DBus.Monitoring", told["bus"]["interfaces"])
            self.assertGreater(told["counters"]["callsAnswered"], 50)
            self.assertEqual((told["counters"]["connects"], told["counters"]["callsInFlight"]), (1, 0))
        self.assertEqual(bus.ctl("reset").status, 0)

    def test_forbids_names_calls_and_progress_without_it(self):
        bus = self.system_bus("")
        status, errors = bus.run(*STACKD, "--bus", bus.address).end()
        self.assertEqual(status, 3, errors)
        self.assertRegex(errors, f"{ACCESS_DENIED}.*HevraZuv.conf")
        bus = self.system_bus(POLICY.replace(PROGRESS_RULE, ""))
        service = bus.stackd()
        sent = bus.ctl("--json", "send", "--group", "g", "-", "--wait", "1", commands=[{"id": 7}])
        self.assertEqual((sent.status, sent.lines), (4, []), sent)
        self.assertIn(ACCESS_DENIED, service.complaint())

    @unittest.skipIf(os.geteuid() != 0 or support.EMULATOR, "only root can become another user")
    def test_keeps_other_users_out(self):
        bus = self.system_bus(POLICY)
        bus.stackd()
        stranger = ["setpriv", "--reuid=65534", "--regid=65534", "--clear-groups"]
        if subprocess.run([*stranger, "test", "-x", support.PROGRAMS + "hevractl"], check=False).returncode:
            self.skipTest("other users cannot reach the build folder")
        for command in ["nodes"], ["cancel"], ["reset"]:
            process = Process(*stranger, support.PROGRAMS + "hevractl", "--bus", bus.address, *command)
            status, errors = process.end()
            self.assertEqual((status, ACCESS_DENIED in errors), (3, True), errors)

    def test_waits_for_a_service_on_a_bus_that_comes_later(self):
        bus = self.another_bus()
        bus.daemon.kill()
        self.assertEqual(bus.ctl("--json", "wait", "--timeout", "0").output, '{"available":false}\n')
        waiting = bus.ctl_process("--json", "wait", "--timeout", str(support.DEADLINE))
        bus.start()
        bus.stackd()
        self.assertEqual((json.loads(waiting.line()), waiting.end()[0]), ({"available": True}, 0))

    @unittest.skipUnless(shutil.which("systemd-analyze"), "no systemd to ask")
    def test_has_a_unit_that_systemd_finds_safe(self):
        with open(DIST + "systemd/hevra-stackd.service", encoding="utf-8") as unit:
            text = unit.read().replace("/usr/bin/", support.PROGRAMS)
        bus = self.another_bus()
        bus.write("hevra-stackd.service", text)
        for check in ["verify", "--man=no"], ["security", "--offline=true", "--threshold=20"]:
            result = subprocess.run(["systemd-analyze", *check, bus.folder + "/hevra-stackd.service"],
                                    capture_output=True, check=False)
            self.assertEqual((result.returncode, result.stderr), (0, b""), result)


class Doctor(support.Case):
    def expect_broken(self, address, status, found, failed, skipped=()):
        result = ctl("--bus", address, "--json", "doctor")
        steps = {line["step"]: line["ok"] for line in result.lines}
        expected = {step: False if step == failed else None if step in skipped else True for step in STEPS}
        self.assertEqual((result.status, steps), (status, expected), result)
        for line in result.lines:
            self.assertEqual(bool(line["advice"]), line["step"] == failed, line)
        self.assertIn(found, "".join(line["found"] for line in result.lines if line["ok"] is False))
        return result

    def test_says_who_is_not_there_or_refuses(self):
        def listen(answer):
            """A socket that answers whatever comes and hangs up."""
            listener = socket.socket(socket.AF_UNIX)
            listener.bind(f"\0hevra-{os.getpid()}-{len(answer)}")
            listener.listen()
            self.addCleanup(listener.close)

            def serve():
                with listener.accept()[0] as caller:
                    caller.recv(100)
                    caller.sendall(answer)

            threading.Thread(target=serve, daemon=True).start()
            return "unix:abstract=" + listener.getsockname()[1:].decode()

        closed = self.bus.folder + "/closed"
        with socket.socket(socket.AF_UNIX) as gone:
            gone.bind(closed)
        nobody, deny = self.another_bus(), self.another_bus(f'<deny send_destination="{HOST}"/>')
        broken = self.another_bus(hevra=f"[D-BUS Service]\nName={HOST}\nExec=/bin/false\n")
        deny.stackd()
        rows = [
            ("unix:path=/nonexistent/bus", "No such file", "bus"), (f"unix:path={closed}", "refused", "bus"),
            (listen(b""), "closed the connection", "authentication"),
            (listen(b"REJECTED EXTERNAL\r\n"), "REJECTED", "authentication"),
            (nobody.address, "nobody owns", "service"), (broken.address, "could not start", "service"),
            (deny.address, ACCESS_DENIED, "access")]
        for address, found, step in rows:
            with self.subTest(step, found=found):
                told = ["versions", *(["application", "counters"] if step in ("service", "access") else [])]
                skipped = [later for later in STEPS[STEPS.index(step) + 1:] if later not in told]
                result = self.expect_broken(address, 3, found, step, skipped)
                self.assertEqual("bus unknown" in result.output, step in ("bus", "authentication"))


if __name__ == "__main__":
    unittest.main(verbosity=2)
