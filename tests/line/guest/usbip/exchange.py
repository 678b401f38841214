# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""The exchange's side of the line: a device for xusbatm, which has carrier whenever it is there."""

from . import descriptors
from .device import Device

VENDOR_ID, PRODUCT_ID = 0x1209, 0x0001  # given to tests by the owner of the vendor's number
CELLS = 2


class Exchange(Device):
    descriptor = descriptors.device(VENDOR_ID, PRODUCT_ID, 0x0100)
    configuration = descriptors.configuration([
        descriptors.endpoint(descriptors.TO_HOST | CELLS, descriptors.BULK),
        descriptors.endpoint(CELLS, descriptors.BULK)])
    strings = ("libkestra", "ATM line", "000000000001")
    readable = (CELLS,)

    def __init__(self, loop, sock, end, on_gone=None):
        self.end = end
        super().__init__(loop, sock, on_gone)
        end.attach(lambda: self.supply(CELLS))

    def gone(self):
        self.end.detach()
        super().gone()

    def receive(self, endpoint, data):
        if endpoint != CELLS:
            return False
        self.end.send(data)
        return True

    def supply(self, endpoint):
        reads = self.waiting[endpoint]
        while reads and self.end.cells:
            request = reads.popleft()
            self.connection.complete(request, self.end.take(request.length))
