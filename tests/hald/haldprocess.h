// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_HALDPROCESS_H
#define KESTRATEST_HALDPROCESS_H

#include <QProcess>
#include <QString>
#include <QStringList>

namespace KestraTest {

/** The program kestra-hald, ended with the object. */
class HaldProcess
{
public:
    HaldProcess();
    ~HaldProcess();
    Q_DISABLE_COPY(HaldProcess)

    /** A variable of its environment, from the next start on; it has a Machine's already. */
    void setVariable(const QString &name, const QString &value);

    /** Starts it. Returns whether it owned its name before it ended, on the bus of this program. */
    bool start(const QStringList &arguments = {});

    /** Starts it, and does not wait for anything. */
    void launch(const QStringList &arguments = {});

    /** Tells it to end. Returns its exit code, as waitForEnd(). */
    int stop();

    /** Returns its exit code, -1 if it has crashed, -2 if it has not ended in time. */
    int waitForEnd(int timeout = 10000);

    bool isRunning() const { return m_process.state() != QProcess::NotRunning; }
    qint64 id() const { return m_process.processId(); }

    /** Holds it up, and lets it go on. */
    void pause();
    void resume();

    /** The lines that it has written to standard error since the last call. */
    QStringList takeLog();
    /** What it has written to standard output since the last call. */
    QByteArray takeOutput() { return m_process.readAllStandardOutput(); }

    /** Its memory in KiB, as "VmRSS" or another field of the kernel's. */
    qint64 memory(const QByteArray &field = "VmRSS") const;

private:
    QProcess m_process;
    QProcessEnvironment m_environment;
};

}

#endif
