// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_ENVIRONMENT_H
#define KESTRATEST_ENVIRONMENT_H

#include <QByteArray>
#include <QByteArrayList>
#include <QtGlobal>

#include <algorithm>

#include <unistd.h>

namespace KestraTest {

/**
 * Returns whether valgrind runs this process. A child in which the program cannot be started ends
 * with valgrind's exit code then.
 */
inline bool underMemcheck() { return qgetenv("LD_PRELOAD").contains("vgpreload"); }

/** Returns the entries in order, without the one that checking tools hide from children. */
inline QByteArrayList comparable(QByteArrayList environment)
{
    const auto isHidden = [](const QByteArray &entry) { return entry.startsWith("LD_PRELOAD="); };
    environment.erase(std::remove_if(environment.begin(), environment.end(), isHidden),
                      environment.end());
    std::sort(environment.begin(), environment.end());
    return environment;
}

/** Returns the comparable environment of this process. */
inline QByteArrayList ownEnvironment()
{
    QByteArrayList result;
    for (char **entry = environ; *entry; ++entry)
        result.append(*entry);
    return comparable(result);
}

}

#endif
