// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_FAKEHAL_H
#define KESTRATEST_FAKEHAL_H

#include <QList>
#include <QString>
#include <QStringList>
#include <QThread>
#include <QVariant>
#include <QVariantMap>

#include <functional>
#include <memory>

namespace KestraTest {

class FakeHalBus;

/**
 * Stands in for the hardware daemon on the bus of DBUS_SYSTEM_BUS_ADDRESS, on a connection and in
 * a thread of its own, since the library blocks the test's thread in its calls. Every method may
 * be called while the daemon runs.
 *
 * @code
 * FakeHal hal;                                   // owns the service name already
 * hal.addDevice("/org/freedesktop/Hal/devices/modem"_s,
 *               {{"usb.vendor_id"_s, 0x1110}, {"usb.product_id"_s, 0x9041}});
 * hal.emitDeviceAdded("/org/freedesktop/Hal/devices/modem"_s);
 * hal.setBehaviour(FakeHal::Error, "GetProperty"_s, "usb.product_id"_s);
 * @endcode
 *
 * Property values go over the wire bare, with the type that they have in the QVariant: int is "i",
 * QString "s", bool "b", QStringList "as".
 */
class FakeHal
{
public:
    enum Behaviour {
        Normal,
        Error, ///< replies with an error
        Hang, ///< never replies
        WrapInVariant, ///< replies with the right value in a variant
        WrongType, ///< replies with a value of another type: an int for a string, else a string
        Vanish ///< leaves the bus without a reply; start() brings it back
    };

    /** A call of the manager or of a device. */
    struct Call
    {
        QString path;
        QString interface;
        QString member;
        QVariantList arguments;
    };

    /** @param started whether the daemon runs from the beginning */
    explicit FakeHal(bool started = true);
    ~FakeHal();
    Q_DISABLE_COPY(FakeHal)

    /** Comes to the bus; devices and behaviour are as before stop(). Returns when it is there. */
    void start();
    /** Leaves the bus. Returns when it is gone. */
    void stop();

    /** Adds a device, or replaces it in its place. FindDeviceByCapability keeps this order. */
    void addDevice(const QString &udi, const QVariantMap &properties,
                   const QStringList &capabilities = {});
    void removeDevice(const QString &udi);
    void setProperty(const QString &udi, const QString &name, const QVariant &value);

    /** Emits the signal of the manager; does not touch the list of devices. */
    void emitDeviceAdded(const QString &udi);
    void emitDeviceRemoved(const QString &udi);

    /**
     * Changes what calls are answered with, from now on; of several settings that fit a call the
     * last one counts. Introspection goes on unless @p member is "Introspect".
     *
     * @param member only this method, all if empty
     * @param argument only calls with this first argument, such as a property's name or an udi
     * @param path only calls of this object
     */
    void setBehaviour(Behaviour behaviour, const QString &member = QString(),
                      const QString &argument = QString(), const QString &path = QString());
    /** Back to Normal for everything. */
    void resetBehaviour();

    /** Has a function called in the daemon's thread before each call is answered. */
    void setCallHook(std::function<void(const Call &)> hook);

    /** The calls so far, in order, without introspection. */
    QList<Call> calls() const;
    /** The calls of one method only. */
    QList<Call> calls(const QString &member) const;
    void clearCalls();
    /** Waits until there are that many calls; false after the time. Processes no events. */
    bool waitForCalls(int count, int milliseconds = 5000) const;

private:
    QThread m_thread;
    std::unique_ptr<FakeHalBus> m_bus;
};

}

#endif
