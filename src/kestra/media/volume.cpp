// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "volume.h"

Volume::Volume(QString device, QString label, QString udi)
    : m_device(device), m_label(label), m_udi(udi)
{
}

QString Volume::getDevice() const { return m_device; }

QString Volume::getLabel() const { return m_label; }

QString Volume::getUdi() const { return m_udi; }
