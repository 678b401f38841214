// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LOGFILE_H
#define KESTRA_SETUP_LOGFILE_H

#include "base/outcome.h"
#include "mask.h"

#include <QString>
#include <QStringList>

namespace Setup {

/**
 * The log of everything that kestra-setup has ever done to this system, for root alone, without
 * user names and passwords.
 */
class LogFile
{
public:
    static QString directory() { return QStringLiteral("/var/log/kestra"); }
    static QString path() { return directory() + QStringLiteral("/setup.log"); }

    static constexpr qint64 sizeLimit = 1 << 20; ///< when it is more at the start, a new one begins
    static constexpr int olderLogs = 4;

    LogFile() = default;
    ~LogFile();
    LogFile(const LogFile &) = delete;
    LogFile &operator=(const LogFile &) = delete;

    /**
     * Opens the log and writes down what was started. Who is not root has no log.
     *
     * @param mayRotate false while another process may be writing to the log
     * @return a sentence when the log cannot be written, which is no reason to stop
     */
    QString open(bool mayRotate);

    /** Keeps @p secrets out of the log from now on. */
    void conceal(const QStringList &secrets) { m_mask.add(secrets); }

    void write(const QString &line);

    /** Writes down how it ended. */
    void writeEnd(const Outcome &outcome);

    /** A sentence when something could not be written. */
    QString fault() const { return m_fault; }

private:
    QString openFile();
    void rotate();

    int m_descriptor = -1;
    Mask m_mask;
    QString m_fault;
};

}

#endif
