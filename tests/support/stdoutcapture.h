// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_STDOUTCAPTURE_H
#define KESTRATEST_STDOUTCAPTURE_H

#include <QByteArray>

#include <cstdio>

namespace KestraTest {

/**
 * Diverts standard output, also that of children, while it exists; or standard error, if told so.
 * Take the bytes before a check that may fail, or in a scope of its own: Qt Test reports failures
 * on standard output, too.
 */
class StdoutCapture
{
public:
    explicit StdoutCapture(FILE *stream = stdout);
    ~StdoutCapture();
    Q_DISABLE_COPY(StdoutCapture)

    /** Returns what was written since the beginning or since the last call. */
    QByteArray take();

private:
    FILE *m_stream;
    int m_originalFd;
    int m_fileFd;
};

}

#endif
