// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MEDIA_VOLUME_H
#define KESTRA_MEDIA_VOLUME_H

#include <kestra/foundation/export.h>

#include <QString>

/** A disc in a drive. */
class KESTRA_EXPORT Volume
{
public:
    /**
     * @param device block device, such as /dev/sr0
     * @param label label of the disc, may be empty
     * @param udi identifier of the volume at the hardware daemon
     */
    Volume(QString device, QString label, QString udi);

    /** Returns the block device. */
    QString getDevice() const;
    /** Returns the label, which may be empty. */
    QString getLabel() const;
    /** Returns the identifier of the volume, with which MediaManager addresses it. */
    QString getUdi() const;

private:
    QString m_device;
    QString m_label;
    QString m_udi;
};

#endif
