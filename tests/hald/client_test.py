# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Asks kestra-hald as programs do that know nothing of Qt: libdbus, GDBus and sd-bus.

Arguments: kestra-hald, the directory of the descriptions of its interfaces. To be run under
umockdev-wrapper, with a message bus in DBUS_SYSTEM_BUS_ADDRESS.
"""

import fcntl
import os
import pathlib
import shutil
import signal
import subprocess
import sys
import time
import unittest
import xml.etree.ElementTree as ET

import dbus
import dbus.bus
import dbus.lowlevel
import dbus.mainloop.glib
import gi

gi.require_version("UMockdev", "1.0")
from gi.repository import GLib, UMockdev  # noqa: E402

import counted  # noqa: E402

PROGRAM, INTERFACES = sys.argv[1:3]

SERVICE = "org.freedesktop.Hal"
MANAGER_PATH = "/org/freedesktop/Hal/Manager"
DEVICES_PATH = "/org/freedesktop/Hal/devices"
MANAGER = "org.freedesktop.Hal.Manager"
DEVICE = "org.freedesktop.Hal.Device"
OWN = "org.kestra.Hald1"
NO_SUCH_DEVICE = "org.freedesktop.Hal.NoSuchDevice"
NO_SUCH_PROPERTY = "org.freedesktop.Hal.NoSuchProperty"

TIMEOUT = 10  # s

# What is started for the machine lives in it; command-line clients live in the real one.
PRELOAD = os.environ.pop("LD_PRELOAD", "")


def udi(name):
    return f"{DEVICES_PATH}/{name}"


MODEM = udi("usb_device_1110_9041_noserial")


class Machine:
    """The devices of a pretended machine."""

    def __init__(self):
        self.testbed = UMockdev.Testbed.new()

    @staticmethod
    def path(name):
        return "/sys/devices/" + name

    def plug(self, name, subsystem, attributes, properties):
        def flat(texts):
            return [text for pair in texts.items() for text in pair]

        added = self.testbed.add_device(subsystem, name, None, flat(attributes), flat(properties))
        assert added == self.path(name)

    def plug_usb(self, name, vendor, product, /, **texts):
        numbers = {"idVendor": f"{vendor:04x}", "idProduct": f"{product:04x}"}
        properties = {"DEVTYPE": "usb_device", "PRODUCT": f"{vendor:x}/{product:x}/100",
                      "BUSNUM": "003", "DEVNUM": "007"}
        self.plug(name, "usb", {**numbers, **texts}, properties)

    def unplug(self, name):
        self.testbed.uevent(self.path(name), "remove")
        self.testbed.remove_device(self.path(name))

    DRIVE = {"DEVTYPE": "disk", "DEVNAME": "/dev/sr0", "MAJOR": "11", "MINOR": "0",
             "ID_CDROM": "1"}

    def plug_drive(self, **changes):
        self.drive = {**self.DRIVE, **changes}
        self.plug("sr0", "block", {}, self.drive)

    def _change_drive(self, disc):
        # In umockdev a property can be set, but not taken away again.
        properties = {**self.drive, "DEVNAME": "sr0", **disc}
        file = pathlib.Path(self.testbed.get_root_dir() + self.path("sr0"), "uevent")
        file.write_text("".join(f"{key}={value}\n" for key, value in properties.items()), "utf-8")
        self.testbed.uevent(self.path("sr0"), "change")

    def insert_disc(self, **disc):
        self._change_drive({"ID_CDROM_MEDIA": "1", **disc})

    def eject_disc(self):
        self._change_drive({})


class Client:
    """A connection of its own, which sees each message as it is on the wire."""

    def __init__(self):
        self.bus = dbus.SystemBus(private=True)
        self.bus.set_exit_on_disconnect(False)
        self.log = []  # announcements and replies, in the order in which they came
        self.bus.add_message_filter(self._filter)

    def _filter(self, _, message):
        if message.get_type() == 4 and message.get_interface() == MANAGER:
            assert message.get_signature() == "s" and message.get_path() == MANAGER_PATH
            self.log.append((message.get_member(), str(message.get_args_list()[0])))
            self.last_signal = message
        return dbus.lowlevel.HANDLER_RESULT_NOT_YET_HANDLED

    def subscribe(self):
        self.bus.add_match_string(f"type='signal',sender='{SERVICE}',interface='{MANAGER}'")

    @staticmethod
    def message(path, interface, member, *arguments):
        message = dbus.lowlevel.MethodCallMessage(SERVICE, path, interface, member)
        message.append(*arguments)
        return message

    def call(self, path, interface, member, *arguments):
        """The signature of the reply, and its arguments."""
        message = self.message(path, interface, member, *arguments)
        reply = self.bus.send_message_with_reply_and_block(message, TIMEOUT)
        return str(reply.get_signature()), reply.get_args_list()

    def post(self, path, interface, member, *arguments):
        """Leaves the reply to the log."""
        message = self.message(path, interface, member, *arguments)
        self.bus.send_message_with_reply(
            message, lambda reply: self.log.append(("reply", str(reply.get_signature()))), TIMEOUT)

    def manager(self, member, *arguments):
        return self.call(MANAGER_PATH, MANAGER, member, *arguments)

    def names(self):
        return [str(udi).rsplit("/", 1)[1] for udi in self.manager("GetAllDevices")[1][0]]

    def owner(self):
        try:
            return int(self.bus.get_name_owner(SERVICE) and self.bus.call_blocking(
                "org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
                "GetConnectionUnixProcessID", "s", (SERVICE,)))
        except dbus.DBusException:
            return 0

    def close(self):
        self.bus.close()


def wait_until(is_so):
    """Runs the main loop until something is so. Returns whether it is."""
    context = GLib.MainContext.default()
    end = time.monotonic() + TIMEOUT
    while not is_so():
        if time.monotonic() > end:
            return False
        if not context.iteration(False):
            time.sleep(0.002)
    return True


class HaldTest(unittest.TestCase):
    maxDiff = None

    def setUp(self):
        self.machine = Machine()
        self.addCleanup(setattr, self, "machine", None)
        self.client = self.new_client()
        self.client.subscribe()

    def new_client(self):
        client = Client()
        self.addCleanup(client.close)
        return client

    def start(self):
        # umockdev tells the C library of its directory, not Python.
        environment = {**os.environ, "LD_PRELOAD": PRELOAD,
                       "UMOCKDEV_DIR": self.machine.testbed.get_root_dir()}
        daemon = subprocess.Popen([PROGRAM], env=environment)
        self.addCleanup(self.stop, daemon)
        self.assertTrue(wait_until(
            lambda: daemon.poll() is not None or self.client.owner() == daemon.pid))
        self.assertIsNone(daemon.returncode)

    def stop(self, daemon):
        daemon.terminate()
        self.assertEqual(daemon.wait(TIMEOUT), 0)

    def wait_for(self, *announcements):
        self.assertTrue(
            wait_until(lambda: len(self.client.log) >= len(announcements)), self.client.log)
        self.assertEqual(self.client.log, list(announcements))
        self.client.log.clear()

    def assert_value(self, expected, got):
        """Equal in type, too."""
        self.assertEqual(type(expected), type(got))
        self.assertEqual(expected, got)
        self.assertEqual(getattr(expected, "signature", None), getattr(got, "signature", None))

    def assert_properties(self, path, expected):
        """By each of the ways to ask."""
        signature, (got,) = self.client.call(path, DEVICE, "GetAllProperties")
        self.assertEqual(signature, "a{sv}")
        self.assertEqual(got.signature, "sv")
        self.assertEqual(sorted(got), sorted(expected))
        types = {dbus.Int32: "i", dbus.String: "s", dbus.Boolean: "b", dbus.Array: "as"}
        for key, value in expected.items():
            with self.subTest(key=key):
                # The dictionary has variants, which are one level deep.
                self.assertEqual(got[key].variant_level, 1)
                self.assertEqual((type(got[key]), got[key]), (type(value), value))
                self.assertEqual(getattr(got[key], "signature", None),
                                 getattr(value, "signature", None))
                signature, (single,) = self.client.call(path, DEVICE, "GetProperty", key)
                self.assertEqual(signature, types[type(value)])
                self.assertEqual(single.variant_level, 0)
                self.assert_value(value, single)
                self.assertEqual(self.client.call(path, DEVICE, "PropertyExists", key),
                                 ("b", [dbus.Boolean(True)]))

    def assert_error(self, name, path, interface, member, *arguments):
        with self.assertRaises(dbus.DBusException) as raised:
            self.client.call(path, interface, member, *arguments)
        self.assertEqual(raised.exception.get_dbus_name(), name)
        self.assertNotEqual(raised.exception.get_dbus_message(), "")


def usb_properties(path, place, vendor, product, /, **texts):
    port = int(place.replace("-", ".").rsplit(".", 1)[1])
    return {
        "info.udi": dbus.String(path),
        "info.subsystem": dbus.String("usb_device"),
        "info.capabilities": dbus.Array(["usb_device"], signature="s"),
        "linux.sysfs_path": dbus.String(Machine.path(place)),
        "usb_device.vendor_id": dbus.Int32(vendor),
        "usb_device.product_id": dbus.Int32(product),
        "usb_device.bus_number": dbus.Int32(3),
        "usb_device.port_number": dbus.Int32(port),
        **{f"usb_device.{key}": dbus.String(value) for key, value in texts.items()},
    }


def disc_properties(path, label, fstype, is_mounted=False, mount_point="", device="/dev/sr0"):
    return {
        "info.udi": dbus.String(path),
        "info.subsystem": dbus.String("block"),
        "info.capabilities": dbus.Array(["block", "volume", "volume.disc"], signature="s"),
        "linux.sysfs_path": dbus.String(Machine.path("sr0")),
        "block.device": dbus.String(device),
        "volume.label": dbus.String(label),
        "volume.fstype": dbus.String(fstype),
        "volume.is_disc": dbus.Boolean(True),
        "volume.is_mounted": dbus.Boolean(is_mounted),
        "volume.mount_point": dbus.String(mount_point),
    }


class UsbDevices(HaldTest):
    def test_bare_device(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.start()
        self.assert_properties(MODEM, usb_properties(MODEM, "1-4", 0x1110, 0x9041))

    def test_device_with_texts(self):
        self.machine.plug_usb("2-1.3", 0x6B9, 0x4061, manufacturer="ALCATEL",
                              product="Speed Touch 330", serial="00-90.d0")
        self.start()
        path = udi("usb_device_6b9_4061_00_90_d0")
        self.assert_properties(path, usb_properties(
            path, "2-1.3", 0x6B9, 0x4061, vendor="ALCATEL", product="Speed Touch 330",
            serial="00-90.d0"))

    def test_numbers_have_no_leading_zeros_and_keep_all_bits(self):
        devices = (0, 0, "0_0"), (0xFFFF, 0xABCD, "ffff_abcd"), (1, 16, "1_10")
        for vendor, product, _ in devices:
            self.machine.plug_usb(f"1-{vendor + 1}", vendor, product)
        self.start()
        for vendor, product, name in devices:
            path = udi(f"usb_device_{name}_noserial")
            self.assert_properties(path, usb_properties(path, f"1-{vendor + 1}", vendor, product))

    def test_texts_in_other_scripts(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041, manufacturer="Связь 北京",
                              product="Modem «é» 😀", serial="é😀-1")
        self.start()
        path = udi("usb_device_1110_9041____1")
        self.assert_properties(path, usb_properties(
            path, "1-4", 0x1110, 0x9041, vendor="Связь 北京", product="Modem «é» 😀",
            serial="é😀-1"))

    def test_control_characters(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041, manufacturer="a\x01b\tc\x7f",
                              product="\x1b[31m", serial="7\x028")
        self.start()
        path = udi("usb_device_1110_9041_7_8")
        self.assert_properties(path, usb_properties(
            path, "1-4", 0x1110, 0x9041, vendor="a\x01b\tc\x7f", product="\x1b[31m",
            serial="7\x028"))

    def test_bytes_that_are_no_text(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.machine.testbed.set_attribute_binary(
            self.machine.path("1-4"), "serial", b"a\xffb")
        self.start()
        path = udi("usb_device_1110_9041_a_b")
        self.assert_properties(path, usb_properties(
            path, "1-4", 0x1110, 0x9041, serial="a\N{REPLACEMENT CHARACTER}b"))

    def test_two_identical_devices(self):
        self.start()
        second = MODEM + "_0"
        for place, path in (("1-4", MODEM), ("1-5", second)):
            self.machine.plug_usb(place, 0x1110, 0x9041)
            self.wait_for(("DeviceAdded", path))
        for place, path in (("1-4", MODEM), ("1-5", second)):
            self.assert_properties(path, usb_properties(path, place, 0x1110, 0x9041))
        self.machine.unplug("1-4")
        self.wait_for(("DeviceRemoved", MODEM))
        self.assertEqual(self.client.manager("FindDeviceByCapability", "usb_device"),
                         ("as", [[second]]))
        self.assert_properties(second, usb_properties(second, "1-5", 0x1110, 0x9041))

    def test_capabilities(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.start()
        for capability, has in (("usb_device", True), ("volume.disc", False), ("usb", False),
                                ("", False)):
            self.assertEqual(self.client.call(MODEM, DEVICE, "QueryCapability", capability),
                             ("b", [dbus.Boolean(has)]))


class Discs(HaldTest):
    def insert(self, name, label, fstype="", **disc):
        self.start()
        self.machine.plug_drive()
        self.machine.insert_disc(**disc)
        self.wait_for(("DeviceAdded", udi(name)))
        self.assert_properties(udi(name), disc_properties(udi(name), label, fstype))
        return udi(name)

    def test_disc_with_label_and_uuid(self):
        path = self.insert("volume_uuid_2021_01_02_03_04_05_00", "My disc", "iso9660",
                           ID_FS_UUID="2021-01-02-03-04-05-00", ID_FS_LABEL="My_disc",
                           ID_FS_LABEL_ENC="My\\x20disc", ID_FS_TYPE="iso9660")
        for capability in "block", "volume", "volume.disc":
            self.assertEqual(self.client.call(path, DEVICE, "QueryCapability", capability),
                             ("b", [dbus.Boolean(True)]))

    def test_disc_with_label_only(self):
        self.insert("volume_label_D__cd", "Dé/cd", "udf", ID_FS_LABEL="Dé_cd",
                    ID_FS_LABEL_ENC="D\\xc3\\xa9\\x2fcd", ID_FS_TYPE="udf")

    def test_disc_with_neither(self):
        self.insert("volume_sr0", "")

    def test_control_characters_in_a_label(self):
        self.insert("volume_label_a_b_", "a\x01b\n", ID_FS_LABEL="a_b_",
                    ID_FS_LABEL_ENC="a\\x01b\\x0a")

    def test_disc_goes_and_another_comes(self):
        first = self.insert("volume_label_one", "one", ID_FS_LABEL="one")
        self.machine.eject_disc()
        self.wait_for(("DeviceRemoved", first))
        self.assert_error(NO_SUCH_DEVICE, first, DEVICE, "GetAllProperties")
        self.assertEqual(self.client.manager("FindDeviceByCapability", "volume.disc"), ("as", [[]]))
        self.machine.insert_disc(ID_FS_LABEL="two")
        self.wait_for(("DeviceAdded", udi("volume_label_two")))

    def test_other_disks_are_not_listed(self):
        properties = {**Machine.DRIVE, "DEVNAME": "/dev/sda"}
        del properties["ID_CDROM"]
        self.machine.plug("sda", "block", {}, properties)
        self.start()
        self.assertEqual(self.client.names(), [])

    def test_mount_state(self):
        if not os.access("/dev/loop-control", os.W_OK):
            self.skipTest("this user gets no loop device")
        subprocess.run(["truncate", "--size=1M", "/tmp/disc"], check=True)
        subprocess.run(["mkfs.ext2", "-q", "/tmp/disc"], check=True)
        point = "/tmp/mount \\point é"
        os.mkdir(point)
        device = subprocess.run(["losetup", "--find", "--show", "/tmp/disc"], check=True,
                                capture_output=True, text=True).stdout.strip()
        self.addCleanup(subprocess.run, ["losetup", "--detach", device], check=True)
        number = os.stat(device).st_rdev
        self.machine.plug_drive(DEVNAME=device, MAJOR=str(os.major(number)),
                                MINOR=str(os.minor(number)))
        self.machine.insert_disc(DEVNAME=device.removeprefix("/dev/"))
        self.start()
        path = udi("volume_sr0")

        def check(*mounted):
            self.assert_properties(path, disc_properties(path, "", "", *mounted, device=device))

        check()
        subprocess.run(["mount", device, point], check=True)
        self.addCleanup(subprocess.run, ["umount", "--quiet", point], check=False)
        check(True, point)
        subprocess.run(["umount", point], check=True)
        check()


class Queries(HaldTest):
    def setUp(self):
        super().setUp()
        self.machine.plug_usb("1-4", 0x1110, 0x9041, manufacturer="Both")
        self.start()
        self.machine.plug_usb("1-5", 0x6B9, 0x4061, manufacturer="Both", serial="S")
        self.other = udi("usb_device_6b9_4061_S")
        self.machine.plug_drive(ID_CDROM_MEDIA="1", ID_FS_LABEL="L")
        self.disc = udi("volume_label_L")
        self.wait_for(("DeviceAdded", self.other), ("DeviceAdded", self.disc))

    def assert_found(self, expected, *call):
        signature, (got,) = self.client.manager(*call)
        self.assertEqual(signature, "as")
        self.assert_value(dbus.Array(expected, signature="s"), got)
        self.assertTrue(all(type(udi) is dbus.String for udi in got))

    def test_all(self):
        self.assert_found([MODEM, self.other, self.disc], "GetAllDevices")

    def test_by_capability(self):
        self.assert_found([MODEM, self.other], "FindDeviceByCapability", "usb_device")
        self.assert_found([self.disc], "FindDeviceByCapability", "volume.disc")
        self.assert_found([self.disc], "FindDeviceByCapability", "block")
        for none in "", "usb", "*", "USB_DEVICE", "é\n":
            self.assert_found([], "FindDeviceByCapability", none)

    def test_by_string(self):
        match = "FindDeviceStringMatch"
        self.assert_found([MODEM, self.other], match, "usb_device.vendor", "Both")
        self.assert_found([self.other], match, "usb_device.serial", "S")
        self.assert_found([MODEM], match, "info.udi", MODEM)
        self.assert_found([self.disc], match, "volume.label", "L")
        self.assert_found([self.disc], match, "volume.mount_point", "")
        # Not a number, not a list, not what there is not.
        self.assert_found([], match, "usb_device.vendor_id", "4368")
        self.assert_found([], match, "info.capabilities", "usb_device")
        self.assert_found([], match, "no.such", "")

    def test_existence(self):
        for path, exists in ((MODEM, True), (self.disc, True), (MODEM + "_0", False), ("", False),
                             ("no path", False)):
            self.assertEqual(self.client.manager("DeviceExists", path),
                             ("b", [dbus.Boolean(exists)]))

    def test_property_existence(self):
        exists = self.client.call(MODEM, DEVICE, "PropertyExists", "usb_device.serial")
        self.assertEqual(exists, ("b", [dbus.Boolean(False)]))

    def test_call_without_interface(self):
        for path, member, arguments, signature in (
                (MANAGER_PATH, "DeviceExists", (MODEM,), "b"),
                (MODEM, "GetProperty", ("usb_device.vendor_id",), "i")):
            message = dbus.lowlevel.MethodCallMessage(SERVICE, path, None, member)
            message.append(*arguments)
            reply = self.client.bus.send_message_with_reply_and_block(message, TIMEOUT)
            self.assertEqual(reply.get_signature(), signature)

    def test_by_proxy(self):
        """As a program would that uses what it is told by introspection."""
        manager = self.client.bus.get_object(SERVICE, MANAGER_PATH)
        self.assertEqual(manager.FindDeviceByCapability("volume.disc", dbus_interface=MANAGER),
                         [self.disc])
        device = dbus.Interface(self.client.bus.get_object(SERVICE, self.other), DEVICE)
        self.assert_value(dbus.Int32(0x6B9), device.GetProperty("usb_device.vendor_id"))


class Errors(HaldTest):
    def setUp(self):
        super().setUp()
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.start()

    def test_unknown_device(self):
        for path in MODEM + "_0", udi("nothing"), udi("a/b"):
            for call in (("GetProperty", "info.udi"), ("PropertyExists", "info.udi"),
                         ("QueryCapability", "usb_device"), ("GetAllProperties",)):
                with self.subTest(path=path, call=call):
                    self.assert_error(NO_SUCH_DEVICE, path, DEVICE, *call)

    def test_device_that_has_gone(self):
        self.machine.unplug("1-4")
        self.wait_for(("DeviceRemoved", MODEM))
        self.assert_error(NO_SUCH_DEVICE, MODEM, DEVICE, "GetProperty", "info.udi")

    def test_unknown_property(self):
        for key in "no.such", "", "usb_device.serial", "volume.is_mounted", "é\n":
            self.assert_error(NO_SUCH_PROPERTY, MODEM, DEVICE, "GetProperty", key)

    def test_wrong_arguments(self):
        wrong = "org.freedesktop.DBus.Error.InvalidArgs"
        for path, interface, member, *arguments in (
                (MODEM, DEVICE, "GetProperty"),
                (MODEM, DEVICE, "GetProperty", dbus.Int32(1)),
                (MODEM, DEVICE, "GetProperty", "info.udi", "info.udi"),
                (MODEM, DEVICE, "GetAllProperties", "info.udi"),
                (MANAGER_PATH, MANAGER, "DeviceExists", dbus.ObjectPath(MODEM)),
                (MANAGER_PATH, MANAGER, "FindDeviceStringMatch", "info.udi"),
                (MANAGER_PATH, MANAGER, "GetAllDevices", ""),
                (MANAGER_PATH, OWN, "Reannounce")):
            with self.subTest(member=member, arguments=arguments):
                self.assert_error(wrong, path, interface, member, *arguments)

    def test_unknown_method_and_interface(self):
        unknown = "org.freedesktop.DBus.Error.Unknown"
        for path, interface in ((MODEM, DEVICE), (MANAGER_PATH, MANAGER), (MANAGER_PATH, OWN)):
            self.assert_error(unknown + "Method", path, interface, "NoSuch")
            self.assert_error(unknown + "Interface", path, "org.example.NoSuch", "NoSuch")
        self.assert_error(unknown + "Object", "/nowhere", MANAGER, "GetAllDevices")


class Announcements(HaldTest):
    def test_plug_and_unplug(self):
        self.start()
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.wait_for(("DeviceAdded", MODEM))
        self.assertEqual(self.client.last_signal.get_destination(), None)
        self.assertEqual(self.client.manager("DeviceExists", MODEM)[1], [True])
        self.machine.unplug("1-4")
        self.wait_for(("DeviceRemoved", MODEM))
        self.assertEqual(self.client.manager("DeviceExists", MODEM)[1], [False])

    def test_present_devices_are_not_announced(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.start()
        self.machine.plug_usb("1-5", 1, 2)
        self.wait_for(("DeviceAdded", udi("usb_device_1_2_noserial")))

    def test_reannouncement(self):
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.machine.plug_drive(ID_CDROM_MEDIA="1")
        self.start()
        caller = self.new_client()  # without any subscription
        modem, disc = ("DeviceAdded", MODEM), ("DeviceAdded", udi("volume_sr0"))
        # The order of devices that were there before is the kernel's.
        present = [("DeviceAdded", path) for path in caller.manager("GetAllDevices")[1][0]]
        self.assertCountEqual(present, [modem, disc])
        for capability, expected in (("", present), ("usb_device", [modem]),
                                     ("volume.disc", [disc]), ("volume", [disc]), ("nothing", [])):
            with self.subTest(capability=capability):
                caller.log.clear()
                caller.post(MANAGER_PATH, OWN, "Reannounce", capability)
                self.assertTrue(wait_until(lambda: ("reply", "") in caller.log))
                self.assertEqual(caller.log, [*expected, ("reply", "")])
                if expected:
                    self.assertEqual(caller.last_signal.get_destination(),
                                     caller.bus.get_unique_name())
        # The one that subscribed would have got them before this.
        self.machine.plug_usb("1-5", 1, 2)
        self.wait_for(("DeviceAdded", udi("usb_device_1_2_noserial")))


def shape(interface):
    """Members, arguments and annotations, without comments and layout."""
    members = []
    for member in interface:
        below = [(element.tag, sorted(element.attrib.items()))
                 for element in member.iter() if element is not member]
        members.append((member.tag, sorted(member.attrib.items()), below))
    return sorted(members)


class Introspection(HaldTest):
    def setUp(self):
        super().setUp()
        self.machine.plug_usb("1-4", 0x1110, 0x9041)
        self.start()

    def introspect(self, path):
        signature, (text,) = self.client.call(
            path, "org.freedesktop.DBus.Introspectable", "Introspect")
        self.assertEqual(signature, "s")
        root = ET.fromstring(text)
        self.assertEqual(root.tag, "node")
        return root

    def assert_described(self, path, *interfaces):
        got = {interface.get("name"): shape(interface)
               for interface in self.introspect(path).iter("interface")
               if not interface.get("name").startswith("org.freedesktop.DBus.")}
        expected = {}
        for name in interfaces:
            (interface,) = ET.parse(pathlib.Path(INTERFACES, name + ".xml")).getroot()
            expected[interface.get("name")] = shape(interface)
        self.assertEqual(sorted(got), sorted(interfaces))
        self.assertEqual(got, expected)

    def test_manager(self):
        self.assert_described(MANAGER_PATH, MANAGER, OWN)

    def test_device(self):
        self.assert_described(MODEM, DEVICE)

    def test_tree_leads_to_the_devices(self):
        for path, child in (("/", "org"), ("/org/freedesktop/Hal", "Manager"),
                            ("/org/freedesktop/Hal", "devices"),
                            (DEVICES_PATH, "usb_device_1110_9041_noserial")):
            children = [node.get("name") for node in self.introspect(path).findall("node")]
            self.assertIn(child, children)

    def test_interfaces_of_every_object(self):
        signature, _ = self.client.call(MODEM, "org.freedesktop.DBus.Peer", "Ping")
        self.assertEqual(signature, "")


class CommandLine(HaldTest):
    """The other implementations of the protocol, which check what they get."""

    def setUp(self):
        super().setUp()
        self.machine.plug_usb("1-4", 0x1110, 0x9041, product="é", serial="S")
        self.modem = udi("usb_device_1110_9041_S")
        self.start()

    def run_tool(self, *command):
        if not shutil.which(command[0]):
            self.skipTest(f"{command[0]} is not installed")
        result = subprocess.run(command, capture_output=True, encoding="utf-8", timeout=TIMEOUT,
                                check=False, env={**os.environ, "LC_ALL": "C.UTF-8"})
        return result.returncode, (result.stdout + result.stderr).rstrip("\n")

    def test_gdbus(self):
        def call(path, method, *arguments):
            return self.run_tool("gdbus", "call", "--system", "--dest", SERVICE, "--object-path",
                                 path, "--method", method, *arguments)

        get = DEVICE + ".GetProperty"
        self.assertEqual(call(self.modem, get, "usb_device.vendor_id"), (0, "(4368,)"))
        self.assertEqual(call(self.modem, get, "usb_device.product"), (0, "('é',)"))
        self.assertEqual(call(self.modem, get, "info.capabilities"), (0, "(['usb_device'],)"))
        self.assertEqual(call(MANAGER_PATH, MANAGER + ".DeviceExists", self.modem), (0, "(true,)"))
        code, text = call(self.modem, get, "nothing")
        self.assertEqual((code, NO_SUCH_PROPERTY in text), (1, True), text)
        code, text = self.run_tool("gdbus", "introspect", "--system", "--dest", SERVICE,
                                   "--object-path", DEVICES_PATH, "--recurse")
        self.assertEqual((code, f"interface {DEVICE} {{" in text), (0, True), text)

    def test_busctl(self):
        def call(path, *arguments):
            return self.run_tool("busctl", "--system", "call", SERVICE, path, *arguments)

        get = DEVICE, "GetProperty", "s"
        self.assertEqual(call(self.modem, *get, "usb_device.product_id"), (0, "i 36929"))
        self.assertEqual(call(self.modem, *get, "usb_device.serial"), (0, 's "S"'))
        self.assertEqual(call(self.modem, *get, "info.capabilities"), (0, 'as 1 "usb_device"'))
        self.assertEqual(call(MANAGER_PATH, MANAGER, "GetAllDevices"), (0, f'as 1 "{self.modem}"'))
        self.assertEqual(call(MANAGER_PATH, OWN, "Reannounce", "s", ""), (0, ""))
        code, text = call(self.modem, DEVICE, "GetAllProperties")
        self.assertEqual((code, text[:8]), (0, "a{sv} 10"), text)
        self.assertIn('"usb_device.vendor_id" i 4368', text)
        code, text = call(MODEM, *get, "info.udi")
        self.assertEqual((code, text), (1, f"Call failed: No device with id {MODEM}"))
        code, text = self.run_tool("busctl", "--system", "--list", "tree", SERVICE)
        self.assertEqual((code, self.modem in text.split("\n")), (0, True), text)

    def test_dbus_send(self):
        def send(path, member, *arguments):
            return self.run_tool("dbus-send", "--system", "--print-reply=literal",
                                 "--dest=" + SERVICE, path, member, *arguments)

        code, text = send(self.modem, DEVICE + ".GetProperty", "string:usb_device.vendor_id")
        self.assertEqual((code, text.split()), (0, ["int32", "4368"]))
        code, text = send(MANAGER_PATH, MANAGER + ".FindDeviceByCapability", "string:usb_device")
        self.assertEqual((code, text.split()), (0, ["array", "[", self.modem, "]"]))
        code, text = send(MODEM, DEVICE + ".GetAllProperties")
        self.assertEqual((code, text), (1, f"Error {NO_SUCH_DEVICE}: No device with id {MODEM}"))


if __name__ == "__main__":
    dbus.mainloop.glib.DBusGMainLoop(set_as_default=True)
    counted.main()
