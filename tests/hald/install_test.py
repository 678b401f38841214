# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Installs kestra-hald and has the system's own tools use and judge its files.

Arguments: cmake, the build directory of kestra-hald, its source directory, the prefix. To be run in
a network namespace of its own, where nobody else listens to udev.
"""

import configparser
import filecmp
import os
import pathlib
import pwd
import re
import shutil
import signal
import subprocess
import sys
import tempfile
import time
import unittest

import counted
import udevevents

CMAKE, BUILD, SOURCE, PREFIX = (pathlib.Path(argument) for argument in sys.argv[1:5])

USER = "kestra-hald"
SERVICE = "org.freedesktop.Hal"
DBUS = ("org.freedesktop.DBus", "/org/freedesktop/DBus")
MANAGER = (SERVICE, "/org/freedesktop/Hal/Manager")
PROGRAM = PREFIX / "sbin/kestra-hald"
UNIT = PREFIX / "lib/systemd/system/kestra-hald.service"
SYSUSERS = PREFIX / "lib/sysusers.d/kestra-hald.conf"
SHARE = PREFIX / "share/dbus-1"
ACTIVATION = SHARE / "system-services/org.freedesktop.Hal.service"
POLICY = SHARE / "system.d/org.freedesktop.Hal.conf"
MAN_PAGE = PREFIX / "share/man/man8/kestra-hald.8"

MOST_EXPOSED = 15  # of 100, as systemd counts it

TIMEOUT = 10  # s


def run(*command, **options):
    return subprocess.run(command, capture_output=True, encoding="utf-8", check=False,
                          timeout=TIMEOUT, **options)


def setUpModule():
    with open("/proc/self/uid_map", encoding="ascii") as file:
        if file.read().split()[1:2] != ["0"] or os.geteuid() != 0:
            raise unittest.SkipTest("only root can install, and be other users")
    # The sandbox is a copy of the system, so that this needs no other root directory.
    subprocess.run([CMAKE, "--install", BUILD], check=True, stdout=subprocess.DEVNULL)
    subprocess.run(["systemd-sysusers", SYSUSERS], check=True)


def needs(tool):
    return unittest.skipUnless(shutil.which(tool), f"{tool} is not installed")


def read_ini(path):
    parser = configparser.RawConfigParser(strict=False)
    parser.optionxform = str
    parser.read(path, "utf-8")
    return parser


class Files(unittest.TestCase):
    maxDiff = None

    def test_descriptions_are_installed(self):
        for file in (SOURCE / "interfaces").glob("*.xml"):
            self.assertTrue(filecmp.cmp(file, SHARE / "interfaces" / file.name, False), file)
        self.assertEqual(len(list((SHARE / "interfaces").glob("*Hal*.xml"))), 3)

    def test_all_name_the_same_program_and_user(self):
        unit, activation = read_ini(UNIT), read_ini(ACTIVATION)["D-BUS Service"]
        self.assertEqual(unit["Service"]["ExecStart"], activation["Exec"])
        self.assertEqual(activation["Exec"].split()[0], str(PROGRAM))
        self.assertTrue(os.access(PROGRAM, os.X_OK))
        self.assertEqual((unit["Service"]["BusName"], activation["Name"]), (SERVICE, SERVICE))
        self.assertEqual(ACTIVATION.stem, SERVICE)  # where dbus-daemon's launch helper looks
        self.assertEqual(activation["SystemdService"], UNIT.name)
        self.assertEqual((unit["Service"]["User"], activation["User"]), (USER, USER))

    @needs("systemd-analyze")
    def test_unit_is_valid(self):
        result = run("systemd-analyze", "verify", "--man=no", UNIT)
        about = [line for line in (result.stdout + result.stderr).splitlines() if USER in line]
        self.assertEqual((result.returncode, about), (0, []), result.stderr)

    @needs("systemd-analyze")
    def test_unit_is_hardened(self):
        result = run("systemd-analyze", "security", "--offline=yes", "--no-pager",
                     f"--threshold={MOST_EXPOSED}", UNIT)
        self.assertEqual(result.returncode, 0, result.stdout + result.stderr)

    @needs("systemd-sysusers")
    def test_user_is_a_system_user_that_cannot_log_in(self):
        with tempfile.TemporaryDirectory() as root:
            pathlib.Path(root, "etc").mkdir()
            result = run("systemd-sysusers", "--root", root, "-", input=SYSUSERS.read_text("utf-8"))
            self.assertEqual(result.returncode, 0, result.stderr)
            (entry,) = pathlib.Path(root, "etc/passwd").read_text("utf-8").splitlines()
        name, _, user, _, _, home, shell = entry.split(":")
        self.assertEqual((name, home, pathlib.Path(shell).name), (USER, "/", "nologin"))
        self.assertLess(int(user), 1000)

    @needs("man")
    def test_manual_page_has_no_faults(self):
        result = run("man", "--warnings", "--encoding=UTF-8", "--local-file", MAN_PAGE,
                     env={**os.environ, "LC_ALL": "C.UTF-8", "MANWIDTH": "80"})
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.assertIn("SYNOPSIS", result.stdout)

    def test_manual_page_tells_what_the_help_tells(self):
        manual = MAN_PAGE.read_text("utf-8").replace("\\-", "-")
        shown = run(PROGRAM, "--help").stdout
        options = re.findall(r"^  --(\S+)", shown, re.MULTILINE)
        self.assertGreater(len(options), 4)
        described = re.findall(r"^\.BI? --(\S+)", manual, re.MULTILINE)
        self.assertEqual(sorted(options), sorted(described))
        codes = re.findall(r"(\d) \w", shown.split("Exit codes:")[1])
        status = manual.split(".SH EXIT STATUS")[1].split(".SH")[0]
        self.assertEqual(codes, re.findall(r"^(\d)$", status, re.MULTILINE))

    def test_log_has_priorities_for_the_journal_only(self):
        with tempfile.TemporaryFile(buffering=0) as log:
            status = os.fstat(log.fileno())
            # A shell in a session of systemd's passes the variable on, but not the stream.
            for stream, start in ((f"{status.st_dev}:{status.st_ino}", b"<3>The system bus "),
                                  (f"{status.st_dev}:0", b"kestra-hald: The system bus ")):
                log.seek(0)
                subprocess.run([PROGRAM], stderr=log, timeout=TIMEOUT, check=False, env={
                    "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nowhere", "JOURNAL_STREAM": stream})
                log.seek(0)
                self.assertEqual(log.read(len(start)), start)


class Bus(unittest.TestCase):
    """The system bus as a distribution has it, with the installed policy."""

    CONFIGURATION = """<!DOCTYPE busconfig PUBLIC
 "-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN"
 "http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd">
<busconfig>
  <include>/usr/share/dbus-1/system.conf</include>
  <include>{}</include>
</busconfig>
"""

    def setUp(self):
        directory = pathlib.Path("/run/dbus")
        directory.mkdir(exist_ok=True)
        configuration = directory / "test.conf"
        configuration.write_text(self.CONFIGURATION.format(POLICY), "utf-8")
        (directory / "pid").unlink(missing_ok=True)
        os.environ.pop("DBUS_SYSTEM_BUS_ADDRESS", None)
        # The address is told when the bus can be reached.
        self.bus = subprocess.Popen(
            ["dbus-daemon", "--nofork", "--print-address", f"--config-file={configuration}"],
            stdout=subprocess.PIPE)
        self.addCleanup(self.stop_bus)
        self.assertNotEqual(self.bus.stdout.readline(), b"")

    def stop_bus(self):
        owner = self.owner()
        self.bus.terminate()
        self.bus.wait(TIMEOUT)
        self.bus.stdout.close()
        end = time.monotonic() + TIMEOUT
        while owner and os.path.exists(f"/proc/{owner}/exe"):
            if time.monotonic() > end:
                os.kill(owner, signal.SIGKILL)
                self.fail("the service does not leave with the bus")
            time.sleep(0.01)

    def send(self, user, destination, method, *arguments):
        return run(*self.as_user(user), "dbus-send", "--system", "--print-reply=literal",
                   f"--dest={destination[0]}", destination[1], method, *arguments)

    @staticmethod
    def as_user(user):
        return ("setpriv", f"--reuid={user}", f"--regid={pwd.getpwnam(user).pw_gid}",
                "--clear-groups")

    def owner(self):
        result = self.send("root", DBUS, "org.freedesktop.DBus.GetConnectionUnixProcessID",
                           "string:" + SERVICE)
        return int(result.stdout.split()[1]) if result.returncode == 0 else 0

    def test_only_its_user_may_own_the_name(self):
        for user in "root", "nobody", "messagebus":
            with self.subTest(user=user):
                result = self.own(user)
                self.assertEqual(result.returncode, 1, result.stdout)
                self.assertIn("org.freedesktop.DBus.Error.AccessDenied", result.stderr)
        result = self.own(USER)
        self.assertEqual((result.returncode, result.stdout.split()), (0, ["uint32", "1"]))

    def own(self, user):
        return self.send(user, DBUS, "org.freedesktop.DBus.RequestName", "string:" + SERVICE,
                         "uint32:4")

    def test_program_tells_another_user_whom_to_run_it_as(self):
        result = run(PROGRAM)
        self.assertEqual(result.returncode, 5)
        lines = [line for line in result.stderr.splitlines() if "present at the start" not in line]
        self.assertEqual(len(lines), 1, result.stderr)
        self.assertIn("run kestra-hald as the user kestra-hald", lines[0])

    def test_first_call_starts_it_without_rights(self):
        self.assertEqual(self.owner(), 0)
        result = self.send("nobody", MANAGER, SERVICE + ".Manager.GetAllDevices")
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        process = pathlib.Path("/proc", str(self.owner()))
        command = (process / "cmdline").read_text("utf-8").split("\0")[:-1]
        self.assertEqual(command, read_ini(ACTIVATION)["D-BUS Service"]["Exec"].split())
        status = dict(line.split(":\t", 1)
                      for line in (process / "status").read_text("utf-8").splitlines())
        ids = pwd.getpwnam(USER)
        self.assertEqual(status["Uid"].split(), [str(ids.pw_uid)] * 4)
        self.assertEqual(status["Gid"].split(), [str(ids.pw_gid)] * 4)
        self.assertEqual(int(status["CapEff"], 16), 0)

    def test_everybody_may_call_everything(self):
        for user in "nobody", "root", USER, "messagebus":
            for call in (("Manager.GetAllDevices",), ("Manager.DeviceExists", "string:x")):
                result = self.send(user, MANAGER, f"{SERVICE}.{call[0]}", *call[1:])
                self.assertEqual((user, result.returncode, result.stderr), (user, 0, ""))
            for interface in ("org.kestra.Hald1.Reannounce", "string:"), (
                    "org.freedesktop.DBus.Introspectable.Introspect",):
                result = self.send(user, MANAGER, *interface)
                self.assertEqual((user, result.returncode, result.stderr), (user, 0, ""))
            result = self.send(user, (SERVICE, "/org/freedesktop/Hal/devices/x"),
                               SERVICE + ".Device.GetAllProperties")
            self.assertIn(SERVICE + ".NoSuchDevice", result.stderr)

    LISTENER = """
import dbus, dbus.mainloop.glib
from gi.repository import GLib
bus = dbus.SystemBus(mainloop=dbus.mainloop.glib.DBusGMainLoop())
bus.add_signal_receiver(lambda udi, member: print(member, udi, flush=True),
                        dbus_interface="org.freedesktop.Hal.Manager", member_keyword="member")
bus.get_object("org.freedesktop.Hal", "/org/freedesktop/Hal/Manager").GetAllDevices()
print("ready", flush=True)
GLib.MainLoop().run()
"""

    def test_everybody_hears_what_udev_announces(self):
        udevevents.pretend_udev_runs()
        listener = subprocess.Popen(
            [*self.as_user("nobody"), "timeout", str(TIMEOUT), sys.executable, "-c", self.LISTENER],
            stdout=subprocess.PIPE, encoding="utf-8")
        self.addCleanup(listener.stdout.close)
        self.addCleanup(listener.wait, TIMEOUT)
        self.addCleanup(listener.terminate)
        self.assertEqual(listener.stdout.readline(), "ready\n")
        udev = udevevents.Udev()
        for sequence, action in enumerate(("add", "remove"), 1):
            udev.send(udevevents.usb_event(action, "1-4", 0x1110, 0x9041, sequence))
        udi = "/org/freedesktop/Hal/devices/usb_device_1110_9041_1_4"
        self.assertEqual(listener.stdout.readline(), f"DeviceAdded {udi}\n")
        self.assertEqual(listener.stdout.readline(), f"DeviceRemoved {udi}\n")


if __name__ == "__main__":
    counted.main()
