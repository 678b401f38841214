# SPDX-FileCopyrightText: 2026 The libkestra developers
# SPDX-License-Identifier: LGPL-2.1-or-later
"""Runs the tests of a Python program with the lines of Qt Test, so that they are counted alike."""

import sys
import unittest


class Lines(unittest.TextTestResult):
    @staticmethod
    def print_line(outcome, test, why=""):
        print(f"{outcome:7}: {type(test).__name__}::{test._testMethodName}() {why}".rstrip(),
              flush=True)

    def addSuccess(self, test):
        super().addSuccess(test)
        self.print_line("PASS", test)

    def addSkip(self, test, reason):
        super().addSkip(test, reason)
        if isinstance(test, unittest.TestCase):
            self.print_line("SKIP", test, reason)

    def addFailure(self, test, err):
        super().addFailure(test, err)
        self.print_line("FAIL!", test)

    def addError(self, test, err):
        super().addError(test, err)
        self.print_line("FAIL!", test)

    def addSubTest(self, test, subtest, err):
        super().addSubTest(test, subtest, err)
        if err:
            self.print_line("FAIL!", test, subtest._subDescription())


def main():
    runner = unittest.TextTestRunner(resultclass=Lines, stream=sys.stderr, verbosity=0)
    result = unittest.main(argv=sys.argv[:1], testRunner=runner, exit=False).result
    if result.wasSuccessful() and not result.testsRun:
        sys.exit(77)  # skipped as a whole
    sys.exit(not result.wasSuccessful())
