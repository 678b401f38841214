// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "catalogue.h"

#include <QDir>
#include <QSettings>

namespace Setup {

namespace {

struct Text
{
    const char *key;
    QString CatalogueEntry::*member;
    bool isNeeded = false;
    bool isNeededToBuild = false;
};

constexpr Text texts[] = {
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
};

/** Without quotes around it, a value with commas is a list to QSettings; it means the same here. */
QString text(const QSettings &file, const char *key)
{
    return file.value(QLatin1String(key)).toStringList().join(QLatin1String(", "));
}

bool lacks(const CatalogueEntry &entry, const Text &row)
{
    return (entry.*row.member).isEmpty()
        && (row.isNeeded || (row.isNeededToBuild && !entry.bundle.isEmpty()));
}

QString readEntry(const QString &path, CatalogueEntry &entry)
{
    QSettings file(path, QSettings::IniFormat);
    file.beginGroup(QStringLiteral("Driver"));
    for (const Text &row : texts)
        entry.*row.member = text(file, row.key);
    for (const List &row : lists)
        entry.*row.member = text(file, row.key).split(QStringLiteral(", "), Qt::SkipEmptyParts);
    if (file.status() != QSettings::NoError)
        return QStringLiteral("The driver catalogue's %1 is no list of keys and values.").arg(path);
    for (const Text &row : texts) {
        if (lacks(entry, row))
            return QStringLiteral("The driver catalogue's %1 has no %2.")
                .arg(path, QLatin1String(row.key));
    }
    return QString();
}

}

Catalogue readCatalogue(const QString &dataDirectory)
{
    Catalogue catalogue;
    const QDir directory(dataDirectory + QStringLiteral("/drivers"));
    const QStringList names =
        directory.entryList({QStringLiteral("*.conf")}, QDir::Files, QDir::Name);
    if (names.isEmpty())
        catalogue.fault =
            QStringLiteral("There is no driver catalogue in %1.").arg(directory.path());
    for (const QString &name : names) {
        CatalogueEntry entry;
        const QString fault = readEntry(directory.filePath(name), entry);
        if (!fault.isEmpty())
            return {{}, fault};
        catalogue.drivers.append(entry);
    }
    return catalogue;
}

}
