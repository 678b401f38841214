// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Walks of a large tree.

#include "programs.h"

#include <kestra/media/filemanager.h>

#include <QFile>
#include <QProcess>

#include <benchmark/benchmark.h>

#include <filesystem>
#include <string>
#include <vector>

#include <unistd.h>

namespace fs = std::filesystem;

namespace {

QString tree() { return preparedPath("tree"); }

void runFind(benchmark::State &state, const QStringList &arguments)
{
    for (auto _ : state) {
        QProcess find;
        find.setStandardOutputFile(QProcess::nullDevice());
        find.start(QStringLiteral("find"), QStringList(tree()) + arguments);
        if (!find.waitForFinished(-1) || find.exitCode() != 0)
            return state.SkipWithError("cannot run find");
    }
}

void indexFiles(benchmark::State &state)
{
    int files = 0;
    for (auto _ : state) {
        FileManager manager;
        manager.indexFiles(tree());
        files = manager.getIndex().size();
    }
    state.counters["files"] = files;
}

void indexFind(benchmark::State &state)
{
    runFind(state, {QStringLiteral("-type"), QStringLiteral("f"), QStringLiteral("-readable")});
}

void indexIterator(benchmark::State &state)
{
    size_t files = 0;
    for (auto _ : state) {
        std::vector<std::string> index;
        for (const fs::directory_entry &entry :
             fs::recursive_directory_iterator(QFile::encodeName(tree()).toStdString())) {
            if (entry.is_regular_file() && !entry.is_symlink()
                && access(entry.path().c_str(), R_OK) == 0)
                index.push_back(entry.path().native());
        }
        files = index.size();
    }
    state.counters["files"] = static_cast<double>(files);
}

void findFiles(benchmark::State &state)
{
    int files = 0;
    const QRegExp pattern(QStringLiteral("7\\.dat$"));
    for (auto _ : state) {
        FileManager manager;
        QStringList result;
        manager.findFiles(tree(), pattern, result);
        files = result.size();
    }
    state.counters["files"] = files;
}

void findFilesFind(benchmark::State &state)
{
    runFind(state, {QStringLiteral("-regex"), QStringLiteral(".*7\\.dat")});
}

}

BENCHMARK(indexFiles)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(indexFind)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(indexIterator)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(findFiles)->UseRealTime()->Unit(benchmark::kMillisecond);
BENCHMARK(findFilesFind)->UseRealTime()->Unit(benchmark::kMillisecond);
