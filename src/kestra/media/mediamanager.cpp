// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "mediamanager.h"

#include <kestra/foundation/haldevice_p.h>
#include <kestra/media/haliface.h>

#include <QDBusConnection>
#include <QDBusReply>
#include <QDebug>
#include <QDir>
#include <QProcess>
#include <QThread>

using Kestra::Private::HalDevice;

namespace {

constexpr int mountTimeout = 30000; // ms
constexpr int unmountTimeout = 10000;
constexpr int ejectTimeout = 10000;

/** Returns the identifiers of all discs; none when the hardware daemon does not answer. */
QStringList findDiscs()
{
    const QDBusReply<QStringList> reply =
        hal_iface.call(QStringLiteral("FindDeviceByCapability"), QStringLiteral("volume.disc"));
    return reply.error().isValid() ? QStringList() : reply.value();
}

/** Runs a tool; returns false when it cannot be started or outruns its time, and leaves it then. */
bool run(QProcess *process, const char *program, const QStringList &arguments, int timeout)
{
    process->start(QString::fromLatin1(program), arguments, QIODevice::ReadWrite);
    return process->waitForFinished(timeout);
}

}

MediaManager::MediaManager(QThread *thread)
    : QObject(thread)
    , m_mountProcess(new QProcess)
    , m_unmountProcess(new QProcess)
    , m_ejectProcess(new QProcess)
{
    if (thread) {
        for (QProcess *process : {m_mountProcess, m_unmountProcess, m_ejectProcess})
            process->moveToThread(thread);
    }
    const QString interface = QStringLiteral("org.freedesktop.Hal.Manager");
    QDBusConnection bus = QDBusConnection::systemBus();
    bus.connect(QString(), QString(), interface, QStringLiteral("DeviceAdded"), this,
                SLOT(deviceAdded(QString)));
    bus.connect(QString(), QString(), interface, QStringLiteral("DeviceRemoved"), this,
                SLOT(deviceRemoved(QString)));
}

MediaManager::~MediaManager()
{
    qDebug() << "~MediaManager()";
    delete m_mountProcess;
    delete m_unmountProcess;
    delete m_ejectProcess;
}

int MediaManager::getVolumesCount() { return findDiscs().count(); }

QList<Volume> MediaManager::getVolumesList()
{
    m_volumes.clear();
    const QStringList udis = findDiscs();
    for (const QString &udi : udis) {
        HalDevice hal(udi);
        const QDBusReply<QString> device = hal.property<QString>("block.device");
        const QDBusReply<QString> label = hal.property<QString>("volume.label");
        if (!device.error().isValid() && !label.error().isValid())
            m_volumes.append(Volume(device, label, udi));
    }
    qDebug() << "Volumes list count:" << m_volumes.count();
    return m_volumes;
}

void MediaManager::deviceAdded(const QString &udi)
{
    HalDevice hal(udi);
    const QDBusReply<bool> isDisc = hal.property<bool>("volume.is_disc");
    if (isDisc.error().isValid() || !isDisc.value())
        return;
    qDebug() << "Volume added...";

    const QDBusReply<QString> device = hal.property<QString>("block.device");
    const QDBusReply<QString> label = hal.property<QString>("volume.label");
    if (device.error().isValid() || label.error().isValid())
        return;
    qDebug() << "Volume ok:" << device.value() << label.value();
    Q_EMIT volumeAdded(device, label, udi);
    Q_EMIT volumeAdded();
}

void MediaManager::deviceRemoved(const QString &udi)
{
    qDebug() << "Volume removed:" << udi;
    Q_EMIT volumeRemoved(udi);
    Q_EMIT volumeRemoved();
}

int MediaManager::mountVolume(const QString &udi, const QString &mountPoint)
{
    if (mountPoint.isEmpty()) {
        qDebug() << "MediaManager::mountVolume(): empty mount point, aborting (returning -1)!";
        return -1;
    }
    const QDBusReply<QString> device = HalDevice(udi).property<QString>("block.device");
    if (device.error().isValid()) {
        qDebug() << "MediaManager::mountVolume(): reply is invalid, aborting (returning -2)";
        return -2;
    }
    if (!QDir(mountPoint).exists()) {
        if (!QDir().mkpath(mountPoint)) {
            qDebug() << QStringLiteral("MediaManager::mountVolume(): could not create mount path "
                                       "(%1), aborting (returning -3)")
                            .arg(mountPoint);
            return -3;
        }
        qDebug() << QStringLiteral(
                        "MediaManager::mountVolume(): mount path \"%1\" successfully created.")
                        .arg(mountPoint);
    }
    if (!run(m_mountProcess, "mount", {device, mountPoint}, mountTimeout)) {
        qDebug() << "MediaManager::mountVolume(): couldn't mount volume, returning -4!";
        return -4;
    }
    qDebug() << "MediaManager::mountVolume(): exit code:" << m_mountProcess->exitCode();
    return m_mountProcess->exitCode();
}

int MediaManager::unmountVolume(const QString &mountPoint, bool lazy)
{
    if (mountPoint.isEmpty()) {
        qDebug() << "MediaManager::unmountVolume(): empty mount point, aborting (returning -1)!";
        return -1;
    }
    QStringList arguments(mountPoint);
    if (lazy)
        arguments.prepend(QStringLiteral("-l"));
    if (!run(m_unmountProcess, "umount", arguments, unmountTimeout)) {
        qDebug() << "MediaManager::unmountVolume(): couldn't umount volume, returning -2!";
        return -2;
    }
    qDebug() << "MediaManager::unmountVolume(): exit code:" << m_unmountProcess->exitCode();
    return m_unmountProcess->exitCode();
}

bool MediaManager::ejectVolume(const QString &udi)
{
    unmountVolume(getVolumeMountPoint(udi), false);

    // Without a device the tool falls back to its default drive.
    const QDBusReply<QString> device = HalDevice(udi).property<QString>("block.device");
    const QStringList arguments = device.error().isValid() ? QStringList() : QStringList(device);
    if (!run(m_ejectProcess, "eject", arguments, ejectTimeout)) {
        qDebug() << "MediaManager::unmountVolume(): couldn't eject volume, returning false!";
        return false;
    }
    qDebug() << "MediaManager::unmountVolume(): exit code:" << m_ejectProcess->exitCode();
    return m_ejectProcess->exitCode() == 0;
}

QString MediaManager::getVolumeMountPoint(const QString &udi)
{
    const QDBusReply<QString> reply = HalDevice(udi).property<QString>("volume.mount_point");
    if (reply.error().isValid()) {
        qDebug() << "MediaManager::getVolumeMountPoint(): dbus reply is invalid. Returning empty "
                    "string!";
        qDebug() << "MediaManager::getVolumeMountPoint(): dbus reply error:" << reply.error();
        return QString();
    }
    qDebug() << "MediaManager::getVolumeMountPoint(): Returning mount point:" << reply.value();
    return reply;
}

bool MediaManager::getVolumeIsMounted(const QString &udi)
{
    const QDBusReply<bool> reply = HalDevice(udi).property<bool>("volume.is_mounted");
    if (reply.error().isValid()) {
        qDebug() << "MediaManager::getVolumeIsMounted(): dbus reply is invalid. Returning false!";
        qDebug() << "MediaManager::getVolumeIsMounted(): dbus reply error:" << reply.error();
        return false;
    }
    qDebug() << "MediaManager::getVolumeIsMounted(): Returning mount point:" << reply.value();
    return reply;
}
