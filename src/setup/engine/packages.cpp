// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packages.h"

#include "base/text.h"
#include "base/translate.h"
#include "discs.h"
#include "packagelock.h"
#include "packageneeds.h"
#include "packagesystem.h"
#include "session.h"
#include "stages.h"

#include <kestra/foundation/systeminfo.h>

#include <QStandardPaths>

namespace Setup {

namespace {

struct Distribution
{
    const char *name;
    const char *manager;
};

constexpr Distribution distributions[] = {
    {"Debian", "apt"},
    {"Ubuntu", "apt"},
    {"SuSE", "zypper"},
};

struct Tool
{
    const char *program;
    const char *manager;
};

constexpr Tool managerTools[] = {
    {"apt-get", "apt"},
    {"zypper", "zypper"},
};

/** Looks whether the packages can be had, and installs them then. */
std::optional<PackageSystem::Obstacle> tryToInstall(Session &session, PackageSystem &system,
                                                    const QStringList &names)
{
    if (const auto problem = waitForLock(session))
        return PackageSystem::Obstacle {*problem};
    if (const auto obstacle = system.tryOut(names))
        return obstacle;
    session.forgetToolLines();
    return system.install(names);
}

}

QString packageManagerOfSystem()
{
    const QString system = Kestra::SystemInfo::getDistributionName();
    for (const Distribution &distribution : distributions) {
        if (system == QLatin1String(distribution.name))
            return QString::fromLatin1(distribution.manager);
    }
    // The library does not know the releases of today; their tools tell as much.
    for (const Tool &tool : managerTools) {
        if (!QStandardPaths::findExecutable(QString::fromLatin1(tool.program)).isEmpty())
            return QString::fromLatin1(tool.manager);
    }
    return QString();
}

Outcome noListing(const Session &session)
{
    return Outcome::failed(ExitCode::Packages,
                           Text::tr("%1 does not tell which packages are installed.")
                               .arg(session.packageManager == zypperName()
                                        ? QStringLiteral("rpm")
                                        : QStringLiteral("dpkg")),
                           Text::tr("Run it by hand to see what is wrong, then start again."));
}

Outcome installPackages(Session &session)
{
    const PackageNeeds needs = packageNeeds(session);
    if (needs.problem)
        return *needs.problem;
    PackageSystem system(session);
    for (QStringList missing = needs.names();;) {
        const auto stillMissing = system.notInstalled(missing);
        if (!stillMissing)
            return noListing(session);
        if (stillMissing->isEmpty())
            return Outcome::done(
                Text::tr("%1: installed already").arg(missing.join(QStringLiteral(", "))));
        missing = *stillMissing;
        const auto obstacle = tryToInstall(session, system, missing);
        const QString names = missing.join(QStringLiteral(", "));
        if (!obstacle) {
            session.changed(names, Text::tr("packages installed"));
            return Outcome::done(names);
        }
        if (!obstacle->mayADiscHelp || session.settings.unattended)
            return obstacle->outcome;
        const DiscOffer offer = offerDisc(
            session, joined({obstacle->outcome.sentence, Text::tr("Wanted: %1.").arg(names)}));
        if (offer == DiscOffer::Declined)
            return session.cancellation.isRequested() ? Outcome::interrupted() : obstacle->outcome;
    }
}

}
