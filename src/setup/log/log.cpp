// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "log.h"

namespace Setup {

namespace {

// In the order of Outcome::Kind.
constexpr const char *endings[] = {"done", "skipped", "failed"};

}

Log::Log(Frontend &frontend, const Settings &settings, bool mayRotate) : m_frontend(frontend)
{
    m_file.conceal({settings.user});
    const QString problem = m_file.open(mayRotate);
    m_isFaultTold = !problem.isEmpty();
    if (m_isFaultTold)
        m_frontend.note(problem);
}

void Log::write(const QString &line)
{
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file.write(line);
}

void Log::ended(const Result &result)
{
    for (const Change &change : result.changes)
        write(QStringLiteral("changed: %1 (%2)").arg(change.path, change.what));
    const std::lock_guard<std::mutex> lock(m_mutex);
    m_file.writeEnd(result.outcome);
}

void Log::stageStarted(int number, int count, const QString &title)
{
    m_stage = QStringLiteral("stage %1/%2, %3").arg(number).arg(count).arg(title);
    m_stageTime.start();
    write(m_stage);
    m_frontend.stageStarted(number, count, title);
}

void Log::stageEnded(const Outcome &outcome)
{
    write(
        QStringLiteral("%1: %2 after %3 s%4")
            .arg(m_stage, QLatin1String(endings[outcome.kind]))
            .arg(double(m_stageTime.elapsed()) / 1000, 0, 'f', 1)
            .arg(outcome.sentence.isEmpty() ? QString() : QStringLiteral(": ") + outcome.sentence));
    m_frontend.stageEnded(outcome);
    const std::lock_guard<std::mutex> lock(m_mutex);
    if (m_isFaultTold || m_file.fault().isEmpty())
        return;
    m_isFaultTold = true;
    m_frontend.note(m_file.fault());
}

void Log::note(const QString &text)
{
    write(QStringLiteral("note: ") + text);
    m_frontend.note(text);
}

void Log::reminder(const QString &text)
{
    write(QStringLiteral("note: ") + text);
    m_frontend.reminder(text);
}

void Log::waiting(const QString &forWhat)
{
    write(QStringLiteral("waiting for ") + forWhat);
    m_frontend.waiting(forWhat);
}

void Log::toolLine(const QString &line)
{
    write(QStringLiteral("tool: ") + line);
    m_frontend.toolLine(line);
}

void Log::libraryLine(const QString &line)
{
    write(QStringLiteral("library: ") + line);
    m_frontend.libraryLine(line);
}

void Log::conceal(const QString &secret)
{
    {
        const std::lock_guard<std::mutex> lock(m_mutex);
        m_file.conceal({secret});
    }
    m_frontend.conceal(secret);
}

void Log::explain(const QString &help) { m_frontend.explain(help); }

void Log::refuse(const QString &why)
{
    write(QStringLiteral("refused: ") + why);
    m_frontend.refuse(why);
}

std::optional<QString> Log::askText(const QString &question)
{
    write(QStringLiteral("question: ") + question); // the answer may be the name of the user
    return m_frontend.askText(question);
}

std::optional<QString> Log::askPath(const QString &question)
{
    const auto path = m_frontend.askPath(question);
    write(QStringLiteral("question: %1: %2")
              .arg(question, path ? *path : QStringLiteral("no answer")));
    return path;
}

std::optional<QString> Log::askSecret(const QString &question)
{
    write(QStringLiteral("question: ") + question);
    return m_frontend.askSecret(question);
}

std::optional<QString> Log::choose(const QString &question, const QStringList &names,
                                   const QString &hint)
{
    const auto name = m_frontend.choose(question, names, hint);
    write(QStringLiteral("question: %1: %2")
              .arg(question, name ? *name : QStringLiteral("no answer")));
    return name;
}

std::optional<bool> Log::agree(const Summary &summary)
{
    const auto isAgreed = m_frontend.agree(summary);
    write(QStringLiteral("the user %1")
              .arg(isAgreed.value_or(false) ? QStringLiteral("agrees")
                                            : QStringLiteral("does not agree")));
    return isAgreed;
}

}
