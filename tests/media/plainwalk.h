// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_PLAINWALK_H
#define KESTRATEST_PLAINWALK_H

#include <QRegExp>
#include <QString>
#include <QStringList>

namespace KestraTest {

/**
 * The walks of FileManager as plain loops on readdir(), without any thought of their cost. They
 * tell what FileManager must give, in which order and with which messages.
 */
class PlainWalk
{
public:
    enum Filter { Files = 1, Directories = 2, Hidden = 4, Readable = 8, NoLinks = 16 };

    /** Returns the names in a directory as QDir has them, but in the file system's order. */
    static QStringList list(const QString &directory, int filter);

    bool indexFiles(const QString &path);
    void findFiles(const QString &directory, const QRegExp &pattern, QStringList &result);
    void findFile(const QString &directory, const QString &name, QString &result);

    QStringList index;
    QStringList foundFiles;
};

}

#endif
