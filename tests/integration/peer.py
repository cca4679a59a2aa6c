"""GDBus, an implementation of the bus that shares no code with ours or with the daemon's, behind a small interface. It
runs on this thread's main context. Values are plain Python ones: structures are tuples, arrays lists or bytes, and what
is in a variant is a GLib.Variant."""

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402
from support import DEADLINE  # noqa: E402


class PeerError(Exception):
    """An error reply, received or to be given."""

    def __init__(self, name, text=""):
        super().__init__(name, text)
        self.name, self.text = name, text


def wait(condition, what):
    """Runs the main context until the condition holds."""
    late = []
    source = GLib.timeout_add_seconds(DEADLINE, lambda: late.append(True))  # ends: append returns None
    while not condition() and not late:
        GLib.MainContext.default().iteration(True)
    if late:
        raise AssertionError(f"waited in vain for {what}")
    GLib.source_remove(source)


def wake():
    """Has `wait` look at its condition again; from any thread."""
    GLib.idle_add(lambda: False)


class Peer:
    """A connection. GDBus itself checks calls against what is served, and answers introspection."""

    def __init__(self, address):
        flags = Gio.DBusConnectionFlags
        self.connection = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None)
        self.name = self.connection.get_unique_name()
        self.served = {}

    def close(self):
        if not self.connection.is_closed():
            self.connection.close_sync(None)

    def ask_bus(self, member, signature, *values):
        return self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", member, signature, values)[1][0]

    def own(self, name):
        assert self.ask_bus("RequestName", "su", name, 4) == 1, name

    def serve(self, path, interface, members, function):
        """Gives calls to a function of (sender, member, values), which returns the reply's values or raises PeerError.
        `members` are {member: (signature, reply's signature)}."""

        def arguments(signature, direction):
            kinds = GLib.Variant.split_signature(f"({signature})")
            return "".join(f'<arg type="{kind}" direction="{direction}"/>' for kind in kinds)

        methods = "".join(
            f'<method name="{member}">{arguments(taken, "in")}{arguments(given, "out")}</method>'
            for member, (taken, given) in members.items())
        node = Gio.DBusNodeInfo.new_for_xml(f'<node><interface name="{interface}">{methods}</interface></node>')

        def handle(_, sender, _path, _interface, member, parameters, invocation):
            try:
                values = function(sender, member, self.plain(parameters))
                invocation.return_value(GLib.Variant(f"({members[member][1]})", values))
            except PeerError as error:
                invocation.return_dbus_error(error.name, error.text)

        self.withdraw(path, interface)
        self.served[path, interface] = self.connection.register_object(path, node.interfaces[0], handle, None, None)

    def withdraw(self, path, interface):
        if (path, interface) in self.served:
            self.connection.unregister_object(self.served.pop((path, interface)))

    def emit(self, path, interface, member, signature, values):
        self.connection.emit_signal(None, path, interface, member, GLib.Variant(f"({signature})", values))
        self.connection.flush_sync(None)

    def listen(self, interface, function):
        """Gives an interface's signals to a function of (sender, path, member, signature, values)."""

        def heard(_, sender, path, _interface, member, parameters):
            function(sender, path, member, parameters.get_type_string()[1:-1], self.plain(parameters))

        self.connection.signal_subscribe(None, interface, None, None, None, Gio.DBusSignalFlags.NONE, heard)
        self.ask_bus("GetId", "")  # what was sent before has arrived now

    def send(self, destination, path, interface, member, signature, values, done):
        """Gives the reply's signature and values, or a PeerError, to `done`."""

        def replied(connection, result):
            reply = connection.send_message_with_reply_finish(result)
            body = self.plain(reply.get_body()) if reply.get_body() else ()
            is_error = reply.get_message_type() == Gio.DBusMessageType.ERROR
            done(PeerError(reply.get_error_name(), *body) if is_error else (reply.get_signature(), body))

        message = Gio.DBusMessage.new_method_call(destination, path, interface, member)
        message.set_body(GLib.Variant(f"({signature})", values))
        self.connection.send_message_with_reply(
            message, Gio.DBusSendMessageFlags.NONE, DEADLINE * 1000, None, replied)

    def call(self, destination, path, interface, member, signature="", values=()):
        """The reply's signature and values; an error reply is raised. Other messages are handled meanwhile."""
        replies = []
        self.send(destination, path, interface, member, signature, values, replies.append)
        wait(lambda: replies, f"the reply to {member}")
        if isinstance(replies[0], PeerError):
            raise replies[0]
        return replies[0]

    def describe(self, destination, path, interface):
        """The members of an interface as its object tells them: "getNodeLink uu-s"."""
        _, (text,) = self.call(destination, path, "org.freedesktop.DBus.Introspectable", "Introspect")
        found = [each for each in Gio.DBusNodeInfo.new_for_xml(text).interfaces if each.name == interface]

        def types(arguments):
            return "".join(argument.signature for argument in arguments)

        methods = [f"{each.name} {types(each.in_args)}" + (f"-{types(each.out_args)}" if each.out_args else "")
                   for one in found for each in one.methods]
        return sorted(methods + [f"{each.name} {types(each.args)}" for one in found for each in one.signals])

    @classmethod
    def plain(cls, value):
        kind = value.get_type_string()
        if kind == "v":
            return value.get_variant()
        if kind == "ay":
            return bytes(value.unpack())
        if kind[0] in "(a":
            children = (cls.plain(value.get_child_value(i)) for i in range(value.n_children()))
            return tuple(children) if kind[0] == "(" else list(children)
        return value.unpack()
