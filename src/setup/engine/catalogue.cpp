// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalogue.h"

#include "base/translate.h"

#include <QDir>
#include <QRegularExpression>
#include <QSettings>

namespace Setup {

namespace {

struct Field
{
    const char *key;
    QString CatalogueEntry::*member;
    bool isNeeded = false;
    bool isNeededToBuild = false;
};

constexpr Field texts[] = {
    {"Name", &CatalogueEntry::name, true},
    {"Version", &CatalogueEntry::version, true},
    {"Modems", &CatalogueEntry::modems, true},
    {"Bundle", &CatalogueEntry::bundle},
    {"BundleSource", &CatalogueEntry::bundleSource, true},
    {"Tree", &CatalogueEntry::tree, false, true},
    {"Module", &CatalogueEntry::module, false, true},
    {"CompileArguments", &CatalogueEntry::compileArguments, false, true},
    {"InstallArguments", &CatalogueEntry::installArguments, false, true},
    {"MakeEnvironment", &CatalogueEntry::makeEnvironment},
    {"FirmwareNote", &CatalogueEntry::firmwareNote},
    {"FirmwareSource", &CatalogueEntry::firmwareSource},
};

struct List
{
    const char *key;
    QStringList CatalogueEntry::*member;
};

constexpr List lists[] = {
    {"LoadModules", &CatalogueEntry::loadModules},
    {"Firmware", &CatalogueEntry::firmware},
    {"PackagesApt", &CatalogueEntry::packagesApt},
    {"PackagesZypper", &CatalogueEntry::packagesZypper},
};

/** Without quotes around it, a value with commas is a list to QSettings; it means the same here. */
QString text(const QSettings &file, const char *key)
{
    return file.value(QLatin1String(key)).toStringList().join(QLatin1String(", "));
}

bool lacks(const CatalogueEntry &entry, const Field &row)
{
    return (entry.*row.member).isEmpty()
        && (row.isNeeded || (row.isNeededToBuild && !entry.bundle.isEmpty()));
}

/** Names become paths below directories of the system, and words of the init script. */
bool isName(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A[A-Za-z0-9][A-Za-z0-9._-]*(?:/[A-Za-z0-9][A-Za-z0-9._-]*)*\\z"));
    return pattern.match(text).hasMatch();
}

QString badName(const CatalogueEntry &entry)
{
    QStringList names = entry.loadModules + entry.firmware;
    for (const QString &name :
         {entry.name, entry.version, entry.bundle, entry.tree, entry.module}) {
        if (!name.isEmpty())
            names.append(name);
    }
    for (const QString &name : qAsConst(names)) {
        if (!isName(name))
            return name;
    }
    return QString();
}

QString readEntry(const QString &path, CatalogueEntry &entry)
{
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup(QStringLiteral("Driver"));
    for (const Field &row : texts)
        entry.*row.member = text(file, row.key);
    for (const List &row : lists)
        entry.*row.member = catalogueList(file.value(QLatin1String(row.key)));
    if (file.status() != QSettings::NoError)
        return Text::tr("The driver catalogue's %1 is no list of keys and values.").arg(path);
    for (const Field &row : texts) {
        if (lacks(entry, row))
            return Text::tr("The driver catalogue's %1 has no %2.")
                .arg(path, QLatin1String(row.key));
    }
    const QString name = badName(entry);
    if (!name.isEmpty())
        return Text::tr("The driver catalogue's %1 has \"%2\", which cannot be the name of a file.")
            .arg(path, name);
    return QString();
}

}

QStringList catalogueList(const QVariant &value)
{
    return value.toStringList()
        .join(QStringLiteral(", "))
        .split(QStringLiteral(", "), Qt::SkipEmptyParts);
}

Catalogue readCatalogue(const QString &dataDirectory)
{
    Catalogue catalogue;
    const QDir directory(dataDirectory + QStringLiteral("/drivers"));
    const QStringList names =
        directory.entryList({QStringLiteral("*.conf")}, QDir::Files, QDir::Name);
    if (names.isEmpty())
        catalogue.fault = Text::tr("There is no driver catalogue in %1.").arg(directory.path());
    for (const QString &name : names) {
        CatalogueEntry entry;
        const QString fault = readEntry(directory.filePath(name), entry);
        if (!fault.isEmpty())
            return {{}, fault};
        catalogue.drivers.append(entry);
    }
    return catalogue;
}

CatalogueEntry findDriver(const Catalogue &catalogue, const QString &name)
{
    for (const CatalogueEntry &driver : catalogue.drivers) {
        if (driver.name == name)
            return driver;
    }
    return {};
}

}
