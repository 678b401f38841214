// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "filemanager.h"

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QPair>
#include <QSet>

#include <filesystem>
#include <system_error>
#include <utility>
#include <vector>

#include <sys/stat.h>
#include <unistd.h>

namespace fs = std::filesystem;

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

/**
 * Lists the plain files and the directories in a directory, in the order in which the file system
 * gives them.
 *
 * The kind of an entry comes from the directory itself where the file system keeps it there: a
 * large tree is listed without asking for the status of each file, as QDir would.
 */
std::vector<Entry> list(const QString &directory, int filter, std::error_code &error)
{
    std::vector<Entry> entries;
    fs::directory_iterator entry(QFile::encodeName(directory).toStdString(), error);
    for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
        std::error_code ignored;
        const char *const path = entry->path().c_str();
        const char *const nativeName = path + entry->path().native().rfind('/'); // with the slash
        if ((filter & Visible) && nativeName[1] == '.')
            continue;
        const bool isLink = entry->is_symlink(ignored);
        if (isLink && !(filter & FollowLinks))
            continue;
        const bool isDirectory = entry->is_directory(ignored);
        const bool isFile = !isDirectory && !isLink && entry->is_regular_file(ignored);
        if (!isDirectory && !isFile)
            continue;
        if (isFile && (filter & ReadableFiles) && access(path, R_OK) != 0)
            continue;
        // A byte order mark in front of the text would get lost, hence the slash.
        const QString name = QFile::decodeName(nativeName);
        if (QFile::encodeName(name) == nativeName) // what Qt cannot name, nobody could open
            entries.push_back({name.mid(1), isDirectory});
    }
    return entries;
}

std::vector<Entry> list(const QString &directory, int filter)
{
    std::error_code ignored;
    return list(directory, filter, ignored);
}

QString joined(const QString &directory, const QString &name)
{
    return directory + QLatin1Char('/') + name;
}

bool addToIndex(const QString &directory, QStringList &index)
{
    std::error_code error;
    const std::vector<Entry> entries = list(directory, ReadableFiles, error);
    if (error == std::errc::no_such_file_or_directory)
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
        const QString path = joined(directory, entry.name);
        if (!entry.isDirectory && !known.contains(path))
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
    const QRegExp expression(pattern); // a match of ours must not show in the caller's object
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
