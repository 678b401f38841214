// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagesystem.h"

#include "base/processes.h"
#include "base/text.h"
#include "base/translate.h"
#include "packages.h"
#include "session.h"

#include <kestra/packages/apt.h>
#include <kestra/packages/packagemanager.h>
#include <kestra/packages/rpm.h>

#include <QRegularExpression>
#include <QSet>
#include <QThread>

#include <algorithm>
#include <memory>

namespace Setup {

namespace {

constexpr int queryTimeLimit = 30000; // ms
constexpr int simulationTimeLimit = 300000;
constexpr int noAnswer = -1;

struct Cause
{
    const char *pattern;
    const char *sentence;
    const char *nextStep;
    bool mayADiscHelp = false;
};

constexpr char refresh[] =
    QT_TRANSLATE_NOOP("Setup",
                      "Refresh the package lists (apt-get update, zypper refresh), or name "
                      "other packages with --packages.");

// The first one that fits, so those come first whose words others use, too.
constexpr Cause causes[] = {
    {"No space left on device|enough free space|[Nn]ot enough (disk|space)",
     QT_TRANSLATE_NOOP("Setup", "The disk is full."),
     QT_TRANSLATE_NOOP("Setup", "Free some space, then start again.")},
    {"Could not get lock|Unable to acquire the dpkg|System management is locked",
     QT_TRANSLATE_NOOP("Setup", "Another program uses the package system."),
     QT_TRANSLATE_NOOP("Setup", "Wait until it has ended, then start again.")},
    {"dpkg was interrupted",
     QT_TRANSLATE_NOOP("Setup", "An earlier installation of packages was cut off."),
     QT_TRANSLATE_NOOP("Setup", "Run dpkg --configure -a, then start again.")},
    {"Media change: please insert|Disk not found|Specified path .* is not a directory",
     QT_TRANSLATE_NOOP("Setup", "The disc with the packages is not in its drive."),
     QT_TRANSLATE_NOOP("Setup", "Insert it and use kestra-setup disc add, then start again."),
     true},
    {"(?i)\\b(licen[cs]e|EULA)\\b.*(agree|accept|consent|declin|confirm)|"
     "(agree|accept|consent|declin|confirm)\\w*\\b.*\\b(licen[cs]e|EULA)\\b",
     QT_TRANSLATE_NOOP("Setup",
                       "A package asks for consent to its licence, which only you can give."),
     QT_TRANSLATE_NOOP("Setup", "Install it by hand, then start again.")},
    {"Unable to locate package|has no installation candidate|not found in package names|"
     "No provider of",
     QT_TRANSLATE_NOOP("Setup", "The package sources do not know a package that is needed."),
     refresh, true},
    {"unmet dependencies|held broken packages|nothing provides|Problem: ",
     QT_TRANSLATE_NOOP(
         "Setup", "A package needs others that cannot be had, or that exclude what is installed."),
     refresh, true},
    {"unauthenticated|NO_PUBKEY|signatures couldn't be verified",
     QT_TRANSLATE_NOOP("Setup", "The package tools do not trust a package source."),
     QT_TRANSLATE_NOOP("Setup", "Refresh the package lists, or mend the sources.")},
    {"Temporary failure resolving|Could not resolve|Network is unreachable|Failed to fetch|"
     "Unable to connect|Could not connect|Download .* failed|Valid metadata not found|"
     "Can't provide|Failed to provide|Skipping repository",
     QT_TRANSLATE_NOOP("Setup", "The packages could not be downloaded."),
     QT_TRANSLATE_NOOP("Setup",
                       "Connect to the network in another way, or add an installation disc with "
                       "kestra-setup disc "
                       "add."),
     true},
    {"--force-yes.*(not understood|not known|removed)",
     QT_TRANSLATE_NOOP("Setup",
                       "The package tools refused the option "
                       "--force-yes."),
     QT_TRANSLATE_NOOP("Setup",
                       "Install the packages by hand, then start again with --no-packages.")},
};

std::optional<PackageSystem::Obstacle> knownCause(const QStringList &lines)
{
    const QString output = lines.join(QLatin1Char('\n'));
    for (const Cause &cause : causes) {
        if (QRegularExpression(QString::fromLatin1(cause.pattern)).match(output).hasMatch())
            return PackageSystem::Obstacle {Outcome::failed(ExitCode::Packages,
                                                            Text::tr(cause.sentence),
                                                            Text::tr(cause.nextStep)),
                                            cause.mayADiscHelp};
    }
    return std::nullopt;
}

PackageSystem::Obstacle explain(const QString &what, int code, const QStringList &lines)
{
    return knownCause(lines).value_or(PackageSystem::Obstacle {
        Outcome::failed(ExitCode::Packages,
                        Text::tr("%1 (the package tools ended with code %2).").arg(what).arg(code),
                        Text::tr("Install them by hand to see what is wrong, then start again."))});
}

PackageSystem::Obstacle unknownPackages(const QStringList &names)
{
    return {
        Outcome::failed(
            ExitCode::Packages,
            Text::tr("The package sources do not know %1.").arg(names.join(QStringLiteral(", "))),
            Text::tr(refresh)),
        true};
}

/** apt-get takes an unknown name for a pattern, and is content with others that it matches. */
QStringList namesWithoutInstallation(const QStringList &names, const QStringList &lines)
{
    QStringList left;
    for (const QString &name : names) {
        const QString start = QStringLiteral("Inst %1").arg(name.section(QLatin1Char(':'), 0, 0));
        const bool isThere =
            std::any_of(lines.cbegin(), lines.cend(), [&start](const QString &line) {
                return line.startsWith(start + QLatin1Char(' '))
                    || line.startsWith(start + QLatin1Char(':'));
            });
        if (!isThere)
            left.append(name);
    }
    return left;
}

/** zypper is content with another package that provides what has the name. */
QStringList namesThatZypperTookForOthers(const QStringList &lines)
{
    static const QRegularExpression pattern(
        QStringLiteral("^'(.*)' not found in package names. Trying capabilities"));
    QStringList names;
    for (const QString &line : lines) {
        const auto match = pattern.match(line);
        if (match.hasMatch())
            names.append(match.captured(1));
    }
    return names;
}

/** Nobody is there to answer the questions of a package: files of the user's own are kept. */
void answerPackageQuestions()
{
    qputenv("DEBIAN_FRONTEND", "noninteractive");
    qputenv("DPKG_FORCE", "confdef,confold");
}

/** The library's facade, and the end of the backends that it leaves to the thread. */
class Facade
{
public:
    explicit Facade(const QString &manager)
        : m_manager(std::make_unique<PackageManager>(manager, QThread::currentThread()))
    {
    }

    ~Facade()
    {
        m_manager.reset();
        QThread *const thread = QThread::currentThread();
        qDeleteAll(thread->findChildren<Apt *>(QString(), Qt::FindDirectChildrenOnly));
        qDeleteAll(thread->findChildren<Rpm *>(QString(), Qt::FindDirectChildrenOnly));
    }

    PackageManager *operator->() const { return m_manager.get(); }

private:
    std::unique_ptr<PackageManager> m_manager;
};

const QString installedState = QStringLiteral("i");
const QString begunStates = QStringLiteral("iHUFWt"); // half-installed, unpacked and so on

/**
 * In a listing of dpkg: "ii  NAME:ARCHITECTURE  VERSION ...", where the first letter is a wish and
 * the second a state.
 */
QString nameInDpkgLine(const QString &line, const QString &states)
{
    if (line.size() < 5 || !states.contains(line[1]) || line[2] != QLatin1Char(' '))
        return QString();
    return line.mid(4).section(QLatin1Char(' '), 0, 0);
}

/** In a listing of rpm: NAME-VERSION-RELEASE.ARCHITECTURE */
QString nameInRpmLine(const QString &line) { return line.section(QLatin1Char('-'), 0, -3); }

}

PackageSystem::PackageSystem(Session &session) : m_session(session)
{
    answerPackageQuestions(); // before the backends take their copy of the environment
}

bool PackageSystem::usesZypper() const { return m_session.packageManager == zypperName(); }

/**
 * The library takes gcc for installed when only gcc-12-base is, so the tools are asked for whole
 * names.
 */
std::optional<QStringList> PackageSystem::listed(const QString &states)
{
    QStringList lines;
    const auto code = usesZypper()
        ? m_session.runTool(QStringLiteral("rpm"), {QStringLiteral("-qa")}, QString(), &lines,
                            queryTimeLimit)
        : m_session.runTool(QStringLiteral("dpkg"), {QStringLiteral("-l")}, QString(), &lines,
                            queryTimeLimit);
    if (!code)
        return std::nullopt;
    QStringList names;
    for (const QString &line : std::as_const(lines)) {
        const QString name = usesZypper() ? nameInRpmLine(line) : nameInDpkgLine(line, states);
        names << name << name.section(QLatin1Char(':'), 0, 0);
    }
    return names;
}

std::optional<QStringList> PackageSystem::notInstalled(const QStringList &names)
{
    return notListed(names, installedState);
}

std::optional<QStringList> PackageSystem::notListed(const QStringList &names, const QString &states)
{
    const auto list = listed(states);
    if (!list)
        return std::nullopt;
    const QSet<QString> there(list->begin(), list->end());
    QStringList missing;
    for (const QString &name : names) {
        if (!there.contains(name))
            missing.append(name);
    }
    return missing;
}

/** The library has no simulation for zypper. */
int PackageSystem::simulate(const QStringList &names)
{
    if (usesZypper()) {
        const QStringList command = {
            QStringLiteral("LC_ALL=C"),          zypperName(),
            QStringLiteral("--non-interactive"), QStringLiteral("--no-gpg-checks"),
            QStringLiteral("install"),           QStringLiteral("--dry-run")};
        return m_session
            .runTool(QStringLiteral("env"), command + names, QString(), nullptr,
                     simulationTimeLimit)
            .value_or(noAnswer);
    }
    Apt apt(QThread::currentThread());
    const int code = apt.install(names, true);
    return runningChildren().isEmpty() ? code : noAnswer; // one that runs ends with the object
}

PackageSystem::Obstacle PackageSystem::doesNotAnswer(const QString &program) const
{
    return {Outcome::failed(
        ExitCode::Packages, Text::tr("%1 gives no answer, or was stopped.").arg(program),
        Text::tr("Run it by hand to see what it waits for, then start again."))};
}

std::optional<PackageSystem::Obstacle> PackageSystem::tryOut(const QStringList &names)
{
    int code = noAnswer;
    const QStringList lines = m_session.linesOf([&] { code = simulate(names); });
    if (code == noAnswer || lines.isEmpty()) // the library has no code for one that does not start
        return doesNotAnswer(usesZypper() ? zypperName() : QStringLiteral("apt-get"));
    const QStringList others =
        usesZypper() ? namesThatZypperTookForOthers(lines) : namesWithoutInstallation(names, lines);
    if (code == 0 && others.isEmpty())
        return std::nullopt;
    if (code == 0)
        return unknownPackages(others);
    return explain(
        Text::tr("These packages cannot be had: %1").arg(names.join(QStringLiteral(", "))), code,
        lines);
}

std::optional<PackageSystem::Obstacle> PackageSystem::install(const QStringList &names)
{
    // Before, as nobody may be left to do so afterwards.
    if (const auto problem = m_session.rememberPackages(names))
        return Obstacle {*problem};
    Facade facade(m_session.packageManager);
    int code = 0;
    std::optional<QString> running;
    const QStringList lines = m_session.linesOf([&] {
        code = facade->installPackages(names);
        running = m_session.waitForTools();
    });
    if (running)
        return Obstacle {Outcome::failed(ExitCode::Packages,
                                         Text::tr("%1 does not end.").arg(*running),
                                         Text::tr("See what it waits for, then start again."))};
    const auto missing = notInstalled(names);
    const auto untouched = missing ? notListed(*missing, begunStates) : std::nullopt;
    if (!untouched)
        return doesNotAnswer(usesZypper() ? QStringLiteral("rpm") : QStringLiteral("dpkg"));
    m_session.store.forgetPackages(*untouched);
    if (!missing->isEmpty())
        return explain(Text::tr("Not installed: %1").arg(missing->join(QStringLiteral(", "))), code,
                       lines);
    if (code != 0)
        m_session.frontend.note(
            Text::tr("The packages are installed, yet the package tools ended with code %1.")
                .arg(code));
    return std::nullopt;
}

int PackageSystem::addDisc(const QString &mountPoint)
{
    Facade facade(m_session.packageManager);
    const int code = facade->addCD(mountPoint);
    m_session.waitForTools();
    return code;
}

}
