// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include <QCoreApplication>
#include <QDBusConnection>
#include <QDBusMessage>
#include <QElapsedTimer>
#include <QTimer>

#include <cstdlib>

/** signalloop RATE: sends so many signals a second, and does nothing else, until it is ended. */
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    const qint64 rate = argc > 1 ? atoi(argv[1]) : 1;
    QDBusConnection bus = QDBusConnection::systemBus();
    if (!bus.registerService(QStringLiteral("org.kestra.Benchmark")))
        return EXIT_FAILURE;

    const QString members[] = {QStringLiteral("DeviceAdded"), QStringLiteral("DeviceRemoved")};
    qint64 sent = 0;
    QElapsedTimer clock;
    clock.start();
    QTimer timer;
    QObject::connect(&timer, &QTimer::timeout, [&] {
        for (; sent < clock.elapsed() * rate / 1000; ++sent) {
            QDBusMessage signal = QDBusMessage::createSignal(
                QStringLiteral("/org/freedesktop/Hal/Manager"),
                QStringLiteral("org.freedesktop.Hal.Manager"), members[sent % 2]);
            bus.send(
                signal << QStringLiteral("/org/freedesktop/Hal/devices/usb_device_1110_9041_1_1"));
        }
    });
    timer.setTimerType(Qt::PreciseTimer);
    timer.start(1);
    return QCoreApplication::exec();
}
