// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "paths.h"
#include "session.h"
#include "stages.h"

#include <kestra/connection/dnsmanager.h>
#include <kestra/connection/scriptmanager.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

#include <fcntl.h>
#include <unistd.h>

namespace Setup {

namespace {

const QLatin1String pppd("/usr/sbin/pppd");
const QLatin1String peerDirectory("/etc/ppp/peers");
const QLatin1String papSecrets("/etc/ppp/pap-secrets");
const QLatin1String chapSecrets("/etc/ppp/chap-secrets");
const QLatin1String optionsFile("/etc/ppp/options");
const QLatin1String unicornOptions("/etc/modprobe.d/kestra.conf");
const QLatin1String resolverFile("/etc/resolv.conf");
const QLatin1String resolverBackup("/etc/resolv.conf_kestra");

bool usesUnicorn(const Session &session)
{
    return session.modem.driver == QLatin1String("unicorn");
}

QString peerName(const Session &session)
{
    return usesUnicorn(session) ? QStringLiteral("kestra_unicorn") : QStringLiteral("kestra");
}

QString moduleName(const Session &session)
{
    QString name =
        session.settings.module.isEmpty() ? session.modem.driver : session.settings.module;
    const QString suffix = QStringLiteral(".ko");
    if (name.endsWith(suffix))
        name.chop(suffix.size());
    return name;
}

QString peerFile(const Session &session)
{
    return peerDirectory + QLatin1Char('/') + peerName(session);
}

Outcome notWritten(ExitCode code, const QString &path)
{
    return Outcome::failed(
        code, QStringLiteral("%1 could not be written.").arg(path),
        QStringLiteral("See whether the disk is full or the file protected, then "
                       "start again."));
}

QByteArray content(const QString &path)
{
    QFile file(path);
    return file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
}

/** The library cannot tell a full disk, so what it wrote is read again. */
bool holds(const QString &path, const QByteArray &text) { return content(path).contains(text); }

bool writePeer(Session &session, ScriptManager &scripts)
{
    Line &line = session.line;
    if (usesUnicorn(session)) {
        int protocol = line.protocol == QLatin1String("pppoa") ? 0 : 1;
        return scripts.writeUnicornScript(session.user)
            && scripts.writeUnicornOption(unicornOptions, line.vpi, line.vci, protocol);
    }
    if (line.protocol == QLatin1String("pppoe"))
        return scripts.writePPPoEScript(session.user);
    if (!scripts.writePPPoAScript(quint16(line.vpi), quint16(line.vci), session.user))
        return false;
    if (line.encapsulation == QLatin1String("llc")) // the plug-in's default is vc
        scripts.writeToFile(peerFile(session), QStringLiteral("llc-encaps"));
    return true;
}

bool writeConnectionFile(const Session &session)
{
    const QStringList lines = {
        QStringLiteral("# Written by kestra-setup, read by %1.").arg(initScript()),
        QStringLiteral("DRIVER=%1").arg(session.modem.driver),
        QStringLiteral("MODULE=%1").arg(moduleName(session)),
        QStringLiteral("PEER=%1").arg(peerName(session)),
        QStringLiteral("PROTOCOL=%1").arg(session.line.protocol),
        QStringLiteral("VPI=%1").arg(session.line.vpi),
        QStringLiteral("VCI=%1").arg(session.line.vci),
        QStringLiteral("ENCAPSULATION=%1").arg(session.line.encapsulation),
        QString(),
    };
    QDir().mkpath(QFileInfo(connectionFile()).path());
    QSaveFile file(connectionFile());
    return file.open(QIODevice::WriteOnly)
        && file.write(lines.join(QLatin1Char('\n')).toLatin1()) >= 0
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup
                               | QFile::ReadOther)
        && file.commit();
}

/** Puts the init script in place; only then do its mode and its links have something to act on. */
bool installInitScript(const Settings &settings)
{
    QFile source(initScriptSource(settings));
    QSaveFile target(initScript());
    return source.open(QIODevice::ReadOnly) && target.open(QIODevice::WriteOnly)
        && target.write(source.readAll()) >= 0 && target.commit();
}

/** Returns all entries of the run-level directories. */
QStringList runLevelEntries(const QString &base)
{
    QStringList entries;
    for (int level = 0; level <= 6; ++level) {
        const QDir directory(runLevelDirectory(base, level));
        for (const QString &name : directory.entryList(QDir::Files | QDir::System | QDir::Hidden))
            entries.append(directory.filePath(name));
    }
    return entries;
}

QString linkName(const Session &session, const QString &base, int level)
{
    const bool stops = level == 0 || level == 1 || level == 6;
    return QStringLiteral("%1/%2%3kestrad")
        .arg(runLevelDirectory(base, level), stops ? QStringLiteral("K") : QStringLiteral("S"))
        .arg(session.settings.sequence);
}

void tellOfResolver(Session &session, DNS_Manager &manager)
{
    const QFileInfo resolver(resolverFile);
    if (resolver.isSymLink())
        session.frontend.note(QStringLiteral("%1 is a link to %2: another program may change it.")
                                  .arg(resolverFile, resolver.symLinkTarget()));
    if (resolver.exists() && !manager.isFileCorrect())
        session.frontend.note(QStringLiteral("%1 holds more than name servers, or is the file of "
                                             "another program, which may write it again.")
                                  .arg(resolverFile));
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
    if (content(resolverFile) == before)
        return;
    QFile file(resolverFile);
    if (file.open(QIODevice::WriteOnly | QIODevice::Truncate))
        file.write(before);
    file.close();
    if (content(resolverFile) != before)
        session.changed(resolverFile, QStringLiteral("damaged"));
}

Outcome resolverNotWritten()
{
    const QFileInfo resolver(resolverFile);
    if (!resolver.isSymLink())
        return notWritten(ExitCode::NameServers, resolverFile);
    return Outcome::failed(
        ExitCode::NameServers,
        QStringLiteral("%1 could not be written: it is a link to %2.")
            .arg(resolverFile, resolver.symLinkTarget()),
        QStringLiteral("See whether the directory of that file exists and whether the disk is full "
                       "or the file protected, then start again."));
}

}

Outcome writeConnection(Session &session)
{
    ScriptManager scripts;
    QDir().mkpath(peerDirectory);
    if (!QFileInfo::exists(pppd))
        session.frontend.note(QStringLiteral("pppd is not installed; the connection needs it."));

    const QString peer = peerFile(session);
    const QString userLine = QLatin1String("user \"") + session.user + QLatin1String("\"\n");
    if (!writePeer(session, scripts) || !holds(peer, userLine.toLatin1()))
        return notWritten(ExitCode::Connection, peer);
    session.changed(peer, QStringLiteral("how pppd reaches the provider"));
    if (usesUnicorn(session))
        session.changed(unicornOptions, QStringLiteral("line parameters for the driver"));

    const QString secret = QLatin1Char('"') + session.user + QLatin1String("\" * \"")
        + session.password + QLatin1String("\" *\n");
    const bool secretsWritten = scripts.writeSecretScripts(session.user, session.password);
    for (const QString &path : {QString(papSecrets), QString(chapSecrets)}) {
        if (!secretsWritten || !holds(path, secret.toLatin1()))
            return notWritten(ExitCode::Connection, path);
        session.changed(path, QStringLiteral("user name and password, for root only"));
    }
    if (!scripts.writeOptionsScript() || !holds(optionsFile, "updetach\n"))
        return notWritten(ExitCode::Connection, optionsFile);
    session.changed(optionsFile, QStringLiteral("options of every pppd connection"));
    if (!writeConnectionFile(session))
        return notWritten(ExitCode::Connection, connectionFile());
    session.changed(connectionFile(), QStringLiteral("what the init script needs to know"));
    if (!session.settings.noBoot) {
        if (!installInitScript(session.settings))
            return notWritten(ExitCode::Connection, initScript());
        session.changed(initScript(), QStringLiteral("starts and stops the connection"));
    }
    scripts.setScriptsPermissions();
    return Outcome::done();
}

Outcome linkBoot(Session &session)
{
    ScriptManager scripts;
    const QString base = scripts.getRcDir();
    const QStringList before = runLevelEntries(base);
    const int directory = ::open(".", O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    scripts.addDaemonToStart(session.settings.sequence);
    const bool isBack = directory >= 0 && ::fchdir(directory) == 0;
    ::close(directory);
    if (!isBack)
        session.frontend.note(QStringLiteral("The working directory is gone."));

    const QStringList after = runLevelEntries(base);
    for (const QString &entry : before) {
        if (!after.contains(entry))
            session.changed(entry, QStringLiteral("removed"));
    }
    for (const QString &entry : after) {
        if (!before.contains(entry))
            session.changed(entry,
                            QStringLiteral("link to %1").arg(QFileInfo(entry).symLinkTarget()));
    }
    for (int level = 0; level <= 6; ++level) {
        const QFileInfo link(linkName(session, base, level));
        if (!link.isSymLink() || link.symLinkTarget() != initScript())
            return Outcome::failed(
                ExitCode::Boot,
                QStringLiteral("The link %1 could not be made.").arg(link.filePath()),
                QStringLiteral("See what is in its place, then start again."));
    }
    return Outcome::done(QStringLiteral("%1/rc0.d to rc6.d").arg(base));
}

Outcome setNameServers(Session &session)
{
    QStringList servers = session.line.nameServers;
    if (servers.isEmpty())
        return Outcome::skipped(
            QStringLiteral("the provider's name servers are not known; most announce them when the "
                           "connection comes up"));
    DNS_Manager manager;
    tellOfResolver(session, manager);
    const bool isFirstChange =
        QFileInfo::exists(resolverFile) && !QFileInfo::exists(resolverBackup);
    const QByteArray before = content(resolverFile);
    const bool isWritten = manager.setServers(servers);
    if (servers.isEmpty())
        return Outcome::failed(
            ExitCode::NameServers,
            QStringLiteral("None of the provider's name servers is a valid address: %1.")
                .arg(session.line.nameServers.join(QStringLiteral(", "))),
            QStringLiteral("Mend the provider database, or use --no-dns."));
    if (isFirstChange && !isSaved(before)) {
        putBack(session, before);
        return Outcome::failed(
            ExitCode::NameServers,
            QStringLiteral("%1 could not be saved as %2.").arg(resolverFile, resolverBackup),
            QStringLiteral("See whether the disk is full or something else is in that place, then "
                           "start again."));
    }
    if (QFileInfo::exists(resolverBackup))
        session.changed(resolverBackup,
                        QStringLiteral("the file as it was before the first change"));
    if (!isWritten || content(resolverFile) != resolverText(servers)) {
        putBack(session, before);
        return resolverNotWritten();
    }
    session.changed(resolverFile, QStringLiteral("name servers"));
    return Outcome::done(servers.join(QStringLiteral(", ")));
}

}
