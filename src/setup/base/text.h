// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_TEXT_H
#define KESTRA_SETUP_TEXT_H

#include <QByteArray>
#include <QString>
#include <QStringList>

#include <optional>

namespace Setup {

/** Reads @p bytes as UTF-8, or as Latin-1 where they are none. */
QString textFromBytes(const QByteArray &bytes);

/** Returns @p text without control characters and escape sequences, fit for a terminal. */
QString printable(const QString &text);

/**
 * Whether this can be the name of a package. With a minus sign in front or at the end the package
 * tools would take it for an option or for a wish to remove something.
 */
bool isPackageName(const QString &text);

/** Splits a list that a user has typed with commas, blanks or both. */
QStringList splitNames(const QString &list);

/** Returns the one of @p names that equals @p wanted, or that does so but for the case. */
std::optional<QString> matchName(const QStringList &names, const QString &wanted);

/** Returns the @p names that hold @p part, whatever the case. */
QStringList namesHolding(const QStringList &names, const QString &part);

/** Returns up to five @p names that @p wanted may have meant. */
QStringList nearMatches(const QStringList &names, const QString &wanted);

/** Understands "yes" and "no" and how they begin; nothing else. */
std::optional<bool> yesOrNo(const QString &answer);

/** Returns @p sentences with blanks between those that are not empty. */
QString joined(QStringList sentences);

/** Returns @p text with a full stop, if there is any text. */
QString asSentence(const QString &text);

/** Returns a sentence that offers @p near, or an empty text when there is nothing to offer. */
QString suggestion(const QStringList &near);

}

#endif
