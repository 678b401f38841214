// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include <kestra/kestra.h>

// Uses something of every subsystem, so that a symbol that is not exported breaks the link.
int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    setDebug(false, QString());
    QThread thread;
    PackageManager packages("none", &thread);
    ModemManager modems;
    QObject::connect(&modems, &ModemManager::foundModem, &application, &QCoreApplication::quit);
    ServiceParser services("no such file");
    FileManager files;
    const Volume volume("/dev/sr0", "label", "/udi");
    const bool works = !Kestra::SystemInfo::getKernelRelease().isEmpty()
        && !packages.getIsPackageInstalled("ppp") && !modems.getIsModemFound()
        && files.indexFiles("/dev/null") && volume.getLabel() == "label"
        && hal_iface.service() != "";
    return works ? 0 : 1;
}
