// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "paths.h"
#include "session.h"
#include "stages.h"
#include "text.h"

#include <kestra/connection/serviceparser.h>

#include <QFile>
#include <QXmlStreamReader>

#include <variant>

namespace Setup {

namespace {

/** The library's reader, with the answers as results. */
class Database
{
public:
    explicit Database(const QString &path) : m_parser(path)
    {
        QObject::connect(&m_parser, &ServiceParser::countriesMap,
                         [this](const QMap<int, QString> &map) { m_names = map.values(); });
        QObject::connect(&m_parser, &ServiceParser::servicesMap,
                         [this](const QMap<int, QString> &map) { m_names = map.values(); });
        QObject::connect(&m_parser, &ServiceParser::sendServiceData,
                         [this](int vpi, int vci, const QString &protocol, const QStringList &dns) {
                             if (!m_line)
                                 m_line = Line {{}, {}, vpi, vci, protocol.trimmed(), {}, dns};
                         });
    }

    QStringList countries()
    {
        m_parser.getCountries();
        return m_names;
    }

    /** Selects a country, too. */
    QStringList services(const QString &country)
    {
        m_parser.getServicesForCountry(country);
        return m_names;
    }

    std::optional<Line> line(const QString &service)
    {
        m_line.reset();
        m_parser.requestServiceData(service);
        return m_line;
    }

private:
    ServiceParser m_parser;
    QStringList m_names;
    std::optional<Line> m_line;
};

Outcome damaged(const QString &path, QString why)
{
    if (why.endsWith(QLatin1Char('.'))) // some of Qt's own texts are sentences
        why.chop(1);
    return Outcome::failed(
        ExitCode::Database,
        QStringLiteral("The provider database %1 cannot be used: %2.").arg(path, why),
        QStringLiteral("Install kestra-setup completely, or give another file with --providers."));
}

/** Says what is wrong with the file; the library would only find no countries in it. */
std::optional<Outcome> checkFile(const QString &path)
{
    QFile file(path);
    if (!file.exists())
        return damaged(path, QStringLiteral("there is no such file"));
    if (!file.open(QIODevice::ReadOnly))
        return damaged(path, file.errorString());
    QXmlStreamReader xml(&file);
    while (!xml.atEnd())
        xml.readNext();
    if (xml.hasError())
        return damaged(path,
                       QStringLiteral("line %1, column %2: %3")
                           .arg(xml.lineNumber())
                           .arg(xml.columnNumber())
                           .arg(xml.errorString()));
    return std::nullopt;
}

/** Reads the element that the library leaves alone. */
QString readEncapsulation(const QString &path, const QString &country, const QString &service)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return QString();
    QXmlStreamReader xml(&file);
    bool inCountry = false;
    bool inService = false;
    while (!xml.atEnd()) {
        xml.readNext();
        if (xml.isStartElement() && xml.name() == QLatin1String("country"))
            inCountry = xml.attributes().value(QLatin1String("code")) == country;
        else if (xml.isStartElement() && xml.name() == QLatin1String("service"))
            inService = inCountry && xml.attributes().value(QLatin1String("name")) == service;
        else if (xml.isStartElement() && inService && xml.name() == QLatin1String("encapsulation"))
            return xml.readElementText().trimmed();
    }
    return QString();
}

struct Protocol
{
    const char *name;
    const char *usualEncapsulation;
};

constexpr Protocol protocols[] = {
    {"pppoe", "llc"},
    {"pppoa", "vc"},
};

std::optional<QString> usualEncapsulation(const QString &protocol)
{
    for (const Protocol &row : protocols) {
        if (protocol == QLatin1String(row.name))
            return QString::fromLatin1(row.usualEncapsulation);
    }
    return std::nullopt;
}

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

std::optional<Outcome> completeLine(Line &line, const QString &path)
{
    const auto usual = usualEncapsulation(line.protocol);
    if (!usual)
        return unusable(line.service,
                        QStringLiteral("the unknown protocol \"%1\"").arg(line.protocol));
    if (line.vpi > 255 || line.vci == 0)
        return unusable(line.service, QStringLiteral("no valid VPI and VCI"));
    line.encapsulation = readEncapsulation(path, line.country, line.service);
    if (line.encapsulation.isEmpty())
        line.encapsulation = *usual;
    if (line.encapsulation != QLatin1String("llc") && line.encapsulation != QLatin1String("vc"))
        return unusable(line.service,
                        QStringLiteral("the unknown encapsulation \"%1\"").arg(line.encapsulation));
    return std::nullopt;
}

}

Outcome chooseProvider(Session &session)
{
    const QString path = providerDatabase(session.settings);
    if (const auto problem = checkFile(path))
        return *problem;
    Database database(path);

    const QStringList countries = database.countries();
    if (countries.isEmpty())
        return damaged(path, QStringLiteral("it has no countries"));
    const auto country = pick(session, countryChoice, countries, session.settings.country);
    if (std::holds_alternative<Outcome>(country))
        return std::get<Outcome>(country);

    const QStringList services = database.services(std::get<QString>(country));
    const auto service = pick(session, serviceChoice, services, session.settings.service);
    if (std::holds_alternative<Outcome>(service))
        return std::get<Outcome>(service);

    const auto line = database.line(std::get<QString>(service));
    if (!line)
        return damaged(path, QStringLiteral("it has no data for the service"));
    session.line = *line;
    session.line.country = std::get<QString>(country);
    session.line.service = std::get<QString>(service);
    if (const auto problem = completeLine(session.line, path))
        return *problem;
    return Outcome::done(QStringLiteral("%1, %2: %3.%4, %5, %6")
                             .arg(session.line.country, session.line.service)
                             .arg(session.line.vpi)
                             .arg(session.line.vci)
                             .arg(session.line.protocol, session.line.encapsulation));
}

}
