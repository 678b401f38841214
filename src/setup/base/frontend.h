// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_FRONTEND_H
#define KESTRA_SETUP_FRONTEND_H

#include "outcome.h"
#include "summary.h"

#include <QString>
#include <QStringList>

#include <optional>

namespace Setup {

/** The answer that takes the user back to the question before; not all questions know it. */
inline QString backAnswer() { return QStringLiteral("<"); }

/**
 * A user interface, as the engine sees it.
 *
 * Questions block; they return nothing when the user gave up or nobody is there to answer. An
 * answer that cannot be used is refused, and the question comes again.
 */
class Frontend
{
public:
    virtual ~Frontend() = default;

    virtual void stageStarted(int number, int count, const QString &title) = 0;
    virtual void stageEnded(const Outcome &outcome) = 0;

    /** Something to tell the user that stays on the screen. */
    virtual void note(const QString &text) = 0;

    /** A note that is told once more at the end of a run that succeeds. */
    virtual void reminder(const QString &text) { note(text); }

    /** What the running stage waits for. */
    virtual void waiting(const QString &forWhat) = 0;

    /** A line that a tool has printed. Comes from a thread of its own. */
    virtual void toolLine(const QString &line) = 0;

    /** A message of the library about itself. Comes from any thread. */
    virtual void libraryLine(const QString &line) = 0;

    /** From now on @p secret must not get to where it lasts. */
    virtual void conceal(const QString &secret) { Q_UNUSED(secret) }

    /** What there is to know about the questions that come next, for a user who wants to know. */
    virtual void explain(const QString &) { }

    /** Says why the last answer cannot be used. */
    virtual void refuse(const QString &why) { note(why); }

    virtual std::optional<QString> askText(const QString &question) = 0;

    /** Asks for the path of a file. */
    virtual std::optional<QString> askPath(const QString &question) { return askText(question); }

    /** Asks without showing what is typed. */
    virtual std::optional<QString> askSecret(const QString &question) = 0;

    /** Lets the user pick one of @p names; @p hint is what is known of the name so far. */
    virtual std::optional<QString> choose(const QString &question, const QStringList &names,
                                          const QString &hint) = 0;

    /**
     * Shows what is going to be done, before anything is changed, to a user who was asked something
     * before. Returns whether to do it.
     */
    virtual std::optional<bool> agree(const Summary &) { return true; }
};

}

#endif
