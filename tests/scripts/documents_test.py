# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Holds the documents against the sources.

Argument: the top of the tree.
"""

import pathlib
import re
import sys
import unittest

TOP = pathlib.Path(sys.argv[1])
ANY = "…"
STRING = r'"(?:[^"\\]|\\.)*"'


def messages_of_programs():
    """All that kestra-setup and kestrad may say, with an ellipsis for each part that varies."""
    texts = []
    for path in sorted((TOP / "src/setup").rglob("*.cpp")):
        source = path.read_text().replace("'\"'", "")
        for literals in re.findall(rf"{STRING}(?:\s*{STRING})*", source):
            text = "".join(string[1:-1] for string in re.findall(STRING, literals))
            texts.append(re.sub(r"%\d", ANY, text.replace('\\"', '"')))
    for text in re.findall(r'"([^"\n]*)"', (TOP / "data/kestrad").read_text()):
        texts.append(re.sub(r"\$\([^)]*\)|\$\w+", ANY, text))
    return texts


def rows(document):
    for line in (TOP / "docs" / document).read_text().splitlines():
        if line.startswith("|"):
            yield [cell.strip() for cell in line.strip("|").split("|")]


class GettingOnline(unittest.TestCase):
    def setUp(self):
        self.messages = messages_of_programs()
        self.assertGreater(len(self.messages), 500)

    def test_what_is_seen_is_said_by_the_programs(self):
        found = 0
        for cells in rows("getting-online.md"):
            quoted = cells[1] if len(cells[0].split("`")) == 1 else cells[0]
            for quote in re.findall(r"`([^`]+)`", quoted)[:1]:
                if quote.startswith("/"):
                    continue
                found += 1
                with self.subTest(quote=quote):
                    self.assertTrue(any(quote in message for message in self.messages))
        self.assertGreater(found, 30)

    def test_exit_codes_are_those_of_the_message(self):
        source = (TOP / "src/setup/base/exitcodes.h").read_text()
        known = {int(code) for code in re.findall(r"= (\d+),", source)}
        codes = [
            int(code)
            for cells in rows("getting-online.md")
            for group in re.findall(r"` \(([\d, ]+)\)$", cells[0])
            for code in group.split(",")
        ]
        self.assertGreater(len(codes), 15)
        self.assertLessEqual(set(codes), known)


class Paths(unittest.TestCase):
    def test_links_lead_somewhere(self):
        found = 0
        documents = [*TOP.glob("*.md"), *(TOP / "docs").glob("*.md")]
        for document in documents:
            for target in re.findall(r"\]\(([^)#:\s]+)(?:#[^)]*)?\)", document.read_text()):
                if target == "examples.html":  # of the reference
                    continue
                found += 1
                with self.subTest(document=document.name, target=target):
                    self.assertTrue((document.parent / target).exists())
        self.assertGreater(found, 15)

    def test_sections_that_links_name_are_there(self):
        for document in [*TOP.glob("*.md"), *(TOP / "docs").glob("*.md")]:
            for target, section in re.findall(r"\]\(([^)#:]*)#([^)]+)\)", document.read_text()):
                other = document.parent / target if target else document
                titles = re.findall(r"^#+ (.*)$", other.read_text(), re.MULTILINE)
                anchors = [
                    re.sub(r"[^\w\- ]", "", title.lower()).replace(" ", "-") for title in titles
                ]
                with self.subTest(document=document.name, section=section):
                    self.assertIn(section, anchors)

    def test_files_that_are_named_are_there(self):
        architecture = (TOP / "docs/architecture.md").read_text()
        setup = TOP / "src/setup"
        places = TOP, TOP / "src/kestra", setup, setup / "engine", TOP / "src/hald"
        names = re.findall(r"`((?:[\w.-]+/)*[^\W_][\w.-]*\.(?:cpp|h|md)|(?:[\w.-]+/)+)`", architecture)
        self.assertGreater(len(names), 30)
        for name in names:
            with self.subTest(name=name):
                self.assertTrue(any((place / name).exists() for place in places))


class Tutorial(unittest.TestCase):
    def test_code_is_that_of_the_example(self):
        example = TOP / "examples/modem-window"
        lines = {
            line.strip().rstrip("\\").strip()
            for path in example.iterdir()
            for line in path.read_text().splitlines()
        }
        text = (TOP / "docs/tutorial.md").read_text()
        blocks = re.findall(r"```(?:cpp|cmake)\n(.*?)```", text, re.DOTALL)
        self.assertEqual(len(blocks), 5)
        for block in blocks[:-1]:  # the last one sums up
            for line in block.splitlines():
                if "..." in line:
                    continue
                with self.subTest(line=line):
                    self.assertIn(line.strip(), lines)

    def test_the_example_is_as_short_as_it_says(self):
        example = TOP / "examples/modem-window"
        files = [*example.glob("*.cpp"), *example.glob("*.h")]
        self.assertLessEqual(sum(len(f.read_text().splitlines()) for f in files), 150)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
