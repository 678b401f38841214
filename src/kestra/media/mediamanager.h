// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MEDIA_MEDIAMANAGER_H
#define KESTRA_MEDIA_MEDIAMANAGER_H

#include <kestra/foundation/export.h>
#include <kestra/media/volume.h>

#include <QList>
#include <QObject>
#include <QString>

class QProcess;
class QThread;

/**
 * The discs in the drives: lists, mounts, unmounts and ejects them.
 *
 * What is there is asked of the hardware daemon; each question blocks for up to two D-Bus
 * time-outs, and a failed one counts as "nothing there". The thread that created the object must
 * run an event loop for the signals to be emitted. Messages go to the Qt debug stream.
 */
class KESTRA_EXPORT MediaManager : public QObject
{
    Q_OBJECT

public:
    /**
     * Subscribes to the announcements of the hardware daemon; a failure is not reported.
     *
     * @param thread the parent of the object and the thread in which its tools run; may be null
     */
    explicit MediaManager(QThread *thread);
    ~MediaManager() override;

    /** Returns the number of discs. */
    int getVolumesCount();

    /** Returns the discs in the order of the hardware daemon; a snapshot, made by each call. */
    QList<Volume> getVolumesList();

    /**
     * Mounts a volume.
     *
     * @param udi the identifier of the volume
     * @param mountPoint the directory; created with its parents if need be, and never removed
     * @return the exit code of mount, or -1 when @p mountPoint is empty, -2 when the hardware
     *         daemon does not tell the device, -3 when the directory cannot be created, -4 when
     *         mount cannot be started or takes longer than 30 s (it is left running then)
     */
    int mountVolume(const QString &udi, const QString &mountPoint);

    /**
     * Unmounts what is mounted at @p mountPoint.
     *
     * @param mountPoint the directory
     * @param lazy whether to detach it even while it is in use
     * @return the exit code of umount, or -1 when @p mountPoint is empty, -2 when umount cannot be
     *         started or takes longer than 10 s (it is left running then)
     */
    int unmountVolume(const QString &mountPoint, bool lazy);

    /**
     * Unmounts a volume and ejects its disc; the disc of the default drive when the hardware
     * daemon does not know the volume.
     *
     * @param udi the identifier of the volume
     * @return whether eject ended with exit code 0 within 10 s
     */
    bool ejectVolume(const QString &udi);

    /** Returns where the volume @p udi is mounted; an empty string when it is not. */
    QString getVolumeMountPoint(const QString &udi);

    /** Returns whether the volume @p udi is mounted. */
    bool getVolumeIsMounted(const QString &udi);

Q_SIGNALS:
    /**
     * A disc was inserted. volumeAdded() without arguments follows.
     *
     * @param blockDev its block device
     * @param label its label
     * @param device its identifier at the hardware daemon
     */
    void volumeAdded(QString blockDev, QString label, QString device);
    /**
     * A device is gone, which need not have been a disc. volumeRemoved() without arguments follows.
     *
     * @param device its identifier at the hardware daemon
     */
    void volumeRemoved(QString device);
    /** A disc was inserted. */
    void volumeAdded();
    /** A device is gone. */
    void volumeRemoved();

private Q_SLOTS:
    void deviceAdded(const QString &udi);
    void deviceRemoved(const QString &udi);

private:
    QList<Volume> m_volumes;
    QProcess *m_mountProcess;
    QProcess *m_unmountProcess;
    QProcess *m_ejectProcess;
};

#endif
