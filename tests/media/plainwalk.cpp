// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "plainwalk.h"

#include "literals.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>

#include <dirent.h>
#include <sys/stat.h>
#include <unistd.h>

namespace KestraTest {

namespace {

mode_t kindFromDirectory(unsigned char type) { return DTTOIF(type); }

mode_t kindOf(const dirent &entry, const QByteArray &path, bool followLinks)
{
    struct stat status;
    mode_t kind = kindFromDirectory(entry.d_type);
    if (entry.d_type == DT_UNKNOWN)
        kind = lstat(path.constData(), &status) == 0 ? status.st_mode & S_IFMT : 0;
    if (kind == S_IFLNK && followLinks)
        kind = stat(path.constData(), &status) == 0 ? status.st_mode & S_IFMT : 0;
    return kind;
}

/** Whether a name survives the way to a QString and back; QDir does not show others. */
bool isDecodable(const QByteArray &name)
{
    const QByteArray path = "/" + name; // a byte order mark counts in front only
    return QFile::encodeName(QFile::decodeName(path)) == path;
}

}

QStringList PlainWalk::list(const QString &directory, int filter)
{
    QStringList names;
    const QByteArray nativeDirectory = QFile::encodeName(directory);
    DIR *const stream = opendir(nativeDirectory.constData());
    while (const dirent *const entry = stream ? readdir(stream) : nullptr) {
        const QByteArray name = entry->d_name;
        const QByteArray path = nativeDirectory + '/' + name;
        if (name == "." || name == ".." || !isDecodable(name))
            continue;
        if (name.startsWith('.') && !(filter & Hidden))
            continue;
        if (kindOf(*entry, path, false) == S_IFLNK && (filter & NoLinks))
            continue;
        const mode_t kind = kindOf(*entry, path, true);
        if (!(kind == S_IFREG && (filter & Files)) && !(kind == S_IFDIR && (filter & Directories)))
            continue;
        if ((filter & Readable) && access(path.constData(), R_OK) != 0)
            continue;
        names.append(QFile::decodeName('/' + name).mid(1));
    }
    if (stream)
        closedir(stream);
    return names;
}

bool PlainWalk::indexFiles(const QString &path)
{
    const QString absolutePath = QFileInfo(path).absoluteFilePath();
    if (!QDir().exists(absolutePath))
        return false;
    for (const QString &name :
         list(absolutePath, Files | Directories | Hidden | Readable | NoLinks)) {
        const QString entry = QFileInfo(QDir(absolutePath), name).absoluteFilePath();
        if (QFileInfo(entry).isDir() && entry != absolutePath) {
            if (!indexFiles(entry))
                return false;
        } else if (QFile::exists(entry)) {
            index.append(entry);
        }
    }
    return true;
}

void PlainWalk::findFiles(const QString &directory, const QRegExp &pattern, QStringList &result)
{
    if (!QDir(directory).exists())
        return;
    qDebug() << "Searching in directory:" << directory;
    const QString listed = directory.isEmpty() ? "."_s : directory;
    for (const QString &name : list(listed, Files | NoLinks)) {
        const QString path = directory + "/"_s + name;
        if (!foundFiles.contains(path))
            foundFiles.append(path);
    }
    for (const QString &name : list(listed, Directories | NoLinks))
        findFiles(QDir(directory).absolutePath() + "/"_s + name, pattern, result);
    for (const QString &path : qAsConst(foundFiles)) {
        if (!result.contains(path) && pattern.indexIn(QFileInfo(path).fileName()) != -1)
            result.append(path);
    }
}

void PlainWalk::findFile(const QString &directory, const QString &name, QString &result)
{
    if (!QDir(directory).exists())
        return;
    const QString listed = directory.isEmpty() ? "."_s : directory;
    const QString absolutePath = QDir(directory).absolutePath();
    for (const QString &file : list(listed, Files | NoLinks)) {
        if (file == name) {
            qDebug() << "Found matching file:" << name;
            result = absolutePath + "/"_s + name;
            return;
        }
    }
    for (const QString &subdirectory : list(listed, Directories))
        findFile(absolutePath + "/"_s + subdirectory, name, result);
}

}
