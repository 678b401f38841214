// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MODEM_MODEMMANAGER_H
#define KESTRA_MODEM_MODEMMANAGER_H

#include <kestra/foundation/export.h>

#include <QList>
#include <QMultiMap>
#include <QObject>
#include <QString>

class QTimer;

/**
 * Recognises a supported USB ADSL modem when it is plugged in.
 *
 * Modems that were plugged in before connectToDBus() are not seen. The thread that owns the object
 * must run an event loop. Messages go to the Qt debug stream.
 *
 * @code
 * ModemManager manager;
 * QObject::connect(&manager, &ModemManager::foundModem, [&] {
 *     qInfo() << manager.getModemName() << "needs" << manager.getDriverName();
 * });
 * manager.connectToDBus();
 * @endcode
 */
class KESTRA_EXPORT ModemManager : public QObject
{
    Q_OBJECT

public:
    /** One row of the table of supported modems. */
    struct Modem
    {
        QString modemName; ///< name for people
        QString driverName; ///< kernel driver that serves it
        QString driverVersion; ///< tag of the driver version, may be empty
        QMultiMap<int, int> deviceIds; ///< USB vendor IDs and the product IDs under each
    };

    ModemManager();
    ~ModemManager() override;

    /** Returns whether the last verification ended with a supported modem. */
    bool getIsModemFound() const;
    /** Returns the driver of the modem last found; stays when another device is verified. */
    QString getDriverName() const;
    /** Returns the name of the modem last found; stays when another device is verified. */
    QString getModemName() const;
    /** Returns the identifier of the USB device last announced. */
    QString getUDI() const;
    /** Returns the driver version of the modem last found; may be empty. */
    QString getDriverVersion() const;
    /** Returns the USB vendor ID of the USB device last announced, 0 before. */
    int getVendorID() const;
    /** Returns the USB product ID of the USB device last announced, 0 before. */
    int getProductID() const;

Q_SIGNALS:
    /** For status texts; never emitted. */
    void message(QString);
    /** A supported modem has been verified and the getters describe it. */
    void foundModem();

public Q_SLOTS:
    /** Subscribes to the hardware daemon's announcements. A failure is not reported. */
    void connectToDBus();

    /**
     * Takes the announcement of the device @p udi.
     *
     * A USB device restarts the settle time of 5000 ms, after which verifyDevice() is called; any
     * other device is ignored. Blocks for up to four D-Bus time-outs, two for each question.
     */
    void deviceAdded(const QString &udi);

    /**
     * Looks the device last announced up in the table, if it is still there, and emits foundModem()
     * when it is a supported modem. Blocks for up to two D-Bus time-outs.
     */
    void verifyDevice();

private:
    void initModemsMap();

    bool isModemFound;
    int vendorID;
    int productID;
    QList<Modem> modems;
    QString driverName;
    QString driverVersion;
    QString modemName;
    QTimer *timer;
    QString udi;
};

#endif
