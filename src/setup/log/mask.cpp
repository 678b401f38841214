// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "mask.h"

#include "base/text.h"

#include <QSet>

#include <algorithm>
#include <cstring>
#include <queue>

namespace Setup {

namespace {

const char asterisks[] = "********";

bool isInLatin1(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() <= 0xff; });
}

bool isAscii(const QString &text)
{
    return std::all_of(text.cbegin(), text.cend(), [](QChar c) { return c.unicode() < 0x80; });
}

QString withBackslashes(const QString &text, const char *before)
{
    QString result;
    for (const QChar character : text) {
        if (character.unicode() < 0x80 && std::strchr(before, character.toLatin1()))
            result += QLatin1Char('\\');
        result += character;
    }
    return result;
}

/** How programs write bytes that they think cannot be shown. */
struct Escape
{
    const char *sign;
    int base; ///< of the number that follows; 0 for none
    int digits;
};

constexpr Escape escapes[] = {{"\\", 8, 3}, {"\\x", 16, 2}, {"%", 16, 2}, {"?", 0, 0}};

QByteArray withEscapes(const QByteArray &bytes, const Escape &escape, bool isUpperCase)
{
    QByteArray result;
    for (const char byte : bytes) {
        if (uchar(byte) < 0x80) {
            result += byte;
            continue;
        }
        QByteArray number;
        if (escape.base > 0)
            number =
                QByteArray::number(uchar(byte), escape.base).rightJustified(escape.digits, '0');
        result += escape.sign + (isUpperCase ? number.toUpper() : number);
    }
    return result;
}

QByteArray withUnicodeEscapes(const QString &text)
{
    QByteArray result;
    for (const QChar character : text) {
        if (character.unicode() < 0x80)
            result += character.toLatin1();
        else
            result += QString::asprintf("\\u%04x", unsigned(character.unicode())).toLatin1();
    }
    return result;
}

/** As it is, in quotation marks, in JSON, and as it is shown on a terminal. */
QStringList spellings(const QString &secret)
{
    return {secret, withBackslashes(secret, "\"\\"), withBackslashes(secret, "\"\\' \t#$`"),
            printable(secret)};
}

QSet<QByteArray> encodings(const QString &text)
{
    const QByteArray utf8 = text.toUtf8();
    QSet<QByteArray> forms = {utf8};
    if (isAscii(text))
        return forms;
    QList<QByteArray> encoded = {utf8};
    if (isInLatin1(text))
        encoded.append(text.toLatin1());
    for (const QByteArray &bytes : std::as_const(encoded)) {
        forms.insert(bytes);
        forms.insert(QString::fromLatin1(bytes).toUtf8()); // taken for Latin-1 on the way
        for (const Escape &escape : escapes) {
            forms.insert(withEscapes(bytes, escape, false));
            forms.insert(withEscapes(bytes, escape, true));
        }
    }
    forms.insert(withUnicodeEscapes(text));
    return forms;
}

bool isPartOfWord(char byte)
{
    const auto character = static_cast<unsigned char>(byte);
    return (character >= '0' && character <= '9') || (character >= 'A' && character <= 'Z')
        || (character >= 'a' && character <= 'z') || character == '_' || character >= 0x80;
}

bool standsAlone(const QByteArray &bytes, int start, int end)
{
    return (start == 0 || !isPartOfWord(bytes[start - 1]))
        && (end == bytes.size() || !isPartOfWord(bytes[end]));
}

struct Range
{
    int start;
    int end;
};

/** Makes one of those that overlap. The ranges come in the order of their ends. */
void append(std::vector<Range> &ranges, Range range)
{
    while (!ranges.empty() && ranges.back().end > range.start) {
        range.start = std::min(range.start, ranges.back().start);
        ranges.pop_back();
    }
    ranges.push_back(range);
}

}

Mask::Mask(const QStringList &secrets) { add(secrets); }

void Mask::add(const QStringList &secrets)
{
    for (const QString &secret : secrets) {
        addSecret(secret);
        addSecret(secret.trimmed()); // as some programs read it
    }
    link();
}

void Mask::addSecret(const QString &secret)
{
    if (secret.isEmpty() || secret == QLatin1String("*"))
        return;
    const bool isShort = secret.size() <= longestShortSecret;
    for (const QString &spelling : spellings(secret)) {
        for (const QByteArray &form : encodings(spelling))
            addForm(form, isShort);
    }
}

void Mask::addForm(const QByteArray &form, bool isShort)
{
    int state = 0;
    for (const char byte : form) {
        const auto known = m_states[std::size_t(state)].next.find(byte);
        if (known != m_states[std::size_t(state)].next.end()) {
            state = known->second;
            continue;
        }
        State added;
        added.depth = m_states[std::size_t(state)].depth + 1;
        const int index = int(m_states.size());
        m_states[std::size_t(state)].next.emplace(byte, index);
        m_states.push_back(added);
        state = index;
    }
    (isShort ? m_states[std::size_t(state)].endsShortSecret
             : m_states[std::size_t(state)].endsSecret) = true;
}

/** Finds the fallbacks, from short beginnings to long ones. */
void Mask::link()
{
    std::queue<int> waiting;
    waiting.push(0);
    while (!waiting.empty()) {
        const int index = waiting.front();
        waiting.pop();
        for (const auto &[byte, child] : m_states[std::size_t(index)].next) {
            State &state = m_states[std::size_t(child)];
            state.fallback = index == 0 ? 0 : step(m_states[std::size_t(index)].fallback, byte);
            const State &fallback = m_states[std::size_t(state.fallback)];
            state.longest = state.endsSecret ? state.depth : fallback.longest;
            state.shortOnes = fallback.shortOnes;
            if (state.endsShortSecret)
                state.shortOnes.push_back(state.depth);
            waiting.push(child);
        }
    }
}

int Mask::step(int state, char byte) const
{
    for (;;) {
        const State &current = m_states[std::size_t(state)];
        const auto next = current.next.find(byte);
        if (next != current.next.end())
            return next->second;
        if (state == 0)
            return 0;
        state = current.fallback;
    }
}

QByteArray Mask::applied(const QByteArray &bytes) const
{
    std::vector<Range> secrets;
    int index = 0;
    for (int end = 1; end <= bytes.size(); ++end) {
        index = step(index, bytes[end - 1]);
        const State &state = m_states[std::size_t(index)];
        for (const int length : state.shortOnes) {
            if (standsAlone(bytes, end - length, end))
                append(secrets, {end - length, end});
        }
        if (state.longest > 0)
            append(secrets, {end - state.longest, end});
    }
    QByteArray result;
    int shown = 0;
    for (const Range &secret : secrets) {
        result += bytes.mid(shown, secret.start - shown) + asterisks;
        shown = secret.end;
    }
    return result + bytes.mid(shown);
}

QString Mask::applied(const QString &text) const
{
    return QString::fromUtf8(applied(text.toUtf8()));
}

}
