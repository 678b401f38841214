// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include <kestra/kestra.h>

#include <QtDBus>

/** Looks for modems. Lives in a thread of its own, since each question may block for seconds. */
class ModemWatch : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void start()
    {
        m_modems.reset(new ModemManager); // here, for its timer to be of this thread
        connect(m_modems.data(), &ModemManager::foundModem, this, [this] {
            const auto ids = QString::asprintf(" (vendor %04x, product %04x)",
                                               m_modems->getVendorID(), m_modems->getProductID());
            Q_EMIT found(m_modems->getModemName() + ids, m_modems->getDriverName());
        });
        m_modems->connectToDBus(); // before the question, or what comes in between is missed

        // This has the bus start the hardware service, and tells what was plugged in before.
        QDBusInterface hal("org.freedesktop.Hal", "/org/freedesktop/Hal/Manager",
                           "org.freedesktop.Hal.Manager", QDBusConnection::systemBus());
        const QDBusReply<QStringList> reply = hal.call("FindDeviceByCapability", "usb_device");
        if (!reply.isValid())
            Q_EMIT failed(reply.error().message());
        for (const QString &device : reply.value()) {
            m_modems->deviceAdded(device);
            m_modems->verifyDevice();
            if (m_modems->getIsModemFound())
                return;
        }
    }

Q_SIGNALS:
    void found(const QString &modem, const QString &driver);
    void failed(const QString &reason);

private:
    QScopedPointer<ModemManager> m_modems;
};
