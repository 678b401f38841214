// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_MESSAGELOG_H
#define KESTRATEST_MESSAGELOG_H

#include <QList>
#include <QMutex>
#include <QString>
#include <QStringList>

namespace KestraTest {

/**
 * Catches what is written to Qt's message streams, from any thread, while it exists.
 *
 * A text is as the message handler gets it: QString items in double quotes, items separated by one
 * blank, and the blank that a stream leaves at the end already cut off by Qt.
 */
class MessageLog
{
public:
    struct Message
    {
        QtMsgType type;
        QString text;
    };

    MessageLog();
    ~MessageLog();
    Q_DISABLE_COPY(MessageLog)

    QList<Message> messages() const;
    /** All texts, whatever their type. */
    QStringList texts() const;
    QStringList debugs() const;
    QStringList warnings() const;
    /** Returns all texts, and forgets them. */
    QStringList take();
    void clear();

private:
    static void handle(QtMsgType type, const QMessageLogContext &context, const QString &text);
    QStringList textsOf(QtMsgType type) const;

    mutable QMutex m_mutex;
    QList<Message> m_messages;
    QtMessageHandler m_previousHandler;
    MessageLog *m_previousLog;
};

}

#endif
