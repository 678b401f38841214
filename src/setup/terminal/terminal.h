// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_TERMINAL_H
#define KESTRA_SETUP_TERMINAL_H

#include "base/cancellation.h"
#include "base/frontend.h"
#include "input.h"
#include "paint.h"

#include <QElapsedTimer>
#include <QFile>

#include <condition_variable>
#include <mutex>
#include <thread>

namespace Setup {

/**
 * The user interface on a terminal, or on whatever standard input and output are.
 *
 * On a terminal the line of the running stage is rewritten with the time it has taken and the last
 * line of its tool, in what room there is. Elsewhere each stage is one line.
 */
class Terminal : public Frontend
{
public:
    struct Style
    {
        bool verbose = false;
        bool unattended = false;
    };

    /** Goes on using the present standard output when the process's own is diverted later. */
    Terminal(Style style, const Cancellation &cancellation);
    ~Terminal() override;

    /** Writes all output to @p path, too. Returns what is wrong, or an empty string. */
    QString openLog(const QString &path);

    /** Tells how the run ended. */
    void report(const Result &result);

    void stageStarted(int number, int count, const QString &title) override;
    void stageEnded(const Outcome &outcome) override;
    void note(const QString &text) override;
    void reminder(const QString &text) override;
    void waiting(const QString &forWhat) override;
    void toolLine(const QString &line) override;
    void libraryLine(const QString &line) override;
    void explain(const QString &help) override;
    void refuse(const QString &why) override;
    std::optional<QString> askText(const QString &question) override;
    std::optional<QString> askPath(const QString &question) override;
    std::optional<QString> askSecret(const QString &question) override;
    std::optional<QString> choose(const QString &question, const QStringList &names,
                                  const QString &hint) override;
    std::optional<bool> agree(const Summary &summary) override;

private:
    enum State {
        Idle, ///< no stage runs
        Open, ///< the line of the stage is the last on the screen, and not ended
        Broken, ///< other lines have come after it
        Asking ///< a question is the last on the screen
    };

    bool isWorking() const { return m_state == Open || m_state == Broken; }

    // What is shown; for these the mutex must be held.
    int width() const;
    QString elapsed() const;
    void write(const QString &text);
    void writeLine(const QString &text, Colour colour = Colour::Plain);
    void writeErrorLine(const QString &text, Colour colour = Colour::Plain);
    void erase();
    void breakStageLine();
    void draw(const QString &line);
    void drawProgress();
    void tellOfInterrupt();
    void log(const QString &text);
    void writeColumns(const QStringList &entries);

    void tick();
    void beginQuestion();
    void endQuestion();
    std::optional<QString> ask(const QString &question, const Completion &completion);
    QStringList offer(const QStringList &matches, const QString &answer, const QStringList &names,
                      bool isLongListWanted);
    void showHelp();
    void showSummary(const Summary &summary);

    const Style m_style;
    const Cancellation &m_cancellation;
    const int m_screen;
    const bool m_canRewrite;
    const Paint m_paint;
    const Paint m_errorPaint;
    QFile m_log;
    Input m_input;
    QString m_help;
    bool m_helpOffered = false;

    std::mutex m_mutex; ///< for all below
    State m_state = Idle;
    State m_stateBeforeQuestion = Idle;
    int m_drawnColumns = 0; ///< of the last line, which may be rewritten
    QString m_stageLine;
    QString m_activity;
    QStringList m_reminders;
    QElapsedTimer m_stageTime;
    int m_interruptsTold = 0;
    bool m_isEnding = false;
    std::condition_variable m_ending;
    std::thread m_ticker;
};

}

#endif
