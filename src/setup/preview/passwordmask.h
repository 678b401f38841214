// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_PASSWORDMASK_H
#define KESTRA_SETUP_PASSWORDMASK_H

#include "log/mask.h"

#include <QByteArray>

namespace Setup {

/** Leaves the passwords out that are in files of pppd. User names stay, as they are to be seen. */
class PasswordMask
{
public:
    /** Takes the passwords of a file, if it is one that holds some. */
    void learn(const QByteArray &path, const QByteArray &content);

    QByteArray applied(const QByteArray &bytes) const { return m_mask.applied(bytes); }
    QString applied(const QString &text) const { return m_mask.applied(text); }

private:
    Mask m_mask;
};

}

#endif
