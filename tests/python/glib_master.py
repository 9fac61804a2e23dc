#!/usr/bin/python3
"""A master written with GLib's D-Bus from docs/protocol.md and docs/Tesker.ToolFinder.xml.

Each case starts the real tool, has it serve one request and checks the answer and the exit status.
"""

import os
import sys
import tempfile

from gi.repository import Gio, GLib

from tool_process import TIME_LIMIT, ToolProcess

CLIENT = "/the/client"
LARGEST_PIECE = 16 << 20


BYTES = GLib.VariantType("ay")


def byte_array(text):
    """A string as it travels. The plain constructor would take the bytes one by one."""
    return GLib.Variant.new_from_bytes(BYTES, GLib.Bytes.new(text), True)


def optional_byte_array(text):
    """A string that may be nil, as it travels."""
    return GLib.Variant.new_array(BYTES, [] if text is None else [byte_array(text)])


def text_of(value):
    """The string that a byte array is."""
    return value.get_data_as_bytes().get_data() or b""


class CarriedText:
    """Puts what was carried in front of the next text that may be nil."""

    def __init__(self):
        self.pieces = []

    def carry(self, piece):
        assert len(piece) <= LARGEST_PIECE
        self.pieces.append(piece)

    def whole(self, own):
        if not self.pieces:
            return own
        pieces, self.pieces = self.pieces, []
        return b"".join(pieces) + (own or b"")


class Master:
    """Serves the client object; `noted` is what the tool has told it, as (text, key)."""

    def __init__(self, tool_path, interfaces):
        self.noted = []
        self.asked_for_self = 0
        self.carried = CarriedText()
        self.tool = ToolProcess(tool_path)
        self.loop = GLib.MainLoop()
        stream = Gio.SimpleIOStream.new(
            Gio.UnixInputStream.new(self.tool.from_tool.detach(), True),
            Gio.UnixOutputStream.new(self.tool.to_tool.detach(), True),
        )
        self.connection = Gio.DBusConnection.new_sync(
            stream,
            Gio.dbus_generate_guid(),
            Gio.DBusConnectionFlags.AUTHENTICATION_SERVER
            | Gio.DBusConnectionFlags.AUTHENTICATION_ALLOW_ANONYMOUS
            | Gio.DBusConnectionFlags.DELAY_MESSAGE_PROCESSING,
            self.allow_everybody(),
            None,
        )
        self.connection.connect("closed", lambda *_: self.loop.quit())
        for path, name in ((CLIENT, "Tesker.Client"), ("/", "Tesker.Connection")):
            self.connection.register_object(path, interfaces.lookup_interface(name), self.take)
        self.connection.start_message_processing()

    @staticmethod
    def allow_everybody():
        """The right to talk is the possession of the channels."""
        observer = Gio.DBusAuthObserver()
        observer.connect("authorize-authenticated-peer", lambda *_: True)
        return observer

    def take(self, _connection, _sender, _path, _interface, member, arguments, invocation):
        if member == "carry":
            self.carried.carry(text_of(arguments.get_child_value(0)))
        elif member == "noteLines_for_":
            texts = arguments.get_child_value(0)
            own = text_of(texts.get_child_value(0)) if texts.n_children() else None
            key = text_of(arguments.get_child_value(1))
            self.noted.append((self.carried.whole(own), key))
        elif member == "self":
            self.asked_for_self += 1
            invocation.return_value(GLib.Variant("(o)", (CLIENT,)))
            return
        invocation.return_value(None)

    def tell(self, interface, member, arguments):
        message = Gio.DBusMessage.new_method_call(None, "/", interface, member)
        message.set_flags(Gio.DBusMessageFlags.NO_REPLY_EXPECTED)
        message.set_body(arguments)
        self.connection.send_message(message, Gio.DBusSendMessageFlags.NONE)

    def request(self, member, paths, previous):
        while previous is not None and len(previous) > LARGEST_PIECE:
            piece, previous = previous[:LARGEST_PIECE], previous[LARGEST_PIECE:]
            self.tell(
                "Tesker.Connection",
                "carry",
                GLib.Variant.new_tuple(byte_array(piece)),
            )
        self.tell(
            "Tesker.ToolFinder",
            member,
            GLib.Variant.new_tuple(
                byte_array(paths),
                optional_byte_array(previous),
                GLib.Variant("o", CLIENT),
            ),
        )

    def answer(self):
        """Serves the tool to its end; the one answer, as (text, key)."""
        GLib.timeout_add_seconds(TIME_LIMIT, self.loop.quit)
        if not self.connection.is_closed():
            self.loop.run()
        assert self.tool.exit_status() == 0
        assert self.asked_for_self == 1
        assert len(self.noted) == 1
        return self.noted[0]


def records(text):
    """The records of an encoded text, as dictionaries."""
    *pool, numbers = text.split(b"\0")
    assert numbers[:1] == b"(" and numbers[-1:] == b")"
    counts = iter(int(number, 16) for number in numbers[1:-1].split(b","))
    return [
        {pool[next(counts)]: pool[next(counts)] for _ in range(next(counts))}
        for _ in range(next(counts))
    ]


def make_file(path, content, mode=0o644):
    os.makedirs(os.path.dirname(path), exist_ok=True)
    with open(path, "wb") as file:
        file.write(content)
    os.chmod(path, mode)


class Cases:
    """A tree with two small applications, and one that describes itself at great length."""

    def __init__(self, tool_path, interfaces, directory):
        self.new_master = lambda: Master(tool_path, interfaces)
        self.small = os.path.join(directory, b"small")
        self.large = os.path.join(directory, b"large")
        self.executables = [self.make_wrapper(self.small, name) for name in (b"Edit", b"Mail")]
        # Together far beyond one piece; no description file may be larger than 16 MiB.
        self.large_names = sorted(letter * (10 << 20) for letter in (b"w", b"x", b"y", b"z"))
        for name in self.large_names:
            self.make_wrapper(self.large, b"Large" + name[:1], name)

    @staticmethod
    def make_wrapper(directory, name, executable_name=b"name"):
        wrapper = os.path.join(directory, name + b".app")
        make_file(os.path.join(wrapper, name), b"#!/bin/sh\n", 0o755)
        description = b'{ NSExecutable = "' + executable_name + b'"; }'
        make_file(os.path.join(wrapper, b"Resources", b"Info-quorvale.plist"), description)
        return os.path.join(wrapper, name)

    def search(self, directory, previous=None):
        master = self.new_master()
        master.request("findAppsInSearchPath_previous_for_", directory, previous)
        return master.answer()

    def test_a_path_request_is_answered_with_the_applications(self):
        text, key = self.search(self.small)
        assert key == self.small
        assert {record[b"path"] for record in records(text)} == set(self.executables)

    def test_the_same_text_again_is_answered_with_nil(self):
        text, _ = self.search(self.small)
        assert self.search(self.small, text) == (None, self.small)

    def test_a_dock_request_is_answered_under_the_key_dock(self):
        wrappers = [os.path.dirname(executable) for executable in self.executables]
        master = self.new_master()
        master.request("findAppsForDockPaths_previous_for_", b"\0".join(wrappers), b"old")
        text, key = master.answer()
        assert key == b"Dock"
        assert [record[b"path"] for record in records(text)] == self.executables

    def test_nothing_found_is_a_text_without_records(self):
        assert self.search(b"/nowhere/at/all") == (b"(0)", b"/nowhere/at/all")

    def test_a_large_text_is_carried_to_the_master_and_back(self):
        text, _ = self.search(self.large)
        assert sorted(record[b"name"] for record in records(text)) == self.large_names
        assert self.search(self.large, text) == (None, self.large)
        assert self.search(self.small, text)[0] is not None

    def test_a_wrong_signature_is_refused_and_the_tool_waits_on(self):
        master = self.new_master()
        try:
            master.connection.call_sync(
                None,
                "/",
                "Tesker.ToolFinder",
                "findAppsInSearchPath_previous_for_",
                GLib.Variant("(s)", ("/path",)),
                None,
                Gio.DBusCallFlags.NONE,
                TIME_LIMIT * 1000,
                None,
            )
            raise AssertionError("taken")
        except GLib.Error as error:
            name = Gio.dbus_error_get_remote_error(error)
            assert name == "org.freedesktop.DBus.Error.InvalidArgs", name
        master.request("findAppsInSearchPath_previous_for_", self.small, None)
        assert master.answer()[1] == self.small


def main(tool_path, interfaces_path):
    with open(interfaces_path, encoding="utf-8") as file:
        interfaces = Gio.DBusNodeInfo.new_for_xml(file.read())
    with tempfile.TemporaryDirectory() as directory:
        cases = Cases(tool_path, interfaces, os.fsencode(directory))
        for name in vars(Cases):
            if name.startswith("test_"):
                getattr(cases, name)()
                print("passed:", name)


if __name__ == "__main__":
    main(*sys.argv[1:])
