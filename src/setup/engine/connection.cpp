// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/files.h"
#include "base/paths.h"
#include "base/translate.h"
#include "replaced.h"
#include "session.h"
#include "stages.h"

#include <kestra/connection/scriptmanager.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QSaveFile>

namespace Setup {

namespace {

const QLatin1String pppd("/usr/sbin/pppd");
const QLatin1String peerDirectory("/etc/ppp/peers");
const QLatin1String unicornOptions("/etc/modprobe.d/kestra.conf");

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
    QString name = session.settings.module;
    if (name.isEmpty())
        name = session.knownDriver.module;
    if (name.isEmpty())
        name = session.modem.driver;
    const QString suffix = QStringLiteral(".ko");
    if (name.endsWith(suffix))
        name.chop(suffix.size());
    return name;
}

/** In the order in which they are loaded. */
QString modulesToLoad(const Session &session)
{
    const QStringList &known = session.knownDriver.loadModules;
    if (session.settings.module.isEmpty() && !known.isEmpty())
        return known.join(QLatin1Char(' '));
    return moduleName(session);
}

QString peerFile(const Session &session)
{
    return peerDirectory + QLatin1Char('/') + peerName(session);
}

/** A file that the library is about to write. It cannot tell a full disk, so we look ourselves. */
class Written
{
public:
    const QString path;

    Written(const QString &file, const QString &what)
        : path(file), m_what(what), m_before(content(file))
    {
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
        QStringLiteral("LOAD_MODULES='%1'").arg(modulesToLoad(session)),
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

/** All that writeConnection() may write, a directory before what is in it. */
QStringList connectionFiles(const Session &session)
{
    QStringList files = {peerDirectory,   peerFile(session), papSecrets(),
                         chapSecrets(),   pppdOptions(),     QFileInfo(connectionFile()).path(),
                         connectionFile()};
    if (usesUnicorn(session))
        files.append(unicornOptions);
    if (session.settings.wants(Goal::InitScript))
        files.append(initScript());
    return files;
}

}

Outcome writeConnection(Session &session)
{
    if (const auto problem = session.remember(Part::Connection, connectionFiles(session)))
        return *problem;
    ScriptManager scripts;
    QDir().mkpath(peerDirectory);
    if (!QFileInfo::exists(pppd))
        session.frontend.reminder(Text::tr("pppd is not installed; the connection needs it."));

    const Written peer(peerFile(session), Text::tr("how pppd reaches the provider"));
    const Written unicorn(unicornOptions, Text::tr("line parameters for the driver"));
    writePeer(session, scripts);
    const bool hasPeer = peer.check(session, endOfPeer(session));
    const bool hasOption = !usesUnicorn(session) || unicorn.check(session, unicornLine(session));
    if (!hasPeer || !hasOption)
        return notWritten(ExitCode::Connection, hasPeer ? unicorn.path : peer.path);

    const QByteArray secret = ourSecret(session);
    const Written pap(papSecrets(), Text::tr("user name and password, for root only"));
    const Written chap(chapSecrets(), Text::tr("user name and password, for root only"));
    const Written options(pppdOptions(), Text::tr("options of every pppd connection"));

    scripts.writeSecretScripts(session.user, session.password);
    const bool hasPap = pap.check(session, secret);
    const bool hasChap = chap.check(session, secret);
    if (!hasPap || !hasChap)
        return notWritten(ExitCode::Connection, hasPap ? chap.path : pap.path);
    scripts.writeOptionsScript();
    if (!options.check(session, ourOptions()))
        return notWritten(ExitCode::Connection, options.path);
    if (!writeConnectionFile(session))
        return notWritten(ExitCode::Connection, connectionFile());
    session.changed(connectionFile(), Text::tr("what the init script needs to know"));
    if (session.settings.wants(Goal::InitScript)) {
        if (const auto problem = placeInitScript(session))
            return *problem;
    }
    scripts.setScriptsPermissions();
    return Outcome::done();
}

}
