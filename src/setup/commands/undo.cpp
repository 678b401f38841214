// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "command.h"

#include "base/paths.h"
#include "base/translate.h"
#include "engine/backups.h"
#include "options.h"
#include "store/store.h"

#include <QFileInfo>
#include <QJsonArray>
#include <QProcess>
#include <QProcessEnvironment>
#include <QSet>

#include <optional>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int toolTimeLimit = 10 * 60 * 1000;

/** Runs a tool whose output only matters when it fails. Returns whether it succeeded. */
bool runTool(const QString &program, const QStringList &arguments, Answer &answer)
{
    QProcess process;
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("DEBIAN_FRONTEND"), QStringLiteral("noninteractive"));
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    process.setProcessEnvironment(environment);
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.setStandardInputFile(QProcess::nullDevice());
    process.start(program, arguments);
    if (process.waitForFinished(toolTimeLimit) && process.exitStatus() == QProcess::NormalExit
        && process.exitCode() == 0)
        return true;
    const QString output = QString::fromLocal8Bit(process.readAll()).trimmed();
    answer.lines.append(Text::tr("%1 failed:").arg(program));
    const QStringList lines =
        (output.isEmpty() ? process.errorString() : output).split(QLatin1Char('\n'));
    for (const QString &line : lines)
        answer.lines.append(QStringLiteral("    | ") + line);
    return false;
}

struct Listing
{
    const char *key;
    const char *sentence;
    QStringList Undone::*paths;
};

constexpr Listing listings[] = {
    {"restored", QT_TRANSLATE_NOOP("Setup", "As before again: %1"), &Undone::restored},
    {"edited", QT_TRANSLATE_NOOP("Setup", "Left alone, as it was changed after the set-up: %1"),
     &Undone::edited},
    {"failed", QT_TRANSLATE_NOOP("Setup", "Could not be made as before: %1"), &Undone::failed},
};

const char afterCutOff[] = QT_TRANSLATE_NOOP(
    "Setup", "Left alone, as the set-up was cut off, and somebody else may have changed it: %1");

void tell(const Undone &undone, Answer &answer, bool wasCutOff = false)
{
    for (const Listing &listing : listings) {
        const QStringList &paths = undone.*listing.paths;
        const bool isDoubtful = wasCutOff && listing.paths == &Undone::edited;
        for (const QString &path : paths)
            answer.lines.append(Text::tr(isDoubtful ? afterCutOff : listing.sentence).arg(path));
        answer.json.insert(QLatin1String(listing.key), QJsonArray::fromStringList(paths));
    }
}

/** A connection that is up has nothing to end it later. */
void stopConnection(const Store &store, Answer &answer)
{
    for (const StoredItem &item : store.items()) {
        if (item.path == initScript() && item.condition() == StoredItem::AsLeft)
            runTool(initScript(), {QStringLiteral("stop")}, answer);
    }
}

/** A set-up that was cut off may have installed none; rpm, unlike dpkg, minds. */
QStringList installedPackages(const QStringList &names, const QString &program)
{
    if (program != QLatin1String("rpm"))
        return names;
    QStringList installed;
    for (const QString &name : names) {
        if (QProcess::execute(program, {QStringLiteral("--query"), QStringLiteral("--quiet"), name})
            == 0)
            installed.append(name);
    }
    return installed;
}

/** The tools below the package managers refuse where another package needs one of these. */
bool removePackages(Store &store, Answer &answer)
{
    const bool usesDpkg = store.packageManager() == QLatin1String("apt");
    const QString program = usesDpkg ? QStringLiteral("dpkg") : QStringLiteral("rpm");
    const QString remove = usesDpkg ? QStringLiteral("--remove") : QStringLiteral("--erase");
    const QStringList names = installedPackages(store.packages(), program);
    if (names.isEmpty())
        return store.forgetPackages();
    if (!runTool(program, QStringList {remove, QStringLiteral("--")} + names, answer))
        return false;
    answer.lines.append(Text::tr("Removed the packages %1.").arg(names.join(QStringLiteral(", "))));
    return store.forgetPackages();
}

/** Returns the kernels whose list of modules could not be made anew. */
QStringList indexModules(const QStringList &releases, Answer &answer)
{
    QStringList outdated;
    for (const QString &release : releases) {
        if (QFileInfo::exists(moduleTree(release) + QStringLiteral("/modules.dep"))
            && !runTool(QStringLiteral("depmod"), {release}, answer))
            outdated.append(release);
    }
    return outdated;
}

/** What the library saves besides what the store keeps. */
void removeSpareBackups(const QSet<QString> &restored, Answer &answer)
{
    const Backups backups = removeBackups(restored);
    for (const QString &path : backups.removed)
        answer.lines.append(Text::tr("Removed the backup %1.").arg(path));
    for (const QString &path : backups.kept)
        answer.lines.append(Text::tr("The backup %1 stays: not all of it is back.").arg(path));
    answer.json.insert(QStringLiteral("removed_backups"),
                       QJsonArray::fromStringList(backups.removed));
    answer.json.insert(QStringLiteral("kept_backups"), QJsonArray::fromStringList(backups.kept));
}

/** The same, and what is written for a report. */
void tidyUp(const QSet<QString> &driverFiles, const Undone &undone, Answer &answer)
{
    QSet<QString> restored = driverFiles;
    for (const QString &path : undone.edited + undone.failed)
        restored.remove(path);
    removeSpareBackups(restored, answer);
    if (QFileInfo(logDirectory()).isDir()) {
        answer.lines.append(Text::tr("The logs in %1 stay, for a report.").arg(logDirectory()));
        answer.json.insert(QStringLiteral("logs"), logDirectory());
    }
}

QSet<QString> pathsOf(const Store &store, Part part)
{
    QSet<QString> paths;
    for (const StoredItem &item : store.items()) {
        if (item.part == part)
            paths.insert(item.path);
    }
    return paths;
}

Outcome outcomeOf(const Undone &undone, bool areAllPackagesGone, const QStringList &outdated)
{
    if (!undone.failed.isEmpty() || !areAllPackagesGone)
        return Outcome::failed(ExitCode::Undo, Text::tr("Not everything could be undone."),
                               Text::tr("See above what is left, and start again when the "
                                        "cause is gone."));
    if (!undone.isNoted)
        return Outcome::failed(
            ExitCode::Undo,
            Text::tr("What was undone could not be noted in %1.").arg(Store::directory()),
            Text::tr("See whether the disk is full or protected, then start again."));
    if (!undone.edited.isEmpty())
        return Outcome::failed(ExitCode::Undo, Text::tr("Not everything was undone."),
                               Text::tr("Use --force for what was left alone, too."));
    if (!outdated.isEmpty())
        return Outcome::failed(
            ExitCode::Undo,
            Text::tr("The earlier driver is back, but the list of the modules is not up to "
                     "date."),
            Text::tr("Run: depmod %1").arg(outdated.join(QStringLiteral("; depmod "))));
    return Outcome::done();
}

std::optional<Outcome> hindrance(const Store &store)
{
    if (::geteuid() != 0)
        return Outcome::failed(ExitCode::NotRoot, Text::tr("This program must run as root."),
                               Text::tr("Start it with sudo, or from a root shell."));
    if (!store.fault().isEmpty())
        return Outcome::failed(ExitCode::Precondition, store.fault(),
                               Text::tr("See who has changed it."));
    return std::nullopt;
}

QString nothingToUndo() { return Text::tr("There is nothing to undo."); }

/** Whoever undoes everything wants to know what stays. */
void tellOfPackages(const Store &store, const Options &options, const QVector<Part> &parts,
                    Answer &answer)
{
    if (!options.removePackages && parts.contains(Part::Connection) && !store.packages().isEmpty())
        answer.lines.append(Text::tr("The packages %1 stay; undo --packages removes them.")
                                .arg(store.packages().join(QStringLiteral(", "))));
}

Answer undo(const Options &options, const QVector<Part> &parts)
{
    Store store;
    Answer answer;
    if (const auto problem = hindrance(store)) {
        answer.outcome = *problem;
        return answer;
    }
    const bool removesPackages = options.removePackages && !store.packages().isEmpty();
    if (!store.has(parts) && !removesPackages) {
        if (parts.contains(Part::Driver)) // a failed set-up has put all but that back itself
            removeSpareBackups({}, answer);
        if (answer.lines.isEmpty())
            answer.lines.append(nothingToUndo());
        tell({}, answer);
        tellOfPackages(store, options, parts, answer);
        return answer;
    }
    if (parts.contains(Part::Connection))
        stopConnection(store, answer);
    const QStringList releases =
        parts.contains(Part::Driver) ? store.kernelReleases() : QStringList();
    const QSet<QString> driverFiles =
        parts.contains(Part::Driver) ? pathsOf(store, Part::Driver) : QSet<QString>();
    const bool wasCutOff = store.wasCutOff();
    const Undone undone = store.undo(parts, options.force);
    tell(undone, answer, wasCutOff);
    if (!driverFiles.isEmpty())
        tidyUp(driverFiles, undone, answer);
    const bool areAllPackagesGone = !removesPackages || removePackages(store, answer);
    // Last, as it may take long: whoever ends it has all the rest behind him.
    const QStringList outdated = indexModules(releases, answer);
    answer.outcome = outcomeOf(undone, areAllPackagesGone, outdated);
    if (answer.lines.isEmpty() && undone.isNoted)
        answer.lines.append(nothingToUndo());
    tellOfPackages(store, options, parts, answer);
    return answer;
}

}

Answer undoAll(const Options &options)
{
    return undo(
        options,
        {Part::Driver, Part::Connection, Part::Boot, Part::NameServers, Part::PackageSources});
}

Answer restoreDriver(const Options &options) { return undo(options, {Part::Driver}); }

Answer restoreNameServers(const Options &options) { return undo(options, {Part::NameServers}); }

Answer disableBoot(const Options &options) { return undo(options, {Part::Boot}); }

}
