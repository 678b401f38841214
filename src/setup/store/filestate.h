// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_FILESTATE_H
#define KESTRA_SETUP_FILESTATE_H

#include <QJsonObject>
#include <QString>

#include <functional>

namespace Setup {

/** What is at a path: nothing, a file, a link or a directory, with what makes it that very one. */
struct FileState
{
    enum Kind { Nothing, File, Link, Directory };

    Kind kind = Nothing;
    uint mode = 0;
    uint owner = 0;
    uint group = 0;
    qint64 seconds = 0; ///< of the last change
    qint64 nanoseconds = 0;
    QString target; ///< of a link, its bytes as Latin-1, whatever they mean
    QString checksum; ///< of a file's content, SHA-256 in hexadecimal digits

    /** Does not follow a link. A file that cannot be read has no checksum. */
    static FileState of(const QString &path);

    static FileState fromJson(const QJsonObject &json);
    QJsonObject toJson() const;

    /** Whether somebody would see a difference; times are not looked at. */
    bool isSameAs(const FileState &other) const;
    bool hasTimeOf(const FileState &other) const;

    /**
     * Makes @p path be this again, with everything that is recorded; an existing file or link is
     * replaced at once, and never readable for others in between. Directories are only made or,
     * when they are empty, removed. No link that others than root made leads anywhere else.
     *
     * @param content where the content of a file is kept
     * @return whether that is how it is now
     */
    bool restore(const QString &path, const QString &content) const;
};

/** As FileState::of(); the checksum of a directory is one of everything below it. */
FileState stateOfTree(const QString &path);

/** Removes everything at @p path and below, and follows no link. Returns whether it is gone. */
bool removeTree(const QString &path);

}

#endif
