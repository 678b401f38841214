// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_OUTCOME_H
#define KESTRA_SETUP_OUTCOME_H

#include "exitcodes.h"

#include "translate.h"

#include <QString>
#include <QStringList>
#include <QVector>

namespace Setup {

/** How one stage ended. */
struct Outcome
{
    enum Kind { Done, Skipped, Failed };

    Kind kind = Done;
    ExitCode code = ExitCode::Success;
    QString sentence; ///< the cause, or why the stage was skipped; may be empty when done
    QString nextStep; ///< what the user can do about it

    static Outcome done(const QString &remark = QString())
    {
        return {Done, ExitCode::Success, remark, {}};
    }
    static Outcome skipped(const QString &why) { return {Skipped, ExitCode::Success, why, {}}; }
    static Outcome failed(ExitCode code, const QString &cause, const QString &nextStep)
    {
        return {Failed, code, cause, nextStep};
    }
    static Outcome interrupted()
    {
        return failed(ExitCode::Interrupted, Text::tr("The set-up was interrupted."),
                      Text::tr("Start it again to go on; every stage may be repeated."));
    }
};

/** Something that the run left on the system. */
struct Change
{
    QString path;
    QString what;
};

/** How the whole run ended. */
struct Result
{
    Outcome outcome; ///< that of the failed stage, or Done
    QString stage; ///< title of the failed stage
    QStringList toolLines; ///< last lines of the tools that the failed stage ran
    QVector<Change> changes; ///< in the order in which they were made
    QStringList achieved; ///< sentences that say what is there now, after success

    ExitCode code() const { return outcome.code; }
};

}

#endif
