// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "changes.h"

#include "base/text.h"
#include "base/translate.h"

#include <QCryptographicHash>
#include <QDir>
#include <QFile>
#include <QMap>
#include <QProcess>

#include <algorithm>
#include <dirent.h>
#include <sys/stat.h>
#include <sys/xattr.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr mode_t permissionBits = 07777;
constexpr qint64 longestText = 1 << 20; // bytes

/** A name in the file system, or none. */
class Entry
{
public:
    explicit Entry(const QByteArray &path) : m_path(path)
    {
        m_exists = ::lstat(path.constData(), &m_status) == 0;
    }

    bool exists() const { return m_exists; }
    bool isDirectory() const { return m_exists && S_ISDIR(m_status.st_mode); }
    bool isLink() const { return m_exists && S_ISLNK(m_status.st_mode); }
    bool isFile() const { return m_exists && S_ISREG(m_status.st_mode); }
    mode_t type() const { return m_exists ? m_status.st_mode & S_IFMT : 0; }
    mode_t mode() const { return m_status.st_mode & permissionBits; }
    bool isForEverybody() const { return !isFile() || (m_status.st_mode & S_IROTH); }
    qint64 size() const { return isFile() ? qint64(m_status.st_size) : 0; }
    QString owner() const
    {
        return QStringLiteral("%1:%2").arg(m_status.st_uid).arg(m_status.st_gid);
    }

    QByteArray target() const
    {
        QByteArray target(4096, '\0');
        const ssize_t length = ::readlink(m_path.constData(), target.data(), target.size());
        return target.left(int(qMax<ssize_t>(length, 0)));
    }

    QByteArray content() const
    {
        QFile file(QFile::decodeName(m_path));
        return isFile() && file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    }

    bool hasSameContent(const Entry &other) const
    {
        if (!isFile() || !other.isFile())
            return true;
        return size() == other.size() && digest() == other.digest();
    }

    bool isSameAs(const Entry &other) const
    {
        if (m_exists != other.m_exists || type() != other.type())
            return false;
        if (!m_exists)
            return true;
        return owner() == other.owner() && (isLink() || mode() == other.mode())
            && (!isLink() || target() == other.target()) && hasSameContent(other);
    }

private:
    QByteArray digest() const
    {
        QFile file(QFile::decodeName(m_path));
        QCryptographicHash hash(QCryptographicHash::Sha256);
        if (file.open(QIODevice::ReadOnly))
            hash.addData(&file);
        return hash.result();
    }

    QByteArray m_path;
    struct stat m_status = {};
    bool m_exists = false;
};

/** In bytes, as a name need not be a text. */
QSet<QByteArray> namesIn(const QByteArray &directory)
{
    QSet<QByteArray> names;
    DIR *const stream = ::opendir(directory.constData());
    if (!stream)
        return names;
    while (const dirent *entry = ::readdir(stream)) {
        const QByteArray name = entry->d_name;
        if (name != "." && name != "..")
            names.insert(name);
    }
    ::closedir(stream);
    return names;
}

/** Whether a directory of changes does not go together with the one below it. */
bool standsForItself(const QByteArray &directory)
{
    for (const char *attribute : {"trusted.overlay.opaque", "trusted.overlay.redirect"}) {
        if (::lgetxattr(directory.constData(), attribute, nullptr, 0) >= 0)
            return true;
    }
    return false;
}

/** Walks where something was written. */
class Search
{
public:
    Search(const Layer &layer, QVector<FileChange> &changes)
        : m_layer(layer), m_changes(changes) { }

    void compare(const QByteArray &relative, bool isEverythingNew)
    {
        const QByteArray point = m_layer.point == "/" ? QByteArray() : m_layer.point;
        const QByteArray path = point + relative;
        const FileChange change = {path.isEmpty() ? QByteArray("/") : path,
                                   path.isEmpty() ? QByteArray("/") : path,
                                   m_layer.after + relative};
        const Entry before(change.before);
        const Entry after(change.after);
        if (!before.isSameAs(after))
            m_changes.append(change);

        QSet<QByteArray> names;
        const QByteArray written = m_layer.changes + relative;
        isEverythingNew = isEverythingNew || !before.isDirectory() || !after.isDirectory()
            || standsForItself(written);
        if (!isEverythingNew) {
            names = namesIn(written);
        } else {
            if (before.isDirectory())
                names += namesIn(change.before);
            if (after.isDirectory())
                names += namesIn(change.after);
        }
        for (const QByteArray &name : qAsConst(names))
            compare(relative + '/' + name, isEverythingNew);
    }

private:
    const Layer &m_layer;
    QVector<FileChange> &m_changes;
};

bool isText(const QByteArray &content) { return !content.contains('\0'); }

/** The private directory is on no file system that outlives this program. */
QString keep(const char *name, const QByteArray &content)
{
    const QString path = ScratchSystem::privateDirectory() + QLatin1Char('/') + QLatin1String(name);
    QFile file(path);
    if (!file.open(QIODevice::WriteOnly) || file.write(content) != content.size())
        return QString();
    return path;
}

QString unifiedDiff(const QString &path, const Entry &before, const Entry &after,
                    const QByteArray &old, const QByteArray &now)
{
    const auto label = [&path](const Entry &entry) {
        return QStringLiteral("--label=")
            + (entry.isFile() ? printable(path) : QStringLiteral("/dev/null"));
    };
    QProcess diff;
    diff.setStandardInputFile(QProcess::nullDevice());
    diff.start(QStringLiteral("diff"),
               {QStringLiteral("-u"), QStringLiteral("--text"), label(before), label(after),
                keep("before", old), keep("now", now)});
    diff.waitForFinished(-1);
    return textFromBytes(diff.readAllStandardOutput());
}

/** What a set-up writes for root alone; the passwords in it are known. */
bool isOurs(const QByteArray &path)
{
    return path.startsWith("/etc/ppp/") || path.startsWith("/etc/kestra/")
        || path.startsWith("/etc/init.d/");
}

QString typeName(const Entry &entry)
{
    if (entry.isDirectory())
        return Text::tr("directory");
    if (entry.isLink())
        return Text::tr("link", "in the file system");
    return entry.isFile() ? Text::tr("file") : Text::tr("special file");
}

QString transition(const QString &before, const QString &after)
{
    return before == after ? after : QStringLiteral("%1 -> %2").arg(before, after);
}

QString octal(mode_t mode) { return QStringLiteral("%1").arg(mode, 4, 8, QLatin1Char('0')); }

/** What there is to say apart from the content. */
QStringList remarks(const Entry &before, const Entry &after)
{
    QStringList result;
    const bool isNew = !before.exists();
    const Entry &old = isNew ? after : before;
    const Entry &now = after.exists() ? after : before;
    if (old.type() != now.type() || !now.isFile())
        result.append(transition(typeName(old), typeName(now)));
    if (now.isLink() || old.isLink())
        result.append(Text::tr("to ")
                      + transition(old.isLink() ? textFromBytes(old.target()) : QString(),
                                   now.isLink() ? textFromBytes(now.target()) : QString()));
    if (!after.exists())
        return result;
    if (!now.isLink() && (isNew || old.mode() != now.mode()))
        result.append(Text::tr("mode ") + transition(octal(old.mode()), octal(now.mode())));
    if (old.owner() != now.owner() || (isNew && now.owner() != QLatin1String("0:0")))
        result.append(Text::tr("owner ") + transition(old.owner(), now.owner()));
    return result;
}

const char dpkgStatus[] = "/var/lib/dpkg/status";

/** The installed packages and their versions. */
QMap<QString, QString> packagesIn(const QByteArray &status)
{
    QMap<QString, QString> packages;
    QMap<QByteArray, QByteArray> fields;
    for (const QByteArray &line : (status + '\n').split('\n')) {
        if (!line.isEmpty()) {
            const int colon = line.indexOf(": ");
            if (colon > 0 && line[0] != ' ')
                fields.insert(line.left(colon), line.mid(colon + 2));
            continue;
        }
        if (fields.value("Status").endsWith(" installed"))
            packages.insert(QString::fromLatin1(fields.value("Package")),
                            QString::fromLatin1(fields.value("Version")));
        fields.clear();
    }
    return packages;
}

}

QVector<FileChange> findChanges(const QVector<Layer> &layers)
{
    QVector<FileChange> changes;
    for (const Layer &layer : layers)
        Search(layer, changes).compare(QByteArray(), false);
    std::sort(changes.begin(), changes.end(),
              [](const FileChange &a, const FileChange &b) { return a.path < b.path; });
    return changes;
}

PasswordMask findPasswords(const QVector<FileChange> &changes)
{
    PasswordMask mask;
    for (const FileChange &change : changes) {
        for (const QByteArray &place : {change.before, change.after}) {
            if (Entry(place).size() <= longestText)
                mask.learn(change.path, Entry(place).content());
        }
    }
    return mask;
}

QVector<PackageChange> findPackages(const QVector<FileChange> &changes)
{
    QVector<PackageChange> result;
    for (const FileChange &change : changes) {
        if (change.path != dpkgStatus)
            continue;
        const auto before = packagesIn(Entry(change.before).content());
        const auto after = packagesIn(Entry(change.after).content());
        QStringList names = before.keys() + after.keys();
        names.removeDuplicates();
        names.sort();
        for (const QString &name : qAsConst(names)) {
            if (before.value(name) != after.value(name))
                result.append({name, before.value(name), after.value(name)});
        }
    }
    return result;
}

QSet<QByteArray> findPackageFiles(const QVector<FileChange> &changes,
                                  const QVector<PackageChange> &packages)
{
    QSet<QByteArray> names;
    for (const PackageChange &package : packages)
        names.insert(package.name.toLatin1());
    const QByteArray directory = "/var/lib/dpkg/info/";
    QSet<QByteArray> files;
    for (const FileChange &change : changes) {
        if (!change.path.startsWith(directory) || !change.path.endsWith(".list"))
            continue;
        const QByteArray package = change.path.mid(directory.size()).chopped(5).split(':').first();
        if (!names.contains(package))
            continue;
        for (const QByteArray &place : {change.before, change.after}) {
            for (const QByteArray &file : Entry(place).content().split('\n')) {
                if (!file.startsWith("/etc/"))
                    files.insert(file);
            }
        }
    }
    return files;
}

Description describe(const FileChange &change, const PasswordMask &mask)
{
    const Entry before(change.before);
    const Entry after(change.after);
    Description result;
    result.path = textFromBytes(change.path);
    result.kind = !before.exists() ? Description::Added
        : after.exists()           ? Description::Changed
                                   : Description::Removed;
    QStringList notes = remarks(before, after);
    const bool isAboutContent = (before.isFile() || after.isFile())
        && (!before.isFile() || !after.isFile() || !before.hasSameContent(after));
    if (isAboutContent) {
        const auto tellSize = [&] {
            if (before.isFile() && after.isFile())
                return Text::tr("%1 -> %2 bytes").arg(before.size()).arg(after.size());
            return Text::tr("%1 bytes").arg(qMax(before.size(), after.size()));
        };
        // A key that a package makes for itself is not for the screen.
        const bool isPublic =
            isOurs(change.path) || (before.isForEverybody() && after.isForEverybody());
        const bool isShown = isPublic && qMax(before.size(), after.size()) <= longestText;
        const QByteArray old = isShown ? before.content() : QByteArray();
        const QByteArray now = isShown ? after.content() : QByteArray();
        if (!isShown || !isText(old) || !isText(now)) {
            notes.append(tellSize());
        } else {
            result.diff =
                unifiedDiff(result.path, before, after, mask.applied(old), mask.applied(now));
            if (result.diff.isEmpty())
                notes.append(before.size() + after.size() == 0
                                 ? Text::tr("empty")
                                 : Text::tr("only the password changes"));
        }
    }
    result.remark = notes.join(QStringLiteral(", "));
    return result;
}

}
