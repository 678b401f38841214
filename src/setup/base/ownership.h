// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_OWNERSHIP_H
#define KESTRA_SETUP_OWNERSHIP_H

#include <QString>

#include <optional>

namespace Setup {

// Who can change a file: root and the user who runs this are "we", all others are not.

/** Returns whether @p path is a directory, and no link, that only we can write to. */
bool isOurDirectory(const QString &path);

/** Returns whether only we or the owner of @p companion can write to the file @p path. */
bool isFileOfOwner(const QString &path, const QString &companion);

/**
 * Returns the first part of the absolute @p path where others can put something of theirs in the
 * place of what is there; nothing when there is none. What does not exist yet is harmless.
 */
std::optional<QString> partOfOthers(const QString &path);

}

#endif
