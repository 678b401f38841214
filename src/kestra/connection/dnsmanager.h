// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_CONNECTION_DNSMANAGER_H
#define KESTRA_CONNECTION_DNSMANAGER_H

#include <kestra/foundation/export.h>

#include <QFile>
#include <QRegExp>
#include <QString>
#include <QStringList>

/**
 * Sets the name servers in "/etc/resolv.conf", with a backup in "/etc/resolv.conf_kestra".
 *
 * The backup is made once and keeps the file as it was before the first change. Messages are
 * debug lines, or go to the Qt debug stream where said so. Nothing blocks for longer than the
 * files take to read and write.
 */
class KESTRA_EXPORT DNS_Manager
{
public:
    DNS_Manager();
    virtual ~DNS_Manager();

    /**
     * Makes @p servers the only content of the file. Progress goes to the Qt debug stream.
     *
     * @param servers dotted IPv4 addresses; what is none is removed from the list
     * @return false when no valid address is left or the file cannot be opened
     */
    bool setServers(QStringList &servers);

    /** Puts the backup back and keeps it. @return false without a backup or when copying fails */
    bool restore();

    /**
     * Returns whether the file holds nothing but name servers, comments and blank lines, and is
     * not marked as NetworkManager's. False when it cannot be read.
     */
    bool isFileCorrect();

private:
    void backUp();
    bool isLineCorrect(const QString &line) const;

    QFile m_resolvFile;
    QFile m_backupFile;
    QRegExp m_addressRegExp;
    QRegExp m_nameserverRegExp;
};

#endif
