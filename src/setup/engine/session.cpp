// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "session.h"

#include "base/processes.h"
#include "base/text.h"
#include "base/translate.h"
#include "toolwatch.h"

#include <kestra/foundation/myprocess.h>
#include <kestra/foundation/systeminfo.h>

#include <QCoreApplication>
#include <QElapsedTimer>
#include <QEventLoop>
#include <QSocketNotifier>
#include <QTimer>

#include <algorithm>

namespace Setup {

namespace {

constexpr int keptToolLines = 12;
constexpr int pollInterval = 100; // ms
constexpr int toolTimeLimit = 30 * 60 * 1000;
constexpr int lastWordsLimit = 2000;

void handleEvents(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    loop.exec();
}

}

Session::Session(const Settings &settings, Frontend &frontend, const Cancellation &cancellation)
    : settings(settings)
    , frontend(frontend)
    , cancellation(cancellation)
    , output([this](LibraryOutput::Kind kind, const QString &line) { take(kind, line); })
    , kernelRelease(Kestra::SystemInfo::getKernelRelease())
{
}

void Session::changed(const QString &path, const QString &what)
{
    const auto known = std::find_if(changes.begin(), changes.end(),
                                    [&path](const Change &change) { return change.path == path; });
    if (known == changes.end())
        changes.append({path, what});
    else
        known->what = what;
}

std::optional<Outcome> Session::storeFault(const QString &path) const
{
    const QString cause = store.fault().isEmpty()
        ? Text::tr("What is at %1 could not be kept in %2 for a later undo.")
              .arg(path, Store::directory())
        : store.fault();
    return Outcome::failed(
        ExitCode::Precondition, cause,
        Text::tr("See whether the disk is full or %1 can be written to, then start again.")
            .arg(Store::directory()));
}

std::optional<Outcome> Session::remember(Part part, const QStringList &paths)
{
    QString culprit;
    if (!store.remember(part, paths, &culprit))
        return storeFault(culprit);
    return std::nullopt;
}

std::optional<Outcome> Session::rememberTree(Part part, const QString &path)
{
    QString culprit;
    if (!store.rememberTree(part, path, &culprit))
        return storeFault(culprit);
    return std::nullopt;
}

std::optional<Outcome> Session::rememberEntries(Part part, const QStringList &directories)
{
    for (const QString &directory : directories) {
        if (!store.rememberEntries(part, directory))
            return storeFault(directory);
    }
    return std::nullopt;
}

std::optional<Outcome> Session::rememberNames(Part part, const QString &directory,
                                              const QString &others)
{
    if (!store.rememberNames(part, directory, others))
        return storeFault(directory);
    return std::nullopt;
}

std::optional<Outcome> Session::rememberPackages(const QStringList &names)
{
    if (store.rememberPackages(packageManager, names))
        return std::nullopt;
    return storeFault(names.join(QStringLiteral(", ")));
}

bool Session::pause(int milliseconds)
{
    QEventLoop loop;
    QTimer::singleShot(milliseconds, &loop, &QEventLoop::quit);
    QSocketNotifier notifier(cancellation.descriptor(), QSocketNotifier::Read);
    QObject::connect(&notifier, &QSocketNotifier::activated, &loop, &QEventLoop::quit);
    loop.exec();
    return !cancellation.isRequested();
}

void Session::take(LibraryOutput::Kind kind, const QString &line)
{
    if (kind == LibraryOutput::Message) {
        frontend.libraryLine(line);
        return;
    }
    {
        const std::lock_guard<std::mutex> lock(m_toolLinesMutex);
        m_toolLines.append(line);
        if (m_toolLines.size() > keptToolLines)
            m_toolLines.removeFirst();
        if (m_wantedLines)
            m_wantedLines->append(line);
    }
    frontend.toolLine(line);
}

QStringList Session::toolLines()
{
    output.sync();
    const std::lock_guard<std::mutex> lock(m_toolLinesMutex);
    return m_toolLines;
}

void Session::forgetToolLines()
{
    output.sync();
    const std::lock_guard<std::mutex> lock(m_toolLinesMutex);
    m_toolLines.clear();
}

QStringList Session::linesOf(const std::function<void()> &work)
{
    QStringList lines;
    const auto want = [this](QStringList *wanted) {
        output.sync();
        const std::lock_guard<std::mutex> lock(m_toolLinesMutex);
        m_wantedLines = wanted;
    };
    want(&lines);
    work();
    want(nullptr);
    return lines;
}

std::optional<QString> Session::waitForTools()
{
    ToolWatch watch;
    QElapsedTimer time;
    time.start();
    if (const auto tool = watch.running())
        frontend.waiting(Text::tr("%1 to end").arg(tool->description()));
    // The tool's output must go on being read, or the tool would come to a halt.
    while (watch.running() && !time.hasExpired(toolTimeLimit))
        handleEvents(pollInterval);
    time.restart();
    while (!watch.running() && watch.isAnyLeft() && !time.hasExpired(lastWordsLimit))
        handleEvents(pollInterval);
    QCoreApplication::processEvents(); // what a tool wrote that has ended in this very moment
    lateExitCode = watch.exitCode();
    if (const auto tool = watch.running())
        return tool->description();
    return std::nullopt;
}

std::optional<int> Session::runTool(const QString &program, const QStringList &arguments,
                                    const QString &directory, QStringList *lines, int timeLimit)
{
    MyProcess process(nullptr);
    const auto takeLine = [this, lines](const QByteArray &line) {
        if (lines)
            lines->append(textFromBytes(line));
        else
            take(LibraryOutput::Tool, printable(textFromBytes(line)));
    };
    QObject::connect(&process, &MyProcess::lineAvailable, &process, takeLine);
    process.setWorkingDirectory(directory);
    process.start(program, arguments);
    process.closeWriteChannel();
    const bool ended = process.waitForFinished(timeLimit);
    if (!ended || process.exitStatus() != QProcess::NormalExit)
        return std::nullopt;
    return process.exitCode();
}

}
