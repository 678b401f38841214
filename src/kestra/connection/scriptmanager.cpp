// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "scriptmanager.h"

#include <kestra/foundation/text_p.h>

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegExp>
#include <QStringList>

#include <algorithm>
#include <cstdio>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

using Kestra::Private::textUpToNul;

namespace {

const QString initDir = QStringLiteral("/etc/init.d");
const QString scriptName = QStringLiteral("kestrad");

constexpr int firstRunLevel = 0;
constexpr int lastRunLevel = 6;

/** What the three kinds of connection have pppd do; each has its own lines after these. */
const char *const commonPeerLines[] = {
    "lock",
    "noipdefault",
    "defaultroute",
    "hide-password",
    "lcp-echo-interval 20",
    "lcp-echo-failure 3",
    "connect /bin/true",
    "noauth",
    "persist",
    "mtu 1492",
    "noaccomp",
};

constexpr auto ownerOnly = QFile::ReadOwner;
constexpr auto everybody = QFile::ReadOwner | QFile::ReadGroup | QFile::ReadOther;
constexpr auto program = QFile::ReadOwner | QFile::WriteOwner | QFile::ExeOwner | QFile::ReadGroup
    | QFile::ExeGroup | QFile::ExeOther;

const struct
{
    const char *path;
    QFile::Permissions permissions;
} scriptPermissions[] = {
    {"/etc/ppp/options", ownerOnly},      {"/etc/ppp/pap-secrets", ownerOnly},
    {"/etc/ppp/chap-secrets", ownerOnly}, {"/etc/ppp/peers/kestra", everybody},
    {"/etc/init.d/kestrad", program},     {"/etc/ppp/peers/kestra_unicorn", everybody},
};

/** Reads what is left of an open file up to the first zero byte, and closes the file. */
QString takeText(QFile &file)
{
    const QString text = textUpToNul(file.readAll());
    file.close();
    return text;
}

QString userLine(const QString &user)
{
    return QStringLiteral("user \"") + user + QLatin1Char('"');
}

/** Returns the lines of a connection over an Ethernet interface. */
QStringList ethernetLines(const QString &interface, const QString &user)
{
    return {QStringLiteral("default-asyncmap"),
            QStringLiteral("noaccomp"), // a second time, as it has always been written
            QStringLiteral("holdoff 4"),        QStringLiteral("plugin rp-pppoe.so"),
            QStringLiteral("nic-") + interface, userLine(user)};
}

bool isOpenToOthers(const struct stat &status)
{
    return S_ISREG(status.st_mode)
        && ((status.st_mode & (S_IRWXG | S_IRWXO)) || status.st_uid != geteuid());
}

/** Takes an open file away from others; returns false when somebody else could still read it. */
bool hideFromOthers(int fd)
{
    struct stat status;
    if (fstat(fd, &status) != 0)
        return false;
    if (!isOpenToOthers(status))
        return true;
    return fchmod(fd, status.st_mode & S_IRWXU) == 0 && fstat(fd, &status) == 0
        && !isOpenToOthers(status);
}

/**
 * Opens a file that is about to hold a password, so that nobody else can read it from now on.
 *
 * Where others could read the file until now they may have it open still: they keep the old one.
 */
bool openSecret(QFile &file)
{
    const QString target = QFileInfo(file.fileName()).canonicalFilePath(); // of a link
    const QByteArray path = QFile::encodeName(target.isEmpty() ? file.fileName() : target);
    struct stat status;
    if (lstat(path.constData(), &status) == 0 && isOpenToOthers(status))
        unlink(path.constData());

    const int fd =
        open(path.constData(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, S_IRUSR | S_IWUSR);
    if (fd < 0)
        return false;
    if (hideFromOthers(fd) && file.open(fd, QIODevice::WriteOnly, QFile::AutoCloseHandle))
        return true;
    close(fd);
    return false;
}

/** Returns the service that the connection needs at boot; an empty string if none is there. */
QString bootDependency(const QStringList &initScripts)
{
    for (const char *name : {"dbus", "hal", "haldaemon", "hald"}) {
        const QString script = QString::fromLatin1(name);
        if (initScripts.contains(script))
            return script;
    }
    return QString();
}

bool anyMatches(const QStringList &names, const QRegExp &pattern)
{
    return std::any_of(names.begin(), names.end(),
                       [&pattern](const QString &name) { return pattern.exactMatch(name); });
}

}

ScriptManager::ScriptManager()
    : m_file(new QFile)
    , autostartScript(QStringLiteral("/etc/init.d/kestrad"))
    , pppScript(QStringLiteral("/etc/ppp/peers/kestra"))
    , papSecretsScript(QStringLiteral("/etc/ppp/pap-secrets"))
    , chapSecretsScript(QStringLiteral("/etc/ppp/chap-secrets"))
    , unicornScript(QStringLiteral("/etc/ppp/peers/kestra_unicorn"))
    , optionsScript(QStringLiteral("/etc/ppp/options"))
{
    qDebug() << "autostartScript:" << autostartScript << "\npppScript" << pppScript
             << "\npapSecretsScript" << papSecretsScript << "\nchapSecretsScript"
             << chapSecretsScript << "\nunicornScript" << unicornScript << "\noptionsScript"
             << optionsScript;
}

ScriptManager::~ScriptManager()
{
    qDebug() << "~ScriptManager()";
    delete m_file;
}

void ScriptManager::writeToFile(const QString &fileName, const QString &line)
{
    m_file->setFileName(fileName);
    if (!m_file->open(QIODevice::ReadOnly))
        return;
    const QString text = takeText(*m_file);
    if (text.contains(line)) {
        qDebug() << "ScriptManager::writeToFile(): There is already such line.";
        return;
    }
    if (m_file->open(QIODevice::WriteOnly | QIODevice::Truncate))
        m_file->write((text + line + QLatin1Char('\n')).toLatin1());
    m_file->close();
}

void ScriptManager::replaceInFile(const QString &fileName, const QString &before,
                                  const QString &after)
{
    m_file->setFileName(fileName);
    if (!m_file->open(QIODevice::ReadOnly)) {
        qWarning() << "ScriptManager::replaceInFile(): couldn't open file" << fileName
                   << "in read only mode!";
        return;
    }
    QString text = takeText(*m_file);
    while (text.contains(before))
        text.replace(before, after);
    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qWarning() << "ScriptManager::replaceInFile(): couldn't open file" << fileName
                   << "in write only mode!";
        return;
    }
    m_file->write((text + QLatin1Char('\n')).toLatin1());
    m_file->close();
}

void ScriptManager::removeFromFile(const QString &fileName, const QString &line)
{
    m_file->setFileName(fileName);
    if (!m_file->open(QIODevice::ReadOnly))
        return;
    QString text = takeText(*m_file);
    const QString wholeLine = line + QLatin1Char('\n');
    while (text.contains(wholeLine))
        text.remove(wholeLine);
    if (m_file->open(QIODevice::ReadWrite | QIODevice::Truncate))
        m_file->write(text.toLatin1());
    m_file->close();
}

void ScriptManager::setScriptsPermissions()
{
    for (const auto &script : scriptPermissions)
        QFile::setPermissions(QString::fromLatin1(script.path), script.permissions);
}

bool ScriptManager::writePPPoEScript(const QString &user)
{
    return writePeer(pppScript, "ScriptManager::writePPPoEScript(): fileName:",
                     ethernetLines(QStringLiteral("nas0"), user));
}

bool ScriptManager::writePPPoAScript(const unsigned short &vpi, const unsigned short &vci,
                                     const QString &user)
{
    return writePeer(pppScript, "ScriptManager::writePPPoAScript(): fileName:",
                     {QStringLiteral("holdoff 4"), QStringLiteral("default-asyncmap"),
                      QStringLiteral("plugin pppoatm.so %1.%2").arg(vpi).arg(vci), userLine(user)});
}

bool ScriptManager::writeUnicornScript(const QString &user)
{
    return writePeer(unicornScript, "ScriptManager::writeUnicornScript(): fileName:",
                     ethernetLines(QStringLiteral("dsl0"), user));
}

bool ScriptManager::writeSecretScripts(const QString &user, const QString &password)
{
    const QString line =
        QLatin1Char('"') + user + QStringLiteral("\" * \"") + password + QStringLiteral("\" *\n");
    writeSecret(papSecretsScript, "ScriptManager::writeSecretsScript(): fileName:", line);
    return writeSecret(chapSecretsScript,
                       "ScriptManager::writeSecretsScript(): fileName (2):", line);
}

bool ScriptManager::writeOptionsScript()
{
    return writeLines(optionsScript, "ScriptManager::writeOptionsScript(): fileName:",
                      {QStringLiteral("replacedefaultroute"), QStringLiteral("updetach")});
}

bool ScriptManager::writeUnicornOption(const QString &fileName, int &vpi, int &vci, int &protocol)
{
    printf("VPI: %i, VCI: %i\n", vpi, vci);

    QByteArray text;
    m_file->setFileName(fileName);
    if (m_file->open(QIODevice::ReadOnly)) {
        while (!m_file->atEnd()) {
            const QByteArray line = m_file->readLine();
            if (!line.startsWith("options unicorn_usb_eth"))
                text.append(line);
        }
        m_file->close();
    }
    if (!text.isEmpty() && !text.endsWith('\n'))
        text.append('\n');
    text.append("options unicorn_usb_eth ActivationMode=3 VPI=" + QByteArray::number(vpi)
                + " VCI=" + QByteArray::number(vci));
    text.append(protocol == 0 ? " PROTOCOL=pppoatm ENCAPS=vc-encaps\n"
                              : " PROTOCOL=pppoe ENCAPS=llcc-encaps\n");

    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug() << "ScriptManager::writeUnicornOption(): failed to write options!";
        return false;
    }
    m_file->write(text);
    m_file->close();
    return true;
}

bool ScriptManager::writePeer(const QString &path, const char *prefix, const QStringList &lines)
{
    QStringList peer;
    for (const char *line : commonPeerLines)
        peer.append(QString::fromLatin1(line));
    return writeLines(path, prefix, peer + lines);
}

bool ScriptManager::writeLines(const QString &path, const char *prefix, const QStringList &lines)
{
    m_file->setFileName(path);
    qDebug() << prefix << m_file->fileName();
    if (!m_file->open(QIODevice::WriteOnly | QIODevice::Truncate))
        return false;
    for (const QString &line : lines)
        m_file->write(line.toLatin1() + '\n');
    m_file->close();
    return true;
}

bool ScriptManager::writeSecret(const QString &path, const char *prefix, const QString &line)
{
    m_file->setFileName(path);
    qDebug() << prefix << m_file->fileName();
    if (!openSecret(*m_file))
        return false;
    m_file->write(line.toLatin1());
    m_file->close();
    return true;
}

QString ScriptManager::getRcDir()
{
    for (const QString &candidate : {initDir, QStringLiteral("/etc")}) {
        if (QFileInfo(candidate + QStringLiteral("/rc3.d")).isDir())
            return candidate;
    }
    return QString();
}

void ScriptManager::addDaemonToStart(const int &number)
{
    const QString base = getRcDir();
    if (!QFileInfo::exists(initDir) && base.isEmpty())
        return;
    const QString dependency =
        bootDependency(QDir(initDir).entryList(QDir::Files | QDir::NoSymLinks, QDir::Unsorted));

    // The middle alternative stands for a second dependency, which has no name: it takes links
    // that are nothing but a K and digits.
    const QRegExp oldLink(QStringLiteral("(^K[0-9]{1,2}") + dependency
                          + QStringLiteral(")|(^K[0-9]{1,2})|(^.[0-9]{1,2}") + scriptName
                          + QLatin1Char(')'));
    const QRegExp startLink(QStringLiteral("^S[0-9]{1,2}") + dependency);
    for (int level = firstRunLevel; level <= lastRunLevel; ++level) {
        const QString dir = QStringLiteral("%1/rc%2.d").arg(base).arg(level);
        QDir::setCurrent(dir);
        const QStringList names = QDir(QStringLiteral(".")).entryList(QDir::Files, QDir::Unsorted);
        const QString inDir = dir + QLatin1Char('/');
        for (const QString &name : names) {
            if (oldLink.exactMatch(name))
                QFile::remove(inDir + name);
        }
        if (!dependency.isEmpty() && !anyMatches(names, startLink))
            QFile::link(initDir + QLatin1Char('/') + dependency,
                        inDir + QStringLiteral("S12") + dependency);
        const bool isStopped = level == 0 || level == 1 || level == 6;
        QFile::link(autostartScript,
                    inDir + (isStopped ? QLatin1Char('K') : QLatin1Char('S'))
                        + QString::number(number) + scriptName);
    }
}
