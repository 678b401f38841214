// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "filestate.h"

#include "base/ownership.h"

#include <QCryptographicHash>
#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QJsonDocument>
#include <QRandomGenerator>

#include <array>
#include <cerrno>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr mode_t permissionBits = 07777;

/** Somebody may have exchanged the file for a pipe or a link since it was looked at. */
QString checksumOf(const QByteArray &path)
{
    const int descriptor = ::open(path.constData(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC);
    QFile file;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    if (descriptor < 0 || !file.open(descriptor, QIODevice::ReadOnly, QFile::AutoCloseHandle)
        || !hash.addData(&file))
        return QString();
    return QString::fromLatin1(hash.result().toHex());
}

FileState::Kind kindOf(mode_t mode)
{
    if (S_ISLNK(mode))
        return FileState::Link;
    return S_ISDIR(mode) ? FileState::Directory : FileState::File;
}

struct Key
{
    const char *name;
    uint FileState::*member;
};

constexpr Key numbers[] = {
    {"mode", &FileState::mode},
    {"owner", &FileState::owner},
    {"group", &FileState::group},
};

constexpr const char *kinds[] = {"nothing", "file", "link", "directory"};

}

FileState FileState::of(const QString &path)
{
    FileState state;
    const QByteArray name = QFile::encodeName(path);
    struct stat status;
    if (::lstat(name.constData(), &status) != 0)
        return state;
    state.kind = kindOf(status.st_mode);
    state.mode = status.st_mode & permissionBits;
    state.owner = status.st_uid;
    state.group = status.st_gid;
    state.seconds = status.st_mtim.tv_sec;
    state.nanoseconds = status.st_mtim.tv_nsec;
    if (state.kind == Link) {
        QByteArray target(status.st_size > 0 ? int(status.st_size) : 4096, '\0');
        const ssize_t length = ::readlink(name.constData(), target.data(), target.size());
        state.target = QString::fromLatin1(target.left(int(qMax<ssize_t>(length, 0))));
    } else if (state.kind == File && S_ISREG(status.st_mode)) {
        state.checksum = checksumOf(name);
    }
    return state;
}

FileState FileState::fromJson(const QJsonObject &json)
{
    FileState state;
    const QString kind = json.value(QStringLiteral("kind")).toString();
    for (int i = Nothing; i <= Directory; ++i) {
        if (kind == QLatin1String(kinds[i]))
            state.kind = Kind(i);
    }
    for (const Key &key : numbers)
        state.*key.member = uint(json.value(QLatin1String(key.name)).toDouble());
    state.seconds = qint64(json.value(QStringLiteral("seconds")).toDouble());
    state.nanoseconds = qint64(json.value(QStringLiteral("nanoseconds")).toDouble());
    state.target = json.value(QStringLiteral("target")).toString();
    state.checksum = json.value(QStringLiteral("checksum")).toString();
    return state;
}

QJsonObject FileState::toJson() const
{
    QJsonObject json = {{QStringLiteral("kind"), QLatin1String(kinds[kind])}};
    if (kind == Nothing)
        return json;
    for (const Key &key : numbers)
        json.insert(QLatin1String(key.name), double(this->*key.member));
    json.insert(QStringLiteral("seconds"), double(seconds));
    json.insert(QStringLiteral("nanoseconds"), double(nanoseconds));
    if (kind == Link)
        json.insert(QStringLiteral("target"), target);
    if (!checksum.isEmpty())
        json.insert(QStringLiteral("checksum"), checksum);
    return json;
}

bool FileState::isSameAs(const FileState &other) const
{
    if (kind != other.kind)
        return false;
    const bool hasMode = kind == File || kind == Directory;
    return kind == Nothing
        || (owner == other.owner && group == other.group && (!hasMode || mode == other.mode)
            && target == other.target && checksum == other.checksum);
}

bool FileState::hasTimeOf(const FileState &other) const
{
    return seconds == other.seconds && nanoseconds == other.nanoseconds;
}

namespace {

/**
 * The directory of a path, held open, so that what is done in it cannot be led elsewhere.
 *
 * It may belong to somebody else, as that of a resolver's file does. Whoever can exchange a part
 * of the path for a link must not choose what root writes or removes.
 */
class Place
{
public:
    explicit Place(const QString &path)
        : m_name(QFile::encodeName(QFileInfo(path).fileName()))
        , m_directory(::open(QFile::encodeName(QFileInfo(path).path()).constData(),
                             O_PATH | O_DIRECTORY | O_CLOEXEC))
    {
        const QString directory = QFileInfo(path).path();
        const QString real =
            QFile::symLinkTarget(QStringLiteral("/proc/self/fd/%1").arg(m_directory));
        m_isSafe = m_directory >= 0 && (real == directory || !partOfOthers(directory));
    }

    ~Place()
    {
        if (m_directory >= 0)
            ::close(m_directory);
    }

    Q_DISABLE_COPY(Place)

    bool isSafe() const { return m_isSafe; }
    bool remove() const;
    bool removeTree() const;
    bool putFile(const FileState &state, const QString &content) const;
    bool putLink(const FileState &state) const;
    bool makeDirectory(const FileState &state) const;

private:
    /** A name that nobody else knows. */
    QByteArray newName() const
    {
        return m_name + ".kestra-"
            + QByteArray::number(QRandomGenerator::system()->generate64(), 36);
    }

    bool settle(const QByteArray &newName, bool isWhole) const;

    const QByteArray m_name;
    const int m_directory;
    bool m_isSafe = false;
};

std::array<timespec, 2> timesOf(const FileState &state)
{
    return {{{0, UTIME_OMIT}, {time_t(state.seconds), long(state.nanoseconds)}}};
}

bool takeMetadata(int descriptor, const FileState &state)
{
    return ::fchown(descriptor, state.owner, state.group) == 0
        && ::fchmod(descriptor, state.mode) == 0
        && ::futimens(descriptor, timesOf(state).data()) == 0;
}

bool copyContent(const QString &from, QFile &target)
{
    QFile source(from);
    if (!source.open(QIODevice::ReadOnly))
        return false;
    while (!source.atEnd()) {
        const QByteArray piece = source.read(1 << 20);
        if (piece.isEmpty() || target.write(piece) != piece.size())
            return false;
    }
    return target.flush();
}

bool Place::settle(const QByteArray &newName, bool isWhole) const
{
    if (isWhole
        && ::renameat(m_directory, newName.constData(), m_directory, m_name.constData()) == 0)
        return true;
    ::unlinkat(m_directory, newName.constData(), 0);
    return false;
}

bool Place::remove() const
{
    struct stat status;
    if (::fstatat(m_directory, m_name.constData(), &status, AT_SYMLINK_NOFOLLOW) != 0)
        return errno == ENOENT;
    return ::unlinkat(m_directory, m_name.constData(), S_ISDIR(status.st_mode) ? AT_REMOVEDIR : 0)
        == 0;
}

/** By descriptors, as others may own what was unpacked, and exchange it for links. */
bool removeAll(int directory, const char *name)
{
    if (::unlinkat(directory, name, 0) == 0 || errno == ENOENT)
        return true;
    if (errno != EISDIR && errno != EPERM)
        return false;
    const int descriptor =
        ::openat(directory, name, O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    DIR *const entries = descriptor < 0 ? nullptr : ::fdopendir(descriptor);
    if (!entries)
        return false;
    while (const dirent *const entry = ::readdir(entries)) {
        const QByteArray child = entry->d_name;
        if (child != "." && child != "..")
            removeAll(descriptor, child.constData());
    }
    ::closedir(entries);
    return ::unlinkat(directory, name, AT_REMOVEDIR) == 0;
}

bool Place::removeTree() const { return removeAll(m_directory, m_name.constData()); }

bool Place::putFile(const FileState &state, const QString &content) const
{
    const QByteArray name = newName();
    const int descriptor =
        ::openat(m_directory, name.constData(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0600);
    QFile file;
    if (descriptor < 0 || !file.open(descriptor, QIODevice::WriteOnly, QFile::AutoCloseHandle))
        return false;
    const bool isWhole =
        copyContent(content, file) && takeMetadata(descriptor, state) && ::fsync(descriptor) == 0;
    return settle(name, isWhole);
}

bool Place::putLink(const FileState &state) const
{
    const QByteArray name = newName();
    if (::symlinkat(state.target.toLatin1().constData(), m_directory, name.constData()) != 0)
        return false;
    const bool isWhole =
        ::fchownat(m_directory, name.constData(), state.owner, state.group, AT_SYMLINK_NOFOLLOW)
            == 0
        && ::utimensat(m_directory, name.constData(), timesOf(state).data(), AT_SYMLINK_NOFOLLOW)
            == 0;
    return settle(name, isWhole);
}

bool Place::makeDirectory(const FileState &state) const
{
    if (::mkdirat(m_directory, m_name.constData(), 0700) != 0 && errno != EEXIST)
        return false;
    const int descriptor =
        ::openat(m_directory, m_name.constData(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (descriptor < 0)
        return false;
    const bool isDone = takeMetadata(descriptor, state);
    ::close(descriptor);
    return isDone;
}

}

bool FileState::restore(const QString &path, const QString &content) const
{
    const QString directory = QFileInfo(path).path();
    if (!QFileInfo::exists(directory) && !partOfOthers(directory))
        QDir().mkpath(directory);
    const Place place(path);
    if (!place.isSafe())
        return false;
    switch (kind) {
    case Nothing:
        return place.remove();
    case File:
        return place.putFile(*this, content);
    case Link:
        return place.putLink(*this);
    case Directory:
        return place.makeDirectory(*this);
    }
    return false;
}

bool removeTree(const QString &path)
{
    const Place place(path);
    return place.isSafe() && place.removeTree();
}

FileState stateOfTree(const QString &path)
{
    FileState state = FileState::of(path);
    if (state.kind != FileState::Directory)
        return state;
    QStringList entries;
    QDirIterator all(path, QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    while (all.hasNext())
        entries.append(all.next());
    entries.sort();
    QCryptographicHash hash(QCryptographicHash::Sha256);
    for (const QString &entry : qAsConst(entries)) {
        FileState part = FileState::of(entry);
        part.seconds = part.nanoseconds = 0;
        hash.addData(QFile::encodeName(entry) + '\0');
        hash.addData(QJsonDocument(part.toJson()).toJson(QJsonDocument::Compact));
    }
    state.checksum = QString::fromLatin1(hash.result().toHex());
    return state;
}

}
