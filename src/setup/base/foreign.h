// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_FOREIGN_H
#define KESTRA_SETUP_FOREIGN_H

#include <QByteArray>
#include <QString>
#include <QStringList>

namespace Setup {

/** Which program a resolv.conf belongs to, or an empty text for the administrator's own. */
QString ownerOfResolver(const QString &path);

/** Returns the lines of pppd's file @p content that are neither comments nor among @p ours. */
QStringList foreignLines(const QByteArray &content, const QByteArray &ours);

/** Returns the words of a line of pppd's files, without their quotation marks. */
QStringList pppdWords(const QString &line);

/** Returns client and server of an entry of a secrets file, and never its secret. */
QString withoutSecret(const QString &entry);

/** Returns a line of an options file up to the password that it may hold. */
QString withoutPassword(const QString &options);

}

#endif
