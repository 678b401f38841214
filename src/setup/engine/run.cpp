// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "run.h"

#include "base/translate.h"
#include "log/log.h"
#include "replaced.h"
#include "runlock.h"
#include "session.h"
#include "stages.h"

#include <algorithm>
#include <exception>
#include <vector>

namespace Setup {

namespace {

struct Stage
{
    const char *title;
    unsigned goals; ///< it serves any of these
    Outcome (*run)(Session &);
    enum {
        AsksLater = 0, ///< a person is asked this when the modem and its driver are known
        AsksFirst = 1,
        Acts = 2, ///< changes something
        EndsThePrevious = 4 ///< between it and the one before, the machine is not to be left
    };
    int nature;
};

constexpr Stage stages[] = {
    {QT_TRANSLATE_NOOP("Setup", "check what the set-up needs"), ~0U, checkSystem, Stage::AsksFirst},
    {QT_TRANSLATE_NOOP("Setup", "choose the provider"), Goal::Connection | Goal::NameServers,
     chooseProvider, Stage::AsksLater},
    {QT_TRANSLATE_NOOP("Setup", "take user name and password"), Goal::Connection, takeLogin,
     Stage::AsksLater},
    {QT_TRANSLATE_NOOP("Setup", "find the modem"), Goal::Driver | Goal::Connection, detectModem,
     Stage::AsksFirst},
    {QT_TRANSLATE_NOOP("Setup", "check what the driver needs"), Goal::Driver, checkDriver,
     Stage::AsksFirst},
    {QT_TRANSLATE_NOOP("Setup", "unpack the driver"), Goal::Driver, extractDriver, Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "patch the driver"), Goal::Driver, patchDriver, Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "compile the driver"), Goal::Driver, compileDriver, Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "back up the installed driver"), Goal::Driver, backupDriver,
     Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "install the driver"), Goal::Driver, installDriver,
     Stage::Acts | Stage::EndsThePrevious},
    {QT_TRANSLATE_NOOP("Setup", "install packages"), Goal::Packages, installPackages, Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "write the connection"), Goal::Connection, writeConnection,
     Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "link the connection into the run levels"), Goal::Boot, linkBoot,
     Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "set the name servers"), Goal::NameServers, setNameServers,
     Stage::Acts},
    {QT_TRANSLATE_NOOP("Setup", "start the connection"), Goal::Start, startConnection, Stage::Acts},
};

bool acts(const Stage &stage) { return stage.nature & Stage::Acts; }

/** A person has the modem in hand; in an unattended run what needs no waiting comes first. */
void putModemFirst(std::vector<Stage> &wanted)
{
    std::stable_partition(wanted.begin(), std::find_if(wanted.begin(), wanted.end(), acts),
                          [](const Stage &stage) { return stage.nature & Stage::AsksFirst; });
}

std::vector<Stage> wantedStages(const Settings &settings)
{
    std::vector<Stage> wanted;
    for (const Stage &stage : stages) {
        if (settings.wants(stage.goals))
            wanted.push_back(stage);
    }
    if (!settings.unattended)
        putModemFirst(wanted);
    return wanted;
}

QStringList titles(std::vector<Stage>::const_iterator begin, std::vector<Stage>::const_iterator end)
{
    QStringList list;
    for (auto stage = begin; stage != end; ++stage)
        list.append(Text::tr(stage->title));
    return list;
}

/** A person who has answered questions sees all answers together before they have effects. */
Outcome takeAgreement(Session &session, const QStringList &steps)
{
    if (const auto problem = tellOfReplaced(session))
        return *problem;
    if (!session.wasAnswered)
        return Outcome::done();
    session.frontend.explain(Text::tr(
        "Nothing has been changed so far. kestra-setup undo takes back what is done from now on."));
    const auto isAgreed = session.frontend.agree(summaryOf(session, steps));
    if (session.cancellation.isRequested())
        return Outcome::interrupted();
    if (isAgreed.value_or(false))
        return Outcome::done();
    return Outcome::failed(ExitCode::Interrupted, Text::tr("The set-up was not begun."),
                           Text::tr("Start it again to give other answers."));
}

struct Achievement
{
    unsigned goals; ///< of which one was wanted
    unsigned others; ///< of which none was wanted
    const char *sentence;
};

constexpr Achievement achievements[] = {
    {Goal::Connection, 0, QT_TRANSLATE_NOOP("Setup", "The connection is set up.")},
    {Goal::Driver, Goal::Connection, QT_TRANSLATE_NOOP("Setup", "The driver is installed.")},
    {Goal::Packages, Goal::Connection, QT_TRANSLATE_NOOP("Setup", "The packages are installed.")},
    {Goal::Boot, Goal::Connection,
     QT_TRANSLATE_NOOP("Setup", "The connection will be started at boot.")},
    {Goal::NameServers, Goal::Connection, QT_TRANSLATE_NOOP("Setup", "The name servers are set.")},
    {Goal::Start, 0, QT_TRANSLATE_NOOP("Setup", "It is up.")},
    {Goal::InitScript, Goal::Start,
     QT_TRANSLATE_NOOP("Setup", "\"/etc/init.d/kestrad start\" starts it now.")},
};

QStringList achieved(const Session &session)
{
    Settings settings = session.settings;
    if (session.leavesNameServers)
        settings.goals &= ~Goal::NameServers;
    QStringList sentences;
    for (const Achievement &achievement : achievements) {
        if (settings.wants(achievement.goals) && !settings.wants(achievement.others))
            sentences.append(Text::tr(achievement.sentence));
    }
    return sentences;
}

Outcome runStage(const Stage &stage, Session &session)
{
    if (session.cancellation.isRequested()) {
        if (!(stage.nature & Stage::EndsThePrevious))
            return Outcome::interrupted();
        session.frontend.note(
            Text::tr("Interrupted: stopping after this stage, or there would be no driver."));
    }
    try {
        return stage.run(session);
    } catch (const std::exception &error) {
        return Outcome::failed(
            ExitCode::Internal,
            Text::tr("An internal error: %1.").arg(QString::fromLocal8Bit(error.what())),
            Text::tr("Start it again; if that does not help, report it."));
    }
}

Result goThroughStages(const Settings &settings, Frontend &frontend,
                       const Cancellation &cancellation)
{
    Session session(settings, frontend, cancellation);
    Result result;
    const std::vector<Stage> wanted = wantedStages(settings);
    bool isAgreed = false;
    for (std::size_t i = 0; i < wanted.size() && result.code() == ExitCode::Success; ++i) {
        const QString title = Text::tr(wanted[i].title);
        if (acts(wanted[i]) && !isAgreed) {
            const Outcome agreement =
                takeAgreement(session, titles(wanted.cbegin() + long(i), wanted.cend()));
            isAgreed = agreement.kind == Outcome::Done;
            if (!isAgreed) {
                result.outcome = agreement;
                break;
            }
        }
        session.forgetToolLines();
        frontend.stageStarted(int(i) + 1, int(wanted.size()), title);
        const Outcome outcome = runStage(wanted[i], session);
        session.output.sync();
        session.store.seal();
        frontend.stageEnded(outcome);
        if (outcome.kind == Outcome::Failed)
            result = {outcome, title, session.toolLines(), {}, {}};
    }
    if (!session.store.finish() && session.store.fault().isEmpty())
        frontend.note(Text::tr("What was changed could not be noted in %1, so kestra-setup "
                               "undo will need --force for some of it.")
                          .arg(Store::directory()));
    if (result.code() == ExitCode::Success)
        result.achieved = achieved(session);
    result.changes = session.changes;
    return result;
}

}

Result run(const Settings &settings, Frontend &frontend, const Cancellation &cancellation)
{
    const RunLock lock;
    const auto &hindrance = lock.hindrance();
    Log log(frontend, settings, !hindrance);
    const Result result = hindrance ? Result {*hindrance, {}, {}, {}, {}}
                                    : goThroughStages(settings, log, cancellation);
    log.ended(result);
    return result;
}

}
