// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

// Prints what a program sees that has just loaded the library: for tests of a bus that is not
// there, or of a hardware daemon that is older than the program.

#include <kestra/media/haliface.h>
#include <kestra/media/mediamanager.h>

#include <QCoreApplication>

#include <cstdio>

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    qInstallMessageHandler([](QtMsgType, const QMessageLogContext &, const QString &text) {
        printf("message: %s\n", qPrintable(text));
    });
    printf("interface valid: %d\n", hal_iface.isValid());
    MediaManager manager(nullptr);
    printf("count: %d\n", manager.getVolumesCount());
    const QList<Volume> volumes = manager.getVolumesList();
    for (const Volume &volume : volumes)
        printf("volume: %s %s\n", qPrintable(volume.getDevice()), qPrintable(volume.getUdi()));
    const QString disc = QStringLiteral("/org/freedesktop/Hal/devices/disc");
    printf("mount: %d\n", manager.mountVolume(disc, QStringLiteral("/mnt")));
    return 0;
}
