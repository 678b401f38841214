# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""A modem with an Eagle IV chip, as the kernel's ueagle-atm drives it.

It is plugged in with one product number, is sent its USB firmware, and comes back with another.
Then the driver resets it, sends the boot pages of the DSP's code, waits for a message that the
modem is ready, writes the configuration variables, and from then on reads the status once a second.
"""

import struct

from . import descriptors
from .device import Device

VENDOR_ID, COLD_ID, WARM_ID = 0x1110, 0x9042, 0x9041
SERIAL = "0060A1B2C3D4"  # the driver takes it for the hardware address

# Endpoints: messages to the host, DSP code from it, and cells.
MESSAGES, CODE, CELLS = 4, 4, 2

# The USB firmware is written into the controller's memory, and its reset is a register there.
LOAD, RESET_REGISTER = 0xA0, 0x7F92
RENUMERATION = 0.3  # seconds

# Requests of the driver to a modem that has its firmware.
ENCAPSULATED = 0
SET_MODE, SET_TIMEOUT, SET_BLOCK = 0x0003, 0x0011, 0x002C
START_RESET, END_RESET = 0x0007, 0x0008

# A block of DSP code: mark, boot page or not, page, octets, address.
BLOCK = struct.Struct(">HBBIIH")
BLOCK_MARK, LAST_PAGE, LARGEST_BLOCK = 0xABCD, 0xFF, 1 << 19
SWAP_TIMEOUT = 10

# Messages to the host.
MESSAGE = struct.Struct("<BBHHHH")
TO_HOST, SWAP_PAGE, VARIABLE = 0x08, 1, 2

# Configuration and management variables: group, function, offset, address, data.
CMV = struct.Struct(">HHHH6I")
READ, WRITE, REPLY, READY = 0, 4, 1, 0xF11
CONTROL, STATUS, INFO, RATE, DIAGNOSIS = 1, 2, 3, 6, 7
ACTIVATE = 2

# The values of the status variable.
IDLE, FAILED, HANDSHAKE, SHOWTIME = 0, 2, 5, 7
SIGNAL_LOST = 1

VALUES = {
    (INFO, 55, 0): 0x04020100,  # version of the DSP's code
    (INFO, 68, 1): 310,  # attenuation and margin, downstream and upstream
    (INFO, 69, 1): 175,
    (INFO, 68, 3): 18,
    (INFO, 69, 3): 110,
    (RATE, 0, 0): 512000,
    (RATE, 1, 0): 2048000,
}


class ColdModem(Device):
    """The modem as it is plugged in. `on_firmware` is called when it has its firmware."""

    descriptor = descriptors.device(VENDOR_ID, COLD_ID, 0x0000)
    configuration = descriptors.configuration([])
    strings = ("Analog Devices Inc.", "ADSL modem", SERIAL)
    state = "cold"

    def __init__(self, loop, sock, on_firmware, on_gone=None):
        self.on_firmware = on_firmware
        self.loaded = 0
        super().__init__(loop, sock, on_gone)

    def vendor(self, request, value, index, data):
        if request != LOAD:
            return None
        if value != RESET_REGISTER:
            self.loaded += len(data)
        elif data == b"\0" and self.loaded:
            self.loop.after(RENUMERATION, self.renumerate)
        return b""

    def renumerate(self):
        if self.connection.sock:
            self.unplug()
            self.on_firmware()


class Modem(Device):
    """The modem with its USB firmware."""

    descriptor = descriptors.device(VENDOR_ID, WARM_ID, 0x0000)
    configuration = descriptors.configuration(
        [descriptors.endpoint(descriptors.TO_HOST | MESSAGES, descriptors.INTERRUPT, 1),
         descriptors.endpoint(CODE, descriptors.BULK)],
        [descriptors.endpoint(CELLS, descriptors.BULK)],
        [descriptors.endpoint(descriptors.TO_HOST | CELLS, descriptors.BULK)])
    strings = ColdModem.strings
    readable = (MESSAGES, CELLS)

    def __init__(self, loop, sock, line, training=1.0, on_gone=None):
        self.line = line
        self.training = training
        self.timer = None
        self.messages = []
        self.reset()
        self.enter("waiting")
        super().__init__(loop, sock, on_gone)
        line.modem.attach(lambda: self.supply(CELLS))
        line.on_change = self.line_changed

    def gone(self):
        self.stop_timer()
        self.line.on_change = None
        self.line.train(False)
        self.line.modem.detach()
        super().gone()

    # States: waiting (nobody drives it), reset, loading, ready, swapping, searching, training,
    # operational, lost, failed.

    def enter(self, state):
        self.state = state
        self.line.train(state == "operational")

    def stop_timer(self):
        if self.timer:
            self.timer.cancel()
            self.timer = None

    def reset(self):
        self.stop_timer()
        self.messages.clear()
        self.variables = {}
        self.header = None  # of the block that comes next
        self.boot_pages = set()
        self.enter("reset")

    def activate(self):
        """Fetches a page of code that is not there yet, as a DSP does for each phase."""
        if self.state != "ready":
            return
        self.enter("swapping")
        self.page = min(set(range(min(self.boot_pages), max(self.boot_pages))) - self.boot_pages,
                        default=min(self.boot_pages))
        self.timer = self.loop.after(SWAP_TIMEOUT, lambda: self.enter("failed"))
        self.message(SWAP_PAGE, struct.pack("<BH", self.page, 0))

    def search(self):
        self.stop_timer()
        if self.line.up:
            self.enter("training")
            self.timer = self.loop.after(self.training, lambda: self.enter("operational"))
        else:
            self.enter("searching")

    def line_changed(self):
        if self.state in ("searching", "training"):
            self.search()
        elif self.state == "operational" and not self.line.up:
            self.enter("lost")  # until the driver has seen it and resets the modem

    # Requests of the driver.

    def vendor(self, request, value, index, data):
        if request != ENCAPSULATED:
            return None
        if value == SET_MODE:
            if index == START_RESET:
                self.reset()
            elif index == END_RESET and self.state == "reset":
                self.enter("loading")
            return b""
        if value == SET_TIMEOUT:
            return b""
        if value == SET_BLOCK and len(data) == CMV.size:
            return self.variable(*CMV.unpack(data))
        return None

    def variable(self, group, function, offset, address, value, *_):
        if self.state in ("waiting", "reset", "loading"):
            return b""  # no code runs yet that could answer
        kind = function >> 4 & 0xF
        if function >> 8 or kind not in (READ, WRITE):
            return None
        if kind == WRITE:
            self.variables[group, address, offset] = value
        else:
            value = self.value(group, address, offset)
        self.message(VARIABLE, CMV.pack(group, function | REPLY << 4, offset, address,
                                        value, 0, 0, 0, 0, 0) + bytes(2))
        if kind == WRITE and (group, address, offset, value) == (CONTROL, 0, 0, ACTIVATE):
            self.activate()
        return b""

    def value(self, group, address, offset):
        if (group, address, offset) == (STATUS, 0, 0):
            if self.state in ("operational", "lost"):
                return SHOWTIME
            return {"ready": IDLE, "failed": FAILED}.get(self.state, HANDSHAKE)
        if (group, address, offset) == (DIAGNOSIS, 0, 0):
            return SIGNAL_LOST if self.state == "lost" else 0
        if (group, address, offset) in VALUES:
            return VALUES[group, address, offset]
        return self.variables.get((group, address, offset), 0)

    def message(self, kind, data):
        self.messages.append(MESSAGE.pack(TO_HOST, 0, 0, 0, len(data), kind) + data)
        self.supply(MESSAGES)

    # DSP code and cells.

    def receive(self, endpoint, data):
        if endpoint == CODE:
            return self.code(data)
        if endpoint != CELLS:
            return False
        self.line.modem.send(data)
        return True

    def code(self, data):
        if self.state in ("waiting", "reset"):
            return False
        if self.header:
            boot, page, size = self.header
            self.header = None
            if len(data) != size:
                return False
            if boot:
                self.boot_pages.add(page)
            elif self.state == "swapping" and page == self.page:
                self.search()
            return True
        if len(data) != BLOCK.size:
            return False
        mark, boot, page, size, _, _ = BLOCK.unpack(data)
        if mark != BLOCK_MARK or size > LARGEST_BLOCK and page != LAST_PAGE:
            return False
        if page != LAST_PAGE:
            self.header = (boot, page, size)
        elif self.state == "loading" and self.boot_pages:
            self.enter("ready")
            self.message(VARIABLE, CMV.pack(0, READY, 0, 0, 0, 0, 0, 0, 0, 0) + bytes(2))
        return True

    def supply(self, endpoint):
        reads = self.waiting[endpoint]
        while reads:
            if endpoint == MESSAGES and self.messages:
                data = self.messages.pop(0)
            elif endpoint == CELLS and self.line.modem.cells:
                data = self.line.modem.take(reads[0].length)
            else:
                return
            self.connection.complete(reads.popleft(), data)
