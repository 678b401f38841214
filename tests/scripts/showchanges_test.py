# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Lets scripts/demo.d/show-changes compare small trees.

Argument: scripts/demo.d/show-changes.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

SHOW_CHANGES = sys.argv[1]


class Trees(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.before = pathlib.Path(scratch.name, "before")
        self.after = pathlib.Path(scratch.name, "after")
        self.before.mkdir()
        self.after.mkdir()

    def put(self, top, path, content, mode=0o644):
        file = top / path
        file.parent.mkdir(parents=True, exist_ok=True)
        file.write_bytes(content.encode() if isinstance(content, str) else content)
        file.chmod(mode)
        return file

    def link(self, top, path, target):
        (top / path).parent.mkdir(parents=True, exist_ok=True)
        (top / path).symlink_to(target)

    def show(self, *options):
        result = subprocess.run(
            [sys.executable, SHOW_CHANGES, *options, self.before, self.after],
            capture_output=True,
            encoding="utf-8",
            check=False,
        )
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        return result.stdout.splitlines()

    def assert_shown(self, *lines):
        self.assertEqual(self.show("--complete"), list(lines))


class Complete(Trees):
    def test_nothing(self):
        for top in self.before, self.after:
            self.put(top, "etc/same", "same\n")
            self.link(top, "etc/link", "same")
        self.assert_shown()

    def test_added(self):
        self.put(self.after, "etc/new", "one\ntwo\n", 0o400)
        self.assert_shown(
            "added    /etc/new (mode 0400)",
            "    --- /dev/null",
            "    +++ /etc/new",
            "    @@ -0,0 +1,2 @@",
            "    +one",
            "    +two",
        )

    def test_removed(self):
        self.put(self.before, "etc/old", "one\n")
        self.assert_shown(
            "removed  /etc/old",
            "    --- /etc/old",
            "    +++ /dev/null",
            "    @@ -1 +0,0 @@",
            "    -one",
        )

    def test_changed(self):
        self.put(self.before, "etc/file", "one\ntwo\n")
        self.put(self.after, "etc/file", "one\nthree\n")
        self.assert_shown(
            "changed  /etc/file (mode 0644)",
            "    --- /etc/file",
            "    +++ /etc/file",
            "    @@ -1,2 +1,2 @@",
            "     one",
            "    -two",
            "    +three",
        )

    def test_mode(self):
        self.put(self.before, "etc/file", "one\n", 0o644)
        self.put(self.after, "etc/file", "one\n", 0o600)
        self.assert_shown("changed  /etc/file (mode 0644 -> 0600)")

    def test_links(self):
        self.link(self.before, "etc/rc2.d/S20x", "/etc/init.d/x")
        self.link(self.after, "etc/rc2.d/S15x", "/etc/init.d/x")
        self.assert_shown(
            "added    /etc/rc2.d/S15x",
            "    + /etc/rc2.d/S15x -> /etc/init.d/x",
            "removed  /etc/rc2.d/S20x",
            "    - /etc/rc2.d/S20x -> /etc/init.d/x",
        )

    def test_link_to_a_directory(self):
        (self.after / "etc").mkdir()
        self.link(self.after, "etc/directory", ".")
        self.assert_shown("added    /etc/directory", "    + /etc/directory -> .")

    def test_binary(self):
        self.put(self.before, "opt/file", b"\0")
        self.put(self.after, "opt/file", b"\0\0")
        self.assert_shown(
            "changed  /opt/file (mode 0644)",
            "    - 1 bytes, sha256 6e340b9cffb3",
            "    + 2 bytes, sha256 96a296d224f2",
        )

    def test_moved(self):
        self.put(self.before, "etc/old", "content\n")
        self.put(self.after, "tmp/backup", "content\n")
        self.assert_shown(
            "moved    /etc/old", "      -> /tmp/backup (8 bytes, sha256 434728a410a7)"
        )

    def test_moved_and_replaced(self):
        self.put(self.before, "etc/file", "content\n")
        self.put(self.after, "etc/file", "successor\n")
        self.put(self.after, "etc/file_saved", "content\n")
        self.assert_shown(
            "moved    /etc/file",
            "      -> /etc/file_saved (8 bytes, sha256 434728a410a7)",
            "changed  /etc/file (mode 0644)",
            "    --- /etc/file",
            "    +++ /etc/file",
            "    @@ -1 +1 @@",
            "    -content",
            "    +successor",
        )

    def test_copied(self):
        for top in self.before, self.after:
            self.put(top, "etc/file", b"\0")
        self.put(self.after, "etc/copy", b"\0")
        self.assert_shown(
            "added    /etc/copy (mode 0644)", "    + 1 bytes, sha256 6e340b9cffb3"
        )

    def test_long_texts(self):
        self.put(self.before, "opt/a", "".join(f"{n}\n" for n in range(60)))
        self.put(self.before, "opt/b", "".join(f"{n}\n" for n in range(61)))
        self.put(self.after, "opt/b", "b\n")
        lines = self.show("--complete")
        first, second = lines.index("removed  /opt/a"), lines.index("changed  /opt/b (mode 0644)")
        self.assertEqual(lines[first + 4 : second], [f"    -{n}" for n in range(60)])
        self.assertEqual(
            lines[second + 4 :],
            [*(f"    -{n}" for n in range(12)), "    -... 49 more lines", "    +b"],
        )

    def test_packages(self):
        database = "Package: {}\nStatus: install ok installed\nVersion: {}\n\n"
        gone = "Package: gone\nStatus: deinstall ok config-files\nVersion: 1\n\n"
        self.put(self.before, "var/lib/dpkg/status", database.format("old", "1"))
        self.put(self.after, "var/lib/dpkg/status",
                 database.format("old", "2") + database.format("new", "1.0") + gone)
        self.assert_shown(
            "package  new: none -> 1.0",
            "package  old: 1 -> 2",
            "besides  1 file of package database and caches",
        )


class Secrets(Trees):
    def test_masked(self):
        earlier = '# a comment\nold\t*\tunquoted\n"a b" * "x y" *\n'
        self.put(self.before, "etc/ppp/pap-secrets", earlier)
        self.put(self.after, "etc/ppp/pap-secrets", '"user" * "pass"word" *\n')
        self.put(self.after, "etc/ppp/peers/other", "user me\npassword secret\n")
        self.assert_shown(
            "changed  /etc/ppp/pap-secrets (mode 0644)",
            "    --- /etc/ppp/pap-secrets",
            "    +++ /etc/ppp/pap-secrets",
            "    @@ -1,3 +1 @@",
            "    -# a comment",
            "    -old\t*\t********",
            '    -"a b" * ********',
            '    +"user" * ********',
            "added    /etc/ppp/peers/other (mode 0644)",
            "    --- /dev/null",
            "    +++ /etc/ppp/peers/other",
            "    @@ -0,0 +1,2 @@",
            "    +user me",
            "    +password ********",
        )


class Layers(Trees):
    """The directories hold changes of the real system, a whiteout where a file was removed."""

    def setUp(self):
        super().setUp()
        if os.geteuid() != 0:
            self.skipTest("only root can make whiteouts")

    def whiteout(self, top, path):
        (top / path).parent.mkdir(parents=True, exist_ok=True)
        os.mknod(top / path, 0o020000, os.makedev(0, 0))

    def test_removed_directory(self):
        directory = pathlib.Path(tempfile.mkdtemp(dir="/opt"))
        self.put(directory, "a/b/file", b"\0")
        self.whiteout(self.after, str(directory)[1:] + "/a")
        self.assertEqual(
            self.show(), [f"removed  {directory}/a/b/file", "    - 1 bytes, sha256 6e340b9cffb3"]
        )

    def test_file_that_came_and_went(self):
        self.put(self.before, "etc/kestra-test", "before\n")
        self.assertEqual(self.show()[0], "removed  /etc/kestra-test")

    def test_replaced_directory(self):
        directory = pathlib.Path(tempfile.mkdtemp(dir="/opt"))
        self.put(directory, "file", b"\0")
        copy = self.after / str(directory)[1:]
        copy.mkdir(parents=True)
        self.assertEqual(self.show(), [])
        try:
            os.setxattr(copy, "trusted.overlay.opaque", b"y")
        except PermissionError:
            self.skipTest("in a user namespace nobody can mark a directory that replaces another")
        self.assertEqual(self.show()[0], f"removed  {directory}/file")

    def test_real_scratch_directories_do_not_count(self):
        with tempfile.NamedTemporaryFile(dir="/tmp") as file:
            self.put(self.after, file.name[1:], "new\n")
            self.assertEqual(self.show()[0], f"added    {file.name} (mode 0644)")


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
