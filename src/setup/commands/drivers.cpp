// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/translate.h"
#include "engine/catalogue.h"
#include "options.h"

#include <QJsonArray>

namespace Setup {

namespace {

struct Field
{
    const char *title; ///< for a person; empty to leave it to programs
    const char *key;
    QString CatalogueEntry::*member;
};

constexpr Field fields[] = {
    {"", "name", &CatalogueEntry::name},
    {"", "version", &CatalogueEntry::version},
    {QT_TRANSLATE_NOOP("Setup", "modems"), "modems", &CatalogueEntry::modems},
    {QT_TRANSLATE_NOOP("Setup", "bundle"), "bundle", &CatalogueEntry::bundle},
    {QT_TRANSLATE_NOOP("Setup", "source"), "bundle_source", &CatalogueEntry::bundleSource},
    {"", "tree", &CatalogueEntry::tree},
    {QT_TRANSLATE_NOOP("Setup", "module"), "module", &CatalogueEntry::module},
    {"", "compile_arguments", &CatalogueEntry::compileArguments},
    {"", "install_arguments", &CatalogueEntry::installArguments},
    {"", "make_environment", &CatalogueEntry::makeEnvironment},
    {"", "firmware_note", &CatalogueEntry::firmwareNote},
    {QT_TRANSLATE_NOOP("Setup", "firmware"), "firmware_source", &CatalogueEntry::firmwareSource},
};

QStringList lines(const CatalogueEntry &driver)
{
    QStringList result = {Text::tr("%1, version %2").arg(driver.name, driver.version)};
    for (const Field &field : fields) {
        const QString value = driver.*field.member;
        if (*field.title && !value.isEmpty())
            result.append(
                QStringLiteral("  %1 %2").arg(Text::tr(field.title).leftJustified(9), value));
    }
    return result;
}

QJsonObject json(const CatalogueEntry &driver)
{
    QJsonObject object;
    for (const Field &field : fields)
        object.insert(QLatin1String(field.key), driver.*field.member);
    object.insert(QStringLiteral("load_modules"), QJsonArray::fromStringList(driver.loadModules));
    object.insert(QStringLiteral("firmware"), QJsonArray::fromStringList(driver.firmware));
    object.insert(QStringLiteral("packages_apt"), QJsonArray::fromStringList(driver.packagesApt));
    object.insert(QStringLiteral("packages_zypper"),
                  QJsonArray::fromStringList(driver.packagesZypper));
    return object;
}

}

Answer listDrivers(const Options &options)
{
    const Catalogue catalogue = readCatalogue(options.dataDirectory);
    if (!catalogue.fault.isEmpty())
        return {Outcome::failed(ExitCode::Precondition, catalogue.fault,
                                Text::tr("Install kestra-setup completely, or give "
                                         "--data-dir.")),
                {},
                {}};
    Answer answer;
    QJsonArray drivers;
    for (const CatalogueEntry &driver : catalogue.drivers) {
        answer.lines += lines(driver);
        drivers.append(json(driver));
    }
    answer.json.insert(QStringLiteral("drivers"), drivers);
    return answer;
}

}
