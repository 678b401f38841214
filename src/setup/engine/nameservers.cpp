// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/files.h"
#include "base/paths.h"
#include "base/translate.h"
#include "replaced.h"
#include "session.h"
#include "stages.h"

#include <kestra/connection/dnsmanager.h>

#include <QFile>
#include <QFileInfo>

namespace Setup {

namespace {

const QLatin1String resolverBackup("/etc/resolv.conf_kestra");

/** The file that is written is another one where there is a link. */
QStringList resolverFiles()
{
    QStringList files = {resolverFile(), resolverBackup};
    const QFileInfo resolver(resolverFile());
    if (resolver.isSymLink())
        files.append(resolver.exists() ? resolver.canonicalFilePath() : resolver.symLinkTarget());
    return files;
}

QByteArray resolverText(const QStringList &servers)
{
    QByteArray text;
    for (const QString &server : servers)
        text += "nameserver " + server.toLatin1() + '\n';
    return text;
}

bool isSaved(const QByteArray &before)
{
    return QFileInfo::exists(resolverBackup) && content(resolverBackup) == before;
}

/** Without name servers the machine would be worse off than before. */
void putBack(Session &session, const QByteArray &before)
{
    if (content(resolverFile()) == before)
        return;
    QFile file(resolverFile());
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(before);
    file.close();
    if (content(resolverFile()) != before)
        session.changed(resolverFile(), Text::tr("damaged"));
}

Outcome resolverNotWritten()
{
    const QFileInfo resolver(resolverFile());
    if (!resolver.isSymLink())
        return notWritten(ExitCode::NameServers, resolverFile());
    return Outcome::failed(
        ExitCode::NameServers,
        Text::tr("%1 could not be written: it is a link to %2.")
            .arg(resolverFile(), resolver.symLinkTarget()),
        Text::tr("See whether the directory of that file exists and whether the disk is full "
                 "or the file protected, then start again."));
}

}

Outcome setNameServers(Session &session)
{
    const QStringList wanted = wantedNameServers(session);
    QStringList servers = wanted;
    if (servers.isEmpty())
        return Outcome::skipped(
            Text::tr("the provider's name servers are not known; most announce them when the "
                     "connection comes up"));
    if (session.leavesNameServers)
        return Outcome::skipped(Text::tr("%1 is left as it is").arg(resolverFile()));
    if (const auto problem = session.remember(Part::NameServers, resolverFiles()))
        return *problem;
    DNS_Manager manager;
    const bool isFirstChange =
        QFileInfo::exists(resolverFile()) && !QFileInfo::exists(resolverBackup);
    const QByteArray before = content(resolverFile());
    const bool isWritten = manager.setServers(servers);
    if (servers.isEmpty())
        return Outcome::failed(
            ExitCode::NameServers,
            Text::tr("None of the provider's name servers is a valid address: %1.")
                .arg(wanted.join(QStringLiteral(", "))),
            Text::tr("Mend the provider database, or use --no-dns."));
    if (isFirstChange && !isSaved(before)) {
        putBack(session, before);
        return Outcome::failed(
            ExitCode::NameServers,
            Text::tr("%1 could not be saved as %2.").arg(resolverFile(), resolverBackup),
            Text::tr("See whether the disk is full or something else is in that place, then "
                     "start again."));
    }
    if (QFileInfo::exists(resolverBackup))
        session.changed(resolverBackup, Text::tr("the file as it was before the first change"));
    if (!isWritten || content(resolverFile()) != resolverText(servers)) {
        putBack(session, before);
        return resolverNotWritten();
    }
    session.changed(resolverFile(), Text::tr("name servers"));
    return Outcome::done(servers.join(QStringLiteral(", ")));
}

}
