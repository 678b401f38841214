// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "messagelog.h"

#include <QMutexLocker>

namespace KestraTest {

namespace {

MessageLog *currentLog = nullptr;

}

MessageLog::MessageLog() : m_previousLog(currentLog)
{
    currentLog = this;
    m_previousHandler = qInstallMessageHandler(handle);
}

MessageLog::~MessageLog()
{
    qInstallMessageHandler(m_previousHandler);
    currentLog = m_previousLog;
}

QList<MessageLog::Message> MessageLog::messages() const
{
    const QMutexLocker locker(&m_mutex);
    return m_messages;
}

QStringList MessageLog::texts() const
{
    QStringList result;
    for (const Message &message : messages())
        result.append(message.text);
    return result;
}

QStringList MessageLog::textsOf(QtMsgType type) const
{
    QStringList result;
    for (const Message &message : messages()) {
        if (message.type == type)
            result.append(message.text);
    }
    return result;
}

QStringList MessageLog::debugs() const { return textsOf(QtDebugMsg); }

QStringList MessageLog::warnings() const { return textsOf(QtWarningMsg); }

QStringList MessageLog::take()
{
    const QStringList result = texts();
    clear();
    return result;
}

void MessageLog::clear()
{
    const QMutexLocker locker(&m_mutex);
    m_messages.clear();
}

void MessageLog::handle(QtMsgType type, const QMessageLogContext &context, const QString &text)
{
    MessageLog *const log = currentLog;
    if (type == QtFatalMsg && log->m_previousHandler)
        log->m_previousHandler(type, context, text);
    const QMutexLocker locker(&log->m_mutex);
    log->m_messages.append({type, text});
}

}
