// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/paths.h"
#include "base/text.h"
#include "base/translate.h"
#include "providerdatabase.h"
#include "question.h"
#include "session.h"
#include "stages.h"

#include <variant>

namespace Setup {

namespace {

/** What to choose from, and what the user has said of it. */
struct Choice
{
    const char *what;
    const char *question;
    const char *option;
    const char *help;
};

constexpr Choice countryChoice = {
    QT_TRANSLATE_NOOP("Setup", "country"), QT_TRANSLATE_NOOP("Setup", "Country"), "--country",
    QT_TRANSLATE_NOOP("Setup", "The country whose telephone line the modem is plugged into.")};
constexpr Choice serviceChoice = {
    QT_TRANSLATE_NOOP("Setup", "service"), QT_TRANSLATE_NOOP("Setup", "Provider and service"),
    "--service",
    QT_TRANSLATE_NOOP(
        "Setup",
        "What you have a contract for; the provider's letter tells. < goes back to the country.")};

using Pick = std::variant<QString, Outcome>;

Pick ask(Session &session, const Choice &choice, const QStringList &names, const QString &hint)
{
    const QString what = Text::tr(choice.what);
    session.frontend.explain(Text::tr(choice.help));
    const auto choose = [&] {
        return session.frontend.choose(Text::tr(choice.question), names, hint);
    };
    const auto fault = [&](const QString &answer) -> std::optional<Outcome> {
        if (answer == backAnswer() || names.contains(answer))
            return std::nullopt;
        return Outcome::failed(ExitCode::Service,
                               Text::tr("There is no %1 \"%2\".").arg(what, answer),
                               suggestion(nearMatches(names, answer)));
    };
    const auto noAnswer = Outcome::failed(
        ExitCode::Usage, Text::tr("No %1 was chosen.").arg(what),
        Text::tr("Choose one, or give it with %1.").arg(QString::fromLatin1(choice.option)));
    return answerTo(session, {choose, fault, noAnswer});
}

/** Takes the user's word for a name of @p names, or asks. Returns the name, the wish to go back,
 * or why there is neither. */
Pick pick(Session &session, const Choice &choice, const QStringList &names, const QString &wanted)
{
    if (!wanted.isEmpty()) {
        if (const auto match = matchName(names, wanted))
            return *match;
        if (session.settings.unattended)
            return Outcome::failed(ExitCode::Service,
                                   Text::tr("The provider database has no %1 \"%2\".")
                                       .arg(Text::tr(choice.what), wanted),
                                   joined({suggestion(nearMatches(names, wanted)),
                                           Text::tr("Give another name with %1.")
                                               .arg(QString::fromLatin1(choice.option))}));
    }
    const QStringList matches = namesHolding(names, wanted);
    if (matches.size() == 1 && !session.settings.unattended)
        return matches.first();
    return ask(session, choice, names, wanted);
}

/** A country has no question before it. */
Pick pickCountry(Session &session, const QStringList &names, const QString &wanted)
{
    for (;;) {
        const Pick country = pick(session, countryChoice, names, wanted);
        const auto *const name = std::get_if<QString>(&country);
        if (!name || *name != backAnswer())
            return country;
        session.frontend.refuse(Text::tr("There is no question to go back to."));
    }
}

Outcome unusable(const QString &service, const QString &what)
{
    return Outcome::failed(ExitCode::Service,
                           Text::tr("The provider database has %1 for \"%2\".").arg(what, service),
                           Text::tr("Mend the database, or choose another service."));
}

std::optional<Outcome> checkLine(const Line &line)
{
    if (line.protocol != QLatin1String("pppoe") && line.protocol != QLatin1String("pppoa"))
        return unusable(line.service, Text::tr("the unknown protocol \"%1\"").arg(line.protocol));
    if (line.vpi > 255 || line.vci == 0)
        return unusable(line.service, Text::tr("no valid VPI and VCI"));
    if (line.encapsulation != QLatin1String("llc") && line.encapsulation != QLatin1String("vc"))
        return unusable(line.service,
                        Text::tr("the unknown encapsulation \"%1\"").arg(line.encapsulation));
    return std::nullopt;
}

QString described(const Line &line)
{
    return QStringLiteral("%1, %2: %3.%4, %5, %6")
        .arg(line.country, line.service)
        .arg(line.vpi)
        .arg(line.vci)
        .arg(line.protocol, line.encapsulation);
}

/** The questions for country and service, as far as they are not answered by these names. */
Outcome takeLine(Session &session, const QString &wantedCountry, const QString &wantedService)
{
    if (!session.settings.wants(Goal::Connection) && !session.settings.nameServers.isEmpty())
        return Outcome::skipped(Text::tr("the name servers were given"));
    const QString path = providerDatabase(session.settings);
    if (const auto problem = ProviderDatabase::check(path))
        return *problem;
    ProviderDatabase database(path);
    const QStringList countries = database.countries();
    if (countries.isEmpty())
        return ProviderDatabase::damaged(path, Text::tr("it has no countries"));

    Pick country = pickCountry(session, countries, wantedCountry);
    QString service = wantedService;
    for (;;) {
        if (std::holds_alternative<Outcome>(country))
            return std::get<Outcome>(country);
        const QStringList services = database.services(std::get<QString>(country));
        const bool isChosen = services.size() > 1 && !matchName(services, service);
        const Pick answer = pick(session, serviceChoice, services, service);
        if (std::holds_alternative<Outcome>(answer))
            return std::get<Outcome>(answer);
        service.clear();
        if (std::get<QString>(answer) == backAnswer()) {
            country = pickCountry(session, countries, QString());
            continue;
        }
        const auto line = database.line(std::get<QString>(answer));
        if (!line)
            return ProviderDatabase::damaged(path, Text::tr("it has no data for the service"));
        const auto problem = checkLine(*line);
        if (problem && !isChosen)
            return *problem;
        if (!problem) {
            session.line = *line;
            return Outcome::done(described(*line));
        }
        session.frontend.refuse(problem->sentence);
    }
}

}

Outcome chooseProvider(Session &session)
{
    return takeLine(session, session.settings.country, session.settings.service);
}

Outcome chooseProviderAgain(Session &session)
{
    ProviderDatabase database(providerDatabase(session.settings));
    const bool hasOthers = database.services(session.line.country).size() > 1;
    return takeLine(session, hasOthers ? session.line.country : QString(), QString());
}

}
