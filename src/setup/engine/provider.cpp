// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "paths.h"
#include "providerdatabase.h"
#include "session.h"
#include "stages.h"
#include "text.h"

#include <variant>

namespace Setup {

namespace {

/** What to choose from, and what the user has said of it. */
struct Choice
{
    const char *what;
    const char *question;
    const char *option;
};

constexpr Choice countryChoice = {"country", "Country", "--country"};
constexpr Choice serviceChoice = {"service", "Provider and service", "--service"};

/** Takes the user's word for a name of @p names, or asks. Returns the name, or why there is none.
 */
std::variant<QString, Outcome> pick(Session &session, const Choice &choice,
                                    const QStringList &names, const QString &wanted)
{
    const QString what = QString::fromLatin1(choice.what);
    if (!wanted.isEmpty()) {
        if (const auto match = matchName(names, wanted))
            return *match;
        if (session.settings.unattended)
            return Outcome::failed(
                ExitCode::Service,
                QStringLiteral("The provider database has no %1 \"%2\".").arg(what, wanted),
                joined({suggestion(nearMatches(names, wanted)),
                        QStringLiteral("Give another name with %1.")
                            .arg(QString::fromLatin1(choice.option))}));
    }
    if (const auto answer =
            session.frontend.choose(QString::fromLatin1(choice.question), names, wanted))
        return *answer;
    if (session.cancellation.isRequested())
        return Outcome::interrupted();
    return Outcome::failed(
        ExitCode::Usage, QStringLiteral("No %1 was chosen.").arg(what),
        QStringLiteral("Choose one, or give it with %1.").arg(QString::fromLatin1(choice.option)));
}

Outcome unusable(const QString &service, const QString &what)
{
    return Outcome::failed(
        ExitCode::Service,
        QStringLiteral("The provider database has %1 for \"%2\".").arg(what, service),
        QStringLiteral("Mend the database, or choose another service."));
}

std::optional<Outcome> checkLine(const Line &line)
{
    if (line.protocol != QLatin1String("pppoe") && line.protocol != QLatin1String("pppoa"))
        return unusable(line.service,
                        QStringLiteral("the unknown protocol \"%1\"").arg(line.protocol));
    if (line.vpi > 255 || line.vci == 0)
        return unusable(line.service, QStringLiteral("no valid VPI and VCI"));
    if (line.encapsulation != QLatin1String("llc") && line.encapsulation != QLatin1String("vc"))
        return unusable(line.service,
                        QStringLiteral("the unknown encapsulation \"%1\"").arg(line.encapsulation));
    return std::nullopt;
}

}

Outcome chooseProvider(Session &session)
{
    if (!session.settings.wants(Goal::Connection) && !session.settings.nameServers.isEmpty())
        return Outcome::skipped(QStringLiteral("the name servers were given"));
    const QString path = providerDatabase(session.settings);
    if (const auto problem = ProviderDatabase::check(path))
        return *problem;
    ProviderDatabase database(path);

    const QStringList countries = database.countries();
    if (countries.isEmpty())
        return ProviderDatabase::damaged(path, QStringLiteral("it has no countries"));
    const auto country = pick(session, countryChoice, countries, session.settings.country);
    if (std::holds_alternative<Outcome>(country))
        return std::get<Outcome>(country);

    const QStringList services = database.services(std::get<QString>(country));
    const auto service = pick(session, serviceChoice, services, session.settings.service);
    if (std::holds_alternative<Outcome>(service))
        return std::get<Outcome>(service);

    const auto line = database.line(std::get<QString>(service));
    if (!line)
        return ProviderDatabase::damaged(path, QStringLiteral("it has no data for the service"));
    session.line = *line;
    if (const auto problem = checkLine(session.line))
        return *problem;
    return Outcome::done(QStringLiteral("%1, %2: %3.%4, %5, %6")
                             .arg(session.line.country, session.line.service)
                             .arg(session.line.vpi)
                             .arg(session.line.vci)
                             .arg(session.line.protocol, session.line.encapsulation));
}

}
