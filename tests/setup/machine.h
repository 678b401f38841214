// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_SETUP_MACHINE_H
#define KESTRATEST_SETUP_MACHINE_H

#include "fakehal.h"
#include "literals.h"

#include <QByteArray>
#include <QMap>
#include <QProcess>
#include <QString>
#include <QStringList>
#include <QSysInfo>

namespace KestraTest {

/** How a run of kestra-setup ended. */
struct SetupResult
{
    int code = -1; ///< -1 when it crashed or did not end
    QByteArray output;
    QByteArray errors;

    QByteArray everything() const { return output + errors; }
};

/**
 * A machine, in the sandbox, on which a set-up succeeds: a modem to plug in, a bundle with its
 * driver, an older driver in place, kernel headers, a provider database and a password file.
 */
class Machine
{
public:
    // Inline, so that the tests' own constants may be made of them.
    static inline const QString program = QStringLiteral(KESTRA_SETUP_PROGRAM); ///< kestra-setup
    static inline const QString directory = "/tmp/machine"_s; ///< where the inputs are
    static inline const QString release = QSysInfo::kernelVersion();
    static inline const QString modules = "/lib/modules/"_s + release;
    /** Where the older driver is. */
    static inline const QString oldModule = modules + "/kernel/drivers/usb/atm/ueagle-atm.ko"_s;
    /** Where the bundle installs its own. */
    static inline const QString newModule = modules + "/extra/ueagle-atm.ko"_s;
    static inline const QByteArray source = "the driver\n"; ///< what the bundle's driver is made of
    static inline const QByteArray password = "s3cr%1t pass";

    Machine();

    /** Takes back whatever the last run has done. */
    void reset();

    /** The Makefile of the bundle; the three recipes are lines without the tabulator. */
    static QByteArray makefile(const QByteArray &all, const QByteArray &install);
    static QByteArray usualBuild();
    static QByteArray usualInstallation();

    /** Makes the bundle anew, with this Makefile. */
    void writeBundle(const QByteArray &makefile);
    void writeDatabase(const QByteArray &countries);

    /** The options of an unattended run that succeeds, in the order of --help. */
    static QMap<QString, QString> usualOptions();

    /** The same as arguments; an option with the value "-" is a flag, one without is left out. */
    static QStringList arguments(const QMap<QString, QString> &changes = {});

    /** Runs kestra-setup and plugs the modem in as soon as it waits for that. */
    SetupResult run(const QStringList &arguments, int timeout = 60000);
    SetupResult run(const QMap<QString, QString> &changes = {}) { return run(arguments(changes)); }

    /** Starts kestra-setup only. */
    static void start(QProcess &process, const QStringList &arguments);
    /** Waits until the output holds @p text; all output so far is appended to @p output. */
    static bool waitForOutput(QProcess &process, QByteArray &output, const QByteArray &text,
                              int timeout = 20000);
    static SetupResult finish(QProcess &process, const QByteArray &output = {},
                              int timeout = 60000);

    void plugIn();

    /** Has the bus start the hardware service, when it is called, by this command line. */
    static void installService(const QString &commandLine);

    /** A listing of everything that a set-up may change, with modes, link targets and checksums. */
    static QByteArray state();

    FakeHal hal;
    int product = 0x9041;
};

}

#endif
