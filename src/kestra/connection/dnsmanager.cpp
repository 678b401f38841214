// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "dnsmanager.h"

#include <kestra/foundation/debugline_p.h>
#include <kestra/foundation/text_p.h>

#include <QDebug>

#include <algorithm>
#include <utility>

using Kestra::Private::debugLine;
using Kestra::Private::readLine;
using Kestra::Private::shown;
using Kestra::Private::text;

namespace {

constexpr int lineSize = 99; // bytes that are judged as a line

/** Returns an expression for four octets with dots between them. */
QString dottedQuad()
{
    const QString octet =
        QStringLiteral("(([0-9]{1,2})|(1{1}[0-9]{2})|(2{1}[5]{1}[0-5]{1})|(2{1}[0-4]{1}[0-9]{1}))");
    return QStringList({octet, octet, octet, octet}).join(QStringLiteral("\\."));
}

}

DNS_Manager::DNS_Manager()
    : m_resolvFile(QStringLiteral("/etc/resolv.conf"))
    , m_backupFile(QStringLiteral("/etc/resolv.conf_kestra"))
    , m_addressRegExp(QLatin1Char('^') + dottedQuad() + QLatin1Char('$'))
    , m_nameserverRegExp(QStringLiteral("^nameserver ") + dottedQuad() + QStringLiteral("\\s*$"))
{
    debugLine("DNS_Manager::DNS_Manager(): ctor called.\n");
}

DNS_Manager::~DNS_Manager() = default;

bool DNS_Manager::setServers(QStringList &servers)
{
    debugLine("DNS_Manager::setServers(): %s\n",
              servers.join(QStringLiteral(", ")).toLocal8Bit().constData());
    const auto isInvalid = [this](const QString &server) {
        return !m_addressRegExp.exactMatch(server);
    };
    servers.erase(std::remove_if(servers.begin(), servers.end(), isInvalid), servers.end());
    if (servers.isEmpty()) {
        debugLine("DNS_Manager::setServers(): No (valid) DNS server's addresses were given, "
                  "aborting!\n");
        return false;
    }
    backUp();

    if (m_resolvFile.isOpen())
        m_resolvFile.close();
    if (!m_resolvFile.open(QIODevice::WriteOnly | QIODevice::Truncate)) {
        qDebug() << "Kestra::setDNS(): could not open" << m_resolvFile.fileName()
                 << "in WriteOnly mode!";
        return false;
    }
    qDebug() << "valid addresses:" << shown(servers).constData();
    for (const QString &server : std::as_const(servers))
        m_resolvFile.write("nameserver " + server.toLatin1() + '\n');
    m_resolvFile.close();
    qDebug() << "Kestra::setDNS(): The DNS servers" << shown(servers).constData()
             << "have been written.";
    return true;
}

/** Keeps the file as it was before the first change; an existing backup stays. */
void DNS_Manager::backUp()
{
    if (m_backupFile.exists())
        return;
    if (m_resolvFile.copy(m_backupFile.fileName()))
        qDebug() << "Kestra::setDNS(): resolv.conf backed up to" << m_backupFile.fileName();
    else
        qDebug() << "Kestra::setDNS(): could NOT back up resolv.conf to" << m_backupFile.fileName();
}

bool DNS_Manager::restore()
{
    if (!m_backupFile.exists())
        return false;
    const QByteArray name = m_resolvFile.fileName().toLocal8Bit();
    m_resolvFile.remove();
    if (m_resolvFile.exists()) {
        debugLine("Kestra::restoreOldDNS(): %s was not removed, cannot restore the old one!",
                  name.constData());
    }
    const bool restored = m_backupFile.copy(m_resolvFile.fileName());
    debugLine(restored ? "Kestra::restoreOldDNS(): %s restored successfully."
                       : "Kestra::restoreOldDNS(): %s could not be restored!",
              name.constData());
    return restored;
}

bool DNS_Manager::isFileCorrect()
{
    if (!m_resolvFile.open(QIODevice::ReadOnly))
        return false;
    bool correct = true;
    while (correct && !m_resolvFile.atEnd())
        correct = isLineCorrect(text(readLine(m_resolvFile, lineSize + 1)));
    m_resolvFile.close();
    return correct;
}

bool DNS_Manager::isLineCorrect(const QString &line) const
{
    if (line.startsWith(QLatin1Char('#')))
        return !line.startsWith(QLatin1String("# Modified_by:  NetworkManager"));
    return m_nameserverRegExp.exactMatch(line) || line.trimmed().isEmpty();
}
