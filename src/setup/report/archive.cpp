// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "archive.h"

#include "base/text.h"
#include "base/translate.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QTemporaryDir>

#include <cerrno>
#include <fcntl.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int timeLimit = 60000; // ms

Outcome failed(const QString &cause, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Report, cause, nextStep);
}

Outcome notWritten(const QString &path, int error)
{
    if (error == EEXIST)
        return failed(Text::tr("%1 exists already.").arg(path),
                      Text::tr("Give another name with --output."));
    return failed(
        Text::tr("The report %1 cannot be written: %2.").arg(path, qt_error_string(error)),
        Text::tr("Give another place with --output."));
}

bool layOut(const QString &directory, const QVector<Member> &members)
{
    for (const Member &member : members) {
        QFile file(directory + QLatin1Char('/') + member.name);
        if (!QDir().mkpath(QFileInfo(file).path()) || !file.open(QIODevice::WriteOnly)
            || file.write(member.content) != member.content.size() || !file.flush())
            return false;
    }
    return true;
}

/** The archive does not get its name by tar, which would write through a link. */
bool write(int descriptor, const QByteArray &archive)
{
    QFile file;
    return file.open(descriptor, QIODevice::WriteOnly | QIODevice::Unbuffered,
                     QFile::DontCloseHandle)
        && file.write(archive) == archive.size() && ::fsync(descriptor) == 0;
}

Outcome writeNew(const QString &path, const QByteArray &archive)
{
    const QByteArray name = QFile::encodeName(path);
    const int descriptor =
        ::open(name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC, 0600);
    if (descriptor < 0)
        return notWritten(path, errno);
    const bool isWritten = write(descriptor, archive);
    const int error = errno;
    ::close(descriptor);
    if (isWritten)
        return Outcome::done();
    ::unlink(name.constData());
    return notWritten(path, error);
}

}

Outcome writeArchive(const QString &path, const QString &name, const QVector<Member> &members)
{
    const QTemporaryDir directory(QStringLiteral("/tmp/kestra-setup-XXXXXX"));
    if (!directory.isValid() || !layOut(directory.filePath(name), members))
        return failed(Text::tr("The report could not be put together in /tmp."),
                      Text::tr("See whether the disk is full, then start again."));
    QProcess tar;
    tar.start(QStringLiteral("tar"),
              {QStringLiteral("--owner=0"), QStringLiteral("--group=0"),
               QStringLiteral("--numeric-owner"), QStringLiteral("-C"), directory.path(),
               QStringLiteral("-czf"), QStringLiteral("-"), name});
    tar.closeWriteChannel();
    if (!tar.waitForFinished(timeLimit) || tar.exitStatus() != QProcess::NormalExit
        || tar.exitCode() != 0) {
        const QString said = textFromBytes(tar.readAllStandardError().split('\n').constFirst());
        return failed(Text::tr("tar could not pack the report: %1.")
                          .arg(printable(said.isEmpty() ? tar.errorString() : said)),
                      Text::tr("See whether the packages tar and gzip are installed."));
    }
    return writeNew(path, tar.readAllStandardOutput());
}

}
