// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_MACHINE_H
#define KESTRATEST_MACHINE_H

#include <QByteArray>
#include <QMap>
#include <QString>

struct _UMockdevTestbed; // NOLINT(bugprone-reserved-identifier): its own name

namespace KestraTest {

using Texts = QMap<QByteArray, QByteArray>;

/** A device as sysfs and udev have it. */
struct MachineDevice
{
    QByteArray name; ///< of its directory in sysfs, of which a machine has one at a time
    QByteArray subsystem;
    Texts attributes; ///< the files in its directory
    Texts properties; ///< what comes with its events
};

/** A USB device that has nothing but its numbers. @param name such as "1-4" */
MachineDevice usbDevice(const QByteArray &name, int vendor, int product);

/** The same with a serial number. */
MachineDevice usbDevice(const QByteArray &name, int vendor, int product, const QByteArray &serial);

/** An empty optical drive. @param number its minor number, and that of "srN" */
MachineDevice drive(int number = 0);

/**
 * The devices of a pretended machine, for processes that are started while it exists. The test
 * program must run under umockdev-wrapper and in scripts/sandbox --no-network; its other children
 * see the real machine.
 */
class Machine
{
public:
    Machine();
    ~Machine();
    Q_DISABLE_COPY(Machine)

    /** Puts a device into sysfs and announces it. */
    void plug(const MachineDevice &device);

    /** Announces that a device goes, and takes it out of sysfs. */
    void unplug(const QByteArray &name);

    /** Announces what udev calls @p action; the device must be in sysfs. */
    void announce(const QByteArray &name, const QByteArray &action);

    /** Takes a device out of sysfs without a word. */
    void erase(const QByteArray &name);

    /** Changes what comes with the events of a device. */
    void setProperties(const QByteArray &name, const Texts &properties);

    /** Has udev's database tell that its work on the device is done. */
    void complete(const MachineDevice &device);

    /** Puts a disc, or another one, into a drive. @param disc properties, such as ID_FS_LABEL */
    void insertDisc(const MachineDevice &drive, const Texts &disc);
    void ejectDisc(const MachineDevice &drive);

    /** Forgets processes that listened to announcements. */
    void forgetListeners();

    static QString sysfsPath(const QByteArray &name);

private:
    QString fileOf(const QByteArray &name, const QString &file) const;

    _UMockdevTestbed *m_testbed;
    QString m_root;
};

}

#endif
