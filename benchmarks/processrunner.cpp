// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Lines from a child that writes as fast as it can.

#include "programs.h"

#include <kestra/foundation/myprocess.h>

#include <QProcess>

#include <benchmark/benchmark.h>

namespace {

/** What comes to about the same number of lines, or of bytes, whatever the length of the lines. */
int outputSize(int lineSize) { return lineSize < 80 ? 1 << 23 : 1 << 25; }

QStringList writerArguments(int lineSize)
{
    return {QString::number(outputSize(lineSize)), QString::number(lineSize)};
}

/** Has each iteration read the output once, and checks that all of it has come. */
template<typename Read>
void readOutput(benchmark::State &state, Read read)
{
    const int lineSize = static_cast<int>(state.range(0));
    for (auto _ : state) {
        if (read(lineSize) != outputSize(lineSize) / lineSize)
            return state.SkipWithError("lines got lost");
    }
    state.SetBytesProcessed(int64_t(state.iterations()) * outputSize(lineSize));
    state.SetItemsProcessed(int64_t(state.iterations()) * (outputSize(lineSize) / lineSize));
}

int runLibrary(int lineSize)
{
    int lines = 0;
    MyProcess process(nullptr);
    QObject::connect(&process, &MyProcess::lineAvailable, [&lines](const QByteArray &line) {
        benchmark::DoNotOptimize(line.constData());
        ++lines;
    });
    process.start(benchmarkProgram("linewriter"), writerArguments(lineSize));
    process.waitForFinished(-1);
    return lines;
}

int readLineLoop(int lineSize)
{
    int lines = 0;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(benchmarkProgram("linewriter"), writerArguments(lineSize));
    while (process.waitForReadyRead(-1)) {
        while (process.canReadLine()) {
            const QByteArray line = process.readLine();
            benchmark::DoNotOptimize(line.constData());
            ++lines;
        }
    }
    process.waitForFinished(-1);
    return lines;
}

int drain(int lineSize)
{
    int bytes = 0;
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    QObject::connect(&process, &QProcess::readyReadStandardOutput,
                     [&process, &bytes] { bytes += process.readAllStandardOutput().size(); });
    process.start(benchmarkProgram("linewriter"), writerArguments(lineSize));
    process.waitForFinished(-1);
    return bytes / lineSize;
}

}

BENCHMARK_CAPTURE(readOutput, library, runLibrary)->Arg(8)->Arg(80)->Arg(800)->UseRealTime();
BENCHMARK_CAPTURE(readOutput, readLine, readLineLoop)->Arg(8)->Arg(80)->Arg(800)->UseRealTime();
BENCHMARK_CAPTURE(readOutput, drain, drain)->Arg(8)->Arg(80)->Arg(800)->UseRealTime();
