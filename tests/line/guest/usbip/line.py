# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""The telephone line: ATM cells on their way between the modem and the exchange."""

import collections

CELL = 53
LONGEST = 4096  # cells that wait for one side; a line loses what nobody takes


class End:
    """One side of the line, with the cells that wait for it."""

    def __init__(self, line):
        self.line = line
        self.other = None
        self.attached = None  # called when cells have come
        self.cells = collections.deque()
        self.sent = 0
        self.lost = 0

    def attach(self, wake):
        self.attached = wake
        self.cells.clear()

    def detach(self):
        self.attached = None
        self.cells.clear()

    def send(self, data):
        cells = [data[i:i + CELL] for i in range(0, len(data) - CELL + 1, CELL)]
        self.sent += len(cells)
        room = LONGEST - len(self.other.cells)
        if not (self.line.carries() and self.other.attached):
            room = 0
        self.lost += max(0, len(cells) - room)
        if room > 0:
            self.other.cells.extend(cells[:room])
            self.other.attached()

    def take(self, length):
        """As many whole cells as have room in `length` octets."""
        count = min(len(self.cells), length // CELL)
        return b"".join(self.cells.popleft() for _ in range(count))


class Line:
    """Carries cells while it is up and the modem has found the other side."""

    def __init__(self):
        self.up = True
        self.trained = False
        self.modem = End(self)
        self.exchange = End(self)
        self.modem.other, self.exchange.other = self.exchange, self.modem
        self.on_change = None

    def carries(self):
        return self.up and self.trained

    def train(self, trained):
        self.trained = trained
        self.clear_if_dead()

    def switch(self, up):
        self.up = up
        self.clear_if_dead()
        if self.on_change:
            self.on_change()

    def clear_if_dead(self):
        if not self.carries():
            self.modem.cells.clear()
            self.exchange.cells.clear()
