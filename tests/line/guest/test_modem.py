# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Speaks to the emulated devices as the kernel does, without one."""

import contextlib
import errno
import io
import os
import socket
import struct
import subprocess
import sys
import tempfile
import time
import unittest

HERE = os.path.dirname(os.path.realpath(__file__))
sys.dont_write_bytecode = True
sys.path[:0] = [HERE, f"{HERE}/../../hald"]

import counted  # noqa: E402
from usbip import daemon, descriptors, eagle, exchange, line, vhci  # noqa: E402
from usbip.loop import Loop  # noqa: E402

OUT, IN = 0, 1
GET_DESCRIPTOR, SET_CONFIGURATION, SET_INTERFACE = 6, 9, 11
STALL = -errno.EPIPE


class Host:
    """The kernel's end of the socket."""

    def __init__(self, loop, sock):
        self.loop = loop
        self.sock = sock
        self.sock.setblocking(False)
        self.number = 0
        self.data = b""
        self.answers = {}  # of requests, by number: status and data
        self.reads = {}
        self.closed = False

    def send(self, data):
        self.sock.sendall(data)
        self.turn()

    def turn(self, seconds=0):
        """Lets the device work for so long, or until it has nothing to do."""
        end = time.monotonic() + seconds
        while True:
            self.loop.step(0.01 if seconds else 0)
            if not self.receive() and time.monotonic() >= end:
                return

    def receive(self):
        try:
            data = self.sock.recv(1 << 16)
        except BlockingIOError:
            data = None
        except ConnectionError:
            data = b""
        self.closed = self.closed or data == b""
        self.data += data or b""
        while len(self.data) >= 48:
            command, number, _, _, _, status, length = struct.unpack_from(">IIIIIii", self.data)
            body = 0
            if command == 3 and number in self.reads:
                body = length
            self.answers[number] = (status, self.data[48:48 + body] if body or command == 4
                                    or number in self.reads else length)
            self.data = self.data[48 + body:]
        return bool(data)

    def submit(self, direction, endpoint, length=0, setup=bytes(8), data=b"", packets=0):
        self.number += 1
        if direction == IN:
            self.reads[self.number] = length
        self.send(struct.pack(">IIIIIIiiiI8s", 1, self.number, 1, direction, endpoint, 0,
                              length or len(data), 0, packets, 0, setup) + data)
        return self.number

    def unlink(self, which):
        self.number += 1
        self.send(struct.pack(">IIIIII24x", 2, self.number, 1, 0, 0, which))
        return self.number

    def control(self, kind, request, value, index, length=0, data=b""):
        setup = struct.pack("<BBHHH", kind, request, value, index, length or len(data))
        number = self.submit(IN if kind & 0x80 else OUT, 0, length, setup, data)
        return self.answers.get(number)

    def read(self, endpoint, length):
        return self.submit(IN, endpoint, length)

    def write(self, endpoint, data):
        return self.answers.get(self.submit(OUT, endpoint, data=data))


class Case(unittest.TestCase):
    def setUp(self):
        self.loop = Loop()
        self.line = line.Line()
        self.gone = []

    def plug(self, make):
        ours, kernels = socket.socketpair()
        self.addCleanup(kernels.close)
        device = make(ours)
        self.addCleanup(device.unplug)
        return device, Host(self.loop, kernels)

    def plug_modem(self):
        return self.plug(lambda sock: eagle.Modem(self.loop, sock, self.line, 0.05,
                                                  self.gone.append))

    def plug_exchange(self):
        return self.plug(lambda sock: exchange.Exchange(self.loop, sock, self.line.exchange,
                                                        self.gone.append))


class Enumeration(Case):
    def test_device_descriptor(self):
        _, host = self.plug_modem()
        status, data = host.control(0x80, GET_DESCRIPTOR, descriptors.DEVICE << 8, 0, 64)
        self.assertEqual(status, 0)
        self.assertEqual((len(data), data[0], data[1]), (18, 18, descriptors.DEVICE))
        self.assertEqual(struct.unpack_from("<HH", data, 8), (0x1110, 0x9041))

    def test_no_more_than_was_asked_for(self):
        _, host = self.plug_modem()
        _, data = host.control(0x80, GET_DESCRIPTOR, descriptors.DEVICE << 8, 0, 8)
        self.assertEqual(len(data), 8)

    def test_endpoints_of_each_interface(self):
        _, host = self.plug_modem()
        _, data = host.control(0x80, GET_DESCRIPTOR, descriptors.CONFIGURATION << 8, 0, 255)
        self.assertEqual(struct.unpack_from("<H", data, 2)[0], len(data))
        found = {}
        while data:
            if data[1] == descriptors.INTERFACE:
                found[data[2]] = endpoints = []
            elif data[1] == descriptors.ENDPOINT:
                endpoints.append((data[2], data[3]))
            data = data[data[0]:]
        bulk, interrupt = descriptors.BULK, descriptors.INTERRUPT
        self.assertEqual(found, {0: [(0x84, interrupt), (0x04, bulk)], 1: [(0x02, bulk)],
                                 2: [(0x82, bulk)]})

    def test_serial_number_is_a_hardware_address(self):
        _, host = self.plug_modem()
        _, data = host.control(0x80, GET_DESCRIPTOR, descriptors.STRING << 8 | 3, 0x409, 255)
        self.assertRegex(data[2:].decode("utf-16-le"), "^[0-9A-F]{12}$")

    def test_configuration_and_interfaces(self):
        _, host = self.plug_modem()
        self.assertEqual(host.control(0x00, SET_CONFIGURATION, 1, 0), (0, 0))
        self.assertEqual(host.control(0x80, 8, 0, 0, 1), (0, b"\1"))
        self.assertEqual(host.control(0x01, SET_INTERFACE, 0, 2), (0, 0))
        self.assertEqual(host.control(0x01, SET_INTERFACE, 8, 2)[0], STALL)

    def test_what_there_is_not_is_refused(self):
        _, host = self.plug_modem()
        self.assertEqual(host.control(0x80, GET_DESCRIPTOR, 6 << 8, 0, 10), (STALL, b""))
        self.assertEqual(host.control(0xA1, 1, 0, 0, 10), (STALL, b""))
        self.assertEqual(host.answers[host.read(5, 64)], (STALL, b""))
        self.assertEqual(host.write(5, b"x")[0], STALL)

    def test_firmware_makes_another_product_of_it(self):
        done = []
        device, host = self.plug(lambda sock: eagle.ColdModem(
            self.loop, sock, lambda: done.append(1), self.gone.append))
        _, data = host.control(0x80, GET_DESCRIPTOR, descriptors.DEVICE << 8, 0, 64)
        self.assertEqual(struct.unpack_from("<HH", data, 8), (0x1110, 0x9042))
        self.assertEqual(host.control(0x40, 0xA0, 0x7F92, 0, data=b"\1"), (0, 1))
        self.assertEqual(host.control(0x40, 0xA0, 0x0100, 0, data=b"code"), (0, 4))
        host.turn(0.4)
        self.assertEqual((done, host.closed), ([], False))
        host.control(0x40, 0xA0, 0x7F92, 0, data=b"\0")
        host.turn(0.5)
        self.assertEqual((done, host.closed, self.gone), ([1], True, [device]))


class Transfers(Case):
    def test_read_waits_until_it_is_taken_back(self):
        _, host = self.plug_exchange()
        read = host.read(2, 3392)
        self.assertNotIn(read, host.answers)
        self.assertEqual(host.answers[host.unlink(read)][0], -errno.ECONNRESET)
        self.assertNotIn(read, host.answers)
        self.assertEqual(host.answers[host.unlink(read)][0], 0)

    def test_cells_do_not_go_to_a_read_that_was_taken_back(self):
        device, host = self.plug_exchange()
        host.unlink(host.read(2, 3392))
        device.end.cells.append(b"c" * 53)
        read = host.read(2, 3392)
        self.assertEqual(host.answers[read], (0, b"c" * 53))

    def test_message_in_pieces(self):
        _, host = self.plug_modem()
        setup = struct.pack("<BBHHH", 0x80, GET_DESCRIPTOR, descriptors.DEVICE << 8, 0, 18)
        message = struct.pack(">IIIIIIiiiI8s", 1, 7, 1, IN, 0, 0, 18, 0, 0, 0, setup)
        host.reads[7] = 18
        for octet in message:
            self.assertNotIn(7, host.answers)
            host.send(bytes([octet]))
        self.assertEqual(host.answers[7][0], 0)
        message = struct.pack(">IIIIIIiiiI8s", 1, 8, 1, OUT, 2, 0, 53, 0, 0, 0, bytes(8))
        for octet in message + b"c" * 53:
            self.assertNotIn(8, host.answers)
            host.send(bytes([octet]))
        self.assertEqual(host.answers[8], (0, 53))

    def test_isochronous_transfer_is_refused(self):
        _, host = self.plug_modem()
        host.number += 1
        host.reads[1] = 64
        host.send(struct.pack(">IIIIIIiiiI8s", 1, 1, 1, IN, 2, 0, 64, 0, 1, 1, bytes(8))
                  + bytes(16))
        self.assertEqual(host.answers[1], (STALL, b""))
        self.assertEqual(host.control(0x80, 8, 0, 0, 1), (0, b"\0"))

    def assert_unplugs(self, message):
        device, host = self.plug_modem()
        with contextlib.redirect_stderr(io.StringIO()) as said:
            host.send(message)
            host.turn()
        self.assertTrue(host.closed)
        self.assertEqual(self.gone, [device])
        self.assertRegex(said.getvalue(), "^modem: .*, unplugging\n$")

    def test_unknown_command(self):
        self.assert_unplugs(struct.pack(">IIIII28x", 9, 1, 1, 0, 0))

    def test_impossible_length(self):
        self.assert_unplugs(struct.pack(">IIIIIIiiiI8s", 1, 1, 1, 0, 2, 0, -1, 0, 0, 0, bytes(8)))

    def test_same_number_twice(self):
        self.assert_unplugs(2 * struct.pack(">IIIIIIiiiI8s", 1, 1, 1, IN, 2, 0, 53, 0, 0, 0,
                                            bytes(8)))

    def test_host_that_goes(self):
        device, host = self.plug_modem()
        host.sock.close()
        self.loop.step(0)
        self.assertEqual(self.gone, [device])


class Modem(Case):
    def setUp(self):
        super().setUp()
        self.modem, self.host = self.plug_modem()
        self.pending = [self.host.read(4, 64)]
        self.messages = []

    def message(self):
        """The next message to the host, as its kind and what follows; None if there is none."""
        self.host.turn()
        answer = self.host.answers.get(self.pending[-1])
        if not answer:
            return None
        self.pending.append(self.host.read(4, 64))
        kind, _, _, _, length, what = struct.unpack_from("<BBHHHH", answer[1])
        self.assertEqual((answer[0], kind, len(answer[1])), (0, 8, 10 + length))
        return what, answer[1][10:]

    def mode(self, mode):
        self.assertEqual(self.host.control(0x40, 0, 3, mode), (0, 0))

    def block(self, boot, page, data):
        head = struct.pack(">HBBIIH", 0xABCD, boot, page, len(data), 0, 0xFFFF)
        self.assertEqual(self.host.write(4, head), (0, len(head)))
        self.assertEqual(self.host.write(4, data), (0, len(data)))

    def load(self):
        self.mode(7)
        self.mode(8)
        self.block(1, 1, b"a" * 30000)
        self.block(1, 4, b"b" * 4)
        self.assertIsNone(self.message())
        self.host.write(4, struct.pack(">HBBIIH", 0xABCD, 0, 0xFF, 1824768, 0, 0xFFFF))
        what, data = self.message()
        self.assertEqual((what, struct.unpack_from(">HH", data)), (2, (0, 0xF11)))

    def cmv(self, function, group, address, offset, value=0):
        self.host.control(0x40, 0, 0x2C, 0x7FCE, data=struct.pack(
            ">HHHH6I", group, function, offset, address, value, 0, 0, 0, 0, 0))
        message = self.message()
        if not message:
            return None
        got = struct.unpack_from(">HHHHI", message[1])
        self.assertEqual((message[0], got[:4]), (2, (group, function | 0x10, offset, address)))
        return got[4]

    def status(self):
        return self.cmv(0x01, 2, 0, 0)

    def start(self):
        """What the driver does until the modem looks for the exchange."""
        self.load()
        self.assertEqual(self.status(), 0)
        self.cmv(0x41, 1, 0, 0, 2)
        what, data = self.message()
        self.assertEqual((what, data[0]), (1, 2))  # the first page that is not a boot page
        self.assertEqual(self.status(), 5)
        self.block(0, 2, b"swapped")

    def operate(self):
        self.start()
        self.host.turn(0.1)
        self.assertEqual(self.status(), 7)

    def test_way_to_operational(self):
        self.operate()
        self.assertEqual(self.cmv(0x01, 7, 0, 0), 0)
        self.assertEqual(self.cmv(0x04, 6, 1, 0), 2048000)

    def test_variables_keep_what_is_written(self):
        self.load()
        self.assertEqual(self.cmv(0x01, 5, 13, 0), 0)
        self.assertEqual(self.cmv(0x41, 5, 13, 0, 99), 99)
        self.assertEqual(self.cmv(0x01, 5, 13, 0), 99)

    def test_nothing_runs_before_the_code_is_loaded(self):
        self.assertIsNone(self.status())
        self.mode(7)
        self.mode(8)
        self.assertIsNone(self.status())

    def test_start_without_code(self):
        self.mode(7)
        self.mode(8)
        self.host.write(4, struct.pack(">HBBIIH", 0xABCD, 0, 0xFF, 0, 0, 0xFFFF))
        self.assertIsNone(self.message())

    def test_code_that_is_no_code(self):
        head = struct.pack(">HBBIIH", 0xABCD, 1, 1, 7, 0, 0xFFFF)
        self.assertEqual(self.host.write(4, head)[0], STALL)  # the modem was not reset
        self.mode(7)
        self.mode(8)
        self.assertEqual(self.host.write(4, bytes(14))[0], STALL)
        self.host.write(4, struct.pack(">HBBIIH", 0xABCD, 1, 1, 8, 0, 0xFFFF))
        self.assertEqual(self.host.write(4, b"seven77")[0], STALL)

    def test_page_that_does_not_come(self):
        eagle.SWAP_TIMEOUT, kept = 0.05, eagle.SWAP_TIMEOUT
        self.addCleanup(setattr, eagle, "SWAP_TIMEOUT", kept)
        self.load()
        self.cmv(0x41, 1, 0, 0, 2)
        self.message()
        self.host.turn(0.1)
        self.assertEqual(self.status(), 2)

    def test_lost_line_is_told_until_the_reset(self):
        self.operate()
        self.line.switch(False)
        self.line.switch(True)
        self.assertEqual((self.status(), self.cmv(0x01, 7, 0, 0)), (7, 1))
        self.operate()
        self.assertEqual(self.cmv(0x01, 7, 0, 0), 0)

    def test_line_that_is_down_is_waited_for(self):
        self.line.switch(False)
        self.start()
        self.host.turn(0.1)
        self.assertEqual(self.status(), 5)
        self.line.switch(True)
        self.host.turn(0.1)
        self.assertEqual(self.status(), 7)

    def test_line_that_goes_while_training(self):
        self.start()
        self.line.switch(False)
        self.host.turn(0.1)
        self.assertEqual(self.status(), 5)

    def test_unplugged_while_training(self):
        self.start()
        self.modem.unplug()
        self.host.turn(0.1)
        self.assertEqual(self.modem.state, "training")

    def test_unplugged_while_operational(self):
        self.operate()
        self.assertTrue(self.line.carries())
        self.modem.unplug()
        self.assertFalse(self.line.carries())


class Cells(Case):
    def setUp(self):
        super().setUp()
        self.modem, self.subscriber = self.plug_modem()
        self.exchange, self.provider = self.plug_exchange()
        self.modem.enter("operational")

    @staticmethod
    def cell(number):
        return bytes([number]) * 53

    def test_both_directions(self):
        up = self.provider.read(2, 3392)
        down = self.subscriber.read(2, 3392)
        cells = self.cell(1) + self.cell(2)
        self.assertEqual(self.subscriber.write(2, cells), (0, 106))
        self.assertEqual(self.provider.write(2, self.cell(3)), (0, 53))
        self.provider.turn()
        self.subscriber.turn()
        self.assertEqual(self.provider.answers[up], (0, cells))
        self.assertEqual(self.subscriber.answers[down], (0, self.cell(3)))

    def test_cells_wait_and_are_not_torn(self):
        self.subscriber.write(2, b"".join(map(self.cell, range(5))))
        first = self.provider.read(2, 128)
        second = self.provider.read(2, 3392)
        self.assertEqual(self.provider.answers[first][1], self.cell(0) + self.cell(1))
        self.assertEqual(self.provider.answers[second][1],
                         self.cell(2) + self.cell(3) + self.cell(4))

    def test_line_that_is_down_carries_nothing(self):
        read = self.provider.read(2, 3392)
        self.line.switch(False)
        self.assertEqual(self.subscriber.write(2, self.cell(1)), (0, 53))
        self.provider.turn()
        self.assertNotIn(read, self.provider.answers)
        self.assertEqual((self.line.modem.sent, self.line.modem.lost), (1, 1))

    def test_cells_on_the_way_are_lost_with_the_line(self):
        self.subscriber.write(2, self.cell(1))
        self.line.switch(False)
        self.line.switch(True)
        self.modem.enter("operational")
        self.assertNotIn(self.provider.read(2, 3392), self.provider.answers)

    def test_nobody_at_the_exchange(self):
        self.exchange.unplug()
        self.assertEqual(self.subscriber.write(2, self.cell(1)), (0, 53))
        self.assertEqual(self.line.modem.lost, 1)

    def test_what_nobody_takes_has_a_bound(self):
        for _ in range(line.LONGEST // 60 + 2):
            self.subscriber.write(2, self.cell(1) * 60)
        self.assertEqual(len(self.line.exchange.cells), line.LONGEST)
        self.assertEqual(self.line.modem.lost, self.line.modem.sent - line.LONGEST)


class Ports(unittest.TestCase):
    """The virtual host controller as files of an ordinary directory."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.directory = directory.name
        self.write("status", "hub port sta spd dev      sockfd local_busid\n"
                             "hs  0000 006 002 00010002 000003 1-1\n"
                             "hs  0001 004 000 00000000 000000 0-0\n"
                             "ss  0008 004 000 00000000 000000 0-0\n")
        self.write("attach", "")
        self.controller = vhci.Controller(self.directory)
        self.bench = daemon.Bench(Loop(), self.controller, 1)
        self.addCleanup(self.unplug)
        self.answers = []

    def unplug(self):
        for device in filter(None, list(self.bench.devices.values())):
            device.unplug()

    def write(self, name, text):
        with open(f"{self.directory}/{name}", "w", encoding="ascii") as out:
            out.write(text)

    def command(self, text):
        self.bench.execute(text, self.answers.append)
        return self.answers[-1] if self.answers else None

    def test_first_free_port_is_taken(self):
        self.assertEqual(self.command("plug modem"), "ok")
        with open(f"{self.directory}/attach", encoding="ascii") as attach:
            self.assertRegex(attach.read(), r"^1 \d+ 1 2$")
        self.assertEqual(self.command("plug modem"), "error: the modem is plugged in already")
        self.assertEqual(self.command("status"), "modem=waiting exchange=unplugged line=up"
                                                 " upstream=0 downstream=0 lost=0")

    def test_unplug_waits_for_the_port(self):
        self.command("plug exchange")
        self.answers.clear()
        self.write("status", "hs  0001 006 002 00010002 000003 1-1\n")
        self.assertIsNone(self.command("unplug exchange"))
        self.write("status", "hs  0001 004 000 00000000 000000 0-0\n")
        self.bench.loop.step(1)
        self.assertEqual(self.answers, ["ok"])
        self.assertEqual(self.command("unplug exchange"), "error: the exchange is not plugged in")

    def test_no_free_port(self):
        self.write("status", "hs  0000 006 002 00010002 000003 1-1\n")
        self.assertEqual(self.command("plug modem"),
                         "error: no port of the virtual host controller is free")

    def test_no_controller(self):
        os.unlink(f"{self.directory}/status")
        self.assertEqual(self.command("plug modem"),
                         "error: no virtual host controller (No such file or directory), "
                         "is the module vhci_hcd loaded?")

    def test_unknown_commands(self):
        for text in ("", "plug", "plug in", "unplug", "line", "line sideways", "plug modem warm"):
            self.assertEqual(self.command(text), f"error: unknown command: {text}")


class Program(unittest.TestCase):
    """The program itself, and its client."""

    def setUp(self):
        directory = tempfile.TemporaryDirectory()
        self.addCleanup(directory.cleanup)
        self.path = f"{directory.name}/socket"

    def run_modem(self, *words):
        done = subprocess.run([sys.executable, "-IS", f"{HERE}/modem", *words], text=True,
                              capture_output=True, timeout=30, check=False)
        return done.returncode, done.stdout, done.stderr

    def ctl(self, *words):
        return self.run_modem("ctl", "--control", self.path, *words)

    def serve(self):
        process = subprocess.Popen([sys.executable, "-IS", f"{HERE}/modem", "--control", self.path])
        self.addCleanup(process.wait)
        self.addCleanup(process.terminate)
        end = time.monotonic() + 10
        while self.ctl("status")[0] and time.monotonic() < end:
            time.sleep(0.05)
        return process

    def test_commands(self):
        self.serve()
        up = "modem=unplugged exchange=unplugged line=up upstream=0 downstream=0 lost=0\n"
        self.assertEqual(self.ctl("status"), (0, up, ""))
        self.assertEqual(self.ctl("line", "down"), (0, "ok\n", ""))
        self.assertEqual(self.ctl("status"), (0, up.replace("line=up", "line=down"), ""))
        self.assertEqual(self.ctl("unplug", "modem"),
                         (1, "", "modem: the modem is not plugged in\n"))
        self.assertEqual(self.ctl("dance"), (2, "", "modem: unknown command: dance\n"))

    def test_ends_and_leaves_nothing(self):
        process = self.serve()
        process.terminate()
        self.assertEqual(process.wait(10), 0)
        self.assertFalse(os.path.exists(self.path))

    def test_second_one_is_refused(self):
        self.serve()
        self.assertEqual(self.run_modem("--daemon", "--control", self.path),
                         (1, "", f"modem: {self.path}: Address already in use\n"))

    def test_socket_that_was_left(self):
        with socket.socket(socket.AF_UNIX) as left:
            left.bind(self.path)
        self.assertEqual(self.ctl("status")[0], 3)
        self.serve()
        self.assertEqual(self.ctl("status")[0], 0)

    def test_nobody_listens(self):
        self.assertEqual(self.ctl("status"),
                         (3, "", f"modem: {self.path}: No such file or directory\n"))

    def test_usage(self):
        self.assertEqual(self.run_modem("--training", "long"),
                         (2, "", "modem: --training: not a number: long\n"))
        self.assertEqual(self.run_modem("--frob"), (2, "", "modem: unknown option: --frob\n"))
        self.assertEqual(self.run_modem("ctl"), (2, "", "modem: no command\n"))


if __name__ == "__main__":
    counted.main()
