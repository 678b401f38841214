// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "describe.h"

#include <QRegularExpression>

namespace Hald {

namespace {

struct Ids
{
    int vendor;
    int product;

    bool operator==(const Ids &other) const
    {
        return vendor == other.vendor && product == other.product;
    }
};

std::optional<Ids> parsedIds(const QString &vendor, const QString &product)
{
    bool isVendor = false;
    bool isProduct = false;
    const Ids ids = {vendor.toInt(&isVendor, 16), product.toInt(&isProduct, 16)};
    return isVendor && isProduct ? std::optional<Ids>(ids) : std::nullopt;
}

std::optional<Ids> idsInSysfs(const UdevDevice &device)
{
    return parsedIds(device.attribute("idVendor"), device.attribute("idProduct"));
}

/** By the time an event is read, another device may have taken the place: the event counts. */
std::optional<Ids> idsInEvent(const UdevDevice &device)
{
    const QString product = device.property("PRODUCT"); // vendor/product/release
    return parsedIds(product.section(QLatin1Char('/'), 0, 0),
                     product.section(QLatin1Char('/'), 1, 1));
}

/** A text property and where it comes from, best first. */
struct Text
{
    const char *key;
    const char *attribute; ///< as the device has it
    const char *property; ///< what udev made of that
    const char *database; ///< what udev knows of such a device
};

constexpr Text vendorText = {"usb_device.vendor", "manufacturer", "ID_VENDOR_ENC",
                             "ID_VENDOR_FROM_DATABASE"};
constexpr Text productText = {"usb_device.product", "product", "ID_MODEL_ENC",
                              "ID_MODEL_FROM_DATABASE"};
constexpr Text serialText = {"usb_device.serial", "serial", "ID_SERIAL_SHORT", nullptr};

class UsbDevice
{
public:
    UsbDevice(const UdevDevice &device, const Ids &ids)
        : m_device(device), m_ids(ids), m_isInSysfs(idsInSysfs(device) == ids)
    {
    }

    Description description() const;

private:
    QString text(const Text &row) const;
    int busNumber() const;
    int portNumber() const;

    const UdevDevice &m_device;
    const Ids m_ids;
    const bool m_isInSysfs;
};

QString UsbDevice::text(const Text &row) const
{
    QString result;
    if (m_isInSysfs)
        result = m_device.attribute(row.attribute);
    else
        result = decoded(m_device.property(row.property));
    if (result.isEmpty() && row.database)
        result = m_device.property(row.database);
    return result;
}

int UsbDevice::busNumber() const
{
    const QString number = m_device.property("BUSNUM");
    return (number.isEmpty() ? m_device.attribute("busnum") : number).toInt();
}

/** Of "1-4.2" this is 2; a root hub, which is called "usb1", is at none. */
int UsbDevice::portNumber() const
{
    static const QRegularExpression port(QStringLiteral("[.-](\\d+)$"));
    return port.match(m_device.sysfsName()).captured(1).toInt();
}

Description UsbDevice::description() const
{
    Description result;
    result.capabilities = QStringList {QStringLiteral("usb_device")};
    result.properties = {
        {QStringLiteral("usb_device.vendor_id"), m_ids.vendor},
        {QStringLiteral("usb_device.product_id"), m_ids.product},
        {QStringLiteral("usb_device.bus_number"), busNumber()},
        {QStringLiteral("usb_device.port_number"), portNumber()},
    };
    for (const Text &row : {vendorText, productText, serialText}) {
        const QString value = text(row);
        if (!value.isEmpty())
            result.properties.insert(QLatin1String(row.key), value);
    }
    const QString serial =
        result.properties.value(QLatin1String(serialText.key), QStringLiteral("noserial"))
            .toString();
    result.name =
        QStringLiteral("usb_device_%1_%2_").arg(m_ids.vendor, 0, 16).arg(m_ids.product, 0, 16)
        + serial;
    // The kernel counts devices, udev dates them: one that was plugged in anew differs.
    result.appearance = result.name.section(QLatin1Char('_'), 0, 3) + QLatin1Char(' ')
        + m_device.property("DEVNUM") + QLatin1Char(' ') + m_device.property("USEC_INITIALIZED");
    return result;
}

}

std::optional<Description> describeUsbDevice(const UdevDevice &device)
{
    if (device.subsystem() != QLatin1String("usb") || device.type() != QLatin1String("usb_device"))
        return {};
    auto ids = idsInEvent(device);
    if (!ids)
        ids = idsInSysfs(device);
    return ids ? std::optional<Description>(UsbDevice(device, *ids).description()) : std::nullopt;
}

}
