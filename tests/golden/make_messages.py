#!/usr/bin/python3
"""Writes messages as GLib makes them, each in both byte orders, one a line: its name, "l" or "B", the bytes in
hexadecimal, and what a reader finds in them in JSON. Nothing of this library is used here."""

import json
import math
import pathlib
import sys

import gi

gi.require_version("Gio", "2.0")
from gi.repository import Gio, GLib  # noqa: E402

RECORD = "utbuviiyisusuyy"
HOST = "com.quarnix.Application.Hevra"
ROOT = "/com/quarnix/Application/HevraZuv/Manager/"
COMMANDS = (ROOT + "Command", HOST + ".Manager.Command")
BOARD = (ROOT + "DaughterBoard", HOST + ".Manager.DaughterBoard")
NODES = ("/com/quarnix/Application/Hevra/Manager/Node", HOST + ".Manager.Node")
ORIGINATOR = ("/com/quarnix/Application/golden/Hevra/Originator", "com.quarnix.Application.HevraZuv.Originator.Command")
TEXT = "Grüße, 家 \U0001d11e \uffff"

VALUES = [
    ("y-0", "y", 0), ("y-max", "y", 255),
    ("q-0", "q", 0), ("q-max", "q", 65535),
    ("n-min", "n", -32768), ("n-max", "n", 32767),
    ("u-0", "u", 0), ("u-max", "u", 4294967295),
    ("i-min", "i", -2147483648), ("i-max", "i", 2147483647),
    ("t-0", "t", 0), ("t-max", "t", 18446744073709551615),
    ("x-min", "x", -9223372036854775808), ("x-max", "x", 9223372036854775807),
    ("s-empty", "s", ""), ("s-utf8", "s", TEXT), ("s-long", "s", "0123456789" * 1000),
    ("d-tenth", "d", 0.1), ("d-minus-0", "d", -0.0), ("d-max", "d", sys.float_info.max), ("d-tiny", "d", -5e-324),
    ("d-infinite", "d", float("-inf")), ("d-nan", "d", float("nan")),
    ("b-false", "b", False), ("b-true", "b", True),
    ("ay-empty", "ay", b""), ("ay-three", "ay", b"\x00\xff\x80"), ("ay-long", "ay", bytes(range(256)) * 4),
    ("unknown-struct", "(ii)", (1, -1)), ("unknown-path", "o", "/a"), ("unknown-signature", "g", "a{sv}"),
    ("unknown-array", "au", [1, 2]), ("unknown-aligned", "a(t)", []), ("unknown-dictionary", "a{sv}", {}),
    ("unknown-variant", "v", GLib.Variant("y", 1)),
]

ZEROS = (0, 0, False, 0, GLib.Variant("ay", b""), 0, 0, 0, 0, "0/0", 0, "", 0, 0, 0)
HIGH = (4294967295, 18446744073709551615, True, 4294967295, GLib.Variant("t", 18446744073709551615), 2147483647,
        2147483647, 255, 2147483647, "255/2147483647: blocked, hot", 4294967295, TEXT, 4294967295, 255, 255)
LOW = (7, 4294967297, True, 1193046, GLib.Variant("x", -9223372036854775808), -2147483648, -1, 1, -2147483648,
       "1/-2147483648", 60, "lamp 1", 9, 6, 227)

HEAD = "uyqyayayaytyuu"
RECORDS = {"actuator": f"({HEAD}yq)", "controller": f"({HEAD})", "sensor": f"({HEAD}yqqyyyyyqb)",
           "stack": f"({HEAD}ayayayays)"}
LINK = "(uusi)"

COMMAND_KEYS = ("id", "parameterId", "write", "address", "value", "origin", "context", "type", "id", "text", "delay",
                "label", "tag", "status", "acei")
LINK_KEYS = ("node", "stack", "id", "type")
HEAD_KEYS = ("address", "nodeClass", "nodeType", "manufacturerId", "firstIdentity", "secondIdentity", "thirdIdentity",
             "stamp", "state", "extra", "backboneAddress")
NODE_KEYS = {
    "actuator": HEAD_KEYS + ("multiInformationByte", "timeStamp"), "controller": HEAD_KEYS,
    "sensor": HEAD_KEYS + ("measuredValueParameterType", "minimalSensedValue", "maximalSensedValue", "scaleFactor",
                           "resolutionValue", "resolutionScaleFactor", "operatingMode", "maxNumberOfEventHandled",
                           "minRefreshTimePeriod", "listening"),
    "stack": HEAD_KEYS + ("key", "oldKey", "shortBlock", "longBlock", "label")}


def block(first, count):
    return bytes(range(first, first + count))


def full(node_class):
    return (0x01020304, node_class, 0xCFC5, 5, block(0x10, 14), block(0x20, 16), block(0x30, 16), 0x0607080910111213,
            0x8E, 0x15161718, 0x191A1B1C)


def high(node_class):
    return (4294967295, node_class, 65535, 255, b"\xff" * 14, b"\xff" * 16, b"\xff" * 16, 18446744073709551615, 255,
            4294967295, 4294967295)


FULL = {"actuator": full(5) + (0x81, 0x8283), "controller": full(6),
        "sensor": full(1) + (0x91, 0x9293, 0x9495, 0x96, 0x97, 0x98, 0x99, 0x9A, 0x9B9C, True),
        "stack": full(2) + (block(0x30, 16), block(0x40, 16), block(0x50, 3), block(0x60, 4), TEXT)}
HIGHEST = {"actuator": high(0) + (255, 65535), "controller": high(6),
           "sensor": high(1) + (255, 65535, 65535, 255, 255, 255, 255, 255, 65535, False),
           "stack": high(2) + (b"\xff" * 16, b"\xff" * 16, b"\xff" * 3, b"\xff" * 4, "")}
FULL_LINK = (0x71727374, 0x75767778, TEXT, 0x797A7B7C)
LEAST_LINK = (0, 4294967295, "", -1)
ODD_BLOCKS = (full(2)[:4] + (block(0x10, 20), block(0x20, 3), b"") + full(2)[7:] +
              (block(0x30, 20), block(0x40, 10), block(0x50, 5), block(0x60, 1), ""))
ODD_READ = (full(2)[:4] + (block(0x10, 14), block(0x20, 3) + bytes(13), block(0x30, 16)) + full(2)[7:] +
            (block(0x30, 16), block(0x40, 10) + block(0x3A, 6), block(0x50, 3), block(0x60, 1) + bytes(3), ""))


def call(where, member, signature="", body=(), destination=HOST):
    message = Gio.DBusMessage.new_method_call(destination, *where, member)
    if signature:
        message.set_body(GLib.Variant(f"({signature})", body))
    return message


def signal(where, member, signature, body):
    message = Gio.DBusMessage.new_signal(*where, member)
    message.set_body(GLib.Variant(f"({signature})", body))
    return message


def answer(asked, body=None):
    message = asked.new_method_reply()
    if body:
        message.set_body(body)
    return message


def add(*commands):
    return call(COMMANDS, "add", f"(o)(s)a({RECORD})", ((ORIGINATOR[0],), ("g1",), commands))


def node_list(asked, *lists):
    kinds = "".join("a" + RECORDS[kind] for kind, _ in lists)
    return answer(asked, GLib.Variant(f"({kinds})", tuple(list(nodes) for _, nodes in lists)))


def node_messages():
    yield "blocks", signal(("/golden", "golden.Values"), "Blocks", "ayayayay",
                           (block(0x10, 14), block(0x20, 16), b"", bytes(range(256)) * 2))
    asked = call(NODES, "getnodes")
    asked.set_sender(":1.7")
    yield "getnodes", asked
    yield "getnodes-class", call(NODES, "getnodes", "y", (255,))
    yield "getnodes-type", call(NODES, "getnodes", "yq", (1, 65535))
    yield "nodes-nothing", answer(asked)
    yield "nodes-none", node_list(asked, ("stack", []))
    pair = {kind: (FULL[kind], HIGHEST[kind]) for kind in RECORDS}
    yield "nodes-mixed", node_list(
        asked, ("controller", pair["controller"]), ("actuator", pair["actuator"][:1]), ("stack", pair["stack"]),
        ("sensor", []), ("sensor", pair["sensor"][::-1]), ("controller", pair["controller"][:1]),
        ("actuator", pair["actuator"] * 2))
    yield "nodes-odd-blocks", node_list(asked, ("stack", [ODD_BLOCKS]))
    for kind, record in RECORDS.items():
        yield "modify-" + kind, call(NODES, "modify", record + "i", (FULL[kind], -2))
        yield "modified-" + kind, signal(NODES, "modified", record + "y", (HIGHEST[kind], 255))
        yield "linkModified-" + kind, signal(NODES, "linkModified", record + LINK + "y", (FULL[kind], LEAST_LINK, 2))
    yield "modifyLink", call(NODES, "modifyLink", LINK + "i", (FULL_LINK, 2147483647))
    yield "changekey", call(NODES, "changekey", "uay", (0x01020304, block(0x70, 16)))
    yield "removeChildrenNodes", call(NODES, "removeChildrenNodes", "u", (4294967295,))
    yield "getNodeLink", call(NODES, "getNodeLink", "uu", (0x01020304, 4294967295))


def messages():
    for name, kind, value in VALUES:
        yield "value-" + name, signal(("/golden", "golden.Values"), "Value", "v", (GLib.Variant(kind, value),))
    for name, command in ("zeros", ZEROS), ("high", HIGH), ("low", LOW):
        yield "record-" + name, signal(("/golden", "golden.Values"), "Record", RECORD, command)
    yield "add-none", add()
    yield "add-one", add(LOW)
    yield "add-three", add(ZEROS, HIGH, LOW)
    yield "progress", call(ORIGINATOR, "progress", f"({RECORD})(s)i", (HIGH, ("g1",), -1), ":1.42")
    yield "cancel-all", call(COMMANDS, "cancel")
    yield "cancel-key", call(COMMANDS, "cancel", "s", ("g1_7",))
    yield "cancel-priority", call(COMMANDS, "cancel", "u", (4294967295,))
    yield "exception", signal(COMMANDS, "exception", "s", (TEXT,))
    board = call(BOARD, "hardreset")
    board.set_sender(":1.7")
    yield "hardreset", board
    yield "hardreset-true", answer(board, GLib.Variant("(b)", (True,)))
    yield "hardreset-false", answer(board, GLib.Variant("(b)", (False,)))
    yield "hardreset-empty", answer(board)
    yield "hardreset-error", board.new_method_error_literal("golden.Error.Busy", TEXT)
    yield from node_messages()


def found(value):
    """What a reader finds in a value."""
    kind = value.get_type_string()
    if kind == "v":
        inner = value.get_variant()
        known = inner.get_type_string() in ("ay", *"yqnuitxsdb")
        return {"type": inner.get_type_string(), "value": found(inner)} if known else None
    if kind == "ay":
        return bytes(value.unpack()).hex()
    if kind[0] not in "(a":
        return value.unpack() if kind != "d" or math.isfinite(value.unpack()) else None
    children = [found(value.get_child_value(i)) for i in range(value.n_children())]
    if kind == LINK:
        return dict(zip(LINK_KEYS, children))
    if kind == f"({RECORD})":
        error = dict(zip(COMMAND_KEYS[7:10], children[7:10]))
        error["text"] = f"{error['type']}/{error['id']}: {error['text']}"
        return dict(zip(COMMAND_KEYS[:7] + COMMAND_KEYS[10:], children[:7] + children[10:])) | {"error": error}
    for name, record in RECORDS.items():
        if kind == record:
            return {"kind": name} | dict(zip(NODE_KEYS[name], children))
    return children


def told(name, message):
    """What a reader finds in a message."""
    arguments = found(message.get_body()) if message.get_body() else []
    if name == "nodes-odd-blocks":
        arguments = found(GLib.Variant(f"(a{RECORDS['stack']})", ([ODD_READ],)))
    return {"path": message.get_path() or "", "interface": message.get_interface() or "",
            "member": message.get_member() or "", "destination": message.get_destination() or "",
            "signature": message.get_signature(), "error": message.get_error_name() or "",
            "arguments": arguments if isinstance(arguments, list) else [arguments]}


def main():
    with open(pathlib.Path(sys.argv[1]) / "messages.txt", "w", encoding="ascii") as out:
        for serial, (name, message) in enumerate(messages(), start=0x01020304):
            message.set_serial(serial)
            for letter, order in ("l", "LITTLE_ENDIAN"), ("B", "BIG_ENDIAN"):
                message.set_byte_order(getattr(Gio.DBusMessageByteOrder, order))
                blob = message.to_blob(Gio.DBusCapabilityFlags.NONE).hex()
                print(name, letter, blob, json.dumps(told(name, message)), file=out)


main()
