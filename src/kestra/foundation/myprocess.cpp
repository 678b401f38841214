// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "myprocess.h"

#include <algorithm>
#include <cstring>

namespace {

constexpr int firstWindow = 128;

const char *findByte(char byte, const char *begin, const char *end)
{
    const void *const found = memchr(begin, byte, static_cast<size_t>(end - begin));
    return found ? static_cast<const char *>(found) : end;
}

/**
 * Returns the first newline or carriage return in [begin, end), or end.
 *
 * Looks at windows that double in size, so that neither of the two searches runs far beyond the
 * nearest terminator of the other kind: the cost is in proportion to the length of the line.
 */
const char *findTerminator(const char *begin, const char *end)
{
    for (std::ptrdiff_t window = firstWindow; begin != end; window *= 2) {
        const char *const limit = begin + std::min(window, end - begin);
        const char *const found = findByte('\r', begin, findByte('\n', begin, limit));
        if (found != limit)
            return found;
        begin = limit;
    }
    return end;
}

}

MyProcess::MyProcess(QObject *parent) : QProcess(parent)
{
    clearArguments();
    setProcessChannelMode(QProcess::MergedChannels);
    connect(this, &QProcess::readyReadStandardOutput, this, &MyProcess::readStdOut);
    connect(this, qOverload<int, QProcess::ExitStatus>(&QProcess::finished), this,
            &MyProcess::procFinished);
}

MyProcess::~MyProcess()
{
    // The base kills a child that still runs and emits its signals on the way, when the members
    // that the slots work on are gone.
    disconnect(this, nullptr, this, nullptr);
}

void MyProcess::addArgument(const QString &argument)
{
    if (m_program.isEmpty())
        m_program = argument;
    else
        m_arguments.append(argument);
}

void MyProcess::clearArguments()
{
    m_program.clear();
    m_arguments.clear();
}

QStringList MyProcess::arguments() const { return QStringList(m_program) + m_arguments; }

void MyProcess::start() { start(m_program, m_arguments); }

void MyProcess::start(const QString &program, const QStringList &arguments)
{
    m_buffer.clear();
    QProcess::start(program, arguments, QIODevice::ReadWrite);
}

bool MyProcess::isRunning() const { return state() == QProcess::Running; }

int MyProcess::canReadLine(const QByteArray &buffer, int from) const
{
    if (from < 0)
        from = std::max(from + static_cast<int>(buffer.size()), 0);
    if (from >= buffer.size())
        return -1;
    const char *const end = buffer.constData() + buffer.size();
    const char *const found = findTerminator(buffer.constData() + from, end);
    return found == end ? -1 : static_cast<int>(found - buffer.constData());
}

void MyProcess::genericRead(QByteArray data)
{
    // The buffer never holds a terminator: only the new bytes are searched, once for each kind, and
    // the first line is what the buffer holds and the first piece of them.
    const char *start = data.constData();
    const char *const end = start + data.size();
    const char *newline = findByte('\n', start, end);
    const char *carriageReturn = findByte('\r', start, end);
    QByteArray line;
    for (;;) {
        const char *const terminator = std::min(newline, carriageReturn);
        if (terminator == end)
            break;
        const int size = static_cast<int>(terminator - start);
        if (!m_buffer.isEmpty()) {
            line.clear();
            line.swap(m_buffer);
            line.append(start, size);
        } else if (size > 0 && line.isDetached()) { // nobody has kept the line before
            line.resize(size);
            memcpy(line.data(), start, static_cast<size_t>(size));
        } else {
            line = QByteArray(start, size);
        }
        start = terminator + 1;
        const char *&used = terminator == newline ? newline : carriageReturn;
        used = findByte(*terminator, start, end);
        Q_EMIT lineAvailable(line);
    }
    m_buffer.append(start, static_cast<int>(end - start));
}

void MyProcess::readStdOut() { genericRead(readAllStandardOutput()); }

void MyProcess::procFinished()
{
    if (bytesAvailable() > 0)
        readStdOut();
}
