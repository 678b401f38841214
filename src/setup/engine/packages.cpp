// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packages.h"

#include "processes.h"
#include "session.h"
#include "stages.h"
#include "text.h"

#include <kestra/foundation/systeminfo.h>
#include <kestra/packages/apt.h>
#include <kestra/packages/packagemanager.h>
#include <kestra/packages/rpm.h>
#include <kestra/packages/zypper.h>

#include <QElapsedTimer>
#include <QRegularExpression>
#include <QStandardPaths>
#include <QThread>

#include <memory>

namespace Setup {

namespace {

constexpr int pollInterval = 500; // ms

struct Distribution
{
    const char *name;
    const char *manager;
};

constexpr Distribution distributions[] = {
    {"Debian", "apt"},
    {"Ubuntu", "apt"},
    {"SuSE", "zypper"},
};

struct Tool
{
    const char *program;
    const char *manager;
};

constexpr Tool managerTools[] = {
    {"apt-get", "apt"},
    {"zypper", "zypper"},
};

struct Need
{
    const char *manager;
    const char *protocol;
    const char *packages;
};

// pppd has its plug-ins for both protocols in its own package. PPPoE needs an Ethernet interface
// on top of the ATM circuit, too.
constexpr Need needs[] = {
    {"apt", "pppoa", "ppp"},
    {"apt", "pppoe", "ppp,br2684ctl"},
    {"zypper", "pppoa", "ppp"},
    {"zypper", "pppoe", "ppp,linux-atm"},
};

struct Lock
{
    const char *manager;
    const char *path;
    std::optional<Process> (*holder)(const QString &);
};

constexpr Lock locks[] = {
    {"apt", "/var/lib/dpkg/lock-frontend", lockHolder},
    {"apt", "/var/lib/dpkg/lock", lockHolder},
    {"apt", "/var/cache/apt/archives/lock", lockHolder},
    {"zypper", "/run/zypp.pid", processInFile},
};

struct Cause
{
    const char *pattern;
    const char *sentence;
    const char *nextStep;
};

constexpr Cause causes[] = {
    {"Unable to locate package|has no installation candidate|not found in package names",
     "The package sources do not know a package that is needed.",
     "Refresh the package lists (apt-get update, zypper refresh), or name other packages with "
     "--packages."},
    {"Temporary failure resolving|Could not resolve|Network is unreachable|Failed to fetch|"
     "Unable to connect|Download .* failed",
     "The packages could not be downloaded.",
     "Connect to the network in another way, or add an installation disc to the package sources."},
    {"Could not get lock|Unable to acquire the dpkg|System management is locked",
     "Another program uses the package system.", "Wait until it has ended, then start again."},
    {"No space left on device|enough free space", "The disk is full.",
     "Free some space, then start again."},
    {"unauthenticated|NO_PUBKEY|signatures couldn't be verified",
     "The package tools do not trust a package source.",
     "Refresh the package lists, or mend the sources."},
    {"--force-yes", "The package tools refused the option --force-yes.",
     "Install the packages by hand, then start again with --no-packages."},
};

bool isOf(const char *manager, const Session &session)
{
    return session.packageManager == QLatin1String(manager);
}

QStringList neededPackages(const Session &session)
{
    if (!session.settings.packages.isEmpty())
        return splitNames(session.settings.packages);
    // The modem of this driver is an Ethernet interface of its own.
    const bool needsBridge = session.modem.driver != QLatin1String("unicorn");
    const QString protocol = needsBridge ? session.line.protocol : QStringLiteral("pppoa");
    for (const Need &need : needs) {
        if (isOf(need.manager, session) && protocol == QLatin1String(need.protocol))
            return splitNames(QString::fromLatin1(need.packages));
    }
    return {};
}

/** The library's facade, and the end of the backends that it leaves to the thread. */
class Packages
{
public:
    explicit Packages(const QString &manager)
        : m_usesRpm(manager == zypperName())
        , m_manager(std::make_unique<PackageManager>(manager, QThread::currentThread()))
    {
    }

    ~Packages()
    {
        m_manager.reset();
        QThread *const thread = QThread::currentThread();
        qDeleteAll(thread->findChildren<Apt *>(QString(), Qt::FindDirectChildrenOnly));
        qDeleteAll(thread->findChildren<Rpm *>(QString(), Qt::FindDirectChildrenOnly));
    }

    QStringList notInstalled(const QStringList &packages)
    {
        if (!m_usesRpm)
            return m_manager->getNotInstalled(packages);
        // The facade never lists the rpm packages, and would call each of them missing.
        Rpm rpm(QThread::currentThread());
        rpm.queryDB();
        return rpm.getNotInstalled(packages);
    }

    bool areAvailable(const QStringList &packages)
    {
        return m_manager->getArePackagesAvailable(packages);
    }

    int install(const QStringList &packages) { return m_manager->installPackages(packages); }

private:
    bool m_usesRpm;
    std::unique_ptr<PackageManager> m_manager;
};

std::optional<Process> currentLockHolder(const Session &session)
{
    for (const Lock &lock : locks) {
        if (!isOf(lock.manager, session))
            continue;
        if (const auto holder = lock.holder(QString::fromLatin1(lock.path)))
            return holder;
    }
    return std::nullopt;
}

std::optional<Outcome> waitForLock(Session &session)
{
    QElapsedTimer time;
    time.start();
    std::optional<Process> told;
    while (const auto holder = currentLockHolder(session)) {
        if (time.hasExpired(session.settings.lockTimeout * qint64(1000)))
            return Outcome::failed(
                ExitCode::PackagesBusy,
                QStringLiteral("The package system is locked by %1.").arg(holder->description()),
                QStringLiteral("Let it end or stop it, then start again."));
        if (!told || told->pid != holder->pid)
            session.frontend.waiting(QStringLiteral("the package system, which is locked by %1")
                                         .arg(holder->description()));
        told = holder;
        if (!session.pause(pollInterval))
            return Outcome::interrupted();
    }
    return std::nullopt;
}

Outcome explainFailure(const QStringList &packages, int code, const QStringList &toolLines)
{
    const QString output = toolLines.join(QLatin1Char('\n'));
    for (const Cause &cause : causes) {
        if (QRegularExpression(QString::fromLatin1(cause.pattern)).match(output).hasMatch())
            return Outcome::failed(ExitCode::Packages, QString::fromLatin1(cause.sentence),
                                   QString::fromLatin1(cause.nextStep));
    }
    return Outcome::failed(
        ExitCode::Packages,
        QStringLiteral("Not installed: %1 (the package tools ended with code %2).")
            .arg(packages.join(QStringLiteral(", ")))
            .arg(code),
        QStringLiteral("Install them by hand to see what is wrong, then start "
                       "again."));
}

QStringList without(QStringList names, const QStringList &others)
{
    for (const QString &name : others)
        names.removeAll(name);
    return names;
}

/** Nobody is there to answer the questions of a package: files of the user's own are kept. */
void answerPackageQuestions()
{
    qputenv("DEBIAN_FRONTEND", "noninteractive");
    qputenv("DPKG_FORCE", "confdef,confold");
}

}

QString packageManagerOfSystem()
{
    const QString system = Kestra::SystemInfo::getDistributionName();
    for (const Distribution &distribution : distributions) {
        if (system == QLatin1String(distribution.name))
            return QString::fromLatin1(distribution.manager);
    }
    // The library does not know the releases of today; their tools tell as much.
    for (const Tool &tool : managerTools) {
        if (!QStandardPaths::findExecutable(QString::fromLatin1(tool.program)).isEmpty())
            return QString::fromLatin1(tool.manager);
    }
    return QString();
}

Outcome installPackages(Session &session)
{
    const QStringList needed = neededPackages(session);
    answerPackageQuestions(); // before the backends take their copy of the environment
    Packages packages(session.packageManager);
    const QStringList missing = packages.notInstalled(needed);
    const QString names = missing.join(QStringLiteral(", "));
    if (missing.isEmpty())
        return Outcome::done(
            QStringLiteral("%1: installed already").arg(needed.join(QStringLiteral(", "))));

    if (const auto problem = waitForLock(session))
        return *problem;
    if (!packages.areAvailable(missing))
        return Outcome::failed(
            ExitCode::Packages,
            QStringLiteral("Not all of these packages can be had: %1.").arg(names),
            QStringLiteral("Refresh the package lists, or name other packages with --packages."));
    const int code = packages.install(missing);
    if (const auto tool = session.waitForTools())
        return Outcome::failed(ExitCode::Packages, QStringLiteral("%1 does not end.").arg(*tool),
                               QStringLiteral("See what it waits for, then start again."));
    const QStringList toolLines = session.toolLines();
    const QStringList stillMissing = packages.notInstalled(missing);
    session.store.rememberPackages(session.packageManager, without(missing, stillMissing));
    if (!stillMissing.isEmpty())
        return explainFailure(stillMissing, code, toolLines);

    session.changed(names, QStringLiteral("packages installed"));
    if (code != 0)
        session.frontend.note(
            QStringLiteral("The packages are installed, yet the package tools ended with code %1.")
                .arg(code));
    return Outcome::done(names);
}

}
