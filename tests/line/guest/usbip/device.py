# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""What all USB devices do: descriptors, configuration, and endpoints whose transfers wait."""

import collections
import struct

from . import descriptors
from .transport import Connection

GET_STATUS, CLEAR_FEATURE, SET_FEATURE, GET_DESCRIPTOR = 0, 1, 3, 6
GET_CONFIGURATION, SET_CONFIGURATION, GET_INTERFACE, SET_INTERFACE = 8, 9, 10, 11
SETUP = struct.Struct("<BBHHH")  # type, request, value, index, length
TYPE, STANDARD, VENDOR = 0x60, 0x00, 0x40


class Device:
    """A device of some kind. `on_gone` is called when it has been unplugged, by whomever."""

    descriptor = b""
    configuration = b""
    strings = ()

    def __init__(self, loop, sock, on_gone=None):
        self.loop = loop
        self.on_gone = on_gone
        self.configured = 0
        self.waiting = collections.defaultdict(collections.deque)  # reads, by endpoint
        self.connection = Connection(loop, sock, self)

    def unplug(self):
        self.connection.close()

    def gone(self):
        self.waiting.clear()
        if self.on_gone:
            self.on_gone(self)

    def submit(self, request):
        if request.endpoint == 0:
            answer = self.control(*SETUP.unpack(request.setup), request.data)
            if answer is None:
                self.connection.fail(request)
            else:
                self.connection.complete(request, answer[:request.length])
        elif request.to_host:
            if request.endpoint in self.readable:
                self.waiting[request.endpoint].append(request)
                self.supply(request.endpoint)
            else:
                self.connection.fail(request)
        elif self.receive(request.endpoint, request.data):
            self.connection.complete(request)
        else:
            self.connection.fail(request)

    def unlink(self, request):
        if request in self.waiting[request.endpoint]:
            self.waiting[request.endpoint].remove(request)

    def control(self, kind, request, value, index, length, data):
        """The answer to a control request, b"" if there is nothing to say, None to refuse."""
        if kind & TYPE == VENDOR:
            return self.vendor(request, value, index, data)
        if kind & TYPE != STANDARD:
            return None
        if request == GET_DESCRIPTOR:
            return self.described(value >> 8, value & 0xFF)
        if request == GET_STATUS:
            return bytes(2)
        if request == GET_CONFIGURATION:
            return bytes([self.configured])
        if request == SET_CONFIGURATION and value <= 1:
            self.configured = value
            return b""
        if request == GET_INTERFACE:
            return b"\0"
        if request in (CLEAR_FEATURE, SET_FEATURE) or request == SET_INTERFACE and value == 0:
            return b""
        return None

    def described(self, kind, number):
        if kind == descriptors.DEVICE:
            return self.descriptor
        if kind == descriptors.CONFIGURATION and number == 0:
            return self.configuration
        if kind == descriptors.STRING and number == 0:
            return descriptors.languages()
        if kind == descriptors.STRING and number <= len(self.strings):
            return descriptors.string(self.strings[number - 1])
        return None

    # What a kind of device does on its own:

    readable = ()  # endpoints that have data for the host

    def vendor(self, request, value, index, data):
        return None

    def receive(self, endpoint, data):
        """Takes data of the host; False to refuse."""
        return False

    def supply(self, endpoint):
        """Answers the reads that wait, as far as there is data."""
