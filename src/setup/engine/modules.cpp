// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "modules.h"

#include "ownership.h"
#include "paths.h"

#include <kestra/media/filemanager.h>

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>

namespace Setup {

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
        return problem(QStringLiteral("The directory %1 could not be made: %2.")
                           .arg(backupRoot(), qt_error_string()),
                       QStringLiteral("See whether /tmp is full, then start again."));
    // It was looked at before, but in the meantime anybody could have made it.
    if (!isOurDirectory(backupRoot()))
        return problem(QStringLiteral("Somebody else has put something in the place of %1, where "
                                      "the installed driver was to be saved.")
                           .arg(backupRoot()),
                       QStringLiteral("See who made it, move it away, then start again."));
    if (!QFileInfo::exists(current))
        return std::nullopt;
    QString kept;
    for (int number = 1; kept.isEmpty() || QFileInfo::exists(kept); ++number)
        kept = QStringLiteral("%1.%2").arg(current).arg(number);
    if (!QDir().rename(current, kept))
        return problem(QStringLiteral("The earlier backup %1 could not be renamed.").arg(current),
                       QStringLiteral("Move it away, then start again."));
    session.changed(kept, QStringLiteral("backup of an earlier run, renamed"));
    return std::nullopt;
}

QString backupPath(const QString &installedPath, const QString &kernelRelease)
{
    return backupDirectory(kernelRelease) + installedPath.mid(moduleTree(kernelRelease).size());
}

QString restoreModules(Session &session)
{
    const auto isSaved = [&session](const QString &path) {
        return std::any_of(session.savedModules.cbegin(), session.savedModules.cend(),
                           [&path](const SavedModule &saved) {
                               return saved.installedPath == path
                                   && saved.checksum == checksum(path);
                           });
    };
    for (const QString &path :
         installedCopies(session.kernelRelease, session.driver.compiledDriverName)) {
        if (!isSaved(path) && QFile::remove(path))
            session.frontend.note(
                QStringLiteral("Removed %1, which the failed installation left.").arg(path));
    }
    const QStringList others = session.treeBeforeInstallation
        ? changedModules(session.kernelRelease, *session.treeBeforeInstallation)
        : QStringList();
    for (const QString &path : others) {
        session.changed(path, QStringLiteral("changed by the failed installation"));
        session.frontend.note(QStringLiteral("The failed installation changed %1, which no backup "
                                             "was made of.")
                                  .arg(path));
    }
    session.compiler->restoreDriver();
    for (const SavedModule &saved : qAsConst(session.savedModules)) {
        if (checksum(saved.installedPath) != saved.checksum)
            return saved.installedPath;
        session.frontend.note(QStringLiteral("The earlier driver is back, byte for byte: %1")
                                  .arg(saved.installedPath));
    }
    return QString();
}

}
