// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "presentmodems.h"

#include "hardwareservice.h"

#include <kestra/modem/modemmanager.h>

#include <QDBusMessage>
#include <QDBusPendingCall>

namespace Setup {

PresentModems presentModems()
{
    PresentModems result;
    HardwareService service;
    QDBusPendingCall call = HardwareService::call();
    call.waitForFinished();
    const QStringList udis = service.take(call.reply());
    if (const auto problem = service.problem()) {
        result.problem = problem->cause;
        result.remedy = problem->remedy;
    }
    for (const QString &udi : udis) {
        // A modem that is found says so at once when there is no time to settle.
        ModemManager manager;
        manager.deviceAdded(udi);
        manager.verifyDevice();
        if (manager.getIsModemFound())
            result.modems.append({manager.getModemName(), manager.getDriverName(),
                                  manager.getDriverVersion(), manager.getUDI(),
                                  manager.getVendorID(), manager.getProductID()});
    }
    return result;
}

}
