// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "processes.h"

#include <QDir>
#include <QFile>

#include <fcntl.h>
#include <unistd.h>

namespace Setup {

namespace {

QByteArray readFile(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

QString processName(qint64 pid)
{
    return QString::fromLocal8Bit(readFile(QStringLiteral("/proc/%1/comm").arg(pid)).trimmed());
}

QVector<Process> childrenInState(bool (*isWanted)(const QByteArray &state))
{
    QVector<Process> children;
    const QStringList entries = QDir(QStringLiteral("/proc")).entryList(QDir::Dirs);
    for (const QString &entry : entries) {
        bool isProcess = false;
        const qint64 pid = entry.toLongLong(&isProcess);
        if (!isProcess)
            continue;
        // "PID (NAME) STATE PARENT ...", where the name may hold anything
        const QByteArray status = readFile(QStringLiteral("/proc/%1/stat").arg(pid));
        const QList<QByteArray> fields = status.mid(status.lastIndexOf(')') + 2).split(' ');
        if (fields.size() > 1 && isWanted(fields[0]) && fields[1].toLongLong() == ::getpid())
            children.append({pid, processName(pid)});
    }
    return children;
}

}

QVector<Process> children()
{
    return childrenInState([](const QByteArray &) { return true; });
}

QVector<Process> runningChildren()
{
    return childrenInState([](const QByteArray &state) { return state != "Z"; });
}

std::optional<Process> lockHolder(const QString &path)
{
    const int descriptor = ::open(QFile::encodeName(path).constData(), O_RDONLY | O_CLOEXEC);
    if (descriptor < 0)
        return std::nullopt;
    struct flock lock = {};
    lock.l_type = F_WRLCK;
    lock.l_whence = SEEK_SET;
    const bool answered = fcntl(descriptor, F_GETLK, &lock) == 0;
    ::close(descriptor);
    if (!answered || lock.l_type == F_UNLCK)
        return std::nullopt;
    return Process {lock.l_pid, processName(lock.l_pid)};
}

std::optional<Process> processInFile(const QString &path)
{
    const qint64 pid = readFile(path).trimmed().toLongLong();
    if (pid <= 0 || pid == ::getpid())
        return std::nullopt;
    const QString name = processName(pid);
    if (name.isEmpty())
        return std::nullopt;
    return Process {pid, name};
}

}
