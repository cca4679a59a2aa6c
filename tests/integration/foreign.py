"""The service that hevractl talks to, made by another implementation of the bus."""

import threading

import support
from peer import Peer, PeerError, wait, wake
from support import BOARD, BOARD_PATH, COMMANDS, COMMANDS_PATH, HOST, HOSTS, NODES


class ForeignServiceCase(support.Case):
    """Owns the service's names and answers hevractl."""

    def setUp(self):
        super().setUp()
        self.peer = Peer(self.bus.address)
        self.addCleanup(self.peer.close)
        for host in HOSTS.values():
            self.peer.own(host)
        self.calls = []  # their values

    def serve(self, answer, member, signature="", reply="", host=HOST):
        """Answers with values, a function of (sender, values), or a PeerError."""

        def function(sender, _, values):
            self.calls.append(values)
            if isinstance(answer, PeerError):
                raise answer
            return answer(sender, values) if callable(answer) else answer

        if member == "hardreset":
            path, interface = BOARD_PATH, BOARD
        elif member in ("add", "cancel"):
            path, interface = COMMANDS_PATH, host + COMMANDS
        else:
            path, interface = support.nodes_path(host), host + NODES
        self.calls.clear()
        self.peer.serve(path, interface, {member: (signature, reply)}, function)

    def run_ctl(self, *arguments, commands=b""):
        """hevractl's result; its calls are answered meanwhile."""
        results = []

        def run():
            results.append(self.bus.ctl("--json", *arguments, commands=commands))
            wake()

        threading.Thread(target=run, daemon=True).start()
        wait(lambda: results, "the end of hevractl")
        return results[0]

    def expect(self, result, status, *lines, errors=""):
        """`errors` is a part of what stands on standard error; empty: nothing does."""
        self.assertEqual((result.status, result.lines), (status, list(lines)), result)
        self.assertIn(errors, result.errors)
        self.assertEqual(bool(errors), bool(result.errors), result)
