// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "collection.h"

#include "base/translate.h"
#include "log/excerpt.h"

#include <QDir>
#include <QFileInfo>

#include <algorithm>

namespace Setup {

namespace {

constexpr int longestFile = 1 << 20;
constexpr int mostFiles = 50; ///< of a directory

}

Collection::Collection(const Secrets &secrets) : m_mask(secrets.texts), m_unread(secrets.unread) { }

void Collection::leaveOut(const QString &what, const QString &why)
{
    m_leftOut.append(m_mask.applied(QStringLiteral("%1: %2").arg(what, why)));
}

/** Files in a directory may be named after the user, and be the same then. */
QString Collection::freeName(const QString &wanted) const
{
    QString name = wanted;
    const auto isTaken = [&name](const Member &member) { return member.name == name; };
    for (int number = 2; std::any_of(m_members.cbegin(), m_members.cend(), isTaken); ++number)
        name = QStringLiteral("%1-%2").arg(wanted).arg(number);
    return name;
}

void Collection::add(const QString &name, const QByteArray &content)
{
    m_members.append({freeName(name), m_mask.applied(content)});
}

bool Collection::mayAdd(const QString &what, bool mayHoldSecrets)
{
    if (!mayHoldSecrets || m_unread.isEmpty())
        return true;
    leaveOut(what,
             Text::tr("user names and passwords could not be masked in it, as %1 cannot be "
                      "read")
                 .arg(m_unread.constFirst()));
    return false;
}

void Collection::addExcerpt(const QString &path, Kind kind)
{
    const Excerpt file = Excerpt::of(
        path, longestFile, kind == Log ? Excerpt::End : Excerpt::Beginning, kind == Harmless);
    if (!file.fault.isEmpty()) {
        leaveOut(path, file.fault);
        return;
    }
    if (!file.isWhole)
        leaveOut(path,
                 (kind == Log ? Text::tr("all but its last %1 bytes")
                              : Text::tr("all but its first %1 bytes"))
                     .arg(file.bytes.size()));
    const QFileInfo info(path);
    add(QStringLiteral("files%1/%2").arg(info.path(), m_mask.applied(info.fileName())),
        kind == Options ? Secrets::withoutLogin(file.bytes) : file.bytes);
}

void Collection::addFile(const QString &path, Kind kind)
{
    if (mayAdd(path, kind != Harmless))
        addExcerpt(path, kind);
}

void Collection::addFilesOf(const QString &directory, Kind kind)
{
    const QFileInfo info(directory);
    if (!info.isDir() || !info.isReadable()) {
        leaveOut(directory,
                 info.exists() ? Text::tr("it cannot be read") : Text::tr("it does not exist"));
        return;
    }
    const QStringList names =
        QDir(directory).entryList(QDir::Files | QDir::System | QDir::Hidden, QDir::Name);
    if (names.isEmpty() || !mayAdd(directory, kind != Harmless))
        return;
    if (names.size() > mostFiles)
        leaveOut(directory, Text::tr("all but %1 of its files").arg(mostFiles));
    for (const QString &name : names.mid(0, mostFiles))
        addExcerpt(directory + QLatin1Char('/') + name, kind);
}

void Collection::addOutput(const QString &name, const ToolOutput &output, bool mayHoldSecrets)
{
    if (!mayAdd(name, mayHoldSecrets))
        return;
    if (!output.fault.isEmpty())
        leaveOut(name, output.fault);
    if (!output.bytes.isEmpty())
        add(name, output.bytes);
}

}
