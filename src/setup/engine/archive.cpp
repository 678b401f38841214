// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "archive.h"

#include "base/text.h"
#include "base/translate.h"

#include <kestra/foundation/myprocess.h>

#include <QDir>
#include <QFileInfo>
#include <QProcessEnvironment>
#include <QRegularExpression>
#include <QSet>

namespace Setup {

namespace {

// Far more than any driver or firmware has.
constexpr qint64 mebibyte = qint64(1024) * 1024;
constexpr qint64 largestFile = 256 * mebibyte;
constexpr qint64 largestContent = 1024 * mebibyte;
constexpr int mostMembers = 50000;
constexpr int readingTime = 60 * 1000; // ms

constexpr qint64 blockSize = 4096;

QString downloadAgain() { return Text::tr("Make or download it again."); }

QString trustedSource() { return Text::tr("Get it from a source that you trust."); }

/** Undoes tar's quoting, which is that of string literals in C. */
QString unquoted(const QByteArray &quoted)
{
    static const QByteArray letters = "abfnrtv";
    static const QByteArray meanings = "\a\b\f\n\r\t\v";
    QByteArray bytes;
    for (int i = 0; i < quoted.size(); ++i) {
        if (quoted[i] != '\\' || i + 1 == quoted.size()) {
            bytes += quoted[i];
            continue;
        }
        const char next = quoted[++i];
        const int letter = letters.indexOf(next);
        if (next >= '0' && next <= '7') {
            bytes += char(quoted.mid(i, 3).toInt(nullptr, 8));
            i += 2;
        } else {
            bytes += letter >= 0 ? meanings[letter] : next;
        }
    }
    return textFromBytes(bytes);
}

bool leavesDirectory(const QString &name)
{
    return name.startsWith(QLatin1Char('/'))
        || name.split(QLatin1Char('/')).contains(QStringLiteral(".."));
}

/**
 * Whether a symbolic link leads out of the directory in which the archive is unpacked.
 *
 * Only at the beginning of its target, "..", is what it seems to be: the directories on the way to
 * the link are no links themselves.
 */
bool linkLeavesDirectory(const QString &link, const QString &target)
{
    const int depth = int(QDir::cleanPath(link).count(QLatin1Char('/')));
    int up = 0;
    bool goesDown = false;
    for (const QString &part : target.split(QLatin1Char('/'), Qt::SkipEmptyParts)) {
        const bool goesUp = part == QLatin1String("..");
        if (goesUp && (goesDown || ++up > depth))
            return true;
        goesDown |= !goesUp && part != QLatin1String(".");
    }
    return target.startsWith(QLatin1Char('/'));
}

/** Takes the lines of tar's long list. */
class Listing
{
public:
    void take(const QByteArray &line);

    bool isOver() const { return !m_archive.fault.isEmpty(); }
    Archive archive() const { return m_archive; }

private:
    void takeMember(const QRegularExpressionMatch &match);
    void checkLinks(char type, const QString &name, const QString &target);
    QString linkOnTheWay(const QString &name) const;
    void refuse(const QString &fault, const QString &remedy);

    Archive m_archive;
    QSet<QString> m_links; ///< symbolic ones
    QSet<QString> m_directories; ///< on the way to a member
};

void Listing::take(const QByteArray &line)
{
    static const QRegularExpression beginning(QStringLiteral("^.[rwxsStT-]{9} "));
    static const QRegularExpression member(
        QStringLiteral("^([-dlhC])[rwxsStT-]{9} +\\S+ +([0-9]+) +\\S+ +\\S+ "
                       "\"((?:[^\"\\\\]|\\\\.)*)\"(?: (?:->|link to) \"((?:[^\"\\\\]|\\\\.)*)\")?"
                       "$"));
    if (isOver())
        return;
    const QString text = QString::fromLatin1(line);
    const QRegularExpressionMatch match = member.match(text);
    if (match.hasMatch())
        takeMember(match);
    else if (beginning.match(text).hasMatch())
        refuse(Text::tr("holds something that is neither file nor directory nor link (%1)")
                   .arg(unquoted(line.mid(line.indexOf('"') + 1).replace("\"", ""))),
               trustedSource());
    // All else is a message of tar or of the program that it has unpack the archive.
}

void Listing::takeMember(const QRegularExpressionMatch &match)
{
    const char type = match.captured(1).at(0).toLatin1();
    const QString name = unquoted(match.captured(3).toLatin1());
    m_archive.members.append(name);
    const qint64 size = match.captured(2).toLongLong();
    m_archive.size += (size / blockSize + 1) * blockSize;
    if (size > largestContent || m_archive.size > largestContent)
        refuse(Text::tr("holds more than %1 MiB").arg(largestContent / mebibyte), downloadAgain());
    else if (m_archive.members.size() > mostMembers)
        refuse(Text::tr("holds more than %1 files").arg(mostMembers), downloadAgain());
    else if (leavesDirectory(name))
        refuse(Text::tr("would put files outside its directory (%1)").arg(name), trustedSource());
    else
        checkLinks(type, name, unquoted(match.captured(4).toLatin1()));
}

void Listing::checkLinks(char type, const QString &name, const QString &target)
{
    const QString path = QDir::cleanPath(name);
    const QString link = linkOnTheWay(path);
    const bool isHardLink = type == 'h';
    const bool leaves = isHardLink ? leavesDirectory(target) || !linkOnTheWay(target).isEmpty()
                                   : type == 'l' && linkLeavesDirectory(name, target);
    // A hard link to a symbolic one would be the same at another place.
    const bool isCopy = isHardLink && m_links.contains(QDir::cleanPath(target));
    if (!link.isEmpty())
        refuse(Text::tr("would write through a link of its own (%1)").arg(name), trustedSource());
    else if (leaves || isCopy)
        refuse(Text::tr("has a link that leads outside its directory (%1 to %2)").arg(name, target),
               trustedSource());
    else if (type == 'l' && m_directories.contains(path))
        refuse(Text::tr("would write through a link of its own (%1)").arg(name), trustedSource());
    if (type == 'l')
        m_links.insert(path);
    for (int slash = int(path.indexOf(QLatin1Char('/'))); slash > 0;
         slash = int(path.indexOf(QLatin1Char('/'), slash + 1)))
        m_directories.insert(path.left(slash));
}

QString Listing::linkOnTheWay(const QString &name) const
{
    const QString path = QDir::cleanPath(name);
    for (int slash = int(path.indexOf(QLatin1Char('/'))); slash > 0;
         slash = int(path.indexOf(QLatin1Char('/'), slash + 1))) {
        if (m_links.contains(path.left(slash)))
            return path.left(slash);
    }
    return QString();
}

void Listing::refuse(const QString &fault, const QString &remedy)
{
    if (isOver())
        return;
    m_archive.fault = printable(fault); // names may hold anything
    m_archive.remedy = remedy;
}

Archive faulty(const QString &fault, const QString &remedy)
{
    Archive archive;
    archive.fault = fault;
    archive.remedy = remedy;
    return archive;
}

}

Archive readArchive(const QString &path)
{
    const qint64 size = QFileInfo(path).size();
    if (size == 0)
        return faulty(Text::tr("is empty"), downloadAgain());
    if (size > largestFile)
        return faulty(Text::tr("is larger than %1 MiB").arg(largestFile / mebibyte),
                      downloadAgain());
    Listing listing;
    MyProcess tar(nullptr);
    QObject::connect(&tar, &MyProcess::lineAvailable, &tar, [&](const QByteArray &line) {
        listing.take(line);
        if (listing.isOver())
            tar.kill();
    });
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C"));
    environment.remove(QStringLiteral("TAR_OPTIONS"));
    tar.setProcessEnvironment(environment);
    tar.start(QStringLiteral("tar"),
              {QStringLiteral("-Ptvf"), path, QStringLiteral("--numeric-owner"),
               QStringLiteral("--quoting-style=c")});
    tar.closeWriteChannel();
    const bool ended = tar.waitForFinished(readingTime);
    const Archive archive = listing.archive();
    if (!archive.fault.isEmpty())
        return archive;
    if (!ended)
        return faulty(
            Text::tr("could not be read to its end in %1 seconds").arg(readingTime / 1000),
            downloadAgain());
    if (tar.exitStatus() != QProcess::NormalExit || tar.exitCode() != 0)
        return faulty(Text::tr("is no tar archive that can be read to its end"), downloadAgain());
    if (archive.members.isEmpty())
        return faulty(Text::tr("holds no files"), downloadAgain());
    return archive;
}

}
