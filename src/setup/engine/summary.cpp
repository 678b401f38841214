// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/translate.h"
#include "session.h"
#include "stages.h"

namespace Setup {

namespace {

QString modem(const Session &session)
{
    return Text::tr("%1 (driver %2, version %3)")
        .arg(session.modem.name, session.modem.driver, session.modem.driverVersion);
}

QString driver(const Session &session)
{
    return Text::tr("built from %1").arg(session.settings.driverBundle);
}

QString packages(const Session &session)
{
    if (!session.settings.packages.isEmpty())
        return session.settings.packages;
    return Text::tr("what the connection needs");
}

QString country(const Session &session) { return session.line.country; }

QString provider(const Session &session)
{
    return QStringLiteral("%1 (%2.%3, %4, %5)")
        .arg(session.line.service)
        .arg(session.line.vpi)
        .arg(session.line.vci)
        .arg(session.line.protocol, session.line.encapsulation);
}

QString user(const Session &session) { return session.user; }

QString password(const Session &) { return Text::tr("not shown"); }

QString boot(const Session &) { return Text::tr("the connection is started"); }

QString nameServers(const Session &session)
{
    if (!session.settings.nameServers.isEmpty())
        return session.settings.nameServers;
    if (session.line.nameServers.isEmpty())
        return Text::tr("those that the provider announces");
    return session.line.nameServers.join(QStringLiteral(", "));
}

struct Row
{
    const char *what;
    unsigned goals; ///< it matters to any of these
    QString (*value)(const Session &);
};

constexpr Row rows[] = {
    {QT_TRANSLATE_NOOP("Setup", "Modem"), Goal::Driver | Goal::Connection, modem},
    {QT_TRANSLATE_NOOP("Setup", "Driver"), Goal::Driver, driver},
    {QT_TRANSLATE_NOOP("Setup", "Packages"), Goal::Packages, packages},
    {QT_TRANSLATE_NOOP("Setup", "Country"), Goal::Connection, country},
    {QT_TRANSLATE_NOOP("Setup", "Provider"), Goal::Connection, provider},
    {QT_TRANSLATE_NOOP("Setup", "User name"), Goal::Connection, user},
    {QT_TRANSLATE_NOOP("Setup", "Password"), Goal::Connection, password},
    {QT_TRANSLATE_NOOP("Setup", "At boot"), Goal::Boot, boot},
    {QT_TRANSLATE_NOOP("Setup", "Name servers"), Goal::NameServers, nameServers},
};

}

Summary summaryOf(const Session &session, const QStringList &steps)
{
    Summary summary;
    for (const Row &row : rows) {
        if (session.settings.wants(row.goals))
            summary.answers.append({Text::tr(row.what), row.value(session)});
    }
    summary.steps = steps;
    return summary;
}

}
