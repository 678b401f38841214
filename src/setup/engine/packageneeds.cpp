// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packageneeds.h"

#include "base/files.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/translate.h"
#include "catalogue.h"
#include "packages.h"
#include "presentmodems.h"
#include "session.h"

#include <QFileInfo>
#include <QSettings>

#include <algorithm>

namespace Setup {

namespace {

const char *const protocolNames[] = {"pppoa", "pppoe"};

PackageNeeds incomplete(const QString &cause)
{
    return {{},
            {},
            {},
            Outcome::failed(ExitCode::Precondition, cause,
                            Text::tr("Install kestra-setup completely, or give --data-dir."))};
}

bool usesZypper(const Session &session) { return session.packageManager == zypperName(); }

void add(PackageNeeds &needs, const QStringList &names, const QString &purpose)
{
    for (const QString &name : names) {
        if (!needs.names().contains(name))
            needs.packages.append({name, purpose});
    }
}

/** Nothing else is to be done, so the driver may be still to be built. */
bool isForItself(const Session &session) { return session.settings.goals == Goal::Packages; }

QString wantedDriver(Session &session)
{
    if (!isForItself(session))
        return session.modem.driver;
    if (!session.settings.driver.isEmpty())
        return session.settings.driver;
    const PresentModems present = presentModems();
    if (!present.modems.isEmpty())
        return present.modems.first().driver;
    session.frontend.note(
        joined({present.problem.isEmpty() ? Text::tr("No supported modem is plugged in.")
                                          : present.problem,
                Text::tr("With --driver, what builds its driver is looked at, too.")}));
    return QString();
}

/** The connection that is set up has a line for it, in the syntax of the shell. */
QString protocolOfConnection()
{
    const QByteArray key = "PROTOCOL=";
    const QList<QByteArray> lines = content(connectionFile()).split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(key))
            return QString::fromLatin1(line.mid(key.size()).trimmed());
    }
    return QString();
}

QStringList wantedProtocols(const Session &session, const QString &driver)
{
    // The modem of this driver is an Ethernet interface of its own.
    if (driver == QLatin1String("unicorn"))
        return {QStringLiteral("pppoa")};
    QStringList all;
    for (const char *name : protocolNames)
        all.append(QLatin1String(name));
    for (const QString &protocol :
         {session.settings.protocol, session.line.protocol, protocolOfConnection()}) {
        if (all.contains(protocol))
            return {protocol};
    }
    return all;
}

/** Returns why the driver's packages are unknown, if they are. */
std::optional<PackageNeeds> addDriver(PackageNeeds &needs, const Session &session)
{
    const Catalogue catalogue = readCatalogue(session.settings.dataDirectory);
    if (!catalogue.fault.isEmpty())
        return incomplete(catalogue.fault);
    QStringList names;
    for (const CatalogueEntry &driver : catalogue.drivers) {
        names.append(driver.name);
        if (driver.name != needs.driver)
            continue;
        QStringList packages = usesZypper(session) ? driver.packagesZypper : driver.packagesApt;
        packages.replaceInStrings(QStringLiteral("@KERNEL@"), session.kernelRelease);
        add(needs, packages, Text::tr("driver %1").arg(driver.name));
        return std::nullopt;
    }
    needs.problem = Outcome::failed(
        ExitCode::Usage,
        Text::tr("The driver catalogue has no driver \"%1\".").arg(printable(needs.driver)),
        Text::tr("It has %1.").arg(names.join(QStringLiteral(", "))));
    return needs;
}

std::optional<PackageNeeds> addProtocols(PackageNeeds &needs, const Session &session)
{
    const QString path = session.settings.dataDirectory + QStringLiteral("/packages.conf");
    if (!QFileInfo(path).isReadable())
        return incomplete(Text::tr("There is no table of packages in %1.").arg(path));
    const QSettings file(path, QSettings::IniFormat);
    const QString key =
        usesZypper(session) ? QStringLiteral("PackagesZypper") : QStringLiteral("PackagesApt");
    for (const QString &protocol : std::as_const(needs.protocols)) {
        const QStringList names = catalogueList(file.value(protocol + QLatin1Char('/') + key));
        if (names.isEmpty())
            return incomplete(Text::tr("%1 has no %2 in its section %3.").arg(path, key, protocol));
        add(needs, names, protocol);
    }
    return std::nullopt;
}

/** The package tools take other words for options, or for packages to be removed. */
std::optional<PackageNeeds> refuseOtherWords(const PackageNeeds &needs)
{
    const QStringList names = needs.names();
    const auto wrong = std::find_if_not(names.cbegin(), names.cend(),
                                        [](const QString &name) { return isPackageName(name); });
    if (wrong == names.cend())
        return std::nullopt;
    return incomplete(Text::tr("The data of kestra-setup has a package \"%1\", which is no "
                               "name of a package.")
                          .arg(printable(*wrong)));
}

}

QStringList PackageNeeds::names() const
{
    QStringList list;
    for (const PackageNeed &need : packages)
        list.append(need.name);
    return list;
}

PackageNeeds packageNeeds(Session &session)
{
    PackageNeeds needs;
    if (!session.settings.packages.isEmpty()) {
        add(needs, splitNames(session.settings.packages), QStringLiteral("--packages"));
        return needs;
    }
    needs.driver = wantedDriver(session);
    needs.protocols = wantedProtocols(session, needs.driver);
    if (isForItself(session) && !needs.driver.isEmpty()) {
        if (const auto failure = addDriver(needs, session))
            return *failure;
    }
    if (const auto failure = addProtocols(needs, session))
        return *failure;
    return refuseOtherWords(needs).value_or(needs);
}

}
