# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""One event loop for all sockets and timers, so that nothing waits in a thread or polls."""

import heapq
import itertools
import selectors
import time


class Timer:
    def __init__(self, action):
        self.action = action

    def cancel(self):
        self.action = None


class Loop:
    def __init__(self):
        self.selector = selectors.DefaultSelector()
        self.timers = []
        self.order = itertools.count()  # timers of the same instant run as they were set
        self.running = False

    def watch(self, sock, events, action):
        try:
            self.selector.modify(sock, events, action)
        except KeyError:
            self.selector.register(sock, events, action)

    def forget(self, sock):
        self.selector.unregister(sock)

    def after(self, seconds, action):
        timer = Timer(action)
        heapq.heappush(self.timers, (time.monotonic() + seconds, next(self.order), timer))
        return timer

    def step(self, longest=None):
        while self.timers and not self.timers[0][2].action:
            heapq.heappop(self.timers)
        wait = longest
        if self.timers:
            due = max(0, self.timers[0][0] - time.monotonic())
            wait = due if wait is None else min(wait, due)
        for key, events in self.selector.select(wait):
            # A socket that an earlier one of this round has closed is not to be touched.
            if self.selector.get_map().get(key.fd) == key:
                key.data(events)
        while self.timers and self.timers[0][0] <= time.monotonic():
            timer = heapq.heappop(self.timers)[2]
            if timer.action:
                timer.action()

    def run(self):
        self.running = True
        while self.running:
            self.step()

    def stop(self):
        self.running = False
