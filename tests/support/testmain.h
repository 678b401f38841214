// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_TESTMAIN_H
#define KESTRATEST_TESTMAIN_H

#include "literals.h"

#include <QCoreApplication>
#include <QtTest>

namespace KestraTest {

/** Ends the program with exit code 2, and says why, unless it runs in scripts/sandbox. Programs
 * that are tested speak English from now on. */
void requireSandbox();

}

/** The main function of a test program: `KESTRA_TEST_MAIN(MyTest)` and the .moc include. */
#define KESTRA_TEST_MAIN(TestClass)                                                                \
    int main(int argc, char **argv)                                                                \
    {                                                                                              \
        KestraTest::requireSandbox();                                                              \
        QCoreApplication application(argc, argv);                                                  \
        TestClass test;                                                                            \
        return QTest::qExec(&test, argc, argv);                                                    \
    }

#endif
