// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "excerpt.h"

#include "base/translate.h"

#include <QFile>

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>

namespace Setup {

QByteArray Excerpt::wholeLines(const QByteArray &bytes, int limit)
{
    if (bytes.size() <= limit)
        return bytes;
    return bytes.left(bytes.lastIndexOf('\n', limit - 1) + 1);
}

Excerpt Excerpt::of(const QString &path, int limit, Part part, bool followsLinks)
{
    Excerpt excerpt;
    const int descriptor =
        ::open(QFile::encodeName(path).constData(),
               O_RDONLY | O_NONBLOCK | O_CLOEXEC | O_NOCTTY | (followsLinks ? 0 : O_NOFOLLOW));
    if (descriptor < 0) {
        excerpt.fault = errno == ELOOP ? Text::tr("it is a link") : qt_error_string(errno);
        return excerpt;
    }
    struct stat status;
    QFile file;
    file.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle);
    if (::fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) {
        excerpt.fault = Text::tr("it is no regular file");
        return excerpt;
    }
    if (part == End && status.st_size > limit) {
        file.seek(status.st_size - limit);
        const QByteArray bytes = file.read(limit);
        const int lineEnd = bytes.indexOf('\n');
        excerpt.bytes = lineEnd < 0 ? QByteArray() : bytes.mid(lineEnd + 1);
        return excerpt;
    }
    const QByteArray bytes = file.read(limit + 1);
    excerpt.isWhole = bytes.size() <= limit;
    excerpt.bytes = wholeLines(bytes, limit);
    return excerpt;
}

}
