"""Two independent implementations of the bus behind one small interface: libdbus through dbus-python, and GDBus. Both
run on this thread's main context. Values are plain Python ones: structures tuples, arrays lists or bytes, and what is
in a variant a support.Variant."""

import dbus
import dbus.bus
import dbus.lowlevel
import dbus.mainloop.glib
import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402
from support import DEADLINE, Variant  # noqa: E402


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
    """What both have: name, close(), own(name), serve(...), send(...), emit(...), listen(...).

    `serve` gives calls to a function of (sender, member, values), which returns the reply's values, raises PeerError,
    or returns None for no reply. `members` are {member: (signature, reply's signature)}; other calls are refused.
    `listen` gives an interface's signals to a function of (sender, path, member, signature, values)."""

    def call(self, destination, path, interface, member, signature="", values=()):
        """The reply's signature and values; an error reply is raised. Other messages are handled meanwhile."""
        replies = []
        self.send(destination, path, interface, member, signature, values, replies.append)
        wait(lambda: replies, f"the reply to {member}")
        if isinstance(replies[0], PeerError):
            raise replies[0]
        return replies[0]

    def ask_bus(self, member, signature, *values):
        return self.call("org.freedesktop.DBus", "/", "org.freedesktop.DBus", member, signature, values)[1][0]

    def own(self, name):
        assert self.ask_bus("RequestName", "su", name, 4) == 1, name

    def disown(self, name):
        assert self.ask_bus("ReleaseName", "s", name) == 1, name


class DBusPython(Peer):
    """dbus-python, on libdbus."""

    KINDS = {
        dbus.Byte: ("y", int), dbus.Int16: ("n", int), dbus.UInt16: ("q", int), dbus.Int32: ("i", int),
        dbus.UInt32: ("u", int), dbus.Int64: ("x", int), dbus.UInt64: ("t", int), dbus.Double: ("d", float),
        dbus.Boolean: ("b", bool), dbus.String: ("s", str), dbus.ObjectPath: ("o", str),
    }
    TYPES = {letter: kind for kind, (letter, _) in KINDS.items()}

    def __init__(self, address):
        self.connection = dbus.bus.BusConnection(address, mainloop=dbus.mainloop.glib.DBusGMainLoop())
        self.connection.set_exit_on_disconnect(False)
        self.name = str(self.connection.get_unique_name())
        self.served = {}
        self.listeners = {}
        self.connection.add_message_filter(self.filter)

    def close(self):
        self.connection.close()

    def serve(self, path, interface, members, function):
        self.served[path, interface] = (members, function)

    def emit(self, path, interface, member, signature, values):
        message = dbus.lowlevel.SignalMessage(path, interface, member)
        message.append(*map(self.typed, values), signature=signature)
        self.connection.send_message(message)
        self.connection.flush()

    def listen(self, interface, function):
        self.listeners[interface] = function
        self.connection.add_match_string(f"type='signal',interface='{interface}'")

    def filter(self, _, message):
        if message.get_interface() in self.listeners and isinstance(message, dbus.lowlevel.SignalMessage):
            values = tuple(self.plain(value)[1] for value in message.get_args_list())
            self.listeners[message.get_interface()](
                message.get_sender(), message.get_path(), message.get_member(), message.get_signature(), values
            )
        if not isinstance(message, dbus.lowlevel.MethodCallMessage):
            return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED
        members, function = self.served.get((message.get_path(), message.get_interface()), ({}, None))
        try:
            signature, reply_signature = members.get(message.get_member(), ("no such member", ""))
            if message.get_signature() != signature:
                raise PeerError("test.Error.Unexpected", f"{message.get_member()} {message.get_signature()}")
            values = tuple(self.plain(value)[1] for value in message.get_args_list())
            values = function(message.get_sender(), message.get_member(), values)
            if values is not None:
                reply = dbus.lowlevel.MethodReturnMessage(message)
                reply.append(*map(self.typed, values), signature=reply_signature)
                self.connection.send_message(reply)
        except PeerError as error:
            self.connection.send_message(dbus.lowlevel.ErrorMessage(message, error.name, error.text))
        return dbus.lowlevel.HANDLER_RESULT_HANDLED

    def send(self, destination, path, interface, member, signature, values, done):
        def replied(*reply):
            kinds = [self.plain(value) for value in reply]
            done(("".join(kind for kind, _ in kinds), tuple(value for _, value in kinds)))

        def failed(error):
            done(PeerError(error.get_dbus_name(), error.get_dbus_message()))

        values = tuple(map(self.typed, values))
        self.connection.call_async(
            destination, path, interface, member, signature, values, replied, failed, timeout=DEADLINE
        )

    @classmethod
    def typed(cls, value):
        if isinstance(value, Variant):
            if value.kind == "ay":
                return dbus.Array(map(dbus.Byte, value.value), signature="y", variant_level=1)
            if value.kind == "(ii)":
                return dbus.Struct(value.value, signature="ii", variant_level=1)
            return cls.TYPES[value.kind](value.value, variant_level=1)
        return type(value)(map(cls.typed, value)) if isinstance(value, (tuple, list)) else value

    @classmethod
    def plain(cls, value):
        """The value's signature, and the plain value."""
        if isinstance(value, dbus.Struct):
            kinds, made = zip(*map(cls.plain, value))
            kind = f"({''.join(kinds)})"
        elif isinstance(value, dbus.Array):
            kind = "a" + value.signature
            made = bytes(value) if kind == "ay" else [cls.plain(element)[1] for element in value]
        else:
            kind, convert = cls.KINDS[type(value)]
            made = convert(value)
        return ("v", Variant(kind, made)) if value.variant_level else (kind, made)


class GDBus(Peer):
    """GDBus, which shares no code with libdbus. It checks calls and replies against introspection data by itself."""

    def __init__(self, address):
        flags = Gio.DBusConnectionFlags
        self.connection = Gio.DBusConnection.new_for_address_sync(
            address, flags.AUTHENTICATION_CLIENT | flags.MESSAGE_BUS_CONNECTION, None, None
        )
        self.name = self.connection.get_unique_name()
        self.served = {}

    def close(self):
        if not self.connection.is_closed():
            self.connection.close_sync(None)

    def serve(self, path, interface, members, function):
        def arguments(signature, direction):
            kinds = GLib.Variant.split_signature(f"({signature})")
            return "".join(f'<arg type="{kind}" direction="{direction}"/>' for kind in kinds)

        methods = "".join(
            f'<method name="{member}">{arguments(taken, "in")}{arguments(given, "out")}</method>'
            for member, (taken, given) in members.items()
        )
        node = Gio.DBusNodeInfo.new_for_xml(f'<node><interface name="{interface}">{methods}</interface></node>')

        def handle(_, sender, _path, _interface, member, parameters, invocation):
            try:
                values = function(sender, member, self.plain(parameters))
                if values is not None:
                    invocation.return_value(self.typed(members[member][1], values))
            except PeerError as error:
                invocation.return_dbus_error(error.name, error.text)

        if (path, interface) in self.served:
            self.connection.unregister_object(self.served[path, interface])
        self.served[path, interface] = self.connection.register_object(path, node.interfaces[0], handle, None, None)

    def emit(self, path, interface, member, signature, values):
        self.connection.emit_signal(None, path, interface, member, self.typed(signature, values))
        self.connection.flush_sync(None)

    def listen(self, interface, function):
        def heard(_, sender, path, _interface, member, parameters):
            function(sender, path, member, parameters.get_type_string()[1:-1], self.plain(parameters))

        self.connection.signal_subscribe(None, interface, None, None, None, Gio.DBusSignalFlags.NONE, heard)
        self.ask_bus("GetId", "")  # what was sent before has arrived now

    def send(self, destination, path, interface, member, signature, values, done):
        def replied(connection, result):
            reply = connection.send_message_with_reply_finish(result)
            body = self.plain(reply.get_body()) if reply.get_body() else ()
            if reply.get_message_type() == Gio.DBusMessageType.ERROR:
                done(PeerError(reply.get_error_name(), *body))
            else:
                done((reply.get_signature(), body))

        message = Gio.DBusMessage.new_method_call(destination, path, interface, member)
        message.set_body(self.typed(signature, values))
        self.connection.send_message_with_reply(
            message, Gio.DBusSendMessageFlags.NONE, DEADLINE * 1000, None, replied
        )

    @classmethod
    def typed(cls, signature, values):
        def inner(value):
            if isinstance(value, Variant):
                return GLib.Variant(value.kind, value.value)
            return type(value)(map(inner, value)) if isinstance(value, (tuple, list)) else value

        return GLib.Variant(f"({signature})", inner(values))

    @classmethod
    def plain(cls, value):
        kind = value.get_type_string()
        if kind == "v":
            return Variant(value.get_variant().get_type_string(), cls.plain(value.get_variant()))
        if kind == "ay":
            return bytes(value.unpack())
        if kind[0] in "(a":
            children = (cls.plain(value.get_child_value(i)) for i in range(value.n_children()))
            return tuple(children) if kind[0] == "(" else list(children)
        return value.unpack()
