// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stage.h"

#include "literals.h"

namespace KestraTest {

namespace {

// Events are handled in their order: when this device has been announced, all others have been.
const QByteArray place = "9-9.9.9";
const QString name = "usb_device_fefe_fefe_"_s; // and a number, so that no two are confused

}

bool Stage::settle()
{
    const QByteArray serial = QByteArray::number(++m_settleCount);
    const QString full = name + QString::fromLatin1(serial);
    machine.plug(usbDevice(place, 0xfefe, 0xfefe, serial));
    const bool hasCome = waitUntil([&] { return witness.events().contains("+"_s + full); });
    machine.unplug(place);
    return hasCome && waitUntil([&] { return witness.events().contains("-"_s + full); });
}

QStringList Stage::takeEvents()
{
    if (!settle())
        return {"the service does not announce anything any more"_s};
    return withoutSettling(witness.takeEvents());
}

QStringList Stage::withoutSettling(const QStringList &events)
{
    QStringList result;
    for (const QString &event : events) {
        if (!event.mid(1).startsWith(name))
            result.append(event);
    }
    return result;
}

}
