// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "discs.h"

#include "base/files.h"
#include "base/text.h"
#include "base/translate.h"
#include "hardwareservice.h"
#include "packagelock.h"
#include "packages.h"
#include "packagesystem.h"
#include "session.h"

#include <kestra/media/mediamanager.h>
#include <kestra/packages/zypper.h>

#include <QDBusMessage>
#include <QDir>
#include <QFileInfo>
#include <QRegularExpression>
#include <QStorageInfo>
#include <QTemporaryDir>

#include <unistd.h>

namespace Setup {

namespace {

// apt-get looks there by itself when it installs from a disc.
const QString mountPointForPackages = QStringLiteral("/media/cdrom");

const QString aptSources = QStringLiteral("/etc/apt/sources.list");
const QString aptDiscs = QStringLiteral("/var/lib/apt/cdroms.list");
const QString aptLists = QStringLiteral("/var/lib/apt/lists");
const QString zypperSources = QStringLiteral("/etc/zypp/repos.d");

struct Sign
{
    const char *manager;
    const char *path; ///< on the disc
};

constexpr Sign signsOfPackages[] = {
    {"apt", "dists"},
    {"apt", "Packages"},
    {"apt", "Packages.gz"},
    {"zypper", "repodata"},
    {"zypper", "media.1/products"},
    {"zypper", "suse/setup/descr"},
};

bool hasSigns(const QString &manager, const QString &mountPoint)
{
    for (const Sign &sign : signsOfPackages) {
        if (manager == QLatin1String(sign.manager)
            && QFileInfo::exists(mountPoint + QLatin1Char('/') + QLatin1String(sign.path)))
            return true;
    }
    return false;
}

bool isMountPoint(const QString &path) { return QStorageInfo(path).rootPath() == path; }

QString atTheBeginning(const QString &description)
{
    return description.left(1).toUpper() + description.mid(1);
}

Outcome failed(const QString &cause, const QString &nextStep)
{
    return Outcome::failed(ExitCode::Disc, cause, nextStep);
}

/** The files that tell the package tools of their sources. */
std::optional<Outcome> rememberSources(Session &session)
{
    if (session.packageManager == aptName()) {
        const QString copy = QStringLiteral("~"); // apt-cdrom leaves copies of the earlier ones
        return session.remember(Part::PackageSources,
                                {aptSources, aptSources + copy, aptDiscs, aptDiscs + copy});
    }
    return session.rememberEntries(Part::PackageSources, {zypperSources});
}

QStringList entries(const QString &directory)
{
    QStringList paths;
    const QFileInfoList list = QDir(directory).entryInfoList(QDir::Files);
    for (const QFileInfo &entry : list)
        paths.append(entry.filePath());
    return paths;
}

/** Returns the text of the file that tells zypper of the directory. */
QByteArray repositoryOf(const QString &mountPoint)
{
    const QStringList files = entries(zypperSources);
    for (const QString &file : files) {
        const QByteArray text = content(file);
        if (text.contains("baseurl=dir:" + mountPoint.toUtf8() + '\n')
            || text.contains("baseurl=dir://" + mountPoint.toUtf8() + '\n'))
            return text;
    }
    return QByteArray();
}

bool addToApt(Session &session)
{
    const QStringList before = entries(aptLists);
    const int code = PackageSystem(session).addDisc(mountPointForPackages);
    QStringList added = entries(aptLists);
    for (const QString &path : before)
        added.removeAll(path);
    session.store.rememberNew(Part::PackageSources, added);
    return code == 0 && content(aptSources).contains("cdrom:");
}

/** The library does not know the table of today's zypper, nor discs without a list of products. */
bool addToZypper(Session &session, const Disc &disc)
{
    const QString &mountPoint = mountPointForPackages;
    Zypper zypper(nullptr);
    if (PackageSystem(session).addDisc(mountPoint) < 0)
        zypper.addRepo(mountPoint,
                       disc.label.isEmpty() ? QStringLiteral("Installation disc") : disc.label);
    const QByteArray repository = repositoryOf(mountPoint);
    static const QRegularExpression alias(QStringLiteral("^\\[(.*)\\]$"),
                                          QRegularExpression::MultilineOption);
    if (repository.contains("enabled=0"))
        zypper.enableRepo(alias.match(QString::fromUtf8(repository)).captured(1), true);
    return repositoryOf(mountPoint).contains("enabled=1");
}

/** Returns why the disc cannot be used, if so. */
std::optional<Outcome> mountForPackages(const Disc &disc)
{
    if (disc.mountPoint == mountPointForPackages)
        return std::nullopt;
    if (isMountPoint(mountPointForPackages))
        return failed(Text::tr("Another disc is mounted at %1.").arg(mountPointForPackages),
                      Text::tr("Eject it with kestra-setup disc eject, then start again."));
    MediaManager media(nullptr);
    if (media.mountVolume(disc.udi, mountPointForPackages) == 0)
        return std::nullopt;
    return failed(Text::tr("%1 could not be mounted at %2.")
                      .arg(atTheBeginning(disc.description()), mountPointForPackages),
                  Text::tr("See whether it can be read, then start again."));
}

}

QString Disc::description() const
{
    return printable(label.isEmpty() ? Text::tr("the disc in %1").arg(device)
                                     : Text::tr("the disc \"%1\" in %2").arg(label, device));
}

Discs discsInDrives()
{
    Discs result;
    // Has the bus start the service, and tells why not.
    HardwareService service;
    QDBusPendingCall call = HardwareService::call();
    call.waitForFinished();
    service.take(call.reply());
    if (const auto problem = service.problem()) {
        result.problem =
            Outcome::failed(ExitCode::NoBus, problem->cause, problem->remedy + QLatin1Char('.'));
        return result;
    }
    MediaManager media(nullptr);
    const QList<Volume> volumes = media.getVolumesList();
    for (const Volume &volume : volumes)
        result.discs.append({volume.getLabel(), volume.getDevice(), volume.getUdi(),
                             media.getVolumeMountPoint(volume.getUdi())});
    return result;
}

std::optional<bool> holdsPackages(const Session &session, const Disc &disc)
{
    if (!disc.mountPoint.isEmpty())
        return hasSigns(session.packageManager, disc.mountPoint);
    const QTemporaryDir directory(QStringLiteral("/run/kestra-setup-XXXXXX"));
    MediaManager media(nullptr);
    if (::geteuid() != 0 || !directory.isValid()
        || media.mountVolume(disc.udi, directory.path()) != 0)
        return std::nullopt;
    const bool result = hasSigns(session.packageManager, directory.path());
    media.unmountVolume(directory.path(), false);
    return result;
}

Outcome addAsSource(Session &session, const Disc &disc)
{
    if (const auto problem = waitForLock(session))
        return *problem;
    if (const auto problem = mountForPackages(disc))
        return *problem;
    const auto giveUp = [&](const Outcome &outcome) {
        if (disc.mountPoint != mountPointForPackages)
            MediaManager(nullptr).unmountVolume(mountPointForPackages, false);
        return outcome;
    };
    if (!hasSigns(session.packageManager, mountPointForPackages))
        return giveUp(failed(Text::tr("There are no packages for %1 on %2.")
                                 .arg(session.packageManager, disc.description()),
                             Text::tr("Insert the installation disc of this distribution, "
                                      "then start again.")));
    if (const auto problem = rememberSources(session))
        return giveUp(*problem);
    if (!(session.packageManager == aptName() ? addToApt(session) : addToZypper(session, disc)))
        return giveUp(
            failed(Text::tr("%1 could not be made a source of packages.")
                       .arg(atTheBeginning(disc.description())),
                   Text::tr("See whether it is the installation disc of this distribution.")));
    session.changed(session.packageManager == aptName() ? aptSources : zypperSources,
                    Text::tr("source of packages: %1").arg(disc.description()));
    return Outcome::done(disc.description());
}

Outcome eject(const Disc &disc)
{
    if (MediaManager(nullptr).ejectVolume(disc.udi))
        return Outcome::done();
    return failed(Text::tr("%1 could not be ejected.").arg(atTheBeginning(disc.description())),
                  Text::tr("See whether a program uses it, then start again."));
}

DiscOffer offerDisc(Session &session, const QString &why)
{
    const QString again = Text::tr("look for discs again");
    const QString giveUp = Text::tr("give up");
    session.frontend.note(why);
    session.frontend.note(Text::tr("An installation disc may have them."));
    for (;;) {
        const Discs discs = discsInDrives();
        QStringList answers;
        for (const Disc &disc : discs.discs)
            answers.append(disc.description());
        const auto answer = session.frontend.choose(
            answers.isEmpty() ? Text::tr("Insert the installation disc. What now")
                              : Text::tr("Which disc is the installation disc"),
            answers + QStringList {again, giveUp}, QString());
        if (!answer || *answer == giveUp || session.cancellation.isRequested())
            return DiscOffer::Declined;
        const int index = answers.indexOf(*answer);
        if (index < 0)
            continue;
        const Outcome outcome = addAsSource(session, discs.discs[index]);
        if (outcome.kind == Outcome::Done)
            return DiscOffer::Added;
        session.frontend.note(joined({outcome.sentence, outcome.nextStep}));
    }
}

}
