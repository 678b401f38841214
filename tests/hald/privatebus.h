// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_PRIVATEBUS_H
#define KESTRATEST_PRIVATEBUS_H

#include <QProcess>
#include <QString>
#include <QTemporaryDir>

namespace KestraTest {

/** A message bus that can be stopped, started again and held up. */
class PrivateBus
{
public:
    /** @param policy what is added to one that allows everything */
    explicit PrivateBus(const QByteArray &policy = {});
    ~PrivateBus();
    Q_DISABLE_COPY(PrivateBus)

    bool start();
    void stop();

    void pause();
    void resume();

    QString address() const;

private:
    QTemporaryDir m_directory;
    QProcess m_process;
};

}

#endif
