"""What the tests with other implementations share: the service that hevractl talks to, and running every test with
each implementation."""

import threading
import unittest

import support
from peers import DBusPython, GDBus, PeerError, wait, wake
from support import BOARD, BOARD_PATH, HOST, MANAGER, MANAGER_PATH, NODES, ZUV_HOST

COMMAND_MEMBERS = ("add", "cancel")


class Service:
    """Owns the service's names and answers hevractl."""

    def setUp(self):
        self.bus = support.Bus()
        self.addCleanup(self.bus.close)
        self.peer = self.Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        self.peer.own(HOST)
        self.peer.own(ZUV_HOST)
        self.calls = []  # (sender, values)

    def serve(self, answer, member, signature="", reply="", host=HOST):
        """Answers with values, a function of (sender, values), or a PeerError."""

        def function(sender, _, values):
            self.calls.append((sender, values))
            if isinstance(answer, PeerError):
                raise answer
            return answer(sender, values) if callable(answer) else answer

        if member == "hardreset":
            path, interface = BOARD_PATH, BOARD
        elif member in COMMAND_MEMBERS:
            path, interface = MANAGER_PATH, host + MANAGER
        else:
            path, interface = support.nodes_path(host), host + NODES
        self.peer.serve(path, interface, {member: (signature, reply)}, function)

    def run_ctl(self, *arguments, commands=b"", json=True):
        """hevractl's result; its calls are answered meanwhile."""
        results = []
        options = ["--json"] if json else []

        def run():
            results.append(self.bus.ctl(*options, *arguments, commands=commands))
            wake()

        threading.Thread(target=run, daemon=True).start()
        wait(lambda: results, "the end of hevractl")
        return results[0]

    def expect(self, result, status, *lines, errors=""):
        """`errors` is a part of what stands on standard error; empty: nothing does."""
        self.assertEqual((result.status, result.lines), (status, list(lines)), result)
        self.assertIn(errors, result.errors)
        self.assertEqual(bool(errors), bool(result.errors), result)


def combine(module, *roles):
    """Makes test cases in a module's globals: of ForeignClient, DBusPythonClient and GDBusClient."""
    for peer in DBusPython, GDBus:
        for role in roles:
            name = peer.__name__ + role.__name__.removeprefix("Foreign")
            module[name] = type(name, (role, unittest.TestCase), {"Peer": peer, "__module__": module["__name__"]})
