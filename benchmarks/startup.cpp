// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// The time from the start of a program to its end.

#include "programs.h"

#include <QFile>

#include <benchmark/benchmark.h>

#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

namespace {

void startAndWait(benchmark::State &state, const char *name)
{
    QByteArray program = QFile::encodeName(benchmarkProgram(name));
    char *const arguments[] = {program.data(), nullptr};
    for (auto _ : state) {
        pid_t child;
        int status = 0;
        if (posix_spawn(&child, program.constData(), nullptr, nullptr, arguments, environ) != 0
            || waitpid(child, &status, 0) != child || status != 0)
            return state.SkipWithError("cannot run the program");
    }
}

}

BENCHMARK_CAPTURE(startAndWait, library, "loadlibrary")->UseRealTime();
BENCHMARK_CAPTURE(startAndWait, interface, "loadinterface")->UseRealTime();
