// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "fakehal.h"
#include "testmain.h"

#include <kestra/modem/modemmanager.h>

#include <QElapsedTimer>
#include <QThread>
#include <QTimer>

#include <functional>
#include <memory>

using namespace KestraTest;

namespace {

/** What Qt gives a call, in ms; it keeps the time with a timer that is off by a twentieth at most.
 */
constexpr qint64 coarse25Seconds = 23700;

const QString vendorHangs = "/org/freedesktop/Hal/devices/vendor"_s;
const QString productHangs = "/org/freedesktop/Hal/devices/product"_s;
const QString existenceHangs = "/org/freedesktop/Hal/devices/existence"_s;

/** What a modem manager has come to in a thread of its own. */
struct Outcome
{
    qint64 elapsed = 0;
    bool timerRuns = false;
    QString udi;
    bool found = false;
};

std::unique_ptr<QThread> inThread(const std::function<void()> &function)
{
    std::unique_ptr<QThread> thread(QThread::create(function));
    thread->start();
    return thread;
}

Outcome announce(const QString &udi, bool verify)
{
    Outcome outcome;
    QElapsedTimer timer;
    timer.start();
    ModemManager manager;
    QObject::connect(&manager, &ModemManager::foundModem, [&outcome] { outcome.found = true; });
    manager.deviceAdded(udi);
    if (verify)
        manager.verifyDevice();
    outcome.elapsed = timer.elapsed();
    outcome.timerRuns = manager.timer->isActive();
    outcome.udi = manager.getUDI();
    return outcome;
}

}

/** A hardware daemon that does not answer; the calls wait side by side. */
class ModemManagerTimeoutTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void hangingVendorIsAFailedCall();
    void hangingProductIsAFailedCall();
    void hangingExistenceCheckIsAFailedCall();

private:
    Outcome vendor, product, existence;
};

void ModemManagerTimeoutTest::initTestCase()
{
    FakeHal hal;
    for (const QString &udi : {vendorHangs, productHangs, existenceHangs})
        hal.addDevice(udi,
                      {{"usb_device.vendor_id"_s, 0x1110}, {"usb_device.product_id"_s, 0x9041}});
    hal.setBehaviour(FakeHal::Hang, "GetProperty"_s, "usb_device.vendor_id"_s, vendorHangs);
    hal.setBehaviour(FakeHal::Hang, "GetProperty"_s, "usb_device.product_id"_s, productHangs);
    hal.setBehaviour(FakeHal::Hang, "DeviceExists"_s, existenceHangs);

    const std::unique_ptr<QThread> threads[] = {
        inThread([this] { vendor = announce(vendorHangs, false); }),
        inThread([this] { product = announce(productHangs, false); }),
        inThread([this] { existence = announce(existenceHangs, true); }),
    };
    for (const std::unique_ptr<QThread> &thread : threads)
        QVERIFY(thread->wait(60000));
}

void ModemManagerTimeoutTest::hangingVendorIsAFailedCall()
{
    QVERIFY2(vendor.elapsed >= coarse25Seconds, QByteArray::number(vendor.elapsed).constData());
    QVERIFY(!vendor.timerRuns);
    QCOMPARE(vendor.udi, QString());
}

void ModemManagerTimeoutTest::hangingProductIsAFailedCall()
{
    QVERIFY2(product.elapsed >= coarse25Seconds, QByteArray::number(product.elapsed).constData());
    QVERIFY(!product.timerRuns);
    QCOMPARE(product.udi, QString());
}

void ModemManagerTimeoutTest::hangingExistenceCheckIsAFailedCall()
{
    QVERIFY2(existence.elapsed >= coarse25Seconds,
             QByteArray::number(existence.elapsed).constData());
    QVERIFY(existence.timerRuns);
    QCOMPARE(existence.udi, existenceHangs);
    QVERIFY(!existence.found);
}

KESTRA_TEST_MAIN(ModemManagerTimeoutTest)

#include "modemmanagertimeouttest.moc"
