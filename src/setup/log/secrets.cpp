// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "secrets.h"

#include "base/foreign.h"
#include "base/text.h"
#include "excerpt.h"
#include "store/store.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace Setup {

namespace {

constexpr int longestFile = 1 << 20;

const QLatin1String directory("/etc/ppp");
const QLatin1String peers("/etc/ppp/peers");

// The options that a user name or a password follows.
const QStringList options = {QStringLiteral("user"), QStringLiteral("name"),
                             QStringLiteral("password"), QStringLiteral("remotename")};

// The options that a command follows, which may log in by itself.
const QStringList commands = {QStringLiteral("connect"), QStringLiteral("disconnect"),
                              QStringLiteral("init"), QStringLiteral("welcome"),
                              QStringLiteral("pty")};

/** The line, and what it says when it was only taken out of use. */
QString withoutCommentSign(QString line)
{
    line = line.trimmed();
    while (line.startsWith(QLatin1Char('#')))
        line = line.mid(1).trimmed();
    return line;
}

bool isComment(const QString &line) { return line.trimmed().startsWith(QLatin1Char('#')); }

/** Prose and the placeholders of examples are no entries. */
bool isEntry(const QStringList &words, bool wasComment)
{
    if (words.size() < 3)
        return false;
    const bool isExample =
        words.at(0) == QLatin1String("hostname") && words.at(2) == QLatin1String("password");
    return !wasComment || (words.at(1) == QLatin1String("*") && !isExample);
}

bool isPassword(const QString &word) { return !word.isEmpty() && word != QLatin1String("*"); }

/** A password that begins so is in another file. */
QStringList inNamedFile(const QString &password)
{
    if (!password.startsWith(QLatin1Char('@')))
        return {};
    const Excerpt file = Excerpt::of(password.mid(1), longestFile, Excerpt::Beginning, true);
    return {textFromBytes(file.bytes.split('\n').constFirst())};
}

bool isSecretsFile(const QString &name) { return name.contains(QLatin1String("-secrets")); }

void take(Secrets &secrets, const QString &path, const QString &name)
{
    const Excerpt file = Excerpt::of(path, longestFile, Excerpt::Beginning, true);
    if (!file.isWhole)
        secrets.unread.append(name);
    secrets.texts += isSecretsFile(name) ? Secrets::inSecretsFile(file.bytes)
                                         : Secrets::inOptionsFile(file.bytes);
}

void takeDirectory(Secrets &secrets, const QString &path, const QStringList &names)
{
    const QFileInfo info(path);
    if (!info.exists())
        return;
    if (!info.isReadable() || !info.isExecutable())
        secrets.unread.append(path);
    const QDir entries(path);
    for (const QString &name : entries.entryList(names, QDir::Files | QDir::Hidden))
        take(secrets, entries.filePath(name), entries.filePath(name));
}

void takeStore(Secrets &secrets)
{
    const Store store;
    const QFileInfo kept(Store::directory());
    if (!store.fault().isEmpty() || (kept.exists() && !kept.isReadable()))
        secrets.unread.append(Store::directory());
    for (const StoredItem &item : store.items()) {
        if (item.path.startsWith(directory) && item.before.kind == FileState::File)
            take(secrets, store.contentOf(item.before), item.path);
    }
}

}

QStringList Secrets::inSecretsFile(const QByteArray &content)
{
    QStringList secrets;
    for (const QByteArray &bytes : content.split('\n')) {
        const QString line = textFromBytes(bytes);
        const QStringList words = pppdWords(withoutCommentSign(line));
        if (!isEntry(words, isComment(line)) || !isPassword(words.at(2)))
            continue; // who has no password needs none, so that his name tells nothing
        secrets += words.at(0);
        secrets += words.at(2);
        secrets += inNamedFile(words.at(2));
    }
    return secrets;
}

QStringList Secrets::inOptionsFile(const QByteArray &content)
{
    QStringList secrets;
    for (const QByteArray &bytes : content.split('\n')) {
        const QString line = textFromBytes(bytes);
        const QStringList words = pppdWords(withoutCommentSign(line));
        if (isComment(line) && words.size() != 2)
            continue;
        for (int i = 0; i + 1 < words.size(); ++i) {
            if (options.contains(words.at(i)) && !words.at(i + 1).startsWith(QLatin1Char('<')))
                secrets += words.at(i + 1);
        }
    }
    return secrets;
}

QByteArray Secrets::withoutLogin(const QByteArray &content)
{
    QList<QByteArray> lines = content.split('\n');
    for (QByteArray &line : lines) {
        const QString text = textFromBytes(line);
        const QStringList words = pppdWords(withoutCommentSign(text));
        if (isComment(text) && words.size() != 2)
            continue;
        const auto first = std::find_if(words.cbegin(), words.cend(), [](const QString &word) {
            return options.contains(word) || commands.contains(word);
        });
        if (std::distance(first, words.cend()) < 2)
            continue;
        // To the end of the line: what is meant to be one word may lack its quotation marks.
        const QStringList shown = words.mid(0, int(std::distance(words.cbegin(), first)) + 1);
        line = (isComment(text) ? "#" : "")
            + (shown + QStringList {QStringLiteral("********")}).join(QLatin1Char(' ')).toUtf8();
    }
    return lines.join('\n');
}

Secrets Secrets::ofSystem()
{
    Secrets secrets;
    takeDirectory(secrets, directory, {QStringLiteral("*-secrets*"), QStringLiteral("options*")});
    takeDirectory(secrets, peers, {});
    takeStore(secrets);
    secrets.texts.removeDuplicates();
    return secrets;
}

}
