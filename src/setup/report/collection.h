// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_COLLECTION_H
#define KESTRA_SETUP_COLLECTION_H

#include "log/mask.h"
#include "log/secrets.h"
#include "tool.h"

#include <QByteArray>
#include <QString>
#include <QStringList>
#include <QVector>

namespace Setup {

/** A file of the report. */
struct Member
{
    QString name; ///< with directories
    QByteArray content;
};

/**
 * What a report is made of. Nothing gets in without having its user names and passwords masked;
 * where these are not known, what may hold them stays out. What is missing is noted.
 */
class Collection
{
public:
    enum Kind {
        Harmless, ///< holds no user name nor password that is worth hiding for sure
        Log, ///< the end of it counts
        Options ///< of pppd
    };

    explicit Collection(const Secrets &secrets);

    void add(const QString &name, const QByteArray &content);
    void addFile(const QString &path, Kind kind = Harmless);
    void addFilesOf(const QString &directory, Kind kind = Harmless);

    /** Adds what @p output says, or notes why it says nothing. */
    void addOutput(const QString &name, const ToolOutput &output, bool mayHoldSecrets = false);

    void leaveOut(const QString &what, const QString &why);

    const QVector<Member> &members() const { return m_members; }
    const QStringList &leftOut() const { return m_leftOut; }

private:
    bool mayAdd(const QString &what, bool mayHoldSecrets);
    void addExcerpt(const QString &path, Kind kind);
    QString freeName(const QString &wanted) const;

    const Mask m_mask;
    const QStringList m_unread;
    QVector<Member> m_members;
    QStringList m_leftOut;
};

}

#endif
