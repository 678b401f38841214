// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_CANCELLATION_H
#define KESTRA_SETUP_CANCELLATION_H

#include <poll.h>

namespace Setup {

/** A wish to stop. It is made by letting a descriptor become readable, and cannot be taken back. */
class Cancellation
{
public:
    explicit Cancellation(int descriptor) : m_descriptor(descriptor) { }

    int descriptor() const { return m_descriptor; }

    bool isRequested() const
    {
        pollfd entry {m_descriptor, POLLIN, 0};
        return ::poll(&entry, 1, 0) > 0;
    }

private:
    int m_descriptor;
};

}

#endif
