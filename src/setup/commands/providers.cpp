// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/paths.h"
#include "base/text.h"
#include "base/translate.h"
#include "engine/providercheck.h"
#include "engine/providerdatabase.h"
#include "options.h"

#include <QFile>
#include <QJsonArray>

namespace Setup {

namespace {

Answer failed(const Outcome &outcome) { return {outcome, {}, {}}; }

Answer listCountries(ProviderDatabase &database)
{
    Answer answer;
    QJsonArray countries;
    const QStringList names = database.countries();
    for (const QString &name : names) {
        const int count = database.services(name).size();
        answer.lines.append(QStringLiteral("%1 (%2)").arg(name).arg(count));
        countries.append(
            QJsonObject {{QStringLiteral("name"), name}, {QStringLiteral("services"), count}});
    }
    answer.json.insert(QStringLiteral("countries"), countries);
    return answer;
}

QString description(const Line &line)
{
    return QStringLiteral("%1: %2.%3, %4, %5%6")
        .arg(line.service)
        .arg(line.vpi)
        .arg(line.vci)
        .arg(line.protocol, line.encapsulation,
             line.nameServers.isEmpty()
                 ? QString()
                 : QStringLiteral(", DNS ") + line.nameServers.join(Text::tr(" and ")));
}

QJsonObject json(const Line &line)
{
    return {{QStringLiteral("name"), line.service},
            {QStringLiteral("vpi"), line.vpi},
            {QStringLiteral("vci"), line.vci},
            {QStringLiteral("protocol"), line.protocol},
            {QStringLiteral("encapsulation"), line.encapsulation},
            {QStringLiteral("name_servers"), QJsonArray::fromStringList(line.nameServers)}};
}

Answer listServices(ProviderDatabase &database, const QString &wanted)
{
    const QStringList countries = database.countries();
    const auto country = matchName(countries, wanted);
    if (!country)
        return failed(Outcome::failed(
            ExitCode::Service, Text::tr("The provider database has no country \"%1\".").arg(wanted),
            joined({suggestion(nearMatches(countries, wanted)),
                    Text::tr("kestra-setup providers lists all.")})));
    Answer answer;
    QJsonArray services;
    const QStringList names = database.services(*country);
    for (const QString &name : names) {
        if (const auto line = database.line(name)) {
            answer.lines.append(description(*line));
            services.append(json(*line));
        }
    }
    answer.json = {{QStringLiteral("country"), *country}, {QStringLiteral("services"), services}};
    return answer;
}

Answer validate(const QString &path)
{
    QFile file(path);
    if (const auto problem = ProviderDatabase::open(file))
        return failed(*problem);
    const QVector<ProviderFault> faults = checkProviders(file);
    if (faults.isEmpty()) { // but it may be more than a set-up takes
        if (const auto problem = ProviderDatabase::check(path))
            return failed(*problem);
    }
    Answer answer;
    QJsonArray array;
    for (const ProviderFault &fault : faults) {
        answer.lines.append(QStringLiteral("%1:%2:%3: %4")
                                .arg(path)
                                .arg(fault.line)
                                .arg(fault.column)
                                .arg(fault.message));
        array.append(QJsonObject {{QStringLiteral("line"), fault.line},
                                  {QStringLiteral("column"), fault.column},
                                  {QStringLiteral("message"), fault.message}});
    }
    answer.json = {{QStringLiteral("file"), path},
                   {QStringLiteral("valid"), faults.isEmpty()},
                   {QStringLiteral("faults"), array}};
    if (faults.isEmpty())
        answer.lines.append(Text::tr("%1 is a valid provider database.").arg(path));
    else
        answer.outcome = Outcome::failed(ExitCode::Database,
                                         Text::tr("%1 is no valid provider database.").arg(path),
                                         Text::tr("Mend what is listed."));
    return answer;
}

}

Answer listProviders(const Options &options)
{
    if (!options.validate.isEmpty())
        return validate(options.validate);
    const QString path = providerDatabase(options);
    if (const auto problem = ProviderDatabase::check(path))
        return failed(*problem);
    ProviderDatabase database(path);
    return options.operand.isEmpty() ? listCountries(database)
                                     : listServices(database, options.operand);
}

}
