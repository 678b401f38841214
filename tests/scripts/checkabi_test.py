# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Changes the interface of a library of a few lines.

Argument: scripts/check-abi.
"""

import os
import pathlib
import subprocess
import sys
import tempfile
import unittest

CHECK = sys.argv[1]
HEADER = """\
#include "secret_p.h"
enum Colour { Red, Green };
class Thing
{
public:
    virtual ~Thing();
    virtual int first();
    int getNumber() const;
    Colour getColour(Secret *secret) const;

private:
    int m_number;
};
"""
SECRET = "struct Secret { int number; };\n"
SOURCE = """\
#include "thing.h"
Thing::~Thing() {}
int Thing::first() { return 1; }
int Thing::getNumber() const { return m_number; }
Colour Thing::getColour(Secret *secret) const { return secret->number ? Red : Green; }
"""


class Interface(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.scratch = pathlib.Path(scratch.name)
        self.records = self.scratch / "records"
        self.records.mkdir()
        self.library = self.scratch / "libthing.so"
        self.build()
        self.assertEqual(self.check("--update").returncode, 0)
        self.record = self.read_record()

    def build(self, header=HEADER, source=SOURCE, secret=SECRET, options=("-g",), soname=1):
        headers = self.scratch / "thing"
        headers.mkdir(exist_ok=True)
        (headers / "thing.h").write_text(header)
        (headers / "secret_p.h").write_text(secret)
        (headers / "thing.cpp").write_text(source)
        subprocess.run(
            ["c++", "-shared", "-fPIC", *options, f"-Wl,-soname,libthing.so.{soname}"]
            + [headers / "thing.cpp", "-o", self.library],
            check=True,
        )

    def check(self, *options, path=os.environ["PATH"]):
        return subprocess.run(
            [CHECK, "--library", self.library, "--headers", self.scratch / "thing"]
            + ["--records", self.records, *options],
            capture_output=True,
            encoding="utf-8",
            env={**os.environ, "PATH": path},
            check=False,
        )

    def read_record(self):
        (record,) = self.records.iterdir()
        return record.read_text()

    def assert_same(self):
        result = self.check()
        self.assertEqual((result.returncode, result.stderr), (0, ""), result.stdout)

    def assert_compatible(self, what):
        result = self.check()
        self.assertEqual((result.returncode, result.stderr), (1, ""), result.stdout)
        self.assertIn(what, result.stdout)
        self.assertIn("--update", result.stdout)
        self.assertNotIn("would break", result.stdout)
        self.assertEqual(self.read_record(), self.record)
        self.assertEqual(self.check("--update").returncode, 0)
        self.assertNotEqual(self.read_record(), self.record)
        self.assert_same()

    def assert_breaks(self, what):
        for options in ((), ("--update",)):
            result = self.check(*options)
            self.assertEqual((result.returncode, result.stderr), (1, ""), result.stdout)
            self.assertIn(what, result.stdout)
            self.assertIn("would break", result.stdout)
            self.assertEqual(self.read_record(), self.record)


class Compatible(Interface):
    def test_nothing_changes(self):
        self.assert_same()

    def test_optimised(self):
        self.build(options=("-g", "-O2"))
        self.assert_same()

    def test_the_record_names_no_directory(self):
        self.assertNotIn(str(self.scratch), self.record)
        self.assertNotIn("/", self.record.replace("</", "").replace("/>", ""))

    def test_body_changes(self):
        self.build(source=SOURCE.replace("return 1", "return 2"))
        self.assert_same()

    def test_private_type_grows(self):
        self.build(secret="struct Secret { int number; int other; };\n")
        self.assert_same()

    def test_function_is_added(self):
        self.build(HEADER + "void added();\n", SOURCE + "void added() {}\n")
        self.assert_compatible("added()")

    def test_member_function_is_added(self):
        self.build(
            HEADER.replace("private:", "    void added();\nprivate:"),
            SOURCE + "void Thing::added() {}\n",
        )
        self.assert_compatible("Thing::added()")


class Breaking(Interface):
    def test_function_is_removed(self):
        function = "int Thing::getNumber() const { return m_number; }\n"
        self.build(HEADER.replace("    int getNumber() const;\n", ""), SOURCE.replace(function, ""))
        self.assert_breaks("Thing::getNumber()")
        self.build(
            HEADER.replace("    int getNumber() const;\n", ""),
            SOURCE.replace(function, ""),
            soname=2,
        )
        self.assertEqual(self.check().returncode, 1)
        self.assertEqual(self.check("--update").returncode, 0)
        self.assert_same()

    def test_virtual_function_comes_in_between(self):
        self.build(
            HEADER.replace("    virtual int first", "    virtual int zeroth();\n    virtual int first"),
            SOURCE + "int Thing::zeroth() { return 0; }\n",
        )
        self.assert_breaks("vtable")

    def test_virtual_function_is_added_at_the_end(self):
        self.build(
            HEADER.replace("private:", "    virtual int last();\nprivate:"),
            SOURCE + "int Thing::last() { return 0; }\n",
        )
        self.assert_breaks("Thing::last()")

    def test_member_is_added(self):
        self.build(HEADER.replace("m_number;", "m_number;\n    void *m_more;"))
        self.assert_breaks("type size changed")

    def test_members_change_places(self):
        header = HEADER.replace("m_number;", "m_number;\n    int m_%s;\n    int m_%s;")
        for file in self.records.iterdir():
            file.unlink()
        self.build(header % ("one", "two"))
        self.check("--update")
        self.record = self.read_record()
        self.build(header % ("two", "one"))
        self.assert_breaks("m_one")

    def test_return_type_changes(self):
        self.build(
            HEADER.replace("int getNumber", "long getNumber"),
            SOURCE.replace("int Thing::getNumber", "long Thing::getNumber"),
        )
        self.assert_breaks("return type changed")

    def test_enumerator_comes_in_between(self):
        self.build(HEADER.replace("Red,", "Red, Yellow,"))
        self.assert_breaks("Green")


class Refusals(Interface):
    def test_no_debug_information(self):
        self.build(options=())
        result = self.check()
        self.assertEqual(result.returncode, 2)
        self.assertIn("no debug information", result.stderr)

    def test_no_library(self):
        self.library.unlink()
        self.assertEqual(self.check().returncode, 2)

    def test_comparison_that_does_not_end_well(self):
        for ending in ("kill -ILL $$", "echo broken; exit 1", "exit 3"):
            tools = self.scratch / "tools"
            tools.mkdir(exist_ok=True)
            (tools / "abidiff").write_text(f"#!/bin/sh\n{ending}\n")
            (tools / "abidiff").chmod(0o755)
            with self.subTest(ending=ending):
                result = self.check(path=f"{tools}:{os.environ['PATH']}")
                self.assertEqual(result.returncode, 2)
                self.assertIn("abidiff", result.stderr)

    def test_changes_without_a_word(self):
        tools = self.scratch / "tools"
        tools.mkdir()
        (tools / "abidiff").write_text("#!/bin/sh\nexit 4\n")
        (tools / "abidiff").chmod(0o755)
        self.assertEqual(self.check(path=f"{tools}:{os.environ['PATH']}").returncode, 1)

    def test_no_record(self):
        for file in self.records.iterdir():
            file.unlink()
        self.assertEqual(self.check().returncode, 77)
        self.assertEqual(list(self.records.iterdir()), [])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
