// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "store.h"

#include "base/ownership.h"
#include "base/translate.h"

#include <QDir>
#include <QDirIterator>
#include <QFile>
#include <QFileInfo>
#include <QHash>
#include <QJsonArray>
#include <QJsonDocument>
#include <QSaveFile>
#include <QSet>

#include <algorithm>
#include <cerrno>
#include <sys/stat.h>
#include <unistd.h>

namespace Setup {

namespace {

constexpr int formatVersion = 1;

constexpr const char *partNames[] = {"driver", "connection", "boot", "name-servers",
                                     "package-sources"};

QString nameOf(Part part) { return QLatin1String(partNames[int(part)]); }

Part partOf(const QString &name)
{
    const auto found = std::find_if(std::begin(partNames), std::end(partNames),
                                    [&](const char *part) { return name == QLatin1String(part); });
    return Part(qMin<qint64>(found - std::begin(partNames), int(Part::PackageSources)));
}

QString indexFile() { return Store::directory() + QStringLiteral("/before.json"); }

QString contentDirectory() { return Store::directory() + QStringLiteral("/before"); }

bool makePrivate(const QString &path)
{
    return (::mkdir(QFile::encodeName(path).constData(), 0700) == 0 || errno == EEXIST)
        && isOurDirectory(path) && ::chmod(QFile::encodeName(path).constData(), 0700) == 0;
}

QMap<QString, FileState> entriesOf(const QString &directory)
{
    QMap<QString, FileState> entries;
    const QDir dir(directory);
    const QStringList names =
        dir.entryList(QDir::Files | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot);
    for (const QString &name : names)
        entries.insert(dir.filePath(name), FileState::of(dir.filePath(name)));
    return entries;
}

/** Sorted, so that a directory comes before what is in it. */
QStringList pathsBelow(const QString &directory)
{
    QStringList paths;
    QDirIterator all(directory,
                     QDir::AllEntries | QDir::System | QDir::Hidden | QDir::NoDotAndDotDot,
                     QDirIterator::Subdirectories);
    while (all.hasNext())
        paths.append(all.next());
    paths.sort();
    return paths;
}

}

StoredItem::Condition StoredItem::condition() const
{
    const FileState now = isTree ? stateOfTree(path) : FileState::of(path);
    if (now.isSameAs(before))
        return AsBefore;
    if (now.isSameAs(after) || isBeingFilled())
        return AsLeft;
    return now.kind == FileState::Nothing ? Missing : Edited;
}

Store::Store() { read(); }

void Store::read()
{
    QFile file(indexFile());
    if (!file.exists())
        return;
    if (!isOurDirectory(directory())) {
        m_fault = Text::tr("%1 is no directory that only root can write to.").arg(directory());
        return;
    }
    const QJsonDocument document =
        file.open(QIODevice::ReadOnly) ? QJsonDocument::fromJson(file.readAll()) : QJsonDocument();
    const QJsonObject root = document.object();
    if (root.value(QStringLiteral("version")).toInt() != formatVersion) {
        m_fault = Text::tr("%1 cannot be read.").arg(indexFile());
        return;
    }
    for (const QJsonValue &value : root.value(QStringLiteral("items")).toArray()) {
        const QJsonObject item = value.toObject();
        append({partOf(item.value(QStringLiteral("part")).toString()),
                item.value(QStringLiteral("path")).toString(),
                FileState::fromJson(item.value(QStringLiteral("before")).toObject()),
                FileState::fromJson(item.value(QStringLiteral("after")).toObject()),
                item.value(QStringLiteral("tree")).toBool()});
    }
    const QJsonObject listings = root.value(QStringLiteral("directories")).toObject();
    for (auto i = listings.begin(); i != listings.end(); ++i) {
        const QJsonObject json = i.value().toObject();
        Listing &listing = m_listings[i.key()];
        listing.part = partOf(json.value(QStringLiteral("part")).toString());
        const QJsonObject entries = json.value(QStringLiteral("entries")).toObject();
        for (auto entry = entries.begin(); entry != entries.end(); ++entry)
            listing.entries.insert(entry.key(), FileState::fromJson(entry.value().toObject()));
    }
    const QJsonObject names = root.value(QStringLiteral("names")).toObject();
    for (auto i = names.begin(); i != names.end(); ++i) {
        const QJsonObject json = i.value().toObject();
        Names &below = m_names[i.key()];
        below.part = partOf(json.value(QStringLiteral("part")).toString());
        below.others = json.value(QStringLiteral("others")).toString();
        for (const QJsonValue &path : json.value(QStringLiteral("paths")).toArray())
            below.paths.append(path.toString());
    }
    m_wasCutOff = root.value(QStringLiteral("unfinished")).toBool();
    m_packageManager = root.value(QStringLiteral("package_manager")).toString();
    for (const QJsonValue &name : root.value(QStringLiteral("packages")).toArray())
        m_packages.append(name.toString());
    settleListings(); // of a run that was cut off
}

bool Store::write()
{
    QJsonArray items;
    for (const StoredItem &item : std::as_const(m_items))
        items.append(QJsonObject {{QStringLiteral("part"), nameOf(item.part)},
                                  {QStringLiteral("path"), item.path},
                                  {QStringLiteral("before"), item.before.toJson()},
                                  {QStringLiteral("after"), item.after.toJson()},
                                  {QStringLiteral("tree"), item.isTree}});
    QJsonObject listings;
    for (auto i = m_listings.cbegin(); i != m_listings.cend(); ++i) {
        QJsonObject entries;
        for (auto entry = i->entries.cbegin(); entry != i->entries.cend(); ++entry)
            entries.insert(entry.key(), entry->toJson());
        listings.insert(i.key(),
                        QJsonObject {{QStringLiteral("part"), nameOf(i->part)},
                                     {QStringLiteral("entries"), entries}});
    }
    QJsonObject names;
    for (auto i = m_names.cbegin(); i != m_names.cend(); ++i)
        names.insert(i.key(),
                     QJsonObject {{QStringLiteral("part"), nameOf(i->part)},
                                  {QStringLiteral("others"), i->others},
                                  {QStringLiteral("paths"), QJsonArray::fromStringList(i->paths)}});
    const bool isUnderWay = !m_touched.isEmpty() && !m_isFinished;
    const QJsonObject root = {
        {QStringLiteral("version"), formatVersion},
        {QStringLiteral("unfinished"), isUnderWay || (m_wasCutOff && !m_items.isEmpty())},
        {QStringLiteral("items"), items},
        {QStringLiteral("directories"), listings},
        {QStringLiteral("names"), names},
        {QStringLiteral("package_manager"), m_packageManager},
        {QStringLiteral("packages"), QJsonArray::fromStringList(m_packages)},
    };
    QSaveFile file(indexFile());
    return makePrivate(directory()) && file.open(QIODevice::WriteOnly)
        && file.setPermissions(QFile::ReadOwner | QFile::WriteOwner)
        && file.write(QJsonDocument(root).toJson()) >= 0
        && file.flush() // or commit() would overlook a full disk
        && file.commit();
}

QString Store::contentOf(const FileState &state) const
{
    return contentDirectory() + QLatin1Char('/') + state.checksum;
}

/** Content goes by its checksum, so that it is kept once and can be trusted when it is there. */
bool Store::keepContent(const QString &path, const FileState &state)
{
    if (state.kind != FileState::File)
        return true;
    const QString kept = contentOf(state);
    if (state.checksum.isEmpty() || !makePrivate(directory()) || !makePrivate(contentDirectory()))
        return false;
    if (FileState::of(kept).checksum == state.checksum)
        return true;
    FileState ours;
    ours.kind = FileState::File;
    ours.mode = 0600;
    ours.owner = ::geteuid();
    ours.group = ::getegid();
    return ours.restore(kept, path) && FileState::of(kept).checksum == state.checksum;
}

void Store::append(const StoredItem &item)
{
    m_items.append(item);
    m_known.insert(item.path);
}

bool Store::add(Part part, const QString &path, const FileState &before)
{
    m_touched.insert(path);
    if (m_known.contains(path))
        return true;
    if (!keepContent(path, before))
        return false;
    append({part, path, before, before, false});
    return true;
}

bool Store::addMissingParents(Part part, const QString &path)
{
    const QString parent = QFileInfo(path).path();
    if (parent == path || QFileInfo::exists(parent))
        return true;
    return addMissingParents(part, parent) && add(part, parent, FileState::of(parent));
}

bool Store::remember(Part part, const QStringList &paths, QString *culprit)
{
    if (!m_fault.isEmpty())
        return false;
    for (const QString &path : paths) {
        if (culprit)
            *culprit = path;
        if (!addMissingParents(part, path) || !add(part, path, FileState::of(path)))
            return false;
    }
    return write();
}

bool Store::rememberTree(Part part, const QString &path, QString *culprit)
{
    m_touched.insert(path);
    if (m_known.contains(path)) {
        for (StoredItem &item : m_items) {
            if (item.path == path && item.isTree)
                item.after = FileState();
        }
        return m_fault.isEmpty() && write();
    }
    QStringList entries;
    if (FileState::of(path).kind == FileState::Directory)
        entries = pathsBelow(path);
    const FileState before = stateOfTree(path);
    if (culprit)
        *culprit = path;
    if (!remember(part, entries, culprit))
        return false;
    if (culprit)
        *culprit = path;
    if (!addMissingParents(part, path)
        || (before.kind != FileState::Directory && !keepContent(path, before)))
        return false;
    // Last, so that it is undone first: then there is room for what was in it.
    append({part, path, before, FileState(), true});
    return write();
}

void Store::rememberNew(Part part, const QStringList &paths)
{
    for (const QString &path : paths)
        add(part, path, FileState());
}

bool Store::rememberNames(Part part, const QString &directory, const QString &others)
{
    if (!m_fault.isEmpty())
        return false;
    m_names.insert(directory, {part, pathsBelow(directory), others});
    return write();
}

bool Store::rememberEntries(Part part, const QString &directory)
{
    if (!m_fault.isEmpty())
        return false;
    const Listing listing = {part, entriesOf(directory)};
    for (auto entry = listing.entries.cbegin(); entry != listing.entries.cend(); ++entry) {
        if (!keepContent(entry.key(), *entry))
            return false;
    }
    m_listings.insert(directory, listing);
    return write();
}

/** Of a directory, what has changed is of interest. */
void Store::settleListings()
{
    for (auto i = m_listings.cbegin(); i != m_listings.cend(); ++i) {
        QMap<QString, FileState> all = entriesOf(i.key());
        for (const QString &path : i->entries.keys())
            all.insert(path, FileState::of(path));
        for (auto now = all.cbegin(); now != all.cend(); ++now) {
            const FileState before = i->entries.value(now.key());
            if (now->isSameAs(before))
                continue;
            m_touched.insert(now.key());
            if (!m_known.contains(now.key()))
                append({i->part, now.key(), before, *now, false});
        }
    }
    m_listings.clear();
    settleNames();
}

void Store::settleNames()
{
    for (auto i = m_names.cbegin(); i != m_names.cend(); ++i) {
        const QSet<QString> before(i->paths.begin(), i->paths.end());
        const QStringList all = pathsBelow(i.key());
        for (const QString &path : all) {
            if (before.contains(path) || path.startsWith(i->others))
                continue;
            m_touched.insert(path);
            if (!m_known.contains(path))
                append({i->part, path, FileState(), FileState::of(path), false});
        }
    }
    m_names.clear();
}

bool Store::rememberPackages(const QString &manager, const QStringList &names)
{
    if (names.isEmpty())
        return true;
    m_packageManager = manager;
    m_packages += names;
    m_packages.removeDuplicates();
    return m_fault.isEmpty() && write();
}

bool Store::forgetPackages(const QStringList &names)
{
    for (const QString &name : names)
        m_packages.removeAll(name);
    if (isEmpty() && m_fault.isEmpty()) // a set-up that came to nothing leaves no store
        return !QFileInfo::exists(indexFile()) || QFile::remove(indexFile());
    return writeUnlessNew();
}

bool Store::forgetPackages()
{
    m_packages.clear();
    return write();
}

bool Store::seal()
{
    settleListings();
    for (StoredItem &item : m_items) {
        if (m_touched.contains(item.path)
            && !item.isTree) // what else has changed was somebody else
            item.after = FileState::of(item.path);
    }
    return writeUnlessNew();
}

bool Store::finish()
{
    m_isFinished = true;
    settleListings();
    QVector<StoredItem> changed;
    for (const StoredItem &item : std::as_const(m_items)) {
        if (item.condition() != StoredItem::AsBefore)
            changed.append(item);
        else if (m_touched.contains(item.path))
            putTimeBack(item);
    }
    m_items.clear();
    m_known.clear();
    for (StoredItem &item : changed) {
        if (item.isTree && m_touched.contains(item.path))
            item.after = stateOfTree(item.path);
    }
    for (const StoredItem &item : std::as_const(changed))
        append(item);
    const bool isWritten = seal();
    if (isWritten)
        discardContents();
    return isWritten;
}

bool Store::isEmpty() const { return m_items.isEmpty() && m_packages.isEmpty(); }

/** A set-up that was refused leaves no store. */
bool Store::writeUnlessNew()
{
    if (!m_fault.isEmpty())
        return false;
    return (isEmpty() && !QFileInfo::exists(indexFile())) || write();
}

bool Store::has(const QVector<Part> &parts) const
{
    return std::any_of(m_items.cbegin(), m_items.cend(),
                       [&](const StoredItem &item) { return parts.contains(item.part); });
}

QStringList Store::kernelReleases() const
{
    QStringList releases;
    for (const StoredItem &item : m_items) {
        const QStringList parts = item.path.split(QLatin1Char('/'));
        if (item.part == Part::Driver && item.path.startsWith(QLatin1String("/lib/modules/")))
            releases.append(parts.at(3));
    }
    releases.removeDuplicates();
    return releases;
}

/** Old secrets are not kept for longer than they are of use. */
void Store::discardContents()
{
    QSet<QString> needed;
    for (const StoredItem &item : std::as_const(m_items))
        needed.insert(item.before.checksum);
    const QDir kept(contentDirectory());
    const QStringList names = kept.entryList(QDir::Files);
    for (const QString &name : names) {
        if (!needed.contains(name))
            QFile::remove(kept.filePath(name));
    }
}

bool Store::isBelowTreeBeingFilled(const QString &path) const
{
    return std::any_of(m_items.cbegin(), m_items.cend(), [&](const StoredItem &item) {
        return item.isBeingFilled() && path.startsWith(item.path + QLatin1Char('/'));
    });
}

/** A stage that fails brings back what it has replaced, but not the time of it. */
void Store::putTimeBack(const StoredItem &item) const
{
    const bool hasTime = item.before.kind == FileState::File || item.before.kind == FileState::Link;
    if (hasTime && !item.isTree && !FileState::of(item.path).hasTimeOf(item.before))
        undo(item);
}

bool Store::undo(const StoredItem &item) const
{
    if (item.isTree && !removeTree(item.path))
        return false;
    return item.before.restore(item.path, contentOf(item.before));
}

Undone Store::undo(const QVector<Part> &parts, bool evenEdited)
{
    Undone undone;
    QVector<StoredItem> left;
    QHash<QString, StoredItem::Condition> conditions; // before anything is undone
    for (const StoredItem &item : std::as_const(m_items))
        conditions.insert(
            item.path, isBelowTreeBeingFilled(item.path) ? StoredItem::AsLeft : item.condition());
    for (auto item = m_items.crbegin(); item != m_items.crend(); ++item) {
        const StoredItem::Condition condition = conditions.value(item->path);
        if (!parts.contains(item->part)) {
            left.append(*item);
        } else if (condition == StoredItem::AsBefore) {
            putTimeBack(*item);
        } else if (condition != StoredItem::AsLeft && !evenEdited) {
            left.append(*item);
            undone.edited.append(item->path);
        } else if (undo(*item)) {
            undone.restored.append(item->path);
        } else {
            left.append(*item);
            undone.failed.append(item->path);
        }
    }
    std::reverse(left.begin(), left.end());
    m_items = left;
    undone.isNoted = write();
    if (undone.isNoted) // or what is still listed would be lost
        discardContents();
    return undone;
}

}
