// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "ownership.h"

#include <QFile>
#include <QFileInfo>

#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

using Status = struct stat;

std::optional<Status> statusOf(const QString &path, int (*read)(const char *, Status *))
{
    Status status;
    if (read(QFile::encodeName(path).constData(), &status) != 0)
        return std::nullopt;
    return status;
}

bool isOurs(const Status &status) { return status.st_uid == 0 || status.st_uid == ::geteuid(); }

bool isClosed(const Status &status) { return (status.st_mode & (S_IWGRP | S_IWOTH)) == 0; }

}

bool isOurDirectory(const QString &path)
{
    const auto status = statusOf(path, ::lstat);
    return status && S_ISDIR(status->st_mode) && isOurs(*status) && isClosed(*status);
}

bool isFileOfOwner(const QString &path, const QString &companion)
{
    const auto name = statusOf(path, ::lstat); // may be a link, which has an owner, too
    const auto file = statusOf(path, ::stat);
    const auto other = statusOf(companion, ::stat);
    const auto isTrusted = [&other](const Status &status) {
        return isOurs(status) || (other && status.st_uid == other->st_uid);
    };
    return name && file && isTrusted(*name) && isTrusted(*file) && isClosed(*file);
}

std::optional<QString> partOfOthers(const QString &path)
{
    const QFileInfo info(path);
    if (!info.isRoot()) {
        if (const auto part = partOfOthers(info.path()))
            return part;
    }
    const auto status = statusOf(path, ::lstat);
    if (!status)
        return std::nullopt;
    if (!isOurs(*status))
        return path;
    if (S_ISLNK(status->st_mode))
        return info.exists() ? partOfOthers(info.symLinkTarget()) : path;
    // Everybody may add names to a sticky directory, but not exchange those of others.
    const bool isSafe = isClosed(*status) || (status->st_mode & S_ISVTX) != 0;
    return isSafe ? std::nullopt : std::make_optional(path);
}

}
