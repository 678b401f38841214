// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "machine.h"

#include "files.h"
#include "literals.h"

#include <QDir>

#include <umockdev.h>

#include <vector>

namespace KestraTest {

namespace {

const QString databasePath = "/run/udev/data"_s; // the real one, of which the sandbox has its own

/** Name, value, name, value ..., as umockdev wants it. Valid as long as the texts are. */
std::vector<char *> toArray(const Texts &texts)
{
    std::vector<char *> result;
    for (auto i = texts.begin(); i != texts.end(); ++i) {
        result.push_back(const_cast<char *>(i.key().constData()));
        result.push_back(const_cast<char *>(i.value().constData()));
    }
    result.push_back(nullptr);
    return result;
}

/**
 * umockdev gives up when an event finds no room, and there is room for ten. This is of the network
 * of the sandbox, so that it must have one of its own.
 */
void allowQueuedEvents()
{
    if (readFile("/proc/net/dev"_s).count(':') > 1) // more than the loopback
        qFatal("run this test in scripts/sandbox --bus --no-network");
    writeFile("/proc/sys/net/unix/max_dgram_qlen"_s, "1000000");
}

QByteArray hex(int number, int width)
{
    return QByteArray::number(number, 16).rightJustified(width, '0');
}

}

MachineDevice usbDevice(const QByteArray &name, int vendor, int product)
{
    return {name,
            "usb",
            {{"idVendor", hex(vendor, 4)}, {"idProduct", hex(product, 4)}},
            {{"DEVTYPE", "usb_device"},
             {"PRODUCT", hex(vendor, 0) + '/' + hex(product, 0) + "/100"},
             {"BUSNUM", "001"},
             {"DEVNUM", "002"},
             {"USEC_INITIALIZED", "1000000"}}};
}

MachineDevice usbDevice(const QByteArray &name, int vendor, int product, const QByteArray &serial)
{
    MachineDevice device = usbDevice(name, vendor, product);
    device.attributes.insert("serial", serial);
    return device;
}

MachineDevice drive(int number)
{
    const QByteArray minor = QByteArray::number(number);
    return {"sr" + minor,
            "block",
            {},
            {{"DEVTYPE", "disk"},
             {"DEVNAME", "/dev/sr" + minor},
             {"MAJOR", "11"},
             {"MINOR", minor},
             {"ID_CDROM", "1"}}};
}

Machine::Machine() : m_testbed(umockdev_testbed_new())
{
    if (!umockdev_in_mock_environment())
        qFatal("run this test under umockdev-wrapper");
    allowQueuedEvents();
    // Only what is started for this machine is to live in it.
    qunsetenv("LD_PRELOAD");
    char *const root = umockdev_testbed_get_root_dir(m_testbed);
    m_root = QString::fromLocal8Bit(root);
    g_free(root);
}

Machine::~Machine()
{
    remove(databasePath);
    g_object_unref(m_testbed);
}

QString Machine::sysfsPath(const QByteArray &name)
{
    return "/sys/devices/"_s + QString::fromLatin1(name);
}

QString Machine::fileOf(const QByteArray &name, const QString &file) const
{
    return m_root + sysfsPath(name) + QLatin1Char('/') + file;
}

void Machine::plug(const MachineDevice &device)
{
    std::vector<char *> attributes = toArray(device.attributes);
    std::vector<char *> properties = toArray(device.properties);
    g_free(umockdev_testbed_add_devicev(m_testbed, device.subsystem.constData(),
                                        device.name.constData(), nullptr, attributes.data(),
                                        properties.data()));
}

void Machine::unplug(const QByteArray &name)
{
    announce(name, "remove");
    erase(name);
}

void Machine::announce(const QByteArray &name, const QByteArray &action)
{
    umockdev_testbed_uevent(m_testbed, sysfsPath(name).toLatin1().constData(), action.constData());
}

void Machine::erase(const QByteArray &name)
{
    umockdev_testbed_remove_device(m_testbed, sysfsPath(name).toLatin1().constData());
    remove(m_root + "/sys/block/"_s + QString::fromLatin1(name)); // which it forgets
}

void Machine::setProperties(const QByteArray &name, const Texts &properties)
{
    QByteArray content;
    for (auto i = properties.begin(); i != properties.end(); ++i) {
        QByteArray value = i.value();
        if (i.key() == "DEVNAME" && value.startsWith("/dev/"))
            value = value.mid(5); // as the kernel has it
        content += i.key() + '=' + value + '\n';
    }
    writeFile(fileOf(name, "uevent"_s), content);
}

void Machine::complete(const MachineDevice &device)
{
    const QByteArray id = device.properties.contains("MAJOR")
        ? (device.subsystem == "block" ? "b" : "c") + device.properties.value("MAJOR") + ':'
            + device.properties.value("MINOR")
        : '+' + device.subsystem + ':' + device.name;
    writeFile(databasePath + QLatin1Char('/') + QString::fromLatin1(id),
              "I:" + device.properties.value("USEC_INITIALIZED") + '\n');
}

void Machine::insertDisc(const MachineDevice &drive, const Texts &disc)
{
    Texts properties = drive.properties;
    properties.insert("ID_CDROM_MEDIA", "1");
    for (auto i = disc.begin(); i != disc.end(); ++i)
        properties.insert(i.key(), i.value());
    setProperties(drive.name, properties);
    announce(drive.name, "change");
}

void Machine::ejectDisc(const MachineDevice &drive)
{
    setProperties(drive.name, drive.properties);
    announce(drive.name, "change");
}

void Machine::forgetListeners()
{
    const QStringList names = QDir(m_root).entryList({"event*"_s}, QDir::System);
    for (const QString &name : names)
        remove(m_root + QLatin1Char('/') + name);
}

}
