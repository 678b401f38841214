// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "text.h"

#include "translate.h"

#include <QRegularExpression>
#include <QVector>

#include <algorithm>

namespace Setup {

namespace {

constexpr int suggestions = 5;

/** The number of characters to insert, to remove or to replace to get from one text to the other.
 */
int editDistance(const QString &a, const QString &b)
{
    QVector<int> row(b.size() + 1);
    for (int j = 0; j <= b.size(); ++j)
        row[j] = j;
    for (int i = 1; i <= a.size(); ++i) {
        int diagonal = row[0]++;
        for (int j = 1; j <= b.size(); ++j) {
            const int replace = diagonal + (a[i - 1] == b[j - 1] ? 0 : 1);
            diagonal = row[j];
            row[j] = std::min({replace, row[j] + 1, row[j - 1] + 1});
        }
    }
    return row[b.size()];
}

}

QString textFromBytes(const QByteArray &bytes)
{
    // With the size, since a NUL byte would end the text otherwise.
    const QString text = QString::fromUtf8(bytes.constData(), bytes.size());
    return text.toUtf8() == bytes ? text : QString::fromLatin1(bytes.constData(), bytes.size());
}

QString printable(const QString &text)
{
    static const QRegularExpression escapes(QStringLiteral("\x1b\\[[0-9;?]*[A-Za-z]"));
    QString result = text;
    result.remove(escapes);
    for (QChar &character : result) {
        if (character == QLatin1Char('\t'))
            character = QLatin1Char(' ');
        else if (character.category() == QChar::Other_Control)
            character = QLatin1Char('?');
    }
    return result;
}

bool isPackageName(const QString &text)
{
    static const QRegularExpression pattern(
        QStringLiteral("\\A[A-Za-z0-9]([A-Za-z0-9+._:-]*[A-Za-z0-9+._])?\\z"));
    return pattern.match(text).hasMatch();
}

QStringList splitNames(const QString &list)
{
    static const QRegularExpression separator(QStringLiteral("[,\\s]+"));
    return list.split(separator, Qt::SkipEmptyParts);
}

std::optional<QString> matchName(const QStringList &names, const QString &wanted)
{
    if (names.contains(wanted))
        return wanted;
    QStringList matches;
    for (const QString &name : names) {
        if (name.compare(wanted, Qt::CaseInsensitive) == 0)
            matches.append(name);
    }
    if (matches.size() == 1)
        return matches.first();
    return std::nullopt;
}

QStringList namesHolding(const QStringList &names, const QString &part)
{
    return names.filter(part, Qt::CaseInsensitive);
}

QStringList nearMatches(const QStringList &names, const QString &wanted)
{
    const QString sought = wanted.toLower();
    const auto distance = [&sought](const QString &name) {
        const QString candidate = name.toLower();
        if (candidate.contains(sought) || sought.contains(candidate))
            return 0;
        return editDistance(candidate, sought);
    };
    const int limit = std::max(2, int(sought.size()) / 3);
    QVector<QPair<int, QString>> ranked;
    for (const QString &name : names) {
        const int rank = distance(name);
        if (rank <= limit)
            ranked.append({rank, name});
    }
    std::stable_sort(ranked.begin(), ranked.end(),
                     [](const auto &a, const auto &b) { return a.first < b.first; });
    QStringList near;
    for (const auto &entry : ranked.mid(0, suggestions))
        near.append(entry.second);
    return near;
}

std::optional<bool> yesOrNo(const QString &answer)
{
    if (answer.isEmpty())
        return std::nullopt;
    const auto begins = [&answer](const QString &word) {
        return word.startsWith(answer, Qt::CaseInsensitive);
    };
    // English is understood in every language.
    if (begins(QStringLiteral("yes")) || begins(Text::tr("yes")))
        return true;
    if (begins(QStringLiteral("no")) || begins(Text::tr("no")))
        return false;
    return std::nullopt;
}

QString joined(QStringList sentences)
{
    sentences.removeAll(QString());
    return sentences.join(QLatin1Char(' '));
}

QString asSentence(const QString &text)
{
    return text.isEmpty() || text.endsWith(QLatin1Char('.')) ? text : text + QLatin1Char('.');
}

QString suggestion(const QStringList &near)
{
    if (near.isEmpty())
        return QString();
    return Text::tr("Near matches: %1.").arg(near.join(QStringLiteral(", ")));
}

}
