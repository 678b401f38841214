# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Cuts driver bundles from kernel sources of a few lines.

Argument: scripts/make-driver-bundle.
"""

import os
import pathlib
import subprocess
import sys
import tarfile
import tempfile
import unittest

MAKE_BUNDLE = sys.argv[1]
SOURCES = "ueagle-atm.c", "usbatm.c", "usbatm.h", "speedtch.c", "cxacru.c"


class Bundle(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name)
        self.source = self.scratch / "linux-source-0.1"
        atm = self.source / "drivers/usb/atm"
        atm.mkdir(parents=True)
        for name in SOURCES:
            (atm / name).write_text(f"/* {name} */\n")
        (atm / "other.c").write_text("/* not wanted */\n")

    def run_script(self, *arguments):
        return subprocess.run(
            [MAKE_BUNDLE, *arguments], capture_output=True, encoding="utf-8", check=False
        )

    def cut(self, driver, source=None, output="output"):
        directory = self.scratch / output
        result = self.run_script(driver, "--output", directory, "--source", source or self.source)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        bundle = pathlib.Path(result.stdout.rstrip("\n"))
        self.assertEqual(bundle.parent, directory)
        return bundle

    def unpack(self, driver):
        with tarfile.open(self.cut(driver)) as archive:
            archive.extractall(self.scratch)
            return self.scratch / archive.getnames()[0]

    def pack(self, name):
        archive = self.scratch / name
        with tarfile.open(archive, "w:xz") as file:
            file.add(self.source, self.source.name)
        return archive

    def make(self, tree, *arguments):
        return subprocess.run(
            ["make", "-C", tree, *arguments], capture_output=True, encoding="utf-8", check=False
        )


class Contents(Bundle):
    def assert_contents(self, driver, name, *files):
        bundle = self.cut(driver)
        self.assertEqual(bundle.name, name + ".tar.gz")
        with tarfile.open(bundle) as archive:
            paths = [f"{name}/{file}" for file in ("Makefile", *files)]
            self.assertCountEqual(archive.getnames(), [name, *paths])
            for file in files:
                content = archive.extractfile(f"{name}/{file}").read().decode()
                self.assertEqual(content, f"/* {file} */\n")

    def test_ueagle(self):
        self.assert_contents(
            "ueagle-atm", "ueagle-atm-default", "ueagle-atm.c", "usbatm.c", "usbatm.h"
        )

    def test_speedtch(self):
        self.assert_contents("speedtch", "speedtch-default", "speedtch.c", "usbatm.c", "usbatm.h")

    def test_cxacru(self):
        self.assert_contents("cxacru", "cxacru-neo", "cxacru.c", "usbatm.c", "usbatm.h")

    def test_same_sources_give_same_bytes(self):
        first = self.cut("ueagle-atm").read_bytes()
        for file in (self.source / "drivers/usb/atm").iterdir():
            os.utime(file, (1, 1))
            file.chmod(0o600)
        self.assertEqual(self.cut("ueagle-atm", output="again").read_bytes(), first)
        archive = self.pack("sources.tar.xz")
        self.assertEqual(self.cut("ueagle-atm", archive, "third").read_bytes(), first)


class Makefile(Bundle):
    def test_clean_needs_no_kernel(self):
        tree = self.unpack("ueagle-atm")
        (tree / "ueagle-atm.ko").touch()
        (tree / ".usbatm.o.cmd").touch()
        self.assertEqual(self.make(tree, "clean", "KDIR=/nowhere").returncode, 0)
        self.assertCountEqual(
            [file.name for file in tree.iterdir()],
            ["Makefile", "ueagle-atm.c", "usbatm.c", "usbatm.h"],
        )

    def test_install(self):
        tree, target = self.unpack("ueagle-atm"), self.scratch / "modules/atm"
        for name in "ueagle-atm.ko", "usbatm.ko":
            (tree / name).write_text(name)
        self.assertEqual(self.make(tree, "install", f"MODDIR={target}").returncode, 0)
        self.assertEqual(
            {file.name: file.read_text() for file in target.iterdir()},
            {"ueagle-atm.ko": "ueagle-atm.ko", "usbatm.ko": "usbatm.ko"},
        )

    def test_install_before_the_build(self):
        tree, target = self.unpack("ueagle-atm"), self.scratch / "modules"
        self.assertNotEqual(self.make(tree, "install", f"MODDIR={target}").returncode, 0)
        self.assertFalse(target.exists())

    def test_install_where_nothing_can_be_written(self):
        tree = self.unpack("ueagle-atm")
        for name in "ueagle-atm.ko", "usbatm.ko":
            (tree / name).touch()
        self.assertNotEqual(self.make(tree, "install", "MODDIR=/proc/modules/atm").returncode, 0)

    def test_build_goes_through_the_kernel_directory(self):
        tree, kernel = self.unpack("ueagle-atm"), self.scratch / "kernel"
        kernel.mkdir()
        (kernel / "Makefile").write_text("modules:\n\t@echo building in $(M)\n")
        result = self.make(tree, f"KDIR={kernel}")
        self.assertEqual(result.returncode, 0)
        self.assertIn(f"building in {tree}\n", result.stdout)


class Refusals(Bundle):
    def assert_refused(self, message, *arguments):
        result = self.run_script(*arguments)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, "")
        self.assertIn("make-driver-bundle: " + message, result.stderr)

    def test_arguments(self):
        self.assert_refused("which driver?")
        self.assert_refused("unknown driver floppy", "floppy")
        self.assert_refused("one driver at a time", "cxacru", "speedtch")
        self.assert_refused("unknown option --fast", "cxacru", "--fast")

    def test_sources(self):
        nowhere = self.scratch / "nowhere"
        self.assert_refused(f"{nowhere} does not exist", "cxacru", "--source", nowhere)
        (self.source / "drivers/usb/atm/usbatm.c").unlink()
        output = self.scratch / "output"
        for source in self.source, self.pack("broken.tar.xz"):
            self.assert_refused(
                f"{source} does not hold the sources of cxacru",
                *("cxacru", "--output", output, "--source", source),
            )
        self.assertFalse(output.exists())


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
