// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "busclient.h"

#include "literals.h"

#include <QAtomicInt>
#include <QDBusConnectionInterface>
#include <QElapsedTimer>
#include <QtTest>

#include <utility>

namespace KestraTest {

namespace {

constexpr char devicesPath[] = "/org/freedesktop/Hal/devices/";

constexpr int callTime = 20000; // ms; much for a checking tool

QString newName()
{
    static QAtomicInt count;
    return "client %1"_s.arg(count.fetchAndAddOrdered(1));
}

QDBusConnection connectTo(const QString &address, const QString &name)
{
    return QDBusConnection::connectToBus(
        address.isEmpty() ? QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")) : address,
        name);
}

QString nameOf(const QString &udi)
{
    const QLatin1String path(devicesPath);
    return udi.startsWith(path) ? udi.mid(path.size()) : udi;
}

}

bool waitUntil(const std::function<bool()> &isSo, int timeout)
{
    QElapsedTimer timer;
    timer.start();
    while (!isSo()) {
        if (timer.elapsed() > timeout)
            return false;
        QTest::qWait(2);
    }
    return true;
}

QString udiOf(const QString &name) { return QLatin1String(devicesPath) + name; }

BusClient::BusClient(const QString &address)
    : m_name(newName()), m_connection(connectTo(address, m_name))
{
}

BusClient::~BusClient() { QDBusConnection::disconnectFromBus(m_name); }

QDBusMessage BusClient::call(const QString &path, const QString &interface, const QString &member,
                             const QVariantList &arguments) const
{
    QDBusMessage message =
        QDBusMessage::createMethodCall(QLatin1String(halService), path, interface, member);
    message.setAutoStartService(false);
    message.setArguments(arguments);
    return m_connection.call(message, QDBus::Block, callTime);
}

QDBusMessage BusClient::callManager(const QString &member, const QVariantList &arguments) const
{
    return call(QLatin1String(managerPath), QLatin1String(managerInterface), member, arguments);
}

QDBusMessage BusClient::callDevice(const QString &udi, const QString &member,
                                   const QVariantList &arguments) const
{
    return call(udi, QLatin1String(deviceInterface), member, arguments);
}

QVariant BusClient::property(const QString &udi, const QString &key) const
{
    const QDBusMessage reply = callDevice(udi, "GetProperty"_s, {key});
    return reply.type() == QDBusMessage::ReplyMessage ? reply.arguments().value(0) : QVariant();
}

QStringList BusClient::devices() const
{
    QStringList udis = callManager("GetAllDevices"_s).arguments().value(0).toStringList();
    for (QString &udi : udis)
        udi = nameOf(udi);
    return udis;
}

qint64 BusClient::ownerProcess() const
{
    const QDBusReply<uint> reply = m_connection.interface()->servicePid(QLatin1String(halService));
    return reply.isValid() ? reply.value() : 0;
}

Witness::Witness(Doubt doubt, const QString &address)
    : m_doubt(doubt), m_ear(address), m_eye(address)
{
    moveToThread(&m_thread);
    m_thread.start();
    QDBusConnection bus = m_ear.connection();
    bus.connect(QString(), QLatin1String(managerPath), QLatin1String(managerInterface),
                "DeviceAdded"_s, this, SLOT(added(QString)));
    bus.connect(QString(), QLatin1String(managerPath), QLatin1String(managerInterface),
                "DeviceRemoved"_s, this, SLOT(removed(QString)));
    bus.interface()->isServiceRegistered("org.freedesktop.DBus"_s); // the bus knows of it by then
}

Witness::~Witness()
{
    m_thread.quit();
    m_thread.wait();
}

QStringList Witness::events() const
{
    const QMutexLocker lock(&m_mutex);
    return m_events;
}

QStringList Witness::takeEvents()
{
    const QMutexLocker lock(&m_mutex);
    return std::exchange(m_events, {});
}

int Witness::count() const
{
    const QMutexLocker lock(&m_mutex);
    return int(m_events.size());
}

QStringList Witness::lies() const
{
    const QMutexLocker lock(&m_mutex);
    return m_lies;
}

QStringList Witness::takeLies()
{
    const QMutexLocker lock(&m_mutex);
    return std::exchange(m_lies, {});
}

void Witness::added(const QString &udi) { note("+"_s, udi, m_doubt == Believes || isThere(udi)); }

void Witness::removed(const QString &udi) { note("-"_s, udi, m_doubt == Believes || isGone(udi)); }

void Witness::note(const QString &sign, const QString &udi, bool isTrue)
{
    const QMutexLocker lock(&m_mutex);
    const QString event = sign + nameOf(udi);
    m_events.append(event);
    if (!isTrue)
        m_lies.append(event);
}

bool Witness::isThere(const QString &udi) const
{
    return m_eye.callManager("DeviceExists"_s, {udi}).arguments().value(0) == QVariant(true)
        && m_eye.property(udi, "info.udi"_s) == QVariant(udi);
}

bool Witness::isGone(const QString &udi) const
{
    return m_eye.callManager("DeviceExists"_s, {udi}).arguments().value(0) == QVariant(false)
        && m_eye.callDevice(udi, "GetProperty"_s, {"info.udi"_s}).errorName()
        == "org.freedesktop.Hal.NoSuchDevice"_s;
}

}
