// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "bundle.h"
#include "modules.h"
#include "ownership.h"
#include "paths.h"
#include "question.h"
#include "session.h"
#include "stages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QStandardPaths>
#include <QThread>

#include <algorithm>

namespace Setup {

namespace {

QString orDefault(const QString &wish, const QString &usual)
{
    return wish.isEmpty() ? usual : wish;
}

QString absolute(const QString &path)
{
    return QDir::cleanPath(QFileInfo(path).absoluteFilePath());
}

Compiler::ModemDriver describeDriver(const Session &session)
{
    const Settings &settings = session.settings;
    const QString kernel = QStringLiteral("KDIR=") + kernelHeaders(settings, session.kernelRelease);
    Compiler::ModemDriver driver;
    driver.driverName = session.modem.driver;
    driver.driverVersion = session.modem.driverVersion;
    driver.driverBundlePath = absolute(settings.driverBundle);
    driver.extractionPath =
        absolute(orDefault(settings.extractionPath, QStringLiteral("/usr/src/kestra")));
    driver.extractedDriverPath =
        absolute(orDefault(settings.driverTree,
                           driver.extractionPath + QLatin1Char('/')
                               + usualTree(session.bundleMembers, driver.driverName)));
    driver.compiledDriverName =
        orDefault(settings.module, driver.driverName + QStringLiteral(".ko"));
    driver.compileArguments =
        orDefault(settings.compileArguments, QStringLiteral("all, ") + kernel);
    driver.installArguments =
        orDefault(settings.installArguments, QStringLiteral("install, ") + kernel);
    driver.makeEnvironment = settings.makeEnvironment;
    return driver;
}

/** The patch that the library would take, too: for exactly this driver and this kernel. */
QString patchFile(const Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    return QStringLiteral("%1/%2-%3_%4.patch")
        .arg(QFileInfo(driver.driverBundlePath).absolutePath(), driver.driverName,
             driver.driverVersion, session.kernelRelease);
}

QString productFile(const Session &session)
{
    return session.driver.extractedDriverPath + QLatin1Char('/')
        + session.driver.compiledDriverName;
}

QString logFile(const Session &session)
{
    return QStringLiteral("/opt/kestra/logs/%1-%2_compiler.log")
        .arg(session.driver.driverName, session.driver.driverVersion);
}

bool isBelow(const QString &path, const QString &directory)
{
    return path.startsWith(directory + QLatin1Char('/'));
}

/** The library removes the tree before and after the build: it must be nothing but that. */
std::optional<Outcome> checkTree(const Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    if (!isBelow(driver.extractedDriverPath, driver.extractionPath)
        || driver.extractionPath == QLatin1String("/"))
        return Outcome::failed(
            ExitCode::Usage,
            QStringLiteral(
                "The driver tree %1 is not below the directory %2 in which the bundle is "
                "unpacked.")
                .arg(driver.extractedDriverPath, driver.extractionPath),
            QStringLiteral("Mend --driver-tree or --extraction-path."));
    if (isBelow(driver.driverBundlePath, driver.extractedDriverPath))
        return Outcome::failed(ExitCode::Usage,
                               QStringLiteral("The driver bundle lies in the driver tree %1, which "
                                              "is emptied first.")
                                   .arg(driver.extractedDriverPath),
                               QStringLiteral("Move the bundle to another place."));
    return std::nullopt;
}

std::optional<Outcome> checkTreeInBundle(const Session &session)
{
    const QString tree =
        session.driver.extractedDriverPath.mid(session.driver.extractionPath.size() + 1);
    for (const QString &member : session.bundleMembers) {
        if (isBelow(QDir::cleanPath(member), tree))
            return std::nullopt;
    }
    return badBundle(session.settings, QStringLiteral("does not hold the driver tree %1").arg(tree),
                     QStringLiteral("Name the directory that it unpacks into with --driver-tree."));
}

/** Asks for a bundle that holds the driver of the modem, if none was given. */
std::optional<Outcome> askForBundle(Session &session)
{
    if (!session.settings.driverBundle.isEmpty())
        return std::nullopt;
    const QString &name = session.modem.driver;
    session.frontend.explain(
        QStringLiteral("The sources of the driver %1, as a tar archive. kestra-setup drivers %1 "
                       "tells where they come from.")
            .arg(name));
    const auto ask = [&] {
        return session.frontend.askPath(
            QStringLiteral("Driver bundle for %1 (a tar archive)").arg(name));
    };
    const Outcome noBundle =
        Outcome::failed(ExitCode::Usage, QStringLiteral("No driver bundle was given."),
                        QStringLiteral("Type its path when asked, or use "
                                       "--driver-bundle or --no-driver."));
    const auto fault = [&](const QString &answer) -> std::optional<Outcome> {
        if (answer.isEmpty())
            return noBundle;
        session.settings.driverBundle = answer;
        if (const auto problem = readBundle(session))
            return problem;
        session.driver = describeDriver(session);
        return checkTreeInBundle(session);
    };
    const auto answer = answerTo(session, {ask, fault, noBundle});
    if (std::holds_alternative<Outcome>(answer))
        return std::get<Outcome>(answer);
    return std::nullopt;
}

std::optional<Outcome> checkPatchTool(const Session &session)
{
    if (!QFileInfo(patchFile(session)).isFile()
        || !QStandardPaths::findExecutable(QStringLiteral("patch")).isEmpty())
        return std::nullopt;
    return Outcome::failed(ExitCode::Precondition,
                           QStringLiteral("The program patch is not installed."),
                           QStringLiteral("Install the package patch."));
}

/** What anybody else can change would be root's commands, once it is compiled. */
std::optional<Outcome> checkExtractionPath(const Session &session)
{
    const QString &path = session.driver.extractionPath;
    auto part = partOfOthers(path);
    if (!part && QFileInfo::exists(path) && !isOurDirectory(QFileInfo(path).canonicalFilePath()))
        part = path;
    if (!part)
        return std::nullopt;
    return Outcome::failed(
        ExitCode::Precondition,
        QStringLiteral("Others than root can write to %1, so the driver would not be safe in %2.")
            .arg(*part, path),
        QStringLiteral("Close it to them, or give another directory with --extraction-path."));
}

std::optional<Outcome> checkPatch(const Session &session)
{
    const QString file = patchFile(session);
    if (!QFileInfo(file).isFile() || isFileOfOwner(file, session.driver.driverBundlePath))
        return std::nullopt;
    return Outcome::failed(
        ExitCode::Precondition,
        QStringLiteral("The patch %1 belongs neither to root nor to the owner of the driver "
                       "bundle, or others can write to it.")
            .arg(file),
        QStringLiteral("See who put it there and what it does, then take it over with chown and "
                       "chmod go-w, or remove it."));
}

/** The firmware's variable ends with one byte that is 1 when only signed modules are loaded. */
bool isSecureBoot()
{
    QFile variable(QStringLiteral("/sys/firmware/efi/efivars/"
                                  "SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c"));
    return variable.open(QIODevice::ReadOnly) && variable.readAll().endsWith('\1');
}

std::optional<Outcome> waitForTools(Session &session, ExitCode code)
{
    const auto tool = session.waitForTools();
    if (!tool)
        return std::nullopt;
    return Outcome::failed(code, QStringLiteral("%1 does not end.").arg(*tool),
                           QStringLiteral("See what it waits for, then start again."));
}

QString inLog(const Session &session)
{
    return QStringLiteral("The whole output is in %1.").arg(logFile(session));
}

Outcome notSaved(Session &session, const QString &path)
{
    const bool isBack = restoreModules(session).lost.isEmpty();
    return Outcome::failed(isBack ? ExitCode::Backup : ExitCode::Restore,
                           QStringLiteral("%1 could not be copied to the backup.").arg(path),
                           QStringLiteral("See whether /tmp is full, then start again."));
}

QString copyCommands(const Session &session, const QStringList &installedPaths)
{
    QStringList commands;
    for (const QString &path : installedPaths)
        commands.append(
            QStringLiteral("cp %1 %2").arg(backupPath(path, session.kernelRelease), path));
    return commands.join(QStringLiteral("; "));
}

/** Decides by what is in the module tree: the exit code of make is unknown when it took long. */
bool isNewDriverInstalled(const Session &session)
{
    const QStringList copies =
        installedCopies(session.kernelRelease, session.driver.compiledDriverName);
    for (const QString &copy : copies) {
        const QByteArray sum = checksum(copy);
        const bool isOld =
            std::any_of(session.savedModules.cbegin(), session.savedModules.cend(),
                        [&sum](const SavedModule &saved) { return saved.checksum == sum; });
        if (!sum.isEmpty() && (sum == session.builtChecksum || !isOld))
            return true;
    }
    return false;
}

/** Whether it succeeded or not: what the installation has added is to go when it is undone. */
void rememberAdded(Session &session)
{
    const QSet<QString> directories = moduleDirectoriesNow(session.kernelRelease);
    QStringList added = (directories - session.directoriesBeforeInstallation).values();
    added.sort(); // a directory before what is in it
    const QString depmodFiles = moduleTree(session.kernelRelease) + QStringLiteral("/modules.");
    for (const QString &path :
         changedModules(session.kernelRelease, *session.treeBeforeInstallation)) {
        if (!session.treeBeforeInstallation->contains(path) && !path.startsWith(depmodFiles))
            added.append(path);
    }
    session.store.rememberNew(Part::Driver, added);
}

}

Outcome checkDriver(Session &session)
{
    if (const auto problem = askForBundle(session))
        return *problem;
    session.driver = describeDriver(session);
    for (const auto check :
         {checkTree, checkTreeInBundle, checkExtractionPath, checkPatch, checkPatchTool}) {
        if (const auto problem = check(session))
            return *problem;
    }
    if (isSecureBoot())
        session.frontend.note(
            QStringLiteral("This machine boots with Secure Boot: the kernel will refuse the driver "
                           "unless it is signed with a key that the machine knows."));
    return Outcome::done();
}

Outcome extractDriver(Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    if (const auto problem = session.remember(Part::Driver, {driver.extractionPath}))
        return *problem;
    if (!QDir().mkpath(driver.extractionPath))
        return Outcome::failed(
            ExitCode::Extraction,
            QStringLiteral("The directory %1 could not be made.").arg(driver.extractionPath),
            QStringLiteral("Give another directory with --extraction-path."));
    // Once more, as somebody may have made it in the meantime.
    if (const auto problem = checkExtractionPath(session))
        return *problem;
    session.compiler = std::make_unique<Compiler>(driver, QThread::currentThread());
    session.changed(logFile(session), QStringLiteral("what the tools said while building"));
    session.changed(driver.extractedDriverPath, QStringLiteral("the unpacked driver"));
    session.compiler->extractDriver();
    if (const auto problem = waitForTools(session, ExitCode::Extraction))
        return *problem;
    if (!QFileInfo(driver.extractedDriverPath).isDir())
        return Outcome::failed(
            ExitCode::Extraction,
            QStringLiteral("The bundle was not unpacked to %1.").arg(driver.extractedDriverPath),
            QStringLiteral("See whether the disk is full. ") + inLog(session));
    if (const auto member = cutOffMember(session))
        return Outcome::failed(
            ExitCode::Extraction,
            QStringLiteral("Unpacking did not complete: %1 is not whole.").arg(*member),
            QStringLiteral("See whether the disk is full. ") + inLog(session));
    return Outcome::done();
}

Outcome patchDriver(Session &session)
{
    const QString file = patchFile(session);
    if (!QFileInfo(file).isFile())
        return Outcome::skipped(
            QStringLiteral("there is no patch for %1").arg(session.kernelRelease));
    // Once more, as somebody may have put it there in the meantime.
    if (const auto problem = checkPatch(session))
        return *problem;
    // The library would name the patch as the file to be patched, and nothing would come of it.
    const auto code =
        session.runTool(QStringLiteral("patch"),
                        {QStringLiteral("-p0"), QStringLiteral("--forward"),
                         QStringLiteral("--batch"), QStringLiteral("--input=") + file},
                        session.driver.extractedDriverPath);
    if (code == 0)
        return Outcome::done(QStringLiteral("kestra-setup applied %1").arg(file));
    if (code == 1)
        return Outcome::failed(
            ExitCode::Patch, QStringLiteral("The patch %1 does not apply to the driver.").arg(file),
            QStringLiteral("Get the patch that belongs to this bundle, or remove "
                           "it."));
    return Outcome::failed(
        ExitCode::Patch,
        QStringLiteral("The program patch could not do its work (%1).")
            .arg(code ? QStringLiteral("code %1").arg(*code)
                      : QStringLiteral("it did not run to its end")),
        QStringLiteral("See whether the disk is full and %1 is a patch.").arg(file));
}

Outcome compileDriver(Session &session)
{
    const int code = session.compiler->compileDriver();
    if (const auto problem = waitForTools(session, ExitCode::Compilation))
        return *problem;
    session.builtChecksum = checksum(productFile(session));
    if (code == 0 && !session.builtChecksum.isEmpty())
        return Outcome::done();
    const QString cause = code == 0
        ? QStringLiteral("The compiler run left no %1.").arg(session.driver.compiledDriverName)
        : QStringLiteral("The driver did not compile (make ended with code %1).").arg(code);
    return Outcome::failed(ExitCode::Compilation, cause,
                           QStringLiteral("See whether the kernel headers and the driver fit "
                                          "together. ")
                               + inLog(session));
}

Outcome backupDriver(Session &session)
{
    if (const auto problem = session.remember(Part::Driver, replaceableModules(session)))
        return *problem;
    if (const auto problem = prepareBackupDirectory(session))
        return *problem;
    const QStringList installed =
        installedCopies(session.kernelRelease, session.driver.compiledDriverName);
    for (const QString &path : installed)
        session.savedModules.append(
            {path, backupPath(path, session.kernelRelease), checksum(path)});
    session.compiler->backupDriver();
    for (const SavedModule &saved : qAsConst(session.savedModules)) {
        if (!QFileInfo::exists(saved.installedPath)
            && checksum(saved.backupPath) == saved.checksum) {
            session.changed(saved.backupPath,
                            QStringLiteral("moved here from %1").arg(saved.installedPath));
            continue;
        }
        return notSaved(session, saved.installedPath);
    }
    const QString uncopied = copyOtherFiles(session);
    if (!uncopied.isEmpty())
        return notSaved(session, uncopied);
    session.treeBeforeInstallation = moduleTreeNow(session.kernelRelease);
    session.directoriesBeforeInstallation = moduleDirectoriesNow(session.kernelRelease);
    if (installed.isEmpty())
        return Outcome::skipped(
            QStringLiteral("no %1 is installed").arg(session.driver.compiledDriverName));
    return Outcome::done();
}

Outcome installDriver(Session &session)
{
    const int code = session.compiler->installDriver();
    if (const auto tool = session.waitForTools())
        return Outcome::failed(ExitCode::Restore, QStringLiteral("%1 does not end.").arg(*tool),
                               QStringLiteral("The earlier driver is in %1.")
                                   .arg(backupDirectory(session.kernelRelease)));
    session.changed(session.driver.extractedDriverPath,
                    QStringLiteral("unpacked and removed again"));
    if (code == 0 && isNewDriverInstalled(session)) {
        for (const QString &path :
             changedModules(session.kernelRelease, *session.treeBeforeInstallation))
            session.changed(path, QStringLiteral("installed with the driver"));
        rememberAdded(session);
        return Outcome::done();
    }

    const QString cause = code == 0
        ? QStringLiteral("make ended well, but the new %1 is not in %2.")
              .arg(session.driver.compiledDriverName, moduleTree(session.kernelRelease))
        : QStringLiteral("The driver could not be installed (make ended with code %1).").arg(code);
    const Damage damage = restoreModules(session);
    rememberAdded(session);
    if (!damage.lost.isEmpty())
        return Outcome::failed(ExitCode::Restore, cause,
                               QStringLiteral("The earlier driver is not back. Copy it by hand: %1")
                                   .arg(copyCommands(session, damage.lost)));
    const QString state = session.savedModules.isEmpty()
        ? QStringLiteral("No driver was installed before")
        : QStringLiteral("The earlier driver is installed again");
    if (!damage.altered.isEmpty())
        return Outcome::failed(
            ExitCode::Restore, cause,
            QStringLiteral("%1, but there was no backup of what else has changed: %2. Install the "
                           "package again that this belongs to. %3")
                .arg(state, damage.altered.join(QStringLiteral(", ")), inLog(session)));
    return Outcome::failed(ExitCode::Installation, cause,
                           QStringLiteral("%1. %2").arg(state, inLog(session)));
}

}
