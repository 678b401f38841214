// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "libraryoutput.h"

#include "text.h"

#include <kestra/foundation/debuglog.h>

#include <QDir>
#include <QFile>
#include <QTemporaryDir>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

LibraryOutput *current = nullptr;

/** How the library introduces the lines of its tools, and what it puts after them. */
struct ToolPrefix
{
    QLatin1String before;
    QLatin1String after;
};

const ToolPrefix toolPrefixes[] = {
    {QLatin1String("Compiler::debugDriverCompileProcess(): "), QLatin1String("")},
    {QLatin1String("Compiler::debugDriverInstallProcess(): "), QLatin1String("")},
    {QLatin1String("Compiler::debugDriverRemoveProcess(): "), QLatin1String("")},
    {QLatin1String("Apt::debugProcess(): "), QLatin1String(".")},
    {QLatin1String("Zypper::debugProcess(): \""), QLatin1String("\"")},
};

// Lines of our own in the pipe. Something without a line end may precede them.
const char syncMark[] = "\x01kestra-setup: sync";
const char endMark[] = "\x01kestra-setup: end";

QString privateDirectoryTemplate()
{
    const QString base = ::access("/run", W_OK) == 0 ? QStringLiteral("/run") : QDir::tempPath();
    return base + QStringLiteral("/kestra-setup-XXXXXX");
}

}

LibraryOutput::LibraryOutput(Sink sink) : m_sink(std::move(sink))
{
    current = this;
    m_earlierHandler = qInstallMessageHandler(&LibraryOutput::handleQtMessage);
    if (!openPipe())
        return;
    fflush(stdout);
    setvbuf(stdout, nullptr, _IOLBF, 0);
    m_standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 3);
    dup2(fileno(m_file), STDOUT_FILENO);
    m_thread = std::thread(&LibraryOutput::read, this);
}

/** Lets the library write to a pipe that nobody else can open, not even while it has a name. */
bool LibraryOutput::openPipe()
{
    const QTemporaryDir directory(privateDirectoryTemplate());
    const QString name = directory.filePath(QStringLiteral("output"));
    const QByteArray path = QFile::encodeName(name);
    if (!directory.isValid() || mkfifo(path.constData(), 0600) != 0)
        return false;
    const int reader = ::open(path.constData(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    if (reader < 0)
        return false;
    fcntl(reader, F_SETFL, 0);
    setDebug(true, name);
    if (!debugToFile) {
        setDebug(false, QString());
        ::close(reader);
        return false;
    }
    m_reader = reader;
    m_file = pFile;
    setvbuf(m_file, nullptr, _IOLBF, 0);
    fcntl(fileno(m_file), F_SETFD, FD_CLOEXEC);
    return true;
}

LibraryOutput::~LibraryOutput()
{
    if (isOpen()) {
        fflush(stdout);
        dup2(m_standardOutput, STDOUT_FILENO);
        ::close(m_standardOutput);
        // A tool that was left running may hold the pipe open, so its end is announced instead.
        fprintf(m_file, "%s\n", endMark);
        setDebug(false, QString());
        fclose(m_file);
        m_thread.join();
        ::close(m_reader);
    }
    qInstallMessageHandler(m_earlierHandler);
    current = nullptr;
}

void LibraryOutput::sync()
{
    if (!isOpen())
        return;
    fflush(stdout);
    std::unique_lock<std::mutex> lock(m_syncMutex);
    const unsigned before = m_syncCount;
    fprintf(m_file, "%s\n", syncMark);
    m_synced.wait(lock, [this, before] { return m_syncCount != before; });
}

void LibraryOutput::read()
{
    char buffer[8192];
    for (;;) {
        const ssize_t count = ::read(m_reader, buffer, sizeof buffer);
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return;
        if (!takeBytes(QByteArray(buffer, int(count))))
            return;
    }
}

/** Returns false when the output has ended. */
bool LibraryOutput::takeBytes(const QByteArray &bytes)
{
    int start = 0;
    for (int end = bytes.indexOf('\n'); end >= 0; end = bytes.indexOf('\n', start)) {
        const QByteArray line = m_partialLine + bytes.mid(start, end - start);
        m_partialLine.clear();
        if (line.endsWith(endMark))
            return false;
        takeLine(line);
        start = end + 1;
    }
    m_partialLine += bytes.mid(start);
    return true;
}

void LibraryOutput::takeLine(const QByteArray &line)
{
    if (line.endsWith(syncMark)) {
        const std::lock_guard<std::mutex> lock(m_syncMutex);
        ++m_syncCount;
        m_synced.notify_all();
        return;
    }
    deliver(textFromBytes(line));
}

void LibraryOutput::deliver(const QString &text)
{
    const std::lock_guard<std::mutex> lock(m_sinkMutex);
    for (const ToolPrefix &prefix : toolPrefixes) {
        if (text.startsWith(prefix.before) && text.endsWith(prefix.after)) {
            const int length = text.size() - prefix.before.size() - prefix.after.size();
            m_sink(Tool, printable(text.mid(prefix.before.size(), length)));
            return;
        }
    }
    m_sink(Message, printable(text));
}

void LibraryOutput::handleQtMessage(QtMsgType type, const QMessageLogContext &, const QString &text)
{
    if (type == QtFatalMsg) // Qt ends the process next
        fprintf(stderr, "%s\n", text.toLocal8Bit().constData());
    else if (current)
        current->deliver(text);
}

}
