// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "backups.h"

#include "base/ownership.h"
#include "base/paths.h"
#include "modules.h"
#include "store/filestate.h"

#include <QDir>
#include <QDirIterator>
#include <QFileInfo>
#include <QRegularExpression>

namespace Setup {

namespace {

/** A backup of an earlier run has a number after the release. */
QString releaseOf(const QString &name)
{
    static const QRegularExpression number(QStringLiteral("\\.[0-9]+$"));
    if (QFileInfo(moduleTree(name)).isDir())
        return name;
    return QString(name).remove(number);
}

/** What depmod writes is made anew when something is restored. */
bool isOfDepmod(const QString &name)
{
    return name.startsWith(QLatin1String("modules.")) && !name.contains(QLatin1Char('/'));
}

bool isAllBack(const QString &backup, const QSet<QString> &restored)
{
    const QString tree = moduleTree(releaseOf(QFileInfo(backup).fileName())) + QLatin1Char('/');
    QDirIterator files(backup, QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                       QDirIterator::Subdirectories);
    while (files.hasNext()) {
        const QString file = files.next();
        const QString name = file.mid(backup.size() + 1);
        const QByteArray sum = checksum(tree + name);
        const bool isBack = restored.contains(tree + name) || isOfDepmod(name)
            || (!sum.isEmpty() && sum == checksum(file));
        if (!isBack)
            return false;
    }
    return true;
}

}

Backups removeBackups(const QSet<QString> &restored)
{
    Backups backups;
    if (!isOurDirectory(backupRoot()))
        return backups;
    const QDir root(backupRoot());
    const QStringList names =
        root.entryList(QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &name : names) {
        const QString path = root.filePath(name);
        const bool isSpare = isOurDirectory(path) && isAllBack(path, restored) && removeTree(path);
        (isSpare ? backups.removed : backups.kept).append(path);
    }
    if (backups.kept.isEmpty() && QDir().rmdir(backupRoot()))
        backups.removed = QStringList {backupRoot()};
    return backups;
}

}
