# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""The kernel's virtual host controller: where a device is plugged in."""

import os
import socket

CONTROLLER = "/sys/devices/platform/vhci_hcd.0"
FULL_SPEED = 2
FREE = 4  # the status of a port that takes a device


class PlugError(Exception):
    pass


class Controller:
    def __init__(self, directory=CONTROLLER):
        self.directory = directory
        self.plugged = 0

    def ports(self):
        """The status of each port for devices of USB 1 and 2."""
        try:
            with open(f"{self.directory}/status", encoding="ascii") as status:
                rows = [line.split() for line in status]
        except OSError as error:
            raise PlugError(f"no virtual host controller ({error.strerror}), "
                            "is the module vhci_hcd loaded?") from error
        return {int(row[1]): int(row[2]) for row in rows if row[:1] == ["hs"]}

    def is_free(self, port):
        try:
            return self.ports().get(port, FREE) == FREE
        except PlugError:
            return True

    def attach(self):
        """Plugs a device in; returns its end of the socket and the port."""
        free = [port for port, status in self.ports().items() if status == FREE]
        if not free:
            raise PlugError("no port of the virtual host controller is free")
        ours, kernels = socket.socketpair()
        self.plugged += 1
        try:
            with open(f"{self.directory}/attach", "wb", buffering=0) as attach:
                attach.write(b"%d %d %d %d" % (free[0], kernels.fileno(), self.plugged,
                                               FULL_SPEED))
        except OSError as error:
            ours.close()
            raise PlugError(f"port {free[0]} takes no device ({os.strerror(error.errno)})") \
                from error
        finally:
            kernels.close()
        return ours, free[0]
