// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_STAGE_H
#define KESTRATEST_STAGE_H

#include "busclient.h"
#include "haldprocess.h"
#include "machine.h"

namespace KestraTest {

/** A machine, the service on it, somebody who calls it and somebody who listens to it. */
class Stage
{
public:
    explicit Stage(Witness::Doubt doubt = Witness::Looks) : witness(doubt) { }

    /** Waits until the service has handled all that has happened to the machine. */
    bool settle();

    /** The announcements up to now, which are forgotten then. */
    QStringList takeEvents();

    /** @p events that a witness has heard, without those of settle(). */
    static QStringList withoutSettling(const QStringList &events);

    Machine machine;
    HaldProcess daemon;
    BusClient client;
    Witness witness;

private:
    int m_settleCount = 0;
};

}

#endif
