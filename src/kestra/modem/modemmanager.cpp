// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "modemmanager.h"

#include <kestra/foundation/haldevice_p.h>

#include <QDBusConnection>
#include <QDBusInterface>
#include <QDBusReply>
#include <QDebug>
#include <QTimer>

#include <utility>

using Kestra::Private::HalDevice;

namespace {

constexpr int settleTime = 5000; // ms

bool deviceExists(const QString &udi)
{
    QDBusInterface manager(
        QStringLiteral("org.freedesktop.Hal"), QStringLiteral("/org/freedesktop/Hal/Manager"),
        QStringLiteral("org.freedesktop.Hal.Manager"), QDBusConnection::systemBus());
    const QDBusReply<bool> reply = manager.call(QStringLiteral("DeviceExists"), udi);
    return !reply.error().isValid() && reply.value();
}

}

ModemManager::ModemManager() : isModemFound(false), vendorID(0), productID(0), timer(new QTimer)
{
    timer->setTimerType(Qt::PreciseTimer); // the settle time is no less than it says
    connect(timer, &QTimer::timeout, this, &ModemManager::verifyDevice);
    initModemsMap();
}

ModemManager::~ModemManager() { delete timer; }

void ModemManager::initModemsMap()
{
    const QString noVersion;
    const QString standard = QStringLiteral("default");
    const QString neo = QStringLiteral("neo");
    // clang-format off
    modems = {
        {QStringLiteral("Sagem F@st 800 E4"), QStringLiteral("ueagle-atm"), standard,
         {{0x1110, 0x9041}, {0x1110, 0x9042}}},
        {QStringLiteral("Sagem F@st 800"), QStringLiteral("ueagle-atm"), noVersion,
         {{0x1110, 0x9010}, {0x1110, 0x900F}, {0x1110, 0x9021}, {0x1110, 0x9022},
          {0x1110, 0x9023}, {0x1110, 0x9024}, {0x1110, 0x9031}, {0x1110, 0x9032}}},
        {QStringLiteral("Thomson Speedtouch 330"), QStringLiteral("speedtch"), standard,
         {{0x06B9, 0x4061}}},
        {QStringLiteral("ZTE ZXDSL 852"), QStringLiteral("unicorn"), neo,
         {{0x0483, 0x0138}}},
        {QStringLiteral("CXACRU modem"), QStringLiteral("cxacru"), neo,
         {{0x0572, 0xCAFE}, {0x0572, 0xCB00}, {0x0572, 0xCB01}, {0x0572, 0xCB02},
          {0x0572, 0xCB06}, {0x0572, 0xCB07},
          {0x08E3, 0x0100}, {0x08E3, 0x0102},
          {0x0EB0, 0x3457},
          {0x1803, 0x5510},
          {0x0675, 0x0200},
          {0x0586, 0x330A}, {0x0586, 0x330B},
          {0x0659, 0x0020},
          {0x0509, 0x0812},
          {0x100D, 0xCB01}, {0x100D, 0x3342}}},
    };
    // clang-format on
}

bool ModemManager::getIsModemFound() const { return isModemFound; }

QString ModemManager::getDriverName() const { return driverName; }

QString ModemManager::getModemName() const { return modemName; }

QString ModemManager::getUDI() const { return udi; }

QString ModemManager::getDriverVersion() const { return driverVersion; }

int ModemManager::getVendorID() const { return vendorID; }

int ModemManager::getProductID() const { return productID; }

void ModemManager::connectToDBus()
{
    qDebug() << "Connecting to DBus...";
    QDBusConnection::systemBus().connect(
        QString(), QString(), QStringLiteral("org.freedesktop.Hal.Manager"),
        QStringLiteral("DeviceAdded"), this, SLOT(deviceAdded(QString)));
}

void ModemManager::deviceAdded(const QString &udi)
{
    qDebug() << "New device:" << udi;
    const QDBusReply<int> product = HalDevice(udi).property<int>("usb_device.product_id");
    const QDBusReply<int> vendor = HalDevice(udi).property<int>("usb_device.vendor_id");
    if (product.error().isValid() || vendor.error().isValid())
        return;

    productID = product;
    vendorID = vendor;
    this->udi = udi;
    qDebug() << "p_id:" << productID << "v_id:" << vendorID;
    timer->stop();
    timer->setSingleShot(true);
    timer->start(settleTime);
}

void ModemManager::verifyDevice()
{
    qDebug() << "ModemManager::verifyDevice()";
    isModemFound = false;
    if (!deviceExists(udi))
        return;
    for (const Modem &modem : std::as_const(modems)) {
        qDebug() << "iterating through:" << modem.modemName;
        if (!modem.deviceIds.contains(vendorID, productID))
            continue;
        qDebug() << "contains";
        isModemFound = true;
        modemName = modem.modemName;
        driverName = modem.driverName;
        driverVersion = modem.driverVersion;
        Q_EMIT foundModem();
        return;
    }
}
