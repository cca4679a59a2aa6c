"""Starts and stops private message buses, a dbus-daemon or a dbus-broker, and other programs."""

import ctypes
import os
import pathlib
import signal
import socket
import subprocess
import sys

CONFIGURATION = """<!DOCTYPE busconfig PUBLIC "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig><type>session</type><listen>unix:path={path}</listen><auth>EXTERNAL</auth>
<policy context="default"><allow user="*"/><allow own="*"/><allow send_type="method_call"/>
<allow send_destination="*" eavesdrop="false"/><allow receive_sender="*"/></policy>
<limit name="max_replies_per_connection">4096</limit></busconfig>
"""


def die_with_parent():
    ctypes.CDLL(None).prctl(1, signal.SIGKILL)


def start_program(command, ready, log, **options):
    """Starts a program, and returns its process when it has printed a line that begins with `ready`."""
    process = subprocess.Popen(command, stdout=subprocess.PIPE, stderr=log, text=True, preexec_fn=die_with_parent,
                               **options)
    line = process.stdout.readline()
    if not line.startswith(ready):
        kill_program(process)
        raise RuntimeError(f"{command[0]} did not start: {pathlib.Path(log.name).read_text().strip() or line}")
    return process


def kill_program(process):
    process.kill()
    process.wait()
    process.stdout.close()


class Bus:
    """A private bus. `name` is its program, "dbus-daemon" or "dbus-broker"; the latter needs another bus, `other`."""

    def __init__(self, name, folder, other=None):
        self.name = name
        self.socket = f"{folder}/{name}"
        self.address = f"unix:path={self.socket}"
        configuration = f"{folder}/{name}.conf"
        pathlib.Path(configuration).write_text(CONFIGURATION.format(path=self.socket))
        self.log = open(f"{folder}/{name}.log", "w", encoding="utf-8")
        if name == "dbus-daemon":
            command = ["dbus-daemon", f"--config-file={configuration}", "--nofork", "--nosyslog", "--print-address=1"]
            self.process = start_program(command, "unix:", self.log)
        else:
            # The launcher of dbus-broker needs a session bus, for which any bus will do, and the socket of the journal.
            unshare = ["unshare", "--mount"] + ([] if os.geteuid() == 0 else ["--map-root-user"])
            command = unshare + [sys.executable, "-B", __file__, self.socket, configuration]
            environment = dict(os.environ, DBUS_SESSION_BUS_ADDRESS=other.address)
            self.process = start_program(command, "ready", self.log, env=environment)

    def stop(self):
        kill_program(self.process)
        self.log.close()


def launch_broker(path, configuration):
    """Runs in its own mount namespace: creates a socket in the place of the journal, and executes the launcher."""
    libc = ctypes.CDLL(None, use_errno=True)
    os.makedirs("/run/systemd/journal", exist_ok=True)
    if libc.mount(b"tmpfs", b"/run/systemd/journal", b"tmpfs", 0, None) != 0:
        sys.exit("cannot mount over /run/systemd/journal: " + os.strerror(ctypes.get_errno()))
    journal = socket.socket(socket.AF_UNIX, socket.SOCK_DGRAM)
    journal.bind("/run/systemd/journal/socket")
    listener = socket.socket(socket.AF_UNIX)
    listener.bind(path)
    listener.listen(64)
    os.set_inheritable(os.dup2(journal.fileno(), 10), True)
    os.dup2(listener.fileno(), 3)
    os.environ.update(LISTEN_FDS="1", LISTEN_PID=str(os.getpid()))
    print("ready", flush=True)
    os.execvp("dbus-broker-launch", ["dbus-broker-launch", "--scope", "user", "--config-file", configuration])


if __name__ == "__main__":
    launch_broker(*sys.argv[1:])
