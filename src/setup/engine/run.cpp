// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "run.h"

#include "log/log.h"
#include "runlock.h"
#include "session.h"
#include "stages.h"

#include <exception>
#include <vector>

namespace Setup {

namespace {

struct Stage
{
    const char *title;
    unsigned goals; ///< it serves any of these
    Outcome (*run)(Session &);
    /** Ends what the stage before has begun: between the two, the machine is not to be left. */
    bool endsThePrevious = false;
};

constexpr Stage stages[] = {
    {"check what the set-up needs", ~0U, checkSystem},
    {"choose the provider", Goal::Connection | Goal::NameServers, chooseProvider},
    {"take user name and password", Goal::Connection, takeLogin},
    {"find the modem", Goal::Driver | Goal::Connection, detectModem},
    {"check what the driver needs", Goal::Driver, checkDriver},
    {"unpack the driver", Goal::Driver, extractDriver},
    {"patch the driver", Goal::Driver, patchDriver},
    {"compile the driver", Goal::Driver, compileDriver},
    {"back up the installed driver", Goal::Driver, backupDriver},
    {"install the driver", Goal::Driver, installDriver, true},
    {"install packages", Goal::Packages, installPackages},
    {"write the connection", Goal::Connection, writeConnection},
    {"link the connection into the run levels", Goal::Boot, linkBoot},
    {"set the name servers", Goal::NameServers, setNameServers},
    {"start the connection", Goal::Start, startConnection},
};

std::vector<Stage> wantedStages(const Settings &settings)
{
    std::vector<Stage> wanted;
    for (const Stage &stage : stages) {
        if (settings.wants(stage.goals))
            wanted.push_back(stage);
    }
    return wanted;
}

Outcome runStage(const Stage &stage, Session &session)
{
    if (session.cancellation.isRequested()) {
        if (!stage.endsThePrevious)
            return Outcome::interrupted();
        session.frontend.note(
            QStringLiteral("Interrupted: stopping after this stage, or there would be no driver."));
    }
    try {
        return stage.run(session);
    } catch (const std::exception &error) {
        return Outcome::failed(
            ExitCode::Internal,
            QStringLiteral("An internal error: %1.").arg(QString::fromLocal8Bit(error.what())),
            QStringLiteral("Start it again; if that does not help, report it."));
    }
}

Result goThroughStages(const Settings &settings, Frontend &frontend,
                       const Cancellation &cancellation)
{
    Session session(settings, frontend, cancellation);
    Result result;
    const std::vector<Stage> wanted = wantedStages(settings);
    for (std::size_t i = 0; i < wanted.size() && result.code() == ExitCode::Success; ++i) {
        const QString title = QString::fromLatin1(wanted[i].title);
        session.forgetToolLines();
        frontend.stageStarted(int(i) + 1, int(wanted.size()), title);
        const Outcome outcome = runStage(wanted[i], session);
        session.output.sync();
        session.store.seal();
        frontend.stageEnded(outcome);
        if (outcome.kind == Outcome::Failed)
            result = {outcome, title, session.toolLines(), {}};
    }
    if (!session.store.finish() && session.store.fault().isEmpty())
        frontend.note(QStringLiteral("What was changed could not be noted in %1, so kestra-setup "
                                     "undo will need --force for some of it.")
                          .arg(Store::directory()));
    result.changes = session.changes;
    return result;
}

}

Result run(const Settings &settings, Frontend &frontend, const Cancellation &cancellation)
{
    const RunLock lock;
    const auto &hindrance = lock.hindrance();
    Log log(frontend, settings, !hindrance);
    const Result result =
        hindrance ? Result {*hindrance, {}, {}, {}} : goThroughStages(settings, log, cancellation);
    log.ended(result);
    return result;
}

}
