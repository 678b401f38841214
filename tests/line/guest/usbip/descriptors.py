# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""What a USB device says of itself, in the form of chapter 9 of USB 1.1."""

import struct

DEVICE, CONFIGURATION, STRING, INTERFACE, ENDPOINT = 1, 2, 3, 4, 5
BULK, INTERRUPT = 2, 3
TO_HOST = 0x80
PACKET = 64  # the largest at full speed
VENDOR_SPECIFIC = 0xFF
ENGLISH = 0x0409


def device(vendor, product, release):
    """The strings of the maker, the product and the serial number are 1, 2 and 3."""
    return struct.pack("<BBHBBBBHHHBBBB", 18, DEVICE, 0x0110, VENDOR_SPECIFIC, 0, 0, PACKET,
                       vendor, product, release, 1, 2, 3, 1)


def endpoint(address, kind, interval=0):
    return struct.pack("<BBBBHB", 7, ENDPOINT, address, kind, PACKET, interval)


def configuration(*interfaces):
    """Each interface is a list of endpoints."""
    parts = b""
    for number, endpoints in enumerate(interfaces):
        parts += struct.pack("<BBBBBBBBB", 9, INTERFACE, number, 0, len(endpoints),
                             VENDOR_SPECIFIC, 0, 0, 0) + b"".join(endpoints)
    return struct.pack("<BBHBBBBB", 9, CONFIGURATION, 9 + len(parts), len(interfaces), 1, 0,
                       0x80, 250) + parts


def string(text):
    data = text.encode("utf-16-le")
    return struct.pack("<BB", 2 + len(data), STRING) + data


def languages():
    return struct.pack("<BBH", 4, STRING, ENGLISH)
