// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>

#include <filesystem>

#include <sys/stat.h>
#include <unistd.h>

namespace KestraTest {

namespace {

void check(bool success, const char *what, const QString &path)
{
    if (!success)
        qFatal("cannot %s %s", what, qPrintable(path));
}

constexpr QDir::Filters everything =
    QDir::AllEntries | QDir::Hidden | QDir::System | QDir::NoDotAndDotDot;

}

void writeFile(const QString &path, const QByteArray &content, int mode)
{
    makeDirectory(QFileInfo(path).path());
    QFile file(path);
    check(file.open(QIODevice::WriteOnly) && file.write(content) == content.size() && file.flush(),
          "write", path);
    if (mode != -1)
        check(chmod(QFile::encodeName(path).constData(), static_cast<mode_t>(mode)) == 0,
              "set the mode of", path);
}

QByteArray readFile(const QString &path)
{
    QFile file(path);
    check(file.open(QIODevice::ReadOnly), "read", path);
    return file.readAll();
}

bool exists(const QString &path)
{
    struct stat status;
    return lstat(QFile::encodeName(path).constData(), &status) == 0;
}

int fileMode(const QString &path)
{
    struct stat status;
    if (stat(QFile::encodeName(path).constData(), &status) != 0)
        return -1;
    return static_cast<int>(status.st_mode & 07777);
}

QString linkTarget(const QString &path)
{
    char target[4096];
    const ssize_t size = readlink(QFile::encodeName(path).constData(), target, sizeof target);
    return size < 0 ? QString() : QFile::decodeName(QByteArray(target, static_cast<int>(size)));
}

void makeDirectory(const QString &path) { check(QDir().mkpath(path), "create directory", path); }

QStringList listDirectory(const QString &path)
{
    return QDir(path).entryList(everything, QDir::Name);
}

QStringList listTree(const QString &path)
{
    QStringList entries;
    QDirIterator iterator(path, everything, QDirIterator::Subdirectories);
    while (iterator.hasNext()) {
        QString entry = QDir(path).relativeFilePath(iterator.next());
        const QFileInfo info = iterator.fileInfo();
        if (info.isDir() && !info.isSymLink())
            entry += QLatin1Char('/');
        entries.append(entry);
    }
    entries.sort();
    return entries;
}

void remove(const QString &path)
{
    // Not QDir's way: it passes names by that are no text in the current locale.
    std::error_code error;
    std::filesystem::remove_all(QFile::encodeName(path).constData(), error);
    check(!error, "remove", path);
}

QString helperProgram(const char *name)
{
    return QStringLiteral(KESTRA_HELPER_DIRECTORY "/") + QLatin1String(name);
}

}
