// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "foreign.h"

#include "files.h"
#include "text.h"

#include <QFileInfo>

namespace Setup {

namespace {

struct Owner
{
    const char *mark; ///< part of a link's target, or of a comment
    const char *program;
};

// The stub and the list of the same program lie next to each other.
constexpr Owner owners[] = {
    {"systemd", "systemd-resolved"},
    {"NetworkManager", "NetworkManager"},
    {"resolvconf", "resolvconf"},
    {"netconfig", "netconfig"},
    {"dhcpcd", "dhcpcd"},
    {"dhclient", "dhclient"},
};

QString ownerNamedIn(const QString &text)
{
    for (const Owner &owner : owners) {
        if (text.contains(QLatin1String(owner.mark), Qt::CaseInsensitive))
            return QLatin1String(owner.program);
    }
    return QString();
}

QString commentsOf(const QByteArray &content)
{
    QString comments;
    for (const QByteArray &line : content.split('\n')) {
        if (line.startsWith('#') || line.startsWith(';'))
            comments += textFromBytes(line) + QLatin1Char('\n');
    }
    return comments;
}

bool isQuotationMark(QChar character)
{
    return character == QLatin1Char('"') || character == QLatin1Char('\'');
}

}

QString ownerOfResolver(const QString &path)
{
    const QFileInfo file(path);
    const QString owner = file.isSymLink() ? ownerNamedIn(file.symLinkTarget()) : QString();
    return owner.isEmpty() ? ownerNamedIn(commentsOf(content(path))) : owner;
}

QStringList foreignLines(const QByteArray &content, const QByteArray &ours)
{
    const QList<QByteArray> kept = ours.split('\n');
    QStringList lines;
    for (const QByteArray &line : content.split('\n')) {
        const QByteArray entry = line.trimmed();
        if (!entry.startsWith('#') && !kept.contains(entry))
            lines.append(textFromBytes(entry));
    }
    return lines;
}

QStringList pppdWords(const QString &line)
{
    QStringList words;
    QString word;
    bool isInWord = false;
    QChar mark;
    for (int i = 0; i < line.size(); ++i) {
        const QChar character = line.at(i);
        if (character == QLatin1Char('\\') && i + 1 < line.size()) {
            word += line.at(++i);
            isInWord = true;
        } else if (!mark.isNull()) {
            if (character == mark)
                mark = QChar();
            else
                word += character;
        } else if (isQuotationMark(character)) {
            mark = character;
            isInWord = true;
        } else if (character.isSpace()) {
            if (isInWord)
                words.append(word);
            word.clear();
            isInWord = false;
        } else if (character == QLatin1Char('#') && !isInWord) {
            break;
        } else {
            word += character;
            isInWord = true;
        }
    }
    if (isInWord)
        words.append(word);
    return words;
}

QString withoutSecret(const QString &entry)
{
    const QStringList words = pppdWords(entry);
    const QString shown = words.mid(0, 2).join(QLatin1Char(' '));
    return words.size() > 2 ? shown + QStringLiteral(" ********") : shown;
}

QString withoutPassword(const QString &options)
{
    const QStringList words = pppdWords(options);
    const int password = words.indexOf(QStringLiteral("password"));
    if (password < 0)
        return options;
    return (words.mid(0, password + 1) + QStringList {QStringLiteral("********")})
        .join(QLatin1Char(' '));
}

}
