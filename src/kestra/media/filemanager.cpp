// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "filemanager.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPair>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <memory>
#include <utility>
#include <vector>

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace {

/** A plain file or a directory in a directory. */
struct Entry
{
    QString name;
    bool isDirectory;
};

enum Filter {
    Visible = 1, ///< leave hidden entries out
    ReadableFiles = 2, ///< leave files out that may not be read
    FollowLinks = 4, ///< take symbolic links to directories; other links never count
};

/** Returns the name as text; a null string if it is none, and nobody could open it through Qt. */
QString decoded(const char *name)
{
    const int size = static_cast<int>(strlen(name));
    if (std::none_of(name, name + size, [](char byte) { return byte & 0x80; }))
        return QString::fromLatin1(name, size);
    // A byte order mark in front of the text would get lost, hence the slash.
    const QByteArray path = QByteArrayLiteral("/") + name;
    const QString text = QFile::decodeName(path);
    return QFile::encodeName(text) == path ? text.mid(1) : QString();
}

/** Returns the file type of an entry as in st_mode, 0 if there is no telling. */
mode_t typeOf(DIR *directory, const dirent &entry, bool followLinks)
{
    if (entry.d_type != DT_UNKNOWN && !(entry.d_type == DT_LNK && followLinks))
        return DTTOIF(entry.d_type);
    struct stat status;
    const int flags = followLinks ? 0 : AT_SYMLINK_NOFOLLOW;
    if (fstatat(dirfd(directory), entry.d_name, &status, flags) != 0)
        return 0;
    return status.st_mode & S_IFMT;
}

/**
 * Lists the plain files and the directories in a directory, in the order in which the file system
 * gives them. A directory that cannot be read lists as empty.
 *
 * The type of an entry comes from the directory itself where the file system keeps it there: a
 * large tree is listed without asking for the status of each file, as QDir would.
 */
std::vector<Entry> list(const QString &path, int filter)
{
    std::vector<Entry> entries;
    const std::unique_ptr<DIR, int (*)(DIR *)> directory(
        opendir(QFile::encodeName(path).constData()), closedir);
    while (const dirent *const entry = directory ? readdir(directory.get()) : nullptr) {
        const char *const name = entry->d_name;
        if (*name == '.' && ((filter & Visible) || !strcmp(name, ".") || !strcmp(name, "..")))
            continue;
        mode_t type = typeOf(directory.get(), *entry, false);
        if (type == S_IFLNK && (filter & FollowLinks)
            && typeOf(directory.get(), *entry, true) == S_IFDIR)
            type = S_IFDIR;
        if (type != S_IFDIR && type != S_IFREG)
            continue;
        if (type == S_IFREG && (filter & ReadableFiles)
            && faccessat(dirfd(directory.get()), name, R_OK, 0) != 0)
            continue;
        const QString text = decoded(name);
        if (!text.isNull())
            entries.push_back({text, type == S_IFDIR});
    }
    return entries;
}

QString joined(const QString &directory, const QString &name)
{
    return directory + QLatin1Char('/') + name;
}

bool addToIndex(const QString &directory, QStringList &index)
{
    const std::vector<Entry> entries = list(directory, ReadableFiles);
    if (entries.empty() && access(QFile::encodeName(directory).constData(), F_OK) != 0
        && errno == ENOENT)
        return false;

    const QString prefix =
        directory.endsWith(QLatin1Char('/')) ? directory : directory + QLatin1Char('/');
    for (const Entry &entry : entries) {
        if (!entry.isDirectory)
            index.append(prefix + entry.name);
        else if (!addToIndex(prefix + entry.name, index))
            return false;
    }
    return true;
}

/** Appends the files below a directory, but for those that are known already. */
void collectFiles(const QString &directory, const QSet<QString> &known, QStringList &files)
{
    const QDir dir(directory);
    if (!dir.exists())
        return;
    qDebug() << "Searching in directory:" << directory;

    const std::vector<Entry> entries = list(dir.path(), Visible);
    for (const Entry &entry : entries) {
        if (entry.isDirectory)
            continue;
        const QString path = joined(directory, entry.name);
        if (!known.contains(path))
            files.append(path);
    }
    for (const Entry &entry : entries) {
        if (entry.isDirectory)
            collectFiles(joined(dir.absolutePath(), entry.name), known, files);
    }
}

using DirectoryIds = QSet<QPair<quint64, quint64>>;

/**
 * Searches below a directory and returns whether the file was found there.
 *
 * Directories in @p closed are left out: those that are being searched, to which a link may lead
 * back, and those that were searched in vain, where a second link would lead to nothing new.
 */
bool search(const QString &directory, const QString &name, DirectoryIds &closed, QString &result)
{
    struct stat status;
    if (stat(QFile::encodeName(directory).constData(), &status) != 0 || !S_ISDIR(status.st_mode))
        return false;
    const auto id = qMakePair(quint64(status.st_dev), quint64(status.st_ino));
    if (closed.contains(id))
        return false;

    const std::vector<Entry> entries = list(directory, Visible | FollowLinks);
    const QString absolutePath = QDir(directory).absolutePath();
    for (const Entry &entry : entries) {
        if (!entry.isDirectory && entry.name == name) {
            qDebug() << "Found matching file:" << name;
            result = joined(absolutePath, name);
            return true;
        }
    }
    closed.insert(id);
    bool found = false;
    for (const Entry &entry : entries) {
        if (entry.isDirectory)
            found |= search(joined(absolutePath, entry.name), name, closed, result);
    }
    if (found)
        closed.remove(id);
    return found;
}

template<typename List>
QSet<QString> toSet(const List &list)
{
    return QSet<QString>(list.begin(), list.end());
}

}

FileManager::FileManager() : m_spareCounter(0) { }

FileManager::~FileManager() { qDebug() << "~FileManager()"; }

QStringList FileManager::getIndex() const { return m_index; }

void FileManager::clearIndex() { m_index.clear(); }

void FileManager::clearFoundFilesList() { m_foundFiles.clear(); }

bool FileManager::indexFiles(const QString &path)
{
    const QString absolutePath = QFileInfo(path).absoluteFilePath();
    return QDir().exists(absolutePath) && addToIndex(absolutePath, m_index);
}

void FileManager::findFiles(QString directory, const QRegExp &pattern, QStringList &result)
{
    if (!QDir(directory).exists())
        return;
    collectFiles(directory, toSet(m_foundFiles), m_foundFiles);

    // One pass at the end gives what a pass after each directory would: files are only ever added
    // at the end of the list, and results follow its order.
    const QSet<QString> listed = toSet(result);
    // A match of ours must not show in the caller's object.
    const QRegExp expression(pattern); // NOLINT(performance-unnecessary-copy-initialization)
    for (const QString &path : std::as_const(m_foundFiles)) {
        const QString fileName = path.mid(path.lastIndexOf(QLatin1Char('/')) + 1);
        if (expression.indexIn(fileName) != -1 && !listed.contains(path))
            result.append(path);
    }
}

void FileManager::findFile(QString directory, const QString &name, QString &result)
{
    // An empty name stands for the current directory, as it does for QDir.
    DirectoryIds closed;
    search(QDir(directory).path(), name, closed, result);
}

void FileManager::copyFile(const QString &source, const QString &destinationDirectory)
{
    copyFiles({source}, destinationDirectory);
}

void FileManager::copyFiles(const QStringList &sources, const QString &destinationDirectory)
{
    const QDir destination(destinationDirectory);
    if (!destination.exists() && !destination.mkpath(destination.absolutePath())) {
        qWarning() << "FileManager::copyFiles(): Destination directory does not exist and can not "
                      "be created, aborting!";
        return;
    }
    for (const QString &source : sources) {
        const QString target = joined(destinationDirectory, QFileInfo(source).fileName());
        if (QFile::copy(source, target))
            qDebug() << source << "copied.";
        else
            qDebug() << "could not copy" << source << "to" << target;
    }
}

void FileManager::removeFile(const QString &path)
{
    if (!QFile::exists(path))
        qDebug() << path << "does not exist, skipping.";
    else if (QFile::remove(path))
        qDebug() << path << "removed.";
    else
        qDebug() << path << "could not be removed!";
}
