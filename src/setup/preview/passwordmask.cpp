// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "passwordmask.h"

#include "base/foreign.h"
#include "base/text.h"

namespace Setup {

namespace {

const QLatin1String any("*");

/** "client server secret address...", be it out of use; but not prose. */
QStringList inSecretsLine(const QStringList &words, bool isComment)
{
    if (words.size() < 3 || (isComment && words.at(1) != any))
        return {};
    return {words.at(2)};
}

QStringList inOptionsLine(const QStringList &words, bool isComment)
{
    if (isComment && words.size() != 2)
        return {};
    QStringList passwords;
    for (int i = 0; i + 1 < words.size(); ++i) {
        if (words.at(i) == QLatin1String("password"))
            passwords.append(words.at(i + 1));
    }
    return passwords;
}

}

void PasswordMask::learn(const QByteArray &path, const QByteArray &content)
{
    if (!path.startsWith("/etc/ppp/"))
        return;
    const auto inLine = path.contains("-secrets") ? inSecretsLine : inOptionsLine;
    QStringList passwords;
    for (const QByteArray &bytes : content.split('\n')) {
        QString line = textFromBytes(bytes).trimmed();
        const bool isComment = line.startsWith(QLatin1Char('#'));
        while (line.startsWith(QLatin1Char('#')))
            line = line.mid(1).trimmed();
        passwords += inLine(pppdWords(line), isComment);
    }
    m_mask.add(passwords);
}

}
