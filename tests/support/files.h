// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_FILES_H
#define KESTRATEST_FILES_H

#include <QByteArray>
#include <QString>
#include <QStringList>

/** Files in one line each. What cannot be done ends the test program with a message. */
namespace KestraTest {

/** Writes a file, and creates the directories on the way. A mode such as 0640, or -1 to leave it.
 */
void writeFile(const QString &path, const QByteArray &content, int mode = -1);

/** Returns the bytes of a file. */
QByteArray readFile(const QString &path);

/** Returns whether there is something of that name, be it a dangling link. */
bool exists(const QString &path);

/** Returns the permission bits of a file, such as 0644, or -1 if there is none. */
int fileMode(const QString &path);

/** Returns the target of a symbolic link as it is written in it, empty if it is none. */
QString linkTarget(const QString &path);

/** Creates a directory and those above it. */
void makeDirectory(const QString &path);

/** Returns the sorted names in a directory, hidden ones included. */
QStringList listDirectory(const QString &path);

/** Returns the sorted relative paths of everything below a directory; directories end in "/". */
QStringList listTree(const QString &path);

/** Removes a file, a link or a whole tree; nothing happens if there is none. */
void remove(const QString &path);

/** Returns the path of a helper program of the tests: "processhelper" or "lockholder". */
QString helperProgram(const char *name);

}

#endif
