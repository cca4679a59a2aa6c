"""A terminal of its own for a program, and what it leaves there."""

import fcntl
import os
import pty
import select
import struct
import subprocess
import termios
import time

import pyte
import support


def interrupt(keyboard):
    os.write(keyboard, b"\x03")


def size(rows, columns):
    """What makes the terminal so large."""
    return lambda keyboard: resize(keyboard, rows, columns)


def typing(keys):
    return lambda keyboard: os.write(keyboard, keys)


def resize(terminal, rows, columns):
    fcntl.ioctl(terminal, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))


class Screen:
    """Runs a program to its end. `then` are pairs of what it writes and a function to call afterwards, with the
    keyboard, one after the other; each is sought behind the one before. `lines` are those of the screen, `written`
    is everything."""

    def __init__(self, *command, columns=80, rows=24, then=(), **changes):
        own, its = pty.openpty()
        resize(its, rows, columns)
        variables = support.environment(**{"TERM": "xterm", **changes})
        child = subprocess.Popen(
            command, stdin=its, stdout=its, stderr=its, env=variables, start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY))
        os.close(its)
        self.screen = pyte.Screen(columns, rows)
        self.written, then, sought = b"", list(then), 0
        stream, end = pyte.ByteStream(self.screen), time.monotonic() + support.DEADLINE
        while select.select([own], [], [], max(0, end - time.monotonic()))[0]:
            try:
                more = os.read(own, 4096)
            except OSError:  # the program has ended
                break
            self.written += more
            stream.feed(more)
            while then and (found := self.written.find(then[0][0], sought)) >= 0:
                sought = found + len(then[0][0])
                then.pop(0)[1](own)
                self.screen.resize(*struct.unpack("HHHH", fcntl.ioctl(own, termios.TIOCGWINSZ, b"\0" * 8))[:2])
        os.close(own)
        try:
            self.status = child.wait(support.DEADLINE)
        finally:
            child.kill()

    @property
    def lines(self):
        return "\n".join(line.rstrip() for line in self.screen.display).rstrip().split("\n")
