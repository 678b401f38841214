// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// What is not installed, by the listings of dpkg and rpm.
//
// The cost of reading a listing is what is left when a recorded one is replayed, once to the
// library and once to a process object that throws it away. It is compared with the time of the
// tool itself.

#include "programs.h"

#include <kestra/packages/apt.h>
#include <kestra/packages/rpm.h>

#include <QFile>
#include <QProcess>
#include <QStringList>

#include <benchmark/benchmark.h>

namespace {

/** Lets the programs in a prepared directory stand in for tools until the end of the scope. */
class Replay
{
public:
    Replay() : m_path(qgetenv("PATH"))
    {
        qputenv("PATH", QFile::encodeName(preparedPath("replay")) + ':' + m_path);
    }
    ~Replay() { qputenv("PATH", m_path); }
    Q_DISABLE_COPY(Replay)

private:
    const QByteArray m_path;
};

/** That many names of packages, every second one of which is installed. */
QStringList wantedPackages(const char *listOfNames, int count)
{
    QFile file(preparedPath(listOfNames));
    if (!file.open(QIODevice::ReadOnly))
        return {};
    const QStringList installed =
        QString::fromLocal8Bit(file.readAll()).split(QLatin1Char('\n'), Qt::SkipEmptyParts);
    QStringList names;
    for (int i = 0; i < count && !installed.isEmpty(); ++i) {
        names.append(i % 2 ? QStringLiteral("kestra-no-such-package-%1").arg(i)
                           : installed.at(i / 2 % installed.size()));
    }
    return names;
}

void runTool(benchmark::State &state, const char *program, const char *option)
{
    for (auto _ : state) {
        QProcess tool;
        tool.start(QString::fromLatin1(program), {QString::fromLatin1(option)});
        if (!tool.waitForFinished(-1) || tool.exitCode() != 0)
            return state.SkipWithError("the tool is not there");
        benchmark::DoNotOptimize(tool.readAllStandardOutput().constData());
    }
}

void replayTool(benchmark::State &state, const char *program, const char *option)
{
    const Replay replay;
    runTool(state, program, option);
}

void dpkgLibrary(benchmark::State &state)
{
    const Replay replay;
    const QStringList names = wantedPackages("dpkg.names", static_cast<int>(state.range(0)));
    Apt apt(nullptr);
    for (auto _ : state)
        benchmark::DoNotOptimize(apt.getNotInstalled(names).size());
}

void rpmLibrary(benchmark::State &state)
{
    const Replay replay;
    const QStringList names = wantedPackages("rpm.names", static_cast<int>(state.range(0)));
    Rpm rpm(nullptr);
    for (auto _ : state) {
        if (rpm.queryDB() != 0)
            return state.SkipWithError("there is no recorded listing");
        benchmark::DoNotOptimize(rpm.getNotInstalled(names).size());
    }
}

}

BENCHMARK_CAPTURE(runTool, dpkg, "dpkg", "-l")->UseRealTime();
BENCHMARK_CAPTURE(replayTool, dpkg, "dpkg", "-l")->UseRealTime();
BENCHMARK(dpkgLibrary)->Arg(100)->Arg(2000)->UseRealTime();
BENCHMARK_CAPTURE(runTool, rpm, "rpm", "-qa")->UseRealTime();
BENCHMARK_CAPTURE(replayTool, rpm, "rpm", "-qa")->UseRealTime();
BENCHMARK(rpmLibrary)->Arg(100)->Arg(2000)->UseRealTime();
