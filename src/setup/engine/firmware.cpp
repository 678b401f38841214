// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "firmware.h"

#include "archive.h"
#include "base/files.h"
#include "base/ownership.h"
#include "base/translate.h"

#include <kestra/foundation/systeminfo.h>
#include <kestra/modem/firmware.h>

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
#include <QSaveFile>
#include <QTemporaryDir>

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr qint64 largestFile = qint64(16) * 1024 * 1024;
constexpr int deepest = 12;
constexpr int mostEntries = 100000;

/** A directory or file that is closed again. */
class Descriptor
{
public:
    explicit Descriptor(int number) : m_number(number) { }
    ~Descriptor()
    {
        if (m_number >= 0)
            ::close(m_number);
    }
    Q_DISABLE_COPY(Descriptor)

    operator int() const { return m_number; }

private:
    const int m_number;
};

QList<QByteArray> entriesOf(int directory)
{
    QList<QByteArray> names;
    DIR *const entries = ::fdopendir(::fcntl(directory, F_DUPFD_CLOEXEC, 0));
    if (!entries)
        return names;
    while (const dirent *const entry = ::readdir(entries)) {
        const QByteArray name = entry->d_name;
        if (name != "." && name != "..")
            names.append(name);
    }
    ::closedir(entries);
    std::sort(names.begin(), names.end());
    return names;
}

/** What a driver adds to a name: a version, or the revision of the modem. */
QRegularExpression patternOf(const QString &name)
{
    return QRegularExpression(QStringLiteral("\\A%1(\\.v2|(?:\\.[0-9a-f]{1,2}){1,2})?\\z")
                                  .arg(QRegularExpression::escape(QFileInfo(name).fileName())),
                              QRegularExpression::CaseInsensitiveOption);
}

/** Everybody may read firmware, but not whatever somebody has given the name of firmware. */
QString faultOf(const struct stat &file, const struct stat &directory)
{
    if (!S_ISREG(file.st_mode))
        return Text::tr("is no regular file");
    if (file.st_size == 0)
        return Text::tr("is empty");
    if (file.st_size > largestFile)
        return Text::tr("is larger than %1 MiB").arg(largestFile / 1024 / 1024);
    if (file.st_nlink > 1 && file.st_uid != directory.st_uid)
        return Text::tr("is another name for a file of somebody else");
    return QString();
}

QStringList kernelDirectories()
{
    const QString release = Kestra::SystemInfo::getKernelRelease();
    const QString base = firmwareDirectory();
    return {base + QStringLiteral("/updates/") + release, base + QStringLiteral("/updates"),
            base + QLatin1Char('/') + release, base};
}

}

bool isFirmwarePresent(const QString &name)
{
    for (const QString &directory : kernelDirectories()) {
        for (const char *suffix : {"", ".xz", ".zst"}) {
            if (QFileInfo(directory + QLatin1Char('/') + name + QLatin1String(suffix)).isFile())
                return true;
        }
    }
    return false;
}

QString FirmwareFiles::add(const QString &path)
{
    // The user means what the path leads to; below it, others may have made links.
    const QFileInfo info(QFileInfo(path).canonicalFilePath());
    const QString place = info.isDir() ? info.filePath() : info.path();
    const Descriptor directory(::open(QFile::encodeName(place).constData(),
                                      O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!info.exists() || directory < 0)
        return Text::tr("does not exist or cannot be read");
    if (info.isDir()) {
        walk(directory, place, 0);
        return QString();
    }
    if (!info.isFile())
        return Text::tr("is neither a file nor a directory");
    if (take(directory, QFile::encodeName(info.fileName()), info.filePath()))
        return QString();
    return addArchive(info.filePath());
}

QString FirmwareFiles::addArchive(const QString &path)
{
    const Archive archive = readArchive(path);
    if (!archive.fault.isEmpty())
        return Text::tr("has not the name of a firmware file, and as an archive it %1")
            .arg(archive.fault);
    const QTemporaryDir unpacked;
    if (!unpacked.isValid() || !Firmware(nullptr).installFirmware(path, unpacked.path()))
        return Text::tr("could not be unpacked to %1").arg(unpacked.path());
    m_archive = path + QLatin1Char('/');
    m_unpacked = unpacked.path() + QLatin1Char('/');
    const Descriptor directory(::open(QFile::encodeName(unpacked.path()).constData(),
                                      O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    walk(directory, unpacked.path(), 0);
    m_unpacked.clear();
    return QString();
}

void FirmwareFiles::walk(int directory, const QString &path, int depth)
{
    for (const QByteArray &entry : entriesOf(directory)) {
        if (++m_entries > mostEntries)
            return;
        const QString entryPath = path + QLatin1Char('/') + QFile::decodeName(entry);
        const Descriptor child(::openat(directory, entry.constData(),
                                        O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
        if (child >= 0 && depth < deepest)
            walk(child, entryPath, depth + 1);
        else if (child < 0)
            take(directory, entry, entryPath);
    }
}

QString FirmwareFiles::nameFor(const QString &entry, int *likeness, const QString &path) const
{
    for (const QString &name : m_names) {
        const auto match = patternOf(name).match(entry);
        if (!match.hasMatch())
            continue;
        const QString whole = name + match.captured(1).toLower();
        *likeness = 1; // discs know no small letters
        if (path.endsWith(QLatin1Char('/') + whole))
            *likeness = 3;
        else if (entry == QFileInfo(whole).fileName())
            *likeness = 2;
        return whole;
    }
    return QString();
}

/** Returns whether it has the name of a firmware file. */
bool FirmwareFiles::take(int directory, const QByteArray &entry, const QString &path)
{
    int likeness = 0;
    const QString name = nameFor(QFile::decodeName(entry), &likeness, path);
    if (name.isEmpty())
        return false;
    if (m_files.value(name).likeness >= likeness)
        return true;
    const QString source = m_unpacked.isEmpty() ? path : m_archive + path.mid(m_unpacked.size());
    const int descriptor =
        ::openat(directory, entry.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    Status status = {};
    Status place = {};
    QFile file;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle)
        || ::fstat(descriptor, &status) != 0 || ::fstat(directory, &place) != 0) {
        m_refused.insert(source, Text::tr("is a link or cannot be read"));
        return true;
    }
    const QString fault = faultOf(status, place);
    if (!fault.isEmpty()) {
        m_refused.insert(source, fault);
        return true;
    }
    const QByteArray content = file.read(largestFile);
    if (content.size() != status.st_size)
        m_refused.insert(source, Text::tr("cannot be read to its end"));
    else
        m_files.insert(name, {content, source, likeness});
    return true;
}

FirmwareState installFirmwareFile(Store &store, const QString &name, const QByteArray &content,
                                  QString *problem)
{
    const QString path = firmwareDirectory() + QLatin1Char('/') + name;
    const FileState before = FileState::of(path);
    if (before.kind == FileState::File && Setup::content(path) == content)
        return FirmwareState::Present;
    const auto fail = [problem](const QString &sentence) {
        *problem = sentence;
        return FirmwareState::Failed;
    };
    if (before.kind == FileState::Directory)
        return fail(Text::tr("%1 is a directory.").arg(path));
    if (const auto part = partOfOthers(QFileInfo(path).path()))
        return fail(Text::tr("Others than root can write to %1.").arg(*part));
    if (!store.remember(Part::Driver, path))
        return fail(store.fault().isEmpty()
                        ? Text::tr("What is at %1 could not be kept in %2 for a later undo.")
                              .arg(path, Store::directory())
                        : store.fault());
    QDir().mkpath(QFileInfo(path).path());
    if (before.kind == FileState::Link) // or what it leads to would be replaced
        QFile::remove(path);
    QSaveFile file(path);
    const bool isWhole = file.open(QIODevice::WriteOnly) && file.write(content) == content.size()
        && ::fchown(file.handle(), 0, 0) == 0
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner | QFile::ReadGroup
                               | QFile::ReadOther)
        && commit(file);
    if (!isWhole) {
        if (before.kind == FileState::Link)
            before.restore(path, QString());
        return fail(Text::tr("%1 could not be written: %2.").arg(path, file.errorString()));
    }
    return before.kind == FileState::Nothing ? FirmwareState::Installed : FirmwareState::Replaced;
}

}
