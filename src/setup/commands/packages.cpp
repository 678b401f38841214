// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/translate.h"
#include "engine/packagelock.h"
#include "engine/packageneeds.h"
#include "engine/packages.h"
#include "engine/packagesystem.h"
#include "engine/session.h"
#include "engine/stages.h"

#include <QHash>
#include <QJsonArray>

namespace Setup {

namespace {

constexpr char installed[] = "installed";
constexpr char available[] = "available";
constexpr char unavailable[] = "unavailable";

struct State
{
    const char *name;
    const char *phrase;
};

constexpr State states[] = {
    {installed, QT_TRANSLATE_NOOP("Setup", "installed")},
    {available, QT_TRANSLATE_NOOP("Setup", "can be installed")},
    {unavailable, QT_TRANSLATE_NOOP("Setup", "cannot be had")},
};

using Obstacles = QHash<QString, PackageSystem::Obstacle>;

/** Each is looked at alone only when they cannot be had together, since that takes its time. */
Obstacles obstaclesTo(PackageSystem &system, const QStringList &names,
                      std::optional<PackageSystem::Obstacle> &together)
{
    Obstacles obstacles;
    together = names.isEmpty() ? std::nullopt : system.tryOut(names);
    if (!together)
        return obstacles;
    for (const QString &name : names) {
        const auto obstacle = names.size() == 1 ? together : system.tryOut({name});
        if (obstacle)
            obstacles.insert(name, *obstacle);
    }
    return obstacles;
}

void tell(Answer &answer, const PackageNeeds &needs, const QStringList &missing,
          const Obstacles &obstacles)
{
    QJsonArray packages;
    for (const PackageNeed &need : needs.packages) {
        const State &state = !missing.contains(need.name) ? states[0]
            : obstacles.contains(need.name)               ? states[2]
                                                          : states[1];
        QJsonObject object {{QStringLiteral("name"), need.name},
                            {QStringLiteral("for"), need.purpose},
                            {QStringLiteral("state"), QLatin1String(state.name)}};
        QString line = Text::tr("%1  %2 (for %3)")
                           .arg(need.name.leftJustified(24), Text::tr(state.phrase), need.purpose);
        if (obstacles.contains(need.name)) {
            const QString reason = obstacles[need.name].outcome.sentence;
            object.insert(QStringLiteral("reason"), reason);
            line += QStringLiteral(": ") + reason;
        }
        packages.append(object);
        answer.lines.append(line);
    }
    answer.json.insert(QStringLiteral("packages"), packages);
    answer.json.insert(QStringLiteral("driver"), needs.driver);
    answer.json.insert(QStringLiteral("protocols"), QJsonArray::fromStringList(needs.protocols));
}

Outcome outcomeOf(const QStringList &missing, const Obstacles &obstacles,
                  const std::optional<PackageSystem::Obstacle> &together)
{
    if (missing.isEmpty())
        return Outcome::done();
    const QString sentence = Text::tr("Not installed: %1.").arg(missing.join(QStringLiteral(", ")));
    if (!together)
        return Outcome::failed(ExitCode::Packages, sentence,
                               Text::tr("kestra-setup packages install installs them."));
    QStringList names = obstacles.keys();
    names.sort();
    const QString which = names.isEmpty()
        ? Text::tr("They cannot be had together: %1").arg(together->outcome.sentence)
        : Text::tr("Cannot be had: %1.").arg(names.join(QStringLiteral(", ")));
    const PackageSystem::Obstacle &first = names.isEmpty() ? *together : obstacles[names.first()];
    const QString disc = first.mayADiscHelp
        ? Text::tr(" An installation disc may have them: kestra-setup disc add.")
        : QString();
    return Outcome::failed(ExitCode::Packages, sentence + QLatin1Char(' ') + which,
                           first.outcome.nextStep + disc);
}

}

Answer checkPackages(Session &session, const Options &)
{
    if (const auto problem = checkPackageTools(session))
        return {*problem, {}, {}};
    const PackageNeeds needs = packageNeeds(session);
    if (needs.problem)
        return {*needs.problem, {}, {}};
    PackageSystem system(session);
    const auto missing = system.notInstalled(needs.names());
    if (!missing)
        return {noListing(session), {}, {}};
    // apt-get tries out without a lock, zypper does not.
    if (session.packageManager == zypperName() && !missing->isEmpty()) {
        if (const auto problem = waitForLock(session))
            return {*problem, {}, {}};
    }
    std::optional<PackageSystem::Obstacle> together;
    const Obstacles obstacles = obstaclesTo(system, *missing, together);
    Answer answer;
    answer.json.insert(QStringLiteral("package_manager"), session.packageManager);
    tell(answer, needs, *missing, obstacles);
    answer.outcome = outcomeOf(*missing, obstacles, together);
    return answer;
}

}
