# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""The kernel's USB/IP protocol, as the side that has the device speaks it.

The kernel documents it in Documentation/usb/usbip_protocol.rst. There is no import step: the socket
is given to vhci_hcd with the device's speed, and the first message is a request already.
"""

import errno
import selectors
import struct
import sys

CMD_SUBMIT, CMD_UNLINK, RET_SUBMIT, RET_UNLINK = 1, 2, 3, 4
HEADER_SIZE = 48
BASE = struct.Struct(">IIIII")  # command, number, device, direction, endpoint
SUBMIT = struct.Struct(">IiiiI8s")  # flags, length, start frame, packets, interval, set-up
ANSWER = struct.Struct(">iiiii8x")  # status, length, start frame, packets, errors
UNLINK = struct.Struct(">I24x")
UNLINKED = struct.Struct(">i24x")
ISO_SIZE = 16
MAXIMUM = 1 << 20  # of one transfer; the kernel's ATM drivers use no more than 64 KiB


class ProtocolError(Exception):
    pass


class Request:
    """A transfer that the kernel wants, until it is answered or taken back."""

    def __init__(self, number, to_host, endpoint, length, setup, data):
        self.number = number
        self.to_host = to_host
        self.endpoint = endpoint
        self.length = length
        self.setup = setup
        self.data = data


class Connection:
    """The device's end of the socket whose other end the kernel has.

    `device` gets `submit(request)`, `unlink(request)` and, once, `gone()`.
    """

    def __init__(self, loop, sock, device):
        self.loop = loop
        self.sock = sock
        self.device = device
        self.pending = {}
        self.incoming = bytearray()
        self.outgoing = bytearray()
        sock.setblocking(False)
        loop.watch(sock, selectors.EVENT_READ, self.ready)

    def close(self):
        if not self.sock:
            return
        self.loop.forget(self.sock)
        self.sock.close()
        self.sock = None
        self.pending.clear()
        self.device.gone()

    def ready(self, events):
        if events & selectors.EVENT_WRITE:
            self.flush()
        if self.sock and events & selectors.EVENT_READ:
            self.read()

    def read(self):
        try:
            data = self.sock.recv(1 << 18)
        except BlockingIOError:
            return
        except OSError:
            data = b""
        if not data:
            self.close()
            return
        self.incoming += data
        try:
            while self.sock and self.take():
                pass
        except ProtocolError as error:
            print(f"modem: {error}, unplugging", file=sys.stderr, flush=True)
            self.close()

    def take(self):
        """Handles one message if there is all of it."""
        if len(self.incoming) < HEADER_SIZE:
            return False
        command, number, _, direction, endpoint = BASE.unpack_from(self.incoming)
        if command == CMD_UNLINK:
            (which,) = UNLINK.unpack_from(self.incoming, BASE.size)
            del self.incoming[:HEADER_SIZE]
            self.take_back(number, which)
            return True
        if command != CMD_SUBMIT:
            raise ProtocolError(f"unknown command {command}")
        _, length, _, packets, _, setup = SUBMIT.unpack_from(self.incoming, BASE.size)
        if direction > 1 or endpoint > 15 or not 0 <= length <= MAXIMUM or packets > 1024:
            raise ProtocolError("impossible request")
        size = HEADER_SIZE + (0 if direction else length) + max(0, packets) * ISO_SIZE
        if len(self.incoming) < size:
            return False
        data = b"" if direction else bytes(self.incoming[HEADER_SIZE:HEADER_SIZE + length])
        del self.incoming[:size]
        request = Request(number, bool(direction), endpoint, length, setup, data)
        if number in self.pending:
            raise ProtocolError(f"request {number} was made twice")
        self.pending[number] = request
        if packets > 0:
            self.fail(request)  # no device here has an isochronous endpoint
        else:
            self.device.submit(request)
        return True

    def take_back(self, number, which):
        request = self.pending.pop(which, None)
        if request:
            self.device.unlink(request)
        status = -errno.ECONNRESET if request else 0  # 0: it has been answered before
        self.send(BASE.pack(RET_UNLINK, number, 0, 0, 0) + UNLINKED.pack(status))

    def complete(self, request, data=b""):
        """Answers with the data for the host, or with how much of the host's was taken: all."""
        length = len(data) if request.to_host else len(request.data)
        self.answer(request, 0, length, data if request.to_host else b"")

    def fail(self, request):
        """Answers that the endpoint refuses, which USB calls a stall."""
        self.answer(request, -errno.EPIPE, 0, b"")

    def answer(self, request, status, length, data):
        if not self.pending.pop(request.number, None):
            return
        self.send(BASE.pack(RET_SUBMIT, request.number, 0, 0, 0)
                  + ANSWER.pack(status, length, 0, 0, 0) + data)

    def send(self, data):
        if not self.sock:
            return
        self.outgoing += data
        self.flush()

    def flush(self):
        try:
            while self.outgoing:
                del self.outgoing[:self.sock.send(self.outgoing)]
        except BlockingIOError:
            pass
        except OSError:
            self.close()
            return
        events = selectors.EVENT_READ | (selectors.EVENT_WRITE if self.outgoing else 0)
        self.loop.watch(self.sock, events, self.ready)
