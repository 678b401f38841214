// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "log.h"

#include <cstdio>
#include <sys/stat.h>
#include <syslog.h>
#include <unistd.h>

namespace Hald {

Q_LOGGING_CATEGORY(hald, "kestra.hald", QtInfoMsg)

namespace {

bool isReadByJournal = false;

int priority(QtMsgType type)
{
    switch (type) {
    case QtDebugMsg:
        return LOG_DEBUG;
    case QtInfoMsg:
        return LOG_INFO;
    case QtWarningMsg:
        return LOG_WARNING;
    case QtCriticalMsg:
        return LOG_ERR;
    case QtFatalMsg:
        break;
    }
    return LOG_CRIT;
}

/** On one line, whatever a client has put into it. */
QByteArray line(const QString &message)
{
    QString text = message;
    for (QChar &character : text) {
        if (character.category() == QChar::Other_Control)
            character = QLatin1Char('?');
    }
    return text.toLocal8Bit();
}

/** Whether standard error is what systemd has connected, not what a shell under it made of that. */
bool isJournal()
{
    struct stat status;
    return fstat(STDERR_FILENO, &status) == 0
        && qgetenv("JOURNAL_STREAM")
        == QByteArray::number(qulonglong(status.st_dev)) + ':'
            + QByteArray::number(qulonglong(status.st_ino));
}

void write(QtMsgType type, const QMessageLogContext &, const QString &message)
{
    if (isReadByJournal)
        fprintf(stderr, "<%d>%s\n", priority(type), line(message).constData());
    else
        fprintf(stderr, "kestra-hald: %s\n", line(message).constData());
}

}

void startLog(bool verbose)
{
    isReadByJournal = isJournal();
    if (verbose)
        QLoggingCategory::setFilterRules(QStringLiteral("kestra.hald.debug=true"));
    qInstallMessageHandler(write);
}

}
