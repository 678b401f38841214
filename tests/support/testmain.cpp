// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "testmain.h"

#include <cstdio>
#include <cstdlib>

void KestraTest::requireSandbox()
{
    qputenv("LANGUAGE", "en"); // whatever the tester speaks
    if (qgetenv("KESTRA_SANDBOX") == "1")
        return;
    fputs("This test changes system files: run it with scripts/sandbox --bus (ctest does).\n",
          stderr);
    exit(2);
}
