// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stdoutcapture.h"

#include <cstdio>

#include <sys/mman.h>
#include <unistd.h>

namespace KestraTest {

StdoutCapture::StdoutCapture()
{
    fflush(stdout);
    m_originalFd = dup(STDOUT_FILENO);
    m_fileFd = memfd_create("standard output", MFD_CLOEXEC);
    if (m_originalFd < 0 || m_fileFd < 0 || dup2(m_fileFd, STDOUT_FILENO) < 0)
        qFatal("cannot divert standard output");
}

StdoutCapture::~StdoutCapture()
{
    fflush(stdout);
    dup2(m_originalFd, STDOUT_FILENO);
    close(m_originalFd);
    close(m_fileFd);
}

QByteArray StdoutCapture::take()
{
    fflush(stdout);
    QByteArray result(static_cast<int>(lseek(m_fileFd, 0, SEEK_END)), Qt::Uninitialized);
    if (pread(m_fileFd, result.data(), static_cast<size_t>(result.size()), 0) != result.size()
        || ftruncate(m_fileFd, 0) != 0)
        qFatal("cannot read standard output back");
    lseek(m_fileFd, 0, SEEK_SET);
    return result;
}

}
