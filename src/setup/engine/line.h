// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LINE_H
#define KESTRA_SETUP_LINE_H

#include <QString>
#include <QStringList>

namespace Setup {

/** The parameters of the line, from the provider database. */
struct Line
{
    QString country;
    QString service;
    int vpi = 0;
    int vci = 0;
    QString protocol; ///< pppoe or pppoa
    QString encapsulation; ///< llc or vc
    QStringList nameServers;
};

}

#endif
