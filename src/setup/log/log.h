// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LOG_H
#define KESTRA_SETUP_LOG_H

#include "base/frontend.h"
#include "base/settings.h"
#include "logfile.h"

#include <QElapsedTimer>

#include <mutex>

namespace Setup {

/** Writes down in the log what passes through it on the way to another front end. */
class Log : public Frontend
{
public:
    /** @param mayRotate false while another process may be writing to the log */
    Log(Frontend &frontend, const Settings &settings, bool mayRotate);

    /** Writes down how the run ended. */
    void ended(const Result &result);

    void stageStarted(int number, int count, const QString &title) override;
    void stageEnded(const Outcome &outcome) override;
    void note(const QString &text) override;
    void reminder(const QString &text) override;
    void waiting(const QString &forWhat) override;
    void toolLine(const QString &line) override;
    void libraryLine(const QString &line) override;
    void conceal(const QString &secret) override;
    void explain(const QString &help) override;
    void refuse(const QString &why) override;
    std::optional<QString> askText(const QString &question) override;
    std::optional<QString> askPath(const QString &question) override;
    std::optional<QString> askSecret(const QString &question) override;
    std::optional<QString> choose(const QString &question, const QStringList &names,
                                  const QString &hint) override;
    std::optional<bool> agree(const Summary &summary) override;

private:
    void write(const QString &line);

    Frontend &m_frontend;
    std::mutex m_mutex; ///< for the file
    LogFile m_file;
    QString m_stage;
    QElapsedTimer m_stageTime;
    bool m_isFaultTold = false;
};

}

#endif
