// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "text_p.h"

#include <QIODevice>

namespace Kestra::Private {

QString text(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.constData(), static_cast<int>(bytes.size()));
}

QString textUpToNul(const QByteArray &bytes)
{
    return QString::fromLatin1(bytes.constData(),
                               static_cast<int>(qstrnlen(bytes.constData(), bytes.size())));
}

QByteArray readLine(QIODevice &device, int maxSize)
{
    QByteArray line(maxSize, Qt::Uninitialized);
    line.truncate(static_cast<int>(qMax(qint64(0), device.readLine(line.data(), maxSize))));
    return line;
}

}
