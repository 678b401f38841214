# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""What is plugged in, and the socket by which somebody plugs and unplugs."""

import os
import selectors
import socket
import sys

from .eagle import ColdModem, Modem
from .exchange import Exchange
from .line import Line
from .loop import Loop
from .vhci import Controller, PlugError

UNPLUG_TIMEOUT = 10  # seconds until the kernel has let the port go
POLL = 0.05
LONGEST_COMMAND = 256


class Bench:
    """The modem, the line and the exchange, and the commands for them.

    A command gives its answer to a function, at once or later.
    """

    def __init__(self, loop, controller, training):
        self.loop = loop
        self.controller = controller
        self.training = training
        self.line = Line()
        self.devices = {"modem": None, "exchange": None}
        self.ports = {}
        self.commands = {
            ("plug", "modem"): lambda: self.plug("modem", self.warm),
            ("plug", "modem", "cold"): lambda: self.plug("modem", self.cold),
            ("plug", "exchange"): lambda: self.plug("exchange", self.exchange),
            ("line", "up"): lambda: self.line.switch(True),
            ("line", "down"): lambda: self.line.switch(False),
        }

    def execute(self, text, answer):
        words = tuple(text.split())
        if words == ("status",):
            answer(self.status())
        elif words in (("unplug", "modem"), ("unplug", "exchange")):
            self.unplug(words[1], answer)
        elif words in self.commands:
            try:
                self.commands[words]()
                answer("ok")
            except PlugError as error:
                answer(f"error: {error}")
        else:
            answer(f"error: unknown command: {' '.join(words)}")

    def warm(self, sock):
        return Modem(self.loop, sock, self.line, self.training, self.gone)

    def cold(self, sock):
        return ColdModem(self.loop, sock, self.firmware_loaded, self.gone)

    def exchange(self, sock):
        return Exchange(self.loop, sock, self.line.exchange, self.gone)

    def firmware_loaded(self):
        try:
            self.plug("modem", self.warm)
        except PlugError as error:
            print(f"modem: {error}", file=sys.stderr, flush=True)

    def plug(self, name, make):
        if self.devices[name]:
            raise PlugError(f"the {name} is plugged in already")
        sock, self.ports[name] = self.controller.attach()
        self.devices[name] = make(sock)

    def gone(self, device):
        for name, there in self.devices.items():
            if there is device:
                self.devices[name] = None

    def unplug(self, name, answer):
        if not self.devices[name]:
            answer(f"error: the {name} is not plugged in")
            return
        self.devices[name].unplug()
        self.await_free(self.ports[name], UNPLUG_TIMEOUT, answer)

    def await_free(self, port, seconds, answer):
        if self.controller.is_free(port):
            answer("ok")
        elif seconds <= 0:
            answer("error: the kernel does not let the device go")
        else:
            self.loop.after(POLL, lambda: self.await_free(port, seconds - POLL, answer))

    def status(self):
        modem, exchange = self.devices["modem"], self.devices["exchange"]
        ends = self.line.modem, self.line.exchange
        return (f"modem={modem.state if modem else 'unplugged'}"
                f" exchange={'plugged' if exchange else 'unplugged'}"
                f" line={'up' if self.line.up else 'down'}"
                f" upstream={ends[0].sent} downstream={ends[1].sent}"
                f" lost={ends[0].lost + ends[1].lost}")


class Client:
    """One who gives commands, a line each."""

    def __init__(self, loop, sock, bench):
        self.loop = loop
        self.sock = sock
        self.bench = bench
        self.text = b""
        loop.watch(sock, selectors.EVENT_READ, self.ready)

    def close(self):
        if self.sock:
            self.loop.forget(self.sock)
            self.sock.close()
            self.sock = None

    def ready(self, _):
        try:
            data = self.sock.recv(LONGEST_COMMAND)
        except OSError:
            data = b""
        self.text += data
        if not data or b"\n" not in self.text and len(self.text) > LONGEST_COMMAND:
            self.close()
            return
        *lines, self.text = self.text.split(b"\n")
        for line in lines:
            self.bench.execute(line.decode("utf-8", "replace"), self.answer)

    def answer(self, text):
        if self.sock:
            try:
                self.sock.sendall(text.encode() + b"\n")
            except OSError:
                self.close()


class Daemon:
    def __init__(self, path, training=1.0, controller=None):
        self.loop = Loop()
        self.bench = Bench(self.loop, controller or Controller(), training)
        self.socket = socket.socket(socket.AF_UNIX, socket.SOCK_STREAM)
        if os.path.exists(path) and not self.answers(path):
            os.unlink(path)  # left over
        self.socket.bind(path)
        self.path = path
        self.socket.listen()
        self.loop.watch(self.socket, selectors.EVENT_READ, self.accept)

    @staticmethod
    def answers(path):
        with socket.socket(socket.AF_UNIX, socket.SOCK_STREAM) as probe:
            try:
                probe.connect(path)
            except OSError:
                return False
        return True

    def accept(self, _):
        sock, _ = self.socket.accept()
        Client(self.loop, sock, self.bench)

    def run(self):
        self.loop.run()

    def close(self):
        for device in filter(None, list(self.bench.devices.values())):
            device.unplug()
        self.socket.close()
        os.unlink(self.path)
