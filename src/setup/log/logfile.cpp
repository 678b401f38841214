// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "logfile.h"

#include "base/ownership.h"
#include "base/text.h"
#include "base/translate.h"
#include "secrets.h"

#include <QCoreApplication>
#include <QDateTime>
#include <QFile>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

QString cannotBeWritten(const QString &why)
{
    return Text::tr("The log %1 cannot be written: %2.").arg(LogFile::path(), why);
}

QString timeStamp()
{
    const QDateTime now = QDateTime::currentDateTime();
    return now.toOffsetFromUtc(now.offsetFromUtc()).toString(Qt::ISODate);
}

/** The command line without the name of the user; the password is never in it. */
QStringList arguments()
{
    QStringList arguments = QCoreApplication::arguments().mid(1);
    const QString option = QStringLiteral("--user");
    for (int i = 0; i < arguments.size(); ++i) {
        if (arguments.at(i) == option && i + 1 < arguments.size())
            arguments[++i] = QStringLiteral("********");
        else if (arguments.at(i).startsWith(option + QLatin1Char('=')))
            arguments[i] = option + QStringLiteral("=********");
    }
    return arguments;
}

/** A disk that fills up takes a part first, and says why not more of it only when asked again. */
bool writeAll(int descriptor, const QByteArray &bytes)
{
    for (int done = 0; done < bytes.size();) {
        const ssize_t count =
            ::write(descriptor, bytes.constData() + done, std::size_t(bytes.size() - done));
        if (count < 0 && errno != EINTR)
            return false;
        done += int(std::max(count, ssize_t(0)));
    }
    return true;
}

QByteArray olderLog(int number)
{
    return QFile::encodeName(LogFile::path()) + '.' + QByteArray::number(number);
}

}

LogFile::~LogFile()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

void LogFile::rotate()
{
    const QByteArray name = QFile::encodeName(path());
    struct stat status;
    if (::lstat(name.constData(), &status) != 0 || status.st_size <= sizeLimit)
        return;
    for (int number = olderLogs; number > 1; --number)
        ::rename(olderLog(number - 1).constData(), olderLog(number).constData());
    ::rename(name.constData(), olderLog(1).constData());
}

/** Returns why the file cannot be written to, if so. */
QString LogFile::openFile()
{
    m_descriptor = ::open(
        QFile::encodeName(path()).constData(),
        O_WRONLY | O_CREAT | O_APPEND | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC, 0600);
    struct stat status;
    if (m_descriptor < 0 || ::fstat(m_descriptor, &status) != 0)
        return errno == ELOOP ? Text::tr("it is a link") : qt_error_string(errno);
    if (!S_ISREG(status.st_mode) || status.st_nlink != 1 || status.st_uid != 0)
        return Text::tr("it is no regular file that only root has");
    return ::fchmod(m_descriptor, 0600) == 0 ? QString() : qt_error_string(errno);
}

QString LogFile::open(bool mayRotate)
{
    if (::geteuid() != 0)
        return QString();
    const bool isMade = ::mkdir(QFile::encodeName(directory()).constData(), 0700) == 0;
    if (!isMade && errno != EEXIST)
        m_fault = cannotBeWritten(qt_error_string(errno));
    else if (partOfOthers(directory()) || !isOurDirectory(directory()))
        m_fault = cannotBeWritten(
            Text::tr("%1 is no directory that only root can write to").arg(directory()));
    if (!m_fault.isEmpty())
        return m_fault;
    if (mayRotate)
        rotate();
    const QString problem = openFile();
    if (!problem.isEmpty()) {
        ::close(m_descriptor);
        m_descriptor = -1;
        m_fault = cannotBeWritten(problem);
        return m_fault;
    }
    conceal(Secrets::ofSystem().texts);
    write(QStringLiteral("start: %1 %2 %3")
              .arg(QCoreApplication::applicationName(), QCoreApplication::applicationVersion(),
                   arguments().join(QLatin1Char(' ')))
              .trimmed());
    return m_fault;
}

void LogFile::write(const QString &line)
{
    if (m_descriptor < 0 || !m_fault.isEmpty())
        return;
    const QByteArray bytes = QStringLiteral("%1 [%2] ").arg(timeStamp()).arg(::getpid()).toUtf8()
        + m_mask.applied(printable(line)).toUtf8() + '\n';
    if (!writeAll(m_descriptor, bytes))
        m_fault = cannotBeWritten(qt_error_string(errno));
}

void LogFile::writeEnd(const Outcome &outcome)
{
    const QString sentences = joined({outcome.sentence, outcome.nextStep});
    write(QStringLiteral("end: exit code %1%2")
              .arg(int(outcome.code))
              .arg(sentences.isEmpty() ? QString() : QStringLiteral(": ") + sentences));
}

}
