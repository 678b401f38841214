// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "modules.h"

#include "base/ownership.h"
#include "base/paths.h"
#include "base/translate.h"

#include <kestra/media/filemanager.h>

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

namespace Setup {

namespace {

QStringList builtModules(const QString &directory)
{
    QStringList names;
    QDirIterator files(directory, {QStringLiteral("*.ko")}, QDir::Files,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        files.next();
        names.append(files.fileName());
    }
    return names;
}

/** An installed module may have been compressed. */
bool isOneOf(const QStringList &modules, const QString &path)
{
    const QString name = QFileInfo(path).fileName();
    return std::any_of(modules.cbegin(), modules.cend(), [&name](const QString &module) {
        return name == module || name.startsWith(module + QLatin1Char('.'));
    });
}

bool copyFile(const QString &from, const QString &to)
{
    return QDir().mkpath(QFileInfo(to).path()) && QFile::copy(from, to);
}

/** What a failed installation has added would be found first, or stand in the old one's place. */
void removeNewModules(Session &session)
{
    const auto isSaved = [&session](const QString &path) {
        return std::any_of(session.savedModules.cbegin(), session.savedModules.cend(),
                           [&path](const SavedModule &saved) {
                               return saved.installedPath == path
                                   && saved.checksum == checksum(path);
                           });
    };
    QStringList unwanted;
    for (const QString &path :
         installedCopies(session.kernelRelease, session.driver.compiledDriverName)) {
        if (!isSaved(path))
            unwanted.append(path);
    }
    if (session.treeBeforeInstallation) {
        for (const QString &path :
             changedModules(session.kernelRelease, *session.treeBeforeInstallation)) {
            if (isOneOf(session.otherModules, path)
                && !session.treeBeforeInstallation->contains(path))
                unwanted.append(path);
        }
    }
    for (const QString &path : qAsConst(unwanted)) {
        if (QFile::remove(path))
            session.frontend.note(
                Text::tr("Removed %1, which the failed installation left.").arg(path));
    }
}

/** Tells what else a failed installation did, and returns what of it has spoiled something. */
QStringList alteredFiles(Session &session)
{
    if (!session.treeBeforeInstallation)
        return QStringList();
    const ModuleTree &before = *session.treeBeforeInstallation;
    QSet<QString> backedUp;
    for (const auto &files : {session.savedModules, session.copiedFiles}) {
        for (const SavedModule &file : files)
            backedUp.insert(file.installedPath);
    }
    const auto tell = [&session](const QString &path, const QString &note) {
        session.changed(path, Text::tr("changed by the failed installation"));
        session.frontend.note(note.arg(path));
    };
    QStringList altered;
    for (const QString &path : changedModules(session.kernelRelease, before)) {
        if (backedUp.contains(path))
            continue;
        if (before.contains(path))
            altered.append(path);
        else
            tell(path, Text::tr("The failed installation left %1."));
    }
    const ModuleTree now = moduleTreeNow(session.kernelRelease);
    for (auto file = before.cbegin(); file != before.cend(); ++file) {
        if (!now.contains(file.key()) && !backedUp.contains(file.key()))
            altered.append(file.key());
    }
    altered.sort();
    for (const QString &path : qAsConst(altered))
        tell(path, Text::tr("The failed installation changed %1, which no backup was made of."));
    return altered;
}

}

QByteArray checksum(const QString &path)
{
    QFile file(path);
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (!file.open(QIODevice::ReadOnly) || !hash.addData(&file))
        return QByteArray();
    return hash.result();
}

QStringList installedCopies(const QString &kernelRelease, const QString &module)
{
    FileManager files;
    files.indexFiles(moduleTree(kernelRelease));
    return files.getIndex().filter(QLatin1Char('/') + module);
}

ModuleTree moduleTreeNow(const QString &kernelRelease)
{
    FileManager files;
    files.indexFiles(moduleTree(kernelRelease));
    ModuleTree tree;
    for (const QString &path : files.getIndex()) {
        const QFileInfo file(path);
        tree.insert(path, {file.lastModified(), file.size()});
    }
    return tree;
}

QStringList changedModules(const QString &kernelRelease, const ModuleTree &before)
{
    const ModuleTree now = moduleTreeNow(kernelRelease);
    QStringList changed;
    for (auto file = now.cbegin(); file != now.cend(); ++file) {
        if (before.value(file.key()) != file.value())
            changed.append(file.key());
    }
    changed.sort();
    return changed;
}

std::optional<Outcome> prepareBackupDirectory(Session &session)
{
    const auto problem = [](const QString &cause, const QString &nextStep) {
        return Outcome::failed(ExitCode::Backup, cause, nextStep);
    };
    const QString current = backupDirectory(session.kernelRelease);
    if (::mkdir(QFile::encodeName(backupRoot()).constData(), 0700) != 0 && errno != EEXIST)
        return problem(Text::tr("The directory %1 could not be made: %2.")
                           .arg(backupRoot(), qt_error_string()),
                       Text::tr("See whether /tmp is full, then start again."));
    // It was looked at before, but in the meantime anybody could have made it.
    if (!isOurDirectory(backupRoot()))
        return problem(Text::tr("Somebody else has put something in the place of %1, where "
                                "the installed driver was to be saved.")
                           .arg(backupRoot()),
                       Text::tr("See who made it, move it away, then start again."));
    if (!QFileInfo::exists(current))
        return std::nullopt;
    QString kept;
    for (int number = 1; kept.isEmpty() || QFileInfo::exists(kept); ++number)
        kept = QStringLiteral("%1.%2").arg(current).arg(number);
    if (!QDir().rename(current, kept))
        return problem(Text::tr("The earlier backup %1 could not be renamed.").arg(current),
                       Text::tr("Move it away, then start again."));
    session.changed(kept, Text::tr("backup of an earlier run, renamed"));
    return std::nullopt;
}

QString backupPath(const QString &installedPath, const QString &kernelRelease)
{
    return backupDirectory(kernelRelease) + installedPath.mid(moduleTree(kernelRelease).size());
}

QStringList replaceableModules(const Session &session)
{
    const QStringList built = builtModules(session.driver.extractedDriverPath);
    QStringList paths = installedCopies(session.kernelRelease, session.driver.compiledDriverName);
    FileManager files;
    files.indexFiles(moduleTree(session.kernelRelease));
    for (const QString &path : files.getIndex()) {
        if (isOneOf(built, path))
            paths.append(path);
    }
    paths.removeDuplicates();
    return paths;
}

QString copyOtherFiles(Session &session)
{
    const QString tree = moduleTree(session.kernelRelease);
    const QStringList drivers =
        installedCopies(session.kernelRelease, session.driver.compiledDriverName);
    session.otherModules = builtModules(session.driver.extractedDriverPath);
    session.otherModules.removeAll(session.driver.compiledDriverName);

    FileManager files;
    files.indexFiles(tree);
    for (const QString &path : files.getIndex()) {
        const bool isOfDepmod = path.startsWith(tree + QStringLiteral("/modules."));
        if (!isOfDepmod && (!isOneOf(session.otherModules, path) || drivers.contains(path)))
            continue;
        const SavedModule copied = {path, backupPath(path, session.kernelRelease), checksum(path)};
        if (!copyFile(path, copied.backupPath) || checksum(copied.backupPath) != copied.checksum)
            return path;
        session.copiedFiles.append(copied);
    }
    if (!session.copiedFiles.isEmpty())
        session.changed(backupDirectory(session.kernelRelease),
                        Text::tr("has copies of what else the installation may replace"));
    return QString();
}

Damage restoreModules(Session &session)
{
    removeNewModules(session);
    session.compiler->restoreDriver();
    Damage damage;
    for (const SavedModule &saved : qAsConst(session.savedModules)) {
        if (checksum(saved.installedPath) == saved.checksum)
            session.frontend.note(
                Text::tr("The earlier driver is back, byte for byte: %1").arg(saved.installedPath));
        else
            damage.lost.append(saved.installedPath);
    }
    for (const SavedModule &copied : qAsConst(session.copiedFiles)) {
        if (checksum(copied.installedPath) == copied.checksum)
            continue;
        QFile::remove(copied.installedPath);
        if (copyFile(copied.backupPath, copied.installedPath)
            && checksum(copied.installedPath) == copied.checksum)
            session.frontend.note(
                Text::tr("The earlier file is back, byte for byte: %1").arg(copied.installedPath));
        else
            damage.lost.append(copied.installedPath);
    }
    damage.altered = alteredFiles(session);
    return damage;
}

}
