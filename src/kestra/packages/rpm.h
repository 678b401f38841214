// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_PACKAGES_RPM_H
#define KESTRA_PACKAGES_RPM_H

#include <kestra/foundation/export.h>

#include <QByteArray>
#include <QList>
#include <QObject>
#include <QStringList>

class QProcess;
class QThread;

/**
 * What is installed on a system with rpm, from a listing that the caller refreshes.
 *
 * Messages go to the Qt debug stream.
 */
class KESTRA_EXPORT Rpm : public QObject
{
    Q_OBJECT

public:
    /** @param thread the parent of the object and the thread in which rpm runs; may be null */
    explicit Rpm(QThread *thread);
    ~Rpm() override;

    /**
     * Lists the installed packages with rpm.
     *
     * @return the exit code of rpm. Blocks for up to 30 s; when rpm cannot be run or takes longer
     *         the earlier listing stays.
     */
    int queryDB();

    /**
     * Returns those of @p packages that the last listing does not hold, in their order.
     *
     * A name counts as installed when a line of the listing begins with it. Without a listing all
     * packages are returned. Does not run rpm.
     */
    QStringList getNotInstalled(QStringList packages);

private:
    QList<QByteArray> m_installed;
    QByteArray m_rawOutput;
    QProcess *m_askProcess;
};

#endif
