// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagelock.h"

#include "base/processes.h"
#include "base/text.h"
#include "base/translate.h"
#include "session.h"

#include <QElapsedTimer>

namespace Setup {

namespace {

constexpr int pollInterval = 500; // ms

struct Lock
{
    const char *manager;
    const char *path;
    std::optional<Process> (*holder)(const QString &);
};

constexpr Lock locks[] = {
    {"apt", "/var/lib/dpkg/lock-frontend", lockHolder},
    {"apt", "/var/lib/dpkg/lock", lockHolder},
    {"apt", "/var/cache/apt/archives/lock", lockHolder},
    {"zypper", "/run/zypp.pid", processInFile},
};

std::optional<Process> currentHolder(const Session &session)
{
    for (const Lock &lock : locks) {
        if (session.packageManager != QLatin1String(lock.manager))
            continue;
        if (const auto holder = lock.holder(QString::fromLatin1(lock.path)))
            return holder;
    }
    return std::nullopt;
}

QString nameOf(const Process &holder) { return printable(holder.description()); }

Outcome busy(const Process &holder)
{
    return Outcome::failed(ExitCode::PackagesBusy,
                           Text::tr("The package system is locked by %1.").arg(nameOf(holder)),
                           Text::tr("Let it end or stop it, then start again."));
}

/** Returns who has the lock when the time is up, if anybody; or that the run is to stop. */
std::optional<Process> waitUntilFree(Session &session, bool &isInterrupted)
{
    QElapsedTimer time;
    time.start();
    std::optional<Process> told;
    std::optional<Process> holder;
    while ((holder = currentHolder(session)) && !isInterrupted) {
        if (time.hasExpired(session.settings.lockTimeout * qint64(1000)))
            return holder;
        if (!told || told->pid != holder->pid)
            session.frontend.waiting(
                Text::tr("the package system, which is locked by %1").arg(nameOf(*holder)));
        told = holder;
        isInterrupted = !session.pause(pollInterval);
    }
    return holder;
}

enum class Choice { Wait, TryAgain, GiveUp };

const char *const choices[] = {QT_TRANSLATE_NOOP("Setup", "wait"),
                               QT_TRANSLATE_NOOP("Setup", "try again"),
                               QT_TRANSLATE_NOOP("Setup", "give up")};

Choice ask(Session &session, const Process &holder)
{
    QStringList names;
    for (const char *choice : choices)
        names.append(Text::tr(choice));
    const auto answer = session.frontend.choose(
        Text::tr("The package system is locked by %1. What now").arg(nameOf(holder)), names,
        QString());
    return answer ? Choice(names.indexOf(*answer)) : Choice::GiveUp;
}

}

std::optional<Outcome> waitForLock(Session &session)
{
    bool isInterrupted = false;
    bool isToWait = session.settings.unattended;
    for (;;) {
        const auto holder =
            isToWait ? waitUntilFree(session, isInterrupted) : currentHolder(session);
        if (isInterrupted || session.cancellation.isRequested())
            return Outcome::interrupted();
        if (!holder)
            return std::nullopt;
        const Choice choice = session.settings.unattended ? Choice::GiveUp : ask(session, *holder);
        if (choice == Choice::GiveUp)
            return session.cancellation.isRequested() ? Outcome::interrupted() : busy(*holder);
        isToWait = choice == Choice::Wait;
    }
}

}
