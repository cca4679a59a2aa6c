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


class Screen:
    """Runs a program to its end, and interrupts it from the keyboard after it has written `interrupt_after`. `lines`
    are those of the screen, `written` is everything."""

    def __init__(self, *command, columns=80, rows=24, interrupt_after=None, **changes):
        own, its = pty.openpty()
        fcntl.ioctl(its, termios.TIOCSWINSZ, struct.pack("HHHH", rows, columns, 0, 0))
        variables = support.environment(**{"TERM": "xterm", "LANG": "C.UTF-8", **changes})
        child = subprocess.Popen(
            command, stdin=its, stdout=its, stderr=its, env=variables, start_new_session=True,
            preexec_fn=lambda: fcntl.ioctl(0, termios.TIOCSCTTY))
        os.close(its)
        self.screen = pyte.Screen(columns, rows)
        self.written = b""
        stream, end = pyte.ByteStream(self.screen), time.monotonic() + support.DEADLINE
        while select.select([own], [], [], max(0, end - time.monotonic()))[0]:
            try:
                more = os.read(own, 4096)
            except OSError:  # the program has ended
                break
            self.written += more
            stream.feed(more)
            if interrupt_after and interrupt_after in self.written:
                os.write(own, b"\x03")
                interrupt_after = None
        os.close(own)
        try:
            self.status = child.wait(support.DEADLINE)
        finally:
            child.kill()

    @property
    def lines(self):
        return "\n".join(line.rstrip() for line in self.screen.display).rstrip().split("\n")
