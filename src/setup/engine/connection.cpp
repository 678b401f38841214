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
const char ourOptions[] = "replacedefaultroute\nupdetach\n";
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

/** A file that the library is about to write. It cannot tell a full disk, so we look ourselves. */
class Written
{
public:
    const QString path;

    Written(const QString &file, const char *what)
        : path(file), m_what(QString::fromLatin1(what)), m_before(content(file))
    {
    }

    /** Tells of lines that are not among @p ours, comments aside. */
    void tellOfLoss(Session &session, const QByteArray &ours) const
    {
        const QList<QByteArray> kept = ours.split('\n');
        for (const QByteArray &line : m_before.split('\n')) {
            const QByteArray entry = line.trimmed();
            if (!entry.startsWith('#') && !kept.contains(entry)) {
                session.frontend.note(
                    QStringLiteral("%1 has entries of its own, which are lost.").arg(path));
                return;
            }
        }
    }

    /** Lists the file if it was touched. Returns whether it holds @p text now. */
    bool check(Session &session, const QByteArray &text) const
    {
        const QByteArray now = content(path);
        const bool holdsText = now.contains(text);
        if (holdsText || now != m_before)
            session.changed(path, m_what);
        return holdsText;
    }

private:
    const QString m_what;
    const QByteArray m_before;
};

void writePeer(Session &session, ScriptManager &scripts)
{
    Line &line = session.line;
    if (usesUnicorn(session)) {
        int protocol = line.protocol == QLatin1String("pppoa") ? 0 : 1;
        scripts.writeUnicornScript(session.user);
        scripts.writeUnicornOption(unicornOptions, line.vpi, line.vci, protocol);
    } else if (line.protocol == QLatin1String("pppoe")) {
        scripts.writePPPoEScript(session.user);
    } else {
        scripts.writePPPoAScript(quint16(line.vpi), quint16(line.vci), session.user);
        if (line.encapsulation == QLatin1String("llc")) // the plug-in's default is vc
            scripts.writeToFile(peerFile(session), QStringLiteral("llc-encaps"));
    }
}

/** What differs between connections. */
QByteArray endOfPeer(const Session &session)
{
    QString text =
        QStringLiteral("plugin pppoatm.so %1.%2").arg(session.line.vpi).arg(session.line.vci);
    if (usesUnicorn(session))
        text = QStringLiteral("nic-dsl0");
    else if (session.line.protocol == QLatin1String("pppoe"))
        text = QStringLiteral("nic-nas0");
    return (text + QLatin1String("\nuser \"") + session.user + QLatin1String("\"\n")).toLatin1();
}

QByteArray unicornLine(const Session &session)
{
    return QStringLiteral("options unicorn_usb_eth ActivationMode=3 VPI=%1 VCI=%2 ")
        .arg(session.line.vpi)
        .arg(session.line.vci)
        .toLatin1();
}

/** QSaveFile alone would overlook that the disk is full when the last of the text is written. */
bool commit(QSaveFile &file) { return file.flush() && file.commit(); }

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
        && commit(file);
}

/** Puts the init script in place; only then do its mode and its links have something to act on. */
bool installInitScript(const Settings &settings)
{
    QFile source(initScriptSource(settings));
    QSaveFile target(initScript());
    return source.open(QIODevice::ReadOnly) && target.open(QIODevice::WriteOnly)
        && target.write(source.readAll()) >= 0 && commit(target);
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

/** All that writeConnection() may write, a directory before what is in it. */
QStringList connectionFiles(const Session &session)
{
    QStringList files = {peerDirectory,   peerFile(session), papSecrets,
                         chapSecrets,     optionsFile,       QFileInfo(connectionFile()).path(),
                         connectionFile()};
    if (usesUnicorn(session))
        files.append(unicornOptions);
    if (!session.settings.noBoot)
        files.append(initScript());
    return files;
}

/** The file that is written is another one where there is a link. */
QStringList resolverFiles()
{
    QStringList files = {resolverFile, resolverBackup};
    const QFileInfo resolver(resolverFile);
    if (resolver.isSymLink())
        files.append(resolver.exists() ? resolver.canonicalFilePath() : resolver.symLinkTarget());
    return files;
}

QStringList runLevelDirectories(const QString &base)
{
    QStringList directories;
    for (int level = 0; level <= 6; ++level)
        directories.append(runLevelDirectory(base, level));
    return directories;
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
    if (const auto problem = session.remember(Part::Connection, connectionFiles(session)))
        return *problem;
    ScriptManager scripts;
    QDir().mkpath(peerDirectory);
    if (!QFileInfo::exists(pppd))
        session.frontend.reminder(
            QStringLiteral("pppd is not installed; the connection needs it."));

    const Written peer(peerFile(session), "how pppd reaches the provider");
    const Written unicorn(unicornOptions, "line parameters for the driver");
    writePeer(session, scripts);
    const bool hasPeer = peer.check(session, endOfPeer(session));
    const bool hasOption = !usesUnicorn(session) || unicorn.check(session, unicornLine(session));
    if (!hasPeer || !hasOption)
        return notWritten(ExitCode::Connection, hasPeer ? unicorn.path : peer.path);

    const QString secret = QLatin1Char('"') + session.user + QLatin1String("\" * \"")
        + session.password + QLatin1String("\" *\n");
    const Written pap(papSecrets, "user name and password, for root only");
    const Written chap(chapSecrets, "user name and password, for root only");
    const Written options(optionsFile, "options of every pppd connection");
    for (const Written *file : {&pap, &chap})
        file->tellOfLoss(session, secret.toLatin1());
    options.tellOfLoss(session, ourOptions);

    scripts.writeSecretScripts(session.user, session.password);
    const bool hasPap = pap.check(session, secret.toLatin1());
    const bool hasChap = chap.check(session, secret.toLatin1());
    if (!hasPap || !hasChap)
        return notWritten(ExitCode::Connection, hasPap ? chap.path : pap.path);
    scripts.writeOptionsScript();
    if (!options.check(session, ourOptions))
        return notWritten(ExitCode::Connection, options.path);
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
    if (const auto problem = session.rememberEntries(Part::Boot, runLevelDirectories(base)))
        return *problem;
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
    if (const auto problem = session.remember(Part::NameServers, resolverFiles()))
        return *problem;
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
