# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Announces devices as udev does, to all that listen in this network namespace. Needs root.

The form of the messages is not documented, but libudev of every program has to understand that of
the udev that runs, so that it has not changed in many years.
"""

import pathlib
import socket
import struct

GROUP = 2  # to which udev announces; 1 is the kernel's
NETLINK_KOBJECT_UEVENT = 15


def pretend_udev_runs():
    """libudev does not listen where no udev can be."""
    control = pathlib.Path("/run/udev/control")
    control.parent.mkdir(exist_ok=True)
    control.touch()


def murmur_hash(data):
    """MurmurHash2, by which receivers filter."""
    mask, factor = 0xFFFFFFFF, 0x5BD1E995
    result = len(data)
    whole = len(data) // 4 * 4
    for (word,) in struct.iter_unpack("<I", data[:whole]):
        word = word * factor & mask
        word = (word ^ word >> 24) * factor & mask
        result = result * factor & mask ^ word
    if data[whole:]:
        result = (result ^ int.from_bytes(data[whole:], "little")) * factor & mask
    result = (result ^ result >> 13) * factor & mask
    return result ^ result >> 15


def message(properties):
    """An event. Must have ACTION, DEVPATH, SUBSYSTEM, DEVTYPE, and SEQNUM, which is not 0."""
    body = b"".join(f"{key}={value}\0".encode() for key, value in properties.items())
    size = 40
    # The magic and the hashes are in network order. No tags.
    header = struct.pack("=8s", b"libudev") + struct.pack(">I", 0xFEEDCAFE)
    header += struct.pack("=III", size, size, len(body))
    header += struct.pack(">II", *(murmur_hash(properties[key].encode())
                                   for key in ("SUBSYSTEM", "DEVTYPE")))
    return header.ljust(size, b"\0") + body


class Udev:
    def __init__(self):
        self.socket = socket.socket(socket.AF_NETLINK, socket.SOCK_RAW, NETLINK_KOBJECT_UEVENT)
        self.socket.bind((0, 0))

    def send(self, data):
        self.socket.sendto(data, (0, GROUP))


def usb_event(action, place, vendor, product, sequence):
    return message({
        "ACTION": action, "DEVPATH": "/devices/pci0000:00/0000:00:14.0/usb1/" + place,
        "SUBSYSTEM": "usb", "DEVTYPE": "usb_device", "SEQNUM": str(sequence),
        "DEVNAME": f"/dev/bus/usb/001/{sequence % 127 + 1:03}", "MAJOR": "189", "MINOR": "7",
        "PRODUCT": f"{vendor:x}/{product:x}/100", "TYPE": "255/0/0", "BUSNUM": "001",
        "DEVNUM": f"{sequence % 127 + 1:03}", "USEC_INITIALIZED": str(1000000 + sequence),
        "ID_VENDOR": "Kestra", "ID_VENDOR_ENC": "Kestra", "ID_MODEL": "ADSL_modem",
        "ID_MODEL_ENC": "ADSL\\x20modem", "ID_BUS": "usb",
        "ID_SERIAL_SHORT": place.replace(".", "-"),
    })
