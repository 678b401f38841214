// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "bundle.h"

#include "archive.h"
#include "base/translate.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSet>

#include <sys/statvfs.h>

namespace Setup {

bool isFull(const QString &directory)
{
    struct statvfs status;
    // Some file systems do not count their files.
    return ::statvfs(QFile::encodeName(directory).constData(), &status) == 0
        && (status.f_bfree == 0 || (status.f_files > 0 && status.f_ffree == 0));
}

std::optional<qint64> spaceLeft(const QString &directory)
{
    struct statvfs status;
    if (::statvfs(QFile::encodeName(directory).constData(), &status) != 0 || status.f_blocks == 0)
        return std::nullopt;
    return qint64(status.f_bfree) * qint64(status.f_frsize);
}

Outcome badBundle(const Settings &settings, const QString &what, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Bundle,
                           Text::tr("The driver bundle %1 %2.").arg(settings.driverBundle, what),
                           nextStep);
}

std::optional<Outcome> readBundle(Session &session)
{
    const QFileInfo bundle(session.settings.driverBundle);
    session.settings.driverBundle = bundle.absoluteFilePath();
    session.bundleMembers.clear();
    if (!bundle.isFile() || !bundle.isReadable())
        return badBundle(session.settings, Text::tr("does not exist or is not a readable file"),
                         Text::tr("Give its path with --driver-bundle."));
    const Archive archive = readArchive(session.settings.driverBundle);
    if (session.cancellation.isRequested()) // tar has heard of it, too
        return Outcome::interrupted();
    if (!archive.fault.isEmpty())
        return badBundle(session.settings, archive.fault, archive.remedy);
    session.bundleMembers = archive.members;
    session.bundleSize = archive.size;
    return std::nullopt;
}

std::optional<QString> cutOffMember(Session &session)
{
    // In English, so that what tar says can be understood.
    QStringList differences;
    session.runTool(QStringLiteral("env"),
                    {QStringLiteral("LC_ALL=C"), QStringLiteral("tar"), QStringLiteral("--compare"),
                     QStringLiteral("-C"), session.driver.extractionPath, QStringLiteral("-f"),
                     session.settings.driverBundle},
                    QStringLiteral("/"), &differences);
    // The library has let make clean up, so a file may well be missing, unless there is no room.
    const QRegularExpression cutOff(
        isFull(session.driver.extractionPath)
            ? QStringLiteral("^(?:tar: )?(.*): (?:Size differs|Warning: "
                             "Cannot stat: .*)$")
            : QStringLiteral("^(.*): Size differs$"));
    for (const QString &difference : qAsConst(differences)) {
        const auto match = cutOff.match(difference);
        if (match.hasMatch())
            return match.captured(1);
    }
    return std::nullopt;
}

QString usualTree(const QStringList &members, const QString &driverName)
{
    QSet<QString> tops;
    for (const QString &member : members)
        tops.insert(QDir::cleanPath(member).section(QLatin1Char('/'), 0, 0));
    tops.remove(QStringLiteral("."));
    return tops.size() == 1 ? *tops.cbegin() : driverName;
}

}
