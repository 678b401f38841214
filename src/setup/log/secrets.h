// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_SECRETS_H
#define KESTRA_SETUP_SECRETS_H

#include <QByteArray>
#include <QStringList>

namespace Setup {

/** User names and passwords. */
struct Secrets
{
    QStringList texts;
    QStringList unread; ///< files that may hold more, but cannot be read

    /** Those in the files of pppd, and in what the store keeps of these; old entries, too. */
    static Secrets ofSystem();

    /** Those in a file of user names and passwords. */
    static QStringList inSecretsFile(const QByteArray &content);

    /** Those in a file of pppd's options. */
    static QStringList inOptionsFile(const QByteArray &content);

    /** Returns a file of pppd's options without user names and passwords, whatever their spelling.
     */
    static QByteArray withoutLogin(const QByteArray &content);
};

}

#endif
