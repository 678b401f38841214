# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs the generator of the provider database on good, bad and the real input.

Arguments: the generator, the real table.
"""

import csv
import pathlib
import subprocess
import sys
import tempfile
import unittest
import xml.etree.ElementTree as ET

GENERATOR, REAL_TABLE = sys.argv[1:3]

HEADER = (
    "country_code country provider service vpi vci protocol encapsulation dns1 dns2 source".split()
)
GOOD = dict(zip(HEADER, "FD Freedonia Net ADSL 8 35 pppoe llc 192.0.2.1 192.0.2.2 page".split()))


def good(**changes):
    return {**GOOD, **changes}


def table(*rows):
    lines = [HEADER] + [row.values() for row in rows]
    return "".join("\t".join(line) + "\n" for line in lines).encode("utf-8")


class Generator(unittest.TestCase):
    def setUp(self):
        scratch = tempfile.TemporaryDirectory()
        self.addCleanup(scratch.cleanup)
        self.table = pathlib.Path(scratch.name, "table.tsv")
        self.database = pathlib.Path(scratch.name, "services.xml")

    def run_generator(self, content):
        self.table.write_bytes(content)
        return subprocess.run(
            [sys.executable, GENERATOR, self.table, self.database],
            capture_output=True,
            encoding="utf-8",
            check=False,
        )

    def make(self, *rows):
        result = self.run_generator(table(*rows))
        self.assertEqual((result.returncode, result.stdout, result.stderr), (0, "", ""))
        return ET.parse(self.database).getroot()

    def assert_refused(self, content, line, message):
        result = self.run_generator(content)
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stdout, "")
        self.assertEqual(result.stderr, f"{self.table}:{line}: {message}\n")
        self.assertFalse(self.database.exists())

    def names(self, *rows):
        return [service.get("name") for service in self.make(*rows).iter("service")]

    def countries(self, *names):
        codes = ("AA", "AB", "AC", "AD", "AE")
        rows = [good(country_code=code, country=name) for code, name in zip(codes, names)]
        return [country.get("code") for country in self.make(*rows)]


class Form(Generator):
    def test_service(self):
        root = self.make(good())
        self.assertEqual(root.tag, "services")
        self.assertEqual(
            [country.attrib for country in root.iter("country")], [{"code": "Freedonia"}]
        )
        service = root.find("country/service")
        self.assertEqual(service.attrib, {"name": "Net ADSL"})
        self.assertEqual(
            [(child.tag, child.text) for child in service],
            [
                ("vpi", "8"),
                ("vci", "35"),
                ("protocol", "pppoe"),
                ("encapsulation", "llc"),
                ("dns_server_1", "192.0.2.1"),
                ("dns_server_2", "192.0.2.2"),
            ],
        )

    def test_no_dns(self):
        service = self.make(good(dns1="", dns2="")).find("country/service")
        self.assertIsNone(service.find("dns_server_1").text)
        self.assertIsNone(service.find("dns_server_2").text)

    def test_markup_and_other_scripts_survive(self):
        name = 'Связь "A&B" <北京>'
        self.assertEqual(self.names(good(provider=name)), [name + " ADSL"])
        self.assertIn("Связь", self.database.read_text("utf-8"))
        self.assertIn("北京", self.database.read_text("utf-8"))

    def test_limits_of_the_numbers(self):
        services = self.make(
            good(provider="A", vpi="0", vci="32"), good(provider="B", vpi="255", vci="65535")
        ).iter("service")
        self.assertEqual(
            [(service.find("vpi").text, service.find("vci").text) for service in services],
            [("0", "32"), ("255", "65535")],
        )

    def test_last_line_without_end(self):
        self.assertEqual(self.run_generator(table(good()).rstrip(b"\n")).returncode, 0)

    def test_same_input_gives_same_bytes(self):
        rows = [good(provider=provider) for provider in "BCA"]
        self.make(*rows)
        first = self.database.read_bytes()
        self.make(*rows)
        self.assertEqual(self.database.read_bytes(), first)


class Order(Generator):
    def test_countries_whatever_case_and_marks(self):
        self.assertEqual(
            self.countries("Zambia", "Österreich", "oman", "Panama", "Åland"),
            ["Åland", "oman", "Österreich", "Panama", "Zambia"],
        )

    def test_rows_of_a_country_need_not_stand_together(self):
        root = self.make(
            good(provider="B"),
            good(country_code="SY", country="Sylvania"),
            good(provider="a"),
        )
        self.assertEqual([country.get("code") for country in root.iter("country")],
                         ["Freedonia", "Sylvania"])
        self.assertEqual([service.get("name") for service in root.find("country")],
                         ["a ADSL", "B ADSL"])


class Names(Generator):
    def test_only_what_differs_is_appended(self):
        self.assertEqual(
            self.names(good(), good(vpi="0", vci="38")),
            ["Net ADSL (VPI 0, VCI 38)", "Net ADSL (VPI 8, VCI 35)"],
        )
        self.assertEqual(
            self.names(good(), good(protocol="pppoa", encapsulation="vc")),
            ["Net ADSL (PPPoA, VC-MUX)", "Net ADSL (PPPoE, LLC)"],
        )
        self.assertEqual(
            self.names(good(), good(dns2="")),
            ["Net ADSL (second DNS 192.0.2.2)", "Net ADSL (second DNS none)"],
        )

    def test_others_keep_their_plain_name(self):
        self.assertEqual(
            self.names(good(), good(vci="38"), good(service="Fast")),
            ["Net ADSL (VCI 35)", "Net ADSL (VCI 38)", "Net Fast"],
        )

    def test_same_name_in_another_country_stays_plain(self):
        rows = good(), good(country_code="SY", country="Sylvania", vci="38")
        self.assertEqual(self.names(*rows), ["Net ADSL", "Net ADSL"])

    def test_provider_and_service_may_split_differently(self):
        rows = good(provider="A B", service="C"), good(provider="A", service="B C", vci="38")
        self.assertEqual(self.names(*rows), ["A B C (VCI 35)", "A B C (VCI 38)"])


class Faults(Generator):
    WRONG_NUMBER = {
        "vpi": ("must be a number from 0 to 255", ["256", "-1", "", "08", "8.0", "x", "٨"]),
        "vci": ("must be a number from 32 to 65535", ["31", "65536", "1000000000", "+35", " 35"]),
    }

    def assert_row_refused(self, message, **changes):
        self.assert_refused(table(good(), good(**changes)), 3, message)

    def test_numbers(self):
        for column, (message, values) in self.WRONG_NUMBER.items():
            for value in values:
                with self.subTest(column=column, value=value):
                    self.assert_row_refused(f'{column} "{value}" {message}', **{column: value})

    def test_protocol_and_encapsulation(self):
        for value in "", "PPPoE", "ipoe", "pppoe ":
            self.assert_row_refused(f'protocol "{value}" must be pppoe or pppoa', protocol=value)
        for value in "", "LLC", "vc-mux":
            self.assert_row_refused(
                f'encapsulation "{value}" must be llc or vc', encapsulation=value
            )

    def test_addresses(self):
        for column in "dns1", "dns2":
            for value in "1.2.3", "256.1.1.1", "1.2.3.4 ", "01.2.3.4", "::1", "example.net":
                self.assert_row_refused(
                    f'{column} "{value}" must be an IPv4 address or empty', **{column: value}
                )
            for value in "0.0.0.0", "127.0.0.1", "224.0.0.1", "255.255.255.255":
                self.assert_row_refused(
                    f'{column} "{value}" is not the address of a server', **{column: value}
                )

    def test_names(self):
        for column in "country", "provider", "service", "source":
            for value in "", " Net", "Net ":
                self.assert_row_refused(
                    f'{column} "{value}" must not be empty or begin or end with a blank',
                    **{column: value},
                )
        self.assert_row_refused(
            'provider "a\0b" holds a character that cannot be shown', provider="a\0b"
        )

    def test_countries(self):
        self.assert_row_refused('country_code "fd" must be two capital letters', country_code="fd")
        self.assert_row_refused('FD is "Freedonia" above and "Sylvania" here', country="Sylvania")
        self.assert_row_refused('"Freedonia" is FD above and SY here', country_code="SY")

    def test_same_service_twice(self):
        self.assert_row_refused('"Net ADSL" is the service of line 2 again', source="another")

    def test_appended_values_may_not_meet_a_plain_name(self):
        rows = good(), good(vci="38"), good(service="ADSL (VCI 35)")
        self.assert_refused(
            table(*rows), 4, '"Net ADSL (VCI 35)" is the service of line 2 again'
        )

    def test_columns(self):
        content = table(good()) + b"FD\tFreedonia\n"
        self.assert_refused(content, 3, "has 2 columns instead of 11")
        self.assert_refused(table(good()) + b"\n", 3, "has 1 columns instead of 11")

    def test_header(self):
        message = "the header must be: " + " ".join(HEADER)
        self.assert_refused(b"", 1, message)
        self.assert_refused(table(good()).split(b"\n", 1)[1], 1, message)
        self.assert_refused(b"\xef\xbb\xbf" + table(good()), 1, message)

    def test_no_service(self):
        self.assert_refused(table(), 1, "there is no service below the header")

    def test_encoding(self):
        content = table(good(), good(provider="é")).decode("utf-8").encode("latin-1")
        self.assert_refused(content, 3, "is not UTF-8")

    def test_missing_table(self):
        result = subprocess.run(
            [sys.executable, GENERATOR, "/nowhere/table.tsv", self.database],
            capture_output=True,
            encoding="utf-8",
            check=False,
        )
        self.assertEqual(result.returncode, 1)
        self.assertEqual(result.stderr, "/nowhere/table.tsv: No such file or directory\n")


class RealTable(Generator):
    def setUp(self):
        super().setUp()
        content = pathlib.Path(REAL_TABLE).read_bytes()
        result = self.run_generator(content)
        self.assertEqual((result.returncode, result.stderr), (0, ""))
        self.root = ET.parse(self.database).getroot()
        lines = content.decode("utf-8").splitlines()
        self.rows = list(csv.DictReader(lines, delimiter="\t", quoting=csv.QUOTE_NONE))

    def test_names_are_unique(self):
        countries = [country.get("code") for country in self.root.iter("country")]
        self.assertEqual(len(set(countries)), len(countries))
        for country in self.root.iter("country"):
            names = [service.get("name") for service in country]
            self.assertEqual(len(set(names)), len(names), country.get("code"))

    def test_every_row_is_there(self):
        def values(service):
            texts = [child.text or "" for child in service]
            self.assertEqual(len(texts), 6)
            return tuple(texts)

        made = [
            (country.get("code"), *values(service))
            for country in self.root.iter("country")
            for service in country
        ]
        columns = "country vpi vci protocol encapsulation dns1 dns2".split()
        expected = [tuple(row[column] for column in columns) for row in self.rows]
        self.assertEqual(len(made), len(expected))
        self.assertCountEqual(made, expected)

    def test_names_hold_provider_and_service(self):
        for row in self.rows:
            name = f"{row['provider']} {row['service']}"
            services = self.root.findall("country/service")
            self.assertTrue(any(service.get("name").startswith(name) for service in services), name)


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1], verbosity=2)
