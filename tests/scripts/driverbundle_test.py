# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Cuts driver bundles from kernel sources of a few lines.

Argument: scripts/make-driver-bundle.
"""

import os
import pathlib
import resource
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

    def run_script(self, *arguments, **how):
        return subprocess.run(
            [MAKE_BUNDLE, *arguments], capture_output=True, encoding="utf-8", check=False, **how
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


class Output(Bundle):
    def test_name_that_looks_like_an_option(self):
        result = self.run_script("cxacru", "--output", "-x", "--source", self.source, cwd=self.scratch)
        self.assertEqual((result.returncode, result.stdout), (0, "-x/cxacru-neo.tar.gz\n"))

    def test_half_a_bundle_replaces_nothing(self):
        bundle = self.cut("cxacru")
        before = bundle.read_bytes()
        for name in "cxacru.c", "usbatm.c", "usbatm.h":
            (self.source / "drivers/usb/atm" / name).write_bytes(os.urandom(40000))
        limit = (65536, resource.RLIM_INFINITY)  # room for each of them, but not for the bundle
        result = self.run_script(
            *("cxacru", "--output", bundle.parent, "--source", self.source),
            preexec_fn=lambda: resource.setrlimit(resource.RLIMIT_FSIZE, limit),
        )
        self.assertEqual((result.returncode, result.stdout), (1, ""))
        self.assertIn(f"make-driver-bundle: cannot write {bundle}\n", result.stderr)
        self.assertEqual(bundle.read_bytes(), before)
        self.assertEqual(list(bundle.parent.iterdir()), [bundle])

    def test_others_may_read_it(self):
        self.assertEqual(self.cut("cxacru").stat().st_mode & 0o777, 0o666 & ~os.umask(0o022))


class Download(Bundle):
    """From an apt-get that hands a package out that was built here."""

    def setUp(self):
        super().setUp()
        tree = self.scratch / "package"
        (tree / "DEBIAN").mkdir(parents=True)
        (tree / "DEBIAN/control").write_text(
            "Package: linux-source-6.1\nVersion: 1\nArchitecture: all\n"
            "Maintainer: nobody <nobody@example.net>\nDescription: sources of a few lines\n"
        )
        (tree / "usr/src").mkdir(parents=True)
        self.pack("package/usr/src/linux-source-6.1.tar.xz")
        package = self.scratch / "linux-source-6.1_1_all.deb"
        subprocess.run(["dpkg-deb", "-b", tree, package], capture_output=True, check=True)
        self.tools = self.scratch / "tools"
        self.tools.mkdir()
        self.serve(f"cp {package} .")
        self.temporary = self.scratch / "temporary"
        self.temporary.mkdir()

    def serve(self, command):
        (self.tools / "apt-get").write_text(f"#!/bin/sh\n{command}\n")
        (self.tools / "apt-get").chmod(0o755)

    def download(self, *options):
        path = f"{self.tools}:{os.environ['PATH']}"
        result = self.run_script(
            *("cxacru", "--output", self.scratch / "output", *options),
            env={**os.environ, "PATH": path, "TMPDIR": str(self.temporary)},
        )
        self.assertEqual(list(self.temporary.iterdir()), [])
        return result

    def test_nothing_is_kept(self):
        expected = self.cut("cxacru", output="expected").read_bytes()
        self.assertEqual(self.download().returncode, 0)
        self.assertEqual((self.scratch / "output/cxacru-neo.tar.gz").read_bytes(), expected)
        self.serve("exit 1")
        self.assertEqual(self.download().returncode, 1)

    def test_cache(self):
        cache = self.scratch / "some/cache"
        self.assertEqual(self.download("--cache", cache).returncode, 0)
        (archive,) = cache.iterdir()
        self.serve("exit 1")
        result = self.download("--cache", cache)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        archive.write_bytes(archive.read_bytes()[:100])
        result = self.download("--cache", cache)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"{archive} does not hold the sources of cxacru; remove it", result.stderr)

    def test_half_a_package(self):
        cache = self.scratch / "cache"
        self.serve("head -c 500 ../../linux-source-6.1_1_all.deb >linux-source-6.1_1_all.deb")
        result = self.download("--cache", cache)
        self.assertEqual(result.returncode, 1)
        self.assertIn(f"make-driver-bundle: cannot write {cache}", result.stderr)
        self.assertEqual(list(cache.iterdir()), [])

    def test_no_network(self):
        self.serve("exit 100")
        result = self.download()
        self.assertEqual(result.returncode, 1)
        self.assertIn("make-driver-bundle: cannot download linux-source-6.1", result.stderr)


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

    def test_directories_that_cannot_be(self):
        file = self.scratch / "file"
        file.touch()
        link = self.scratch / "link"
        link.symlink_to("nowhere")
        for directory in file, file / "below", link, link / "below":
            for option in "--output", "--cache":
                with self.subTest(directory=directory, option=option):
                    self.assert_refused(f"cannot write to {directory}", "cxacru", option, directory)

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
