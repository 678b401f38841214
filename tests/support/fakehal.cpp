// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fakehal.h"

#include <QDBusConnection>
#include <QDBusMessage>
#include <QDBusVariant>
#include <QDBusVirtualObject>
#include <QElapsedTimer>
#include <QMutex>
#include <QMutexLocker>

#include <algorithm>

namespace KestraTest {

namespace {

const QString serviceName = QStringLiteral("org.freedesktop.Hal");
const QString managerPath = QStringLiteral("/org/freedesktop/Hal/Manager");
const QString managerInterface = QStringLiteral("org.freedesktop.Hal.Manager");
const QString deviceInterface = QStringLiteral("org.freedesktop.Hal.Device");
const QString introspectableInterface = QStringLiteral("org.freedesktop.DBus.Introspectable");

const QString managerDescription = QStringLiteral(R"(
  <interface name="org.freedesktop.Hal.Manager">
    <method name="FindDeviceByCapability">
      <arg name="capability" direction="in" type="s"/><arg direction="out" type="as"/>
    </method>
    <method name="DeviceExists">
      <arg name="udi" direction="in" type="s"/><arg direction="out" type="b"/>
    </method>
    <signal name="DeviceAdded"><arg name="udi" type="s"/></signal>
    <signal name="DeviceRemoved"><arg name="udi" type="s"/></signal>
  </interface>)");

const QString deviceDescription = QStringLiteral(R"(
  <interface name="org.freedesktop.Hal.Device">
    <method name="GetProperty">
      <arg name="key" direction="in" type="s"/><arg direction="out" type="v"/>
    </method>
  </interface>)");

struct Device
{
    QString udi;
    QVariantMap properties;
    QStringList capabilities;
};

struct Rule
{
    FakeHal::Behaviour behaviour;
    QString member;
    QString argument;
    QString path;

    bool fits(const FakeHal::Call &call) const
    {
        const auto matches = [](const QString &wanted, const QString &actual) {
            return wanted.isEmpty() || wanted == actual;
        };
        return matches(member, call.member) && matches(path, call.path)
            && matches(argument, call.arguments.value(0).toString());
    }
};

}

/** The daemon's side of the bus; lives in the daemon's thread, its members are under the lock. */
class FakeHalBus : public QDBusVirtualObject
{
public:
    QString introspect(const QString &path) const override
    {
        return path == managerPath ? managerDescription : deviceDescription;
    }

    bool handleMessage(const QDBusMessage &message, const QDBusConnection &connection) override
    {
        const FakeHal::Call call = {message.path(), message.interface(), message.member(),
                                    message.arguments()};
        if (call.interface == introspectableInterface)
            return !introspectionWorks(call);

        std::function<void(const FakeHal::Call &)> currentHook;
        {
            const QMutexLocker locker(&mutex);
            calls.append(call);
            currentHook = hook;
        }
        if (currentHook)
            currentHook(call);
        answer(call, message, connection);
        return true;
    }

    void comeToBus()
    {
        static int count = 0;
        m_connectionName = QStringLiteral("fakehal-%1").arg(++count);
        QDBusConnection connection = QDBusConnection::connectToBus(
            QString::fromLocal8Bit(qgetenv("DBUS_SYSTEM_BUS_ADDRESS")), m_connectionName);
        if (!connection.isConnected()
            || !connection.registerVirtualObject(QStringLiteral("/"), this,
                                                 QDBusConnection::SubPath)
            || !connection.registerService(serviceName))
            qFatal("the hardware daemon's stand-in cannot come to the bus");
    }

    void leaveBus()
    {
        if (m_connectionName.isEmpty())
            return;
        QDBusConnection connection(m_connectionName);
        connection.unregisterService(serviceName);
        // The thread of the bus closes the connection some time later, when we may be gone.
        connection.unregisterObject(QStringLiteral("/"), QDBusConnection::UnregisterTree);
        QDBusConnection::disconnectFromBus(m_connectionName);
        m_connectionName.clear();
    }

    void emitManagerSignal(const QString &name, const QString &udi)
    {
        QDBusMessage signal = QDBusMessage::createSignal(managerPath, managerInterface, name);
        signal << udi;
        QDBusConnection(m_connectionName).send(signal);
    }

    mutable QMutex mutex;
    QList<Device> devices;
    QList<Rule> rules;
    QList<FakeHal::Call> calls;
    std::function<void(const FakeHal::Call &)> hook;

private:
    bool introspectionWorks(const FakeHal::Call &call) const
    {
        const QMutexLocker locker(&mutex);
        return std::none_of(rules.begin(), rules.end(), [&call](const Rule &rule) {
            return rule.behaviour != FakeHal::Normal && rule.member == QLatin1String("Introspect")
                && rule.fits(call);
        });
    }

    FakeHal::Behaviour behaviourFor(const FakeHal::Call &call) const
    {
        const QMutexLocker locker(&mutex);
        const auto rule = std::find_if(rules.rbegin(), rules.rend(),
                                       [&call](const Rule &rule) { return rule.fits(call); });
        return rule == rules.rend() ? FakeHal::Normal : rule->behaviour;
    }

    void answer(const FakeHal::Call &call, const QDBusMessage &message, QDBusConnection connection)
    {
        QString error;
        QVariant value = resultOf(call, &error);
        switch (behaviourFor(call)) {
        case FakeHal::Normal:
            break;
        case FakeHal::Error:
            error = QStringLiteral("org.freedesktop.Hal.PermissionDenied");
            break;
        case FakeHal::Hang:
            message.setDelayedReply(true);
            return;
        case FakeHal::WrapInVariant:
            value = QVariant::fromValue(QDBusVariant(value));
            break;
        case FakeHal::WrongType:
            value = value.userType() == QMetaType::QString ? QVariant(42)
                                                           : QVariant(QStringLiteral("wrong"));
            break;
        case FakeHal::Vanish:
            message.setDelayedReply(true);
            leaveBus();
            return;
        }
        connection.send(error.isEmpty()
                            ? message.createReply(value)
                            : message.createErrorReply(error, QStringLiteral("on purpose")));
    }

    QVariant resultOf(const FakeHal::Call &call, QString *error) const
    {
        const QMutexLocker locker(&mutex);
        const QString argument = call.arguments.value(0).toString();
        if (call.path == managerPath && call.member == QLatin1String("FindDeviceByCapability"))
            return udisWith(argument);
        if (call.path == managerPath && call.member == QLatin1String("DeviceExists"))
            return find(argument) != devices.end();
        if (call.member != QLatin1String("GetProperty")) {
            *error = QStringLiteral("org.freedesktop.DBus.Error.UnknownMethod");
            return QVariant();
        }
        const auto device = find(call.path);
        if (device == devices.end()) {
            *error = QStringLiteral("org.freedesktop.Hal.NoSuchDevice");
            return QVariant();
        }
        if (!device->properties.contains(argument))
            *error = QStringLiteral("org.freedesktop.Hal.NoSuchProperty");
        return device->properties.value(argument);
    }

    QList<Device>::const_iterator find(const QString &udi) const
    {
        return std::find_if(devices.begin(), devices.end(),
                            [&udi](const Device &device) { return device.udi == udi; });
    }

    QStringList udisWith(const QString &capability) const
    {
        QStringList result;
        for (const Device &device : devices) {
            if (device.capabilities.contains(capability))
                result.append(device.udi);
        }
        return result;
    }

    QString m_connectionName;
};

FakeHal::FakeHal(bool started) : m_bus(new FakeHalBus)
{
    m_bus->moveToThread(&m_thread);
    m_thread.start();
    if (started)
        start();
}

FakeHal::~FakeHal()
{
    stop();
    m_thread.quit();
    m_thread.wait();
}

void FakeHal::start()
{
    QMetaObject::invokeMethod(
        m_bus.get(), [this] { m_bus->comeToBus(); }, Qt::BlockingQueuedConnection);
}

void FakeHal::stop()
{
    QMetaObject::invokeMethod(
        m_bus.get(), [this] { m_bus->leaveBus(); }, Qt::BlockingQueuedConnection);
}

void FakeHal::addDevice(const QString &udi, const QVariantMap &properties,
                        const QStringList &capabilities)
{
    const QMutexLocker locker(&m_bus->mutex);
    const Device device = {udi, properties, capabilities};
    for (Device &known : m_bus->devices) {
        if (known.udi == udi) {
            known = device;
            return;
        }
    }
    m_bus->devices.append(device);
}

void FakeHal::removeDevice(const QString &udi)
{
    const QMutexLocker locker(&m_bus->mutex);
    QList<Device> &devices = m_bus->devices;
    devices.erase(std::remove_if(devices.begin(), devices.end(),
                                 [&udi](const Device &device) { return device.udi == udi; }),
                  devices.end());
}

void FakeHal::setProperty(const QString &udi, const QString &name, const QVariant &value)
{
    const QMutexLocker locker(&m_bus->mutex);
    for (Device &device : m_bus->devices) {
        if (device.udi == udi)
            device.properties.insert(name, value);
    }
}

void FakeHal::emitDeviceAdded(const QString &udi)
{
    QMetaObject::invokeMethod(
        m_bus.get(), [this, udi] { m_bus->emitManagerSignal(QStringLiteral("DeviceAdded"), udi); },
        Qt::BlockingQueuedConnection);
}

void FakeHal::emitDeviceRemoved(const QString &udi)
{
    QMetaObject::invokeMethod(
        m_bus.get(),
        [this, udi] { m_bus->emitManagerSignal(QStringLiteral("DeviceRemoved"), udi); },
        Qt::BlockingQueuedConnection);
}

void FakeHal::setBehaviour(Behaviour behaviour, const QString &member, const QString &argument,
                           const QString &path)
{
    const QMutexLocker locker(&m_bus->mutex);
    m_bus->rules.append({behaviour, member, argument, path});
}

void FakeHal::resetBehaviour()
{
    const QMutexLocker locker(&m_bus->mutex);
    m_bus->rules.clear();
}

void FakeHal::setCallHook(std::function<void(const Call &)> hook)
{
    const QMutexLocker locker(&m_bus->mutex);
    m_bus->hook = std::move(hook);
}

QList<FakeHal::Call> FakeHal::calls() const
{
    const QMutexLocker locker(&m_bus->mutex);
    return m_bus->calls;
}

QList<FakeHal::Call> FakeHal::calls(const QString &member) const
{
    QList<Call> result;
    for (const Call &call : calls()) {
        if (call.member == member)
            result.append(call);
    }
    return result;
}

void FakeHal::clearCalls()
{
    const QMutexLocker locker(&m_bus->mutex);
    m_bus->calls.clear();
}

bool FakeHal::waitForCalls(int count, int milliseconds) const
{
    QElapsedTimer timer;
    timer.start();
    while (calls().size() < count) {
        if (timer.hasExpired(milliseconds))
            return false;
        QThread::msleep(10);
    }
    return true;
}

}
