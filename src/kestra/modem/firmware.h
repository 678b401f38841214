// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MODEM_FIRMWARE_H
#define KESTRA_MODEM_FIRMWARE_H

#include <kestra/foundation/export.h>

#include <QObject>
#include <QString>

class QDir;
class QProcess;
class QThread;

/** Unpacks the firmware of a modem. Writes no message. */
class KESTRA_EXPORT Firmware : public QObject
{
    Q_OBJECT

public:
    /** @param thread the parent of the object and the thread in which tar runs; may be null */
    explicit Firmware(QThread *thread);
    ~Firmware() override;

    /**
     * Unpacks @p archive into @p destination with tar.
     *
     * @param archive the archive, of a kind that tar recognises
     * @param destination the directory; created with its parents if need be
     * @return whether tar ended with exit code 0; false when there is no archive. Blocks for up to
     *         30 s; a tar that takes longer is left running.
     */
    bool installFirmware(const QString &archive, const QString &destination);

private:
    QProcess *m_process;
    QDir *m_directory;
};

#endif
