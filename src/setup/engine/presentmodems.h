// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PRESENTMODEMS_H
#define KESTRA_SETUP_PRESENTMODEMS_H

#include <QString>
#include <QVector>

namespace Setup {

/** A supported modem that is plugged in. */
struct PresentModem
{
    QString name;
    QString driver;
    QString driverVersion; ///< may be empty
    QString udi;
    int vendor = 0;
    int product = 0;
};

struct PresentModems
{
    QVector<PresentModem> modems;
    QString problem; ///< why the hardware service could not tell, if so; a sentence
    QString remedy;
};

/** Asks the hardware service, and the library of what it tells. Blocks for its answers. */
PresentModems presentModems();

}

#endif
