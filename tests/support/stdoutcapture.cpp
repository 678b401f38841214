// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "stdoutcapture.h"

#include <sys/mman.h>
#include <unistd.h>

namespace KestraTest {

StdoutCapture::StdoutCapture(FILE *stream) : m_stream(stream)
{
    fflush(m_stream);
    m_originalFd = dup(fileno(m_stream));
    m_fileFd = memfd_create("captured stream", MFD_CLOEXEC);
    if (m_originalFd < 0 || m_fileFd < 0 || dup2(m_fileFd, fileno(m_stream)) < 0)
        qFatal("cannot divert captured stream");
}

StdoutCapture::~StdoutCapture()
{
    fflush(m_stream);
    dup2(m_originalFd, fileno(m_stream));
    close(m_originalFd);
    close(m_fileFd);
}

QByteArray StdoutCapture::take()
{
    fflush(m_stream);
    QByteArray result(static_cast<int>(lseek(m_fileFd, 0, SEEK_END)), Qt::Uninitialized);
    if (pread(m_fileFd, result.data(), static_cast<size_t>(result.size()), 0) != result.size()
        || ftruncate(m_fileFd, 0) != 0)
        qFatal("cannot read a standard stream back");
    lseek(m_fileFd, 0, SEEK_SET);
    return result;
}

}
