// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_BUSPROXY_H
#define KESTRA_SETUP_BUSPROXY_H

#include <QProcess>
#include <QString>

namespace Setup {

/** A way to the system message bus over which one can only ask, while the object exists. */
class BusProxy
{
public:
    BusProxy() = default;
    ~BusProxy();
    Q_DISABLE_COPY(BusProxy)

    static bool isInstalled();

    /** Returns once the socket is there; false if it does not come. */
    bool start(const QString &socket);

private:
    QProcess m_process;
    int m_lifeline = -1; ///< the proxy ends when this is closed
};

}

#endif
