// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/text.h"
#include "base/translate.h"
#include "engine/run.h"
#include "options.h"
#include "terminal/interrupt.h"
#include "terminal/terminal.h"

#include <QElapsedTimer>
#include <QJsonArray>

#include <cstdio>

namespace Setup {

namespace {

/** A user interface for a program: it answers nothing, and keeps what it is told. */
class Record : public Frontend
{
public:
    explicit Record(bool isVerbose) : m_isVerbose(isVerbose) { }

    void stageStarted(int, int, const QString &title) override
    {
        m_title = title;
        m_time.start();
    }

    void stageEnded(const Outcome &outcome) override
    {
        static const char *const words[] = {"done", "skipped", "failed"};
        m_stages.append(
            QJsonObject {{QStringLiteral("title"), m_title},
                         {QStringLiteral("outcome"), QLatin1String(words[outcome.kind])},
                         {QStringLiteral("remark"), outcome.sentence},
                         {QStringLiteral("milliseconds"), m_time.elapsed()}});
    }

    void note(const QString &text) override { m_notes.append(text); }

    void waiting(const QString &) override { }

    void toolLine(const QString &line) override { libraryLine(line); }

    void libraryLine(const QString &line) override
    {
        if (m_isVerbose)
            fprintf(stderr, "%s\n", printable(line).toLocal8Bit().constData());
    }

    std::optional<QString> askText(const QString &) override { return std::nullopt; }
    std::optional<QString> askSecret(const QString &) override { return std::nullopt; }
    std::optional<QString> choose(const QString &, const QStringList &, const QString &) override
    {
        return std::nullopt;
    }

    QJsonObject json(const Result &result) const
    {
        QJsonArray changes;
        for (const Change &change : result.changes)
            changes.append(QJsonObject {{QStringLiteral("path"), change.path},
                                        {QStringLiteral("what"), change.what}});
        return {{QStringLiteral("achieved"), QJsonArray::fromStringList(result.achieved)},
                {QStringLiteral("stages"), m_stages},
                {QStringLiteral("notes"), m_notes},
                {QStringLiteral("changes"), changes},
                {QStringLiteral("tool_lines"), QJsonArray::fromStringList(result.toolLines)}};
    }

private:
    const bool m_isVerbose;
    QString m_title;
    QElapsedTimer m_time;
    QJsonArray m_stages;
    QJsonArray m_notes;
};

ExitCode runForProgram(const Options &options, const Cancellation &cancellation)
{
    Record record(options.verbose);
    const Result result = run(options, record, cancellation);
    return print({result.outcome, {}, record.json(result)}, true);
}

ExitCode runOnTerminal(const Options &options, const Cancellation &cancellation)
{
    Terminal terminal({options.verbose, options.unattended}, cancellation);
    if (!options.logFile.isEmpty()) {
        const QString problem = terminal.openLog(options.logFile);
        if (!problem.isEmpty())
            return print(
                {Outcome::failed(ExitCode::Usage, problem, Text::tr("See kestra-setup --help.")),
                 {},
                 {}},
                false);
    }
    const Result result = run(options, terminal, cancellation);
    terminal.report(result);
    return result.code();
}

}

ExitCode runStages(const Options &options)
{
    const Cancellation cancellation(watchInterrupts());
    return options.json ? runForProgram(options, cancellation)
                        : runOnTerminal(options, cancellation);
}

}
