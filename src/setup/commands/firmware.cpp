// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/text.h"
#include "base/translate.h"
#include "engine/catalogue.h"
#include "engine/firmware.h"
#include "engine/presentmodems.h"
#include "options.h"

#include <QJsonArray>

#include <algorithm>
#include <optional>
#include <unistd.h>

namespace Setup {

namespace {

/** What became of one firmware file. */
struct Entry
{
    QString name;
    FirmwareState state;
    QString remark; ///< where it comes from, or why it failed
};

struct StateName
{
    const char *key;
    const char *text;
};

// In the order of FirmwareState.
constexpr StateName states[] = {
    {"missing", QT_TRANSLATE_NOOP("Setup", "%1: not found")},
    {"present", QT_TRANSLATE_NOOP("Setup", "%1: there already")},
    {"installed", QT_TRANSLATE_NOOP("Setup", "%1: installed from %2")},
    {"replaced", QT_TRANSLATE_NOOP("Setup", "%1: replaced by %2")},
    {"failed", QT_TRANSLATE_NOOP("Setup", "%1: not installed. %2")},
};

Outcome failed(const QString &cause, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Firmware, cause, nextStep);
}

/** The driver that is named, or those of the modems that are plugged in. */
std::optional<Outcome> chooseDrivers(const Options &options, QVector<CatalogueEntry> &drivers)
{
    const Catalogue catalogue = readCatalogue(options.dataDirectory);
    if (!catalogue.fault.isEmpty())
        return Outcome::failed(ExitCode::Precondition, catalogue.fault,
                               Text::tr("Install kestra-setup completely, or give --data-dir."));
    QStringList names = {options.driver};
    if (options.driver.isEmpty()) {
        const PresentModems present = presentModems();
        names.clear();
        for (const PresentModem &modem : present.modems)
            names.append(modem.driver);
        names.removeDuplicates();
        if (names.isEmpty())
            return Outcome::failed(
                ExitCode::NoModem,
                present.problem.isEmpty() ? Text::tr("No supported modem is plugged in.")
                                          : asSentence(present.problem),
                Text::tr("Plug it in, or name its driver with --driver; kestra-setup "
                         "drivers lists them."));
    }
    for (const QString &name : qAsConst(names)) {
        drivers.append(findDriver(catalogue, name));
        if (drivers.constLast().name.isEmpty())
            return Outcome::failed(ExitCode::Usage,
                                   Text::tr("The driver catalogue has no driver \"%1\".").arg(name),
                                   Text::tr("kestra-setup drivers lists those that it has."));
    }
    return std::nullopt;
}

QVector<Entry> statusOf(const CatalogueEntry &driver)
{
    QVector<Entry> entries;
    for (const QString &name : driver.firmware)
        entries.append({name,
                        isFirmwarePresent(name) ? FirmwareState::Present : FirmwareState::Missing,
                        QString()});
    return entries;
}

QVector<Entry> install(const CatalogueEntry &driver, const FirmwareFiles &found, Store &store)
{
    QVector<Entry> entries = statusOf(driver);
    const auto &files = found.files();
    for (auto file = files.cbegin(); file != files.cend(); ++file) {
        QString problem;
        const FirmwareState state = installFirmwareFile(store, file.key(), file->content, &problem);
        const Entry entry = {file.key(), state, problem.isEmpty() ? file->source : problem};
        const auto known = std::find_if(entries.begin(), entries.end(),
                                        [&](const Entry &one) { return one.name == entry.name; });
        if (known == entries.end())
            entries.append(entry);
        else
            *known = entry;
    }
    return entries;
}

bool has(const QVector<Entry> &entries, FirmwareState state)
{
    return std::any_of(entries.cbegin(), entries.cend(),
                       [state](const Entry &entry) { return entry.state == state; });
}

QJsonObject json(const CatalogueEntry &driver, const QVector<Entry> &entries)
{
    QJsonArray files;
    for (const Entry &entry : entries)
        files.append(
            QJsonObject {{QStringLiteral("name"), entry.name},
                         {QStringLiteral("state"), QLatin1String(states[int(entry.state)].key)},
                         {entry.state == FirmwareState::Failed ? QStringLiteral("problem")
                                                               : QStringLiteral("source"),
                          entry.remark}});
    return {{QStringLiteral("driver"), driver.name},
            {QStringLiteral("files"), files},
            {QStringLiteral("note"), driver.firmwareNote},
            {QStringLiteral("firmware_source"), driver.firmwareSource}};
}

QStringList lines(const CatalogueEntry &driver, const QVector<Entry> &entries)
{
    if (entries.isEmpty())
        return {Text::tr("%1: kestra-setup knows of no firmware that this driver loads.")
                    .arg(driver.name)};
    QStringList result = {Text::tr("%1, in %2:").arg(driver.name, firmwareDirectory())};
    for (const Entry &entry : entries) {
        const QString text = Text::tr(states[int(entry.state)].text);
        result.append(QStringLiteral("  ")
                      + (entry.state < FirmwareState::Installed
                             ? text.arg(entry.name)
                             : text.arg(entry.name, entry.remark)));
    }
    if (has(entries, FirmwareState::Missing))
        result.append(joined({asSentence(driver.firmwareNote), asSentence(driver.firmwareSource)}));
    return result;
}

void tell(const CatalogueEntry &driver, const QVector<Entry> &entries, Answer &answer)
{
    answer.lines += lines(driver, entries);
    QJsonArray drivers = answer.json.value(QStringLiteral("drivers")).toArray();
    drivers.append(json(driver, entries));
    answer.json.insert(QStringLiteral("drivers"), drivers);
}

/** Looks through all sources for the firmware of all drivers. */
std::optional<Outcome> search(const QStringList &sources, FirmwareFiles &files, Answer &answer)
{
    for (const QString &source : sources) {
        const QString fault = files.add(source);
        if (!fault.isEmpty())
            return failed(QStringLiteral("%1 %2.").arg(source, fault),
                          Text::tr("Give the directory or the disc that has the firmware, "
                                   "one of its files or an archive of them."));
    }
    for (auto file = files.refused().cbegin(); file != files.refused().cend(); ++file)
        answer.lines.append(Text::tr("Not taken: %1 %2.").arg(file.key(), *file));
    return std::nullopt;
}

Outcome outcomeOf(const QVector<Entry> &all, const QStringList &sources)
{
    if (has(all, FirmwareState::Failed))
        return failed(Text::tr("Not all of the firmware could be installed."),
                      Text::tr("See above why, then start again."));
    const bool isAnyTaken = std::any_of(all.cbegin(), all.cend(), [](const Entry &entry) {
        return entry.state != FirmwareState::Missing && !entry.remark.isEmpty();
    });
    if (isAnyTaken)
        return Outcome::done();
    return failed(Text::tr("There is no firmware of the modem in %1.")
                      .arg(sources.join(QStringLiteral(", "))),
                  Text::tr("See above which files are needed, and where they come from."));
}

}

Answer checkFirmware(const Options &options)
{
    Answer answer;
    QVector<CatalogueEntry> drivers;
    if (const auto problem = chooseDrivers(options, drivers))
        return {*problem, {}, {}};
    for (const CatalogueEntry &driver : qAsConst(drivers))
        tell(driver, statusOf(driver), answer);
    return answer;
}

Answer installFirmware(const Options &options)
{
    QStringList sources = options.operands;
    if (!options.firmwareFrom.isEmpty())
        sources.prepend(options.firmwareFrom);
    if (sources.isEmpty())
        return checkFirmware(options);
    if (::geteuid() != 0)
        return {Outcome::failed(ExitCode::NotRoot, Text::tr("This program must run as root."),
                                Text::tr("Start it with sudo, or from a root shell.")),
                {},
                {}};
    Answer answer;
    QVector<CatalogueEntry> drivers;
    if (const auto problem = chooseDrivers(options, drivers))
        return {*problem, {}, {}};
    QVector<Entry> all;
    Store store;
    for (const CatalogueEntry &driver : qAsConst(drivers)) {
        FirmwareFiles files(driver.firmware);
        if (const auto problem = search(sources, files, answer)) {
            answer.outcome = *problem;
            return answer;
        }
        const QVector<Entry> entries = install(driver, files, store);
        tell(driver, entries, answer);
        all += entries;
    }
    store.finish();
    answer.outcome = outcomeOf(all, sources);
    if (has(all, FirmwareState::Installed) || has(all, FirmwareState::Replaced))
        answer.lines.append(Text::tr("A modem that is plugged in takes it when it is plugged "
                                     "in anew."));
    return answer;
}

}
