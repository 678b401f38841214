// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "messagelog.h"
#include "testmain.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusConnection>
#include <QSignalSpy>
#include <QTimer>

using namespace KestraTest;

/** Modem detection in a process in which the library was loaded without a bus. */
class WithoutBusTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void thereIsNoBus();
    void connectingSaysTheUsual();
    void announcementIsIgnored();
    void verificationFindsNothing();
};

void WithoutBusTest::thereIsNoBus() { QVERIFY(!QDBusConnection::systemBus().isConnected()); }

void WithoutBusTest::connectingSaysTheUsual()
{
    ModemManager manager;
    MessageLog log;
    manager.connectToDBus();
    QCOMPARE(log.debugs(), QStringList("Connecting to DBus..."_s));
}

void WithoutBusTest::announcementIsIgnored()
{
    ModemManager manager;
    MessageLog log;
    manager.deviceAdded("/org/freedesktop/Hal/devices/modem"_s);
    QCOMPARE(log.debugs(), QStringList("New device: \"/org/freedesktop/Hal/devices/modem\""_s));
    QVERIFY(!manager.timer->isActive());
    QCOMPARE(manager.getUDI(), QString());
}

void WithoutBusTest::verificationFindsNothing()
{
    ModemManager manager;
    QSignalSpy found(&manager, &ModemManager::foundModem);
    MessageLog log;
    manager.verifyDevice();
    QCOMPARE(log.debugs(), QStringList("ModemManager::verifyDevice()"_s));
    QVERIFY(!manager.getIsModemFound());
    QCOMPARE(found.count(), 0);
}

KESTRA_TEST_MAIN(WithoutBusTest)

#include "withoutbustest.moc"
