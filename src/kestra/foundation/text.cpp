// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "text_p.h"

#include <QDebug>
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

QByteArray shown(const QStringList &list)
{
    QStringList items;
    for (const QString &item : list) {
        items.append(QString());
        QDebug(&items.last()).nospace() << item;
    }
    return '(' + items.join(QStringLiteral(", ")).toUtf8() + ')';
}

QByteArray readLine(QIODevice &device, int maxSize)
{
    QByteArray line(maxSize, Qt::Uninitialized);
    line.truncate(static_cast<int>(qMax(qint64(0), device.readLine(line.data(), maxSize))));
    return line;
}

}
