// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_TEXT_P_H
#define KESTRA_FOUNDATION_TEXT_P_H

#include <QByteArray>
#include <QString>
#include <QStringList>

class QIODevice;

/** Text as the tools and the system files hold it: bytes, each one character of Latin-1. */
namespace Kestra::Private {

/** Converts all bytes; QString::fromLatin1() stops at a zero byte with Qt 5. */
QString text(const QByteArray &bytes);

/** Converts the bytes up to the first zero byte. */
QString textUpToNul(const QByteArray &bytes);

/** The list as messages show it: ("one", "two"). Qt 6 would put the name of its type in front. */
QByteArray shown(const QStringList &list);

/**
 * Reads one line, its terminator included, in a buffer of @p maxSize bytes.
 *
 * One byte of the buffer is for a terminating zero, so that maxSize - 1 bytes arrive at most. Qt 6
 * fills the whole size when it returns a QByteArray; this form is the same on both.
 */
QByteArray readLine(QIODevice &device, int maxSize);

}

#endif
