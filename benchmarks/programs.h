// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_BENCHMARKS_PROGRAMS_H
#define KESTRA_BENCHMARKS_PROGRAMS_H

#include <QString>

/** Returns the path of a program that was built with the benchmarks. */
inline QString benchmarkProgram(const char *name)
{
    return QStringLiteral(KESTRA_BENCHMARK_PROGRAMS "/") + QLatin1String(name);
}

/** Returns the path of a file or a directory that was prepared for the benchmarks. */
inline QString preparedPath(const char *name)
{
    return QString::fromLocal8Bit(qgetenv("KESTRA_BENCHMARK_DATA")) + QLatin1Char('/')
        + QLatin1String(name);
}

#endif
