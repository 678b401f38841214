// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/text.h"
#include "base/translate.h"
#include "engine/session.h"
#include "options.h"
#include "terminal/interrupt.h"

#include <cstdio>

namespace Setup {

namespace {

/** A user interface for a command that asks nothing: its answer is all that counts. */
class Quiet : public Frontend
{
public:
    explicit Quiet(bool isVerbose) : m_isVerbose(isVerbose) { }

    void stageStarted(int, int, const QString &) override { }
    void stageEnded(const Outcome &) override { }
    void note(const QString &text) override { tell(text); }
    void waiting(const QString &forWhat) override { tell(Text::tr("Waiting for %1").arg(forWhat)); }
    void toolLine(const QString &line) override { libraryLine(line); }
    void libraryLine(const QString &line) override
    {
        if (m_isVerbose)
            tell(line);
    }
    std::optional<QString> askText(const QString &) override { return std::nullopt; }
    std::optional<QString> askSecret(const QString &) override { return std::nullopt; }
    std::optional<QString> choose(const QString &, const QStringList &, const QString &) override
    {
        return std::nullopt;
    }

private:
    static void tell(const QString &line)
    {
        fprintf(stderr, "%s\n", printable(line).toLocal8Bit().constData());
    }

    const bool m_isVerbose;
};

}

Answer askInSession(const Options &options)
{
    const Cancellation cancellation(watchInterrupts());
    Quiet quiet(options.verbose);
    Settings settings = options;
    settings.unattended = true;
    Session session(settings, quiet, cancellation);
    Answer answer = options.command->runInSession(session, options);
    session.output.sync();
    const bool isKept = session.store.finish() || !session.store.fault().isEmpty();
    if (!isKept)
        quiet.note(Text::tr("What was changed could not be noted in %1.").arg(Store::directory()));
    return answer;
}

}
