// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "base/ownership.h"
#include "base/paths.h"
#include "base/text.h"
#include "base/translate.h"
#include "bundle.h"
#include "modules.h"
#include "question.h"
#include "session.h"
#include "stages.h"

#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QRegularExpression>
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

bool isBelow(const QString &path, const QString &directory)
{
    return path.startsWith(directory + QLatin1Char('/'));
}

/** What an option says comes first, then what the catalogue says. */
QString chosen(const QString &option, const QString &known, const QString &usual)
{
    return orDefault(option, orDefault(known, usual));
}

QString withHeaders(QString arguments, const QString &headers)
{
    return arguments.replace(QLatin1String("@KERNEL_HEADERS@"), headers);
}

bool holdsTree(const QStringList &members, const QString &tree)
{
    return std::any_of(members.cbegin(), members.cend(), [&tree](const QString &member) {
        return isBelow(QDir::cleanPath(member), tree);
    });
}

/** A bundle from elsewhere may have another directory than that of the catalogue. */
QString treeInBundle(const Session &session)
{
    const QString &known = session.knownDriver.tree;
    if (!known.isEmpty() && holdsTree(session.bundleMembers, known))
        return known;
    return usualTree(session.bundleMembers, session.modem.driver);
}

Compiler::ModemDriver describeDriver(const Session &session)
{
    const Settings &settings = session.settings;
    const CatalogueEntry &known = session.knownDriver;
    const QString headers = kernelHeaders(settings, session.kernelRelease);
    const QString kernel = QStringLiteral(", KDIR=@KERNEL_HEADERS@");
    Compiler::ModemDriver driver;
    driver.driverName = session.modem.driver;
    driver.driverVersion = session.modem.driverVersion;
    driver.driverBundlePath = absolute(settings.driverBundle);
    driver.extractionPath =
        absolute(orDefault(settings.extractionPath, QStringLiteral("/usr/src/kestra")));
    driver.extractedDriverPath = absolute(orDefault(
        settings.driverTree, driver.extractionPath + QLatin1Char('/') + treeInBundle(session)));
    driver.compiledDriverName =
        chosen(settings.module, known.module, driver.driverName + QStringLiteral(".ko"));
    driver.compileArguments = orDefault(
        settings.compileArguments,
        withHeaders(orDefault(known.compileArguments, QStringLiteral("all") + kernel), headers));
    driver.installArguments =
        orDefault(settings.installArguments,
                  withHeaders(orDefault(known.installArguments, QStringLiteral("install") + kernel),
                              headers));
    driver.makeEnvironment =
        orDefault(settings.makeEnvironment, withHeaders(known.makeEnvironment, headers));
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
    return QStringLiteral("%1/%2-%3_compiler.log")
        .arg(logDirectory(), session.driver.driverName, session.driver.driverVersion);
}

/** The library removes the tree before and after the build: it must be nothing but that. */
std::optional<Outcome> checkTree(const Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    if (!isBelow(driver.extractedDriverPath, driver.extractionPath)
        || driver.extractionPath == QLatin1String("/"))
        return Outcome::failed(
            ExitCode::Usage,
            Text::tr("The driver tree %1 is not below the directory %2 in which the bundle is "
                     "unpacked.")
                .arg(driver.extractedDriverPath, driver.extractionPath),
            Text::tr("Mend --driver-tree or --extraction-path."));
    if (isBelow(driver.driverBundlePath, driver.extractedDriverPath))
        return Outcome::failed(ExitCode::Usage,
                               Text::tr("The driver bundle lies in the driver tree %1, which "
                                        "is emptied first.")
                                   .arg(driver.extractedDriverPath),
                               Text::tr("Move the bundle to another place."));
    return std::nullopt;
}

std::optional<Outcome> checkTreeInBundle(const Session &session)
{
    const QString tree =
        session.driver.extractedDriverPath.mid(session.driver.extractionPath.size() + 1);
    if (holdsTree(session.bundleMembers, tree))
        return std::nullopt;
    return badBundle(session.settings, Text::tr("does not hold the driver tree %1").arg(tree),
                     Text::tr("Name the directory that it unpacks into with --driver-tree."));
}

/** A name alone is not looked for where others may have put something. */
QStringList bundleDirectories(const Session &session)
{
    QStringList directories = {session.settings.dataDirectory + QStringLiteral("/bundles"),
                               QStringLiteral("/usr/share/kestra/bundles")};
    directories.removeDuplicates();
    return directories;
}

QString bundleInDirectories(const Session &session)
{
    for (const QString &directory : bundleDirectories(session)) {
        const QFileInfo file(directory + QLatin1Char('/') + session.knownDriver.bundle);
        if (!session.knownDriver.bundle.isEmpty() && file.exists())
            return file.filePath();
    }
    return QString();
}

/** Nothing of the catalogue is at hand. */
QString whereToGetBundle(const Session &session)
{
    const CatalogueEntry &known = session.knownDriver;
    const QString missing = known.bundle.isEmpty()
        ? Text::tr("No bundle of the driver %1 is at hand.").arg(session.modem.driver)
        : Text::tr("The driver bundle %1 is not in %2.")
              .arg(known.bundle, bundleDirectories(session).join(Text::tr(" or ")));
    return joined({missing, asSentence(known.bundleSource)});
}

/** Asks for a bundle that holds the driver of the modem. */
std::optional<Outcome> askForBundle(Session &session)
{
    if (session.settings.unattended)
        return Outcome::failed(
            ExitCode::Bundle, whereToGetBundle(session),
            session.knownDriver.bundle.isEmpty()
                ? QString()
                : Text::tr("Put it there, or give its path with --driver-bundle."));
    const QString &name = session.modem.driver;
    session.frontend.explain(
        Text::tr("The sources of the driver %1, as a tar archive. kestra-setup drivers "
                 "tells where they come from.")
            .arg(name));
    session.frontend.note(whereToGetBundle(session));
    const auto ask = [&] {
        return session.frontend.askPath(Text::tr("Driver bundle for %1 (a tar archive)").arg(name));
    };
    const Outcome noBundle =
        Outcome::failed(ExitCode::Usage, Text::tr("No driver bundle was given."),
                        Text::tr("Type its path when asked, or use "
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

std::optional<Outcome> chooseBundle(Session &session)
{
    if (!session.settings.driverBundle.isEmpty())
        return std::nullopt; // has been read already
    session.settings.driverBundle = bundleInDirectories(session);
    if (session.settings.driverBundle.isEmpty())
        return askForBundle(session);
    session.frontend.note(Text::tr("Taking the bundle %1").arg(session.settings.driverBundle));
    return readBundle(session);
}

/** Where a directory that is still to be made would be. */
QString existingPart(const QString &path)
{
    const QFileInfo info(path);
    return info.exists() || info.isRoot() ? path : existingPart(info.path());
}

std::optional<Outcome> checkSpace(const Session &session)
{
    const QString place = existingPart(session.driver.extractionPath);
    const auto left = spaceLeft(place);
    if (!left || *left >= session.bundleSize)
        return std::nullopt;
    const auto kibibytes = [](qint64 bytes) { return (bytes + 1023) / 1024; };
    return Outcome::failed(
        ExitCode::Extraction,
        Text::tr("There is not enough room in %1: the driver takes %2 KiB, and %3 KiB are left.")
            .arg(place)
            .arg(kibibytes(session.bundleSize))
            .arg(kibibytes(*left)),
        Text::tr("Make room, or give another directory with --extraction-path."));
}

/** make would find out, too, but only when the driver is unpacked. */
std::optional<Outcome> checkCompiler(const Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    const bool isNamed = (driver.compileArguments + driver.makeEnvironment)
                             .contains(QRegularExpression(QStringLiteral("\\b(CC|LLVM)=")));
    for (const char *name : {"gcc", "cc", "clang"}) {
        if (isNamed || !QStandardPaths::findExecutable(QLatin1String(name)).isEmpty())
            return std::nullopt;
    }
    return Outcome::failed(ExitCode::Precondition, Text::tr("No C compiler is installed."),
                           Text::tr("Install the package gcc."));
}

std::optional<Outcome> checkPatchTool(const Session &session)
{
    if (!QFileInfo(patchFile(session)).isFile()
        || !QStandardPaths::findExecutable(QStringLiteral("patch")).isEmpty())
        return std::nullopt;
    return Outcome::failed(ExitCode::Precondition, Text::tr("The program patch is not installed."),
                           Text::tr("Install the package patch."));
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
        Text::tr("Others than root can write to %1, so the driver would not be safe in %2.")
            .arg(*part, path),
        Text::tr("Close it to them, or give another directory with --extraction-path."));
}

std::optional<Outcome> checkPatch(const Session &session)
{
    const QString file = patchFile(session);
    if (!QFileInfo(file).isFile() || isFileOfOwner(file, session.driver.driverBundlePath))
        return std::nullopt;
    return Outcome::failed(
        ExitCode::Precondition,
        Text::tr("The patch %1 belongs neither to root nor to the owner of the driver "
                 "bundle, or others can write to it.")
            .arg(file),
        Text::tr("See who put it there and what it does, then take it over with chown and "
                 "chmod go-w, or remove it."));
}

/** The firmware's variable ends with one byte that is 1 when only signed modules are loaded. */
bool isSecureBoot()
{
    QFile variable(QStringLiteral("/sys/firmware/efi/efivars/"
                                  "SecureBoot-8be4df61-93ca-11d2-aa0d-00e098032b8c"));
    return variable.open(QIODevice::ReadOnly) && variable.readAll().endsWith('\1');
}

/** What the bundle puts elsewhere than in the driver's tree. */
QStringList pathsBesideTree(const Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    QStringList paths;
    for (const QString &member : session.bundleMembers) {
        const QString path = QDir::cleanPath(driver.extractionPath + QLatin1Char('/') + member);
        if (path != driver.extractionPath && path != driver.extractedDriverPath
            && !isBelow(path, driver.extractedDriverPath))
            paths.append(path);
    }
    return paths;
}

std::optional<Outcome> waitForTools(Session &session, ExitCode code)
{
    const auto tool = session.waitForTools();
    if (!tool)
        return std::nullopt;
    return Outcome::failed(code, Text::tr("%1 does not end.").arg(*tool),
                           Text::tr("See what it waits for, then start again."));
}

/** The library takes a make that outran its time for one that has succeeded. */
int exitCodeOfMake(Session &session, int codeOfLibrary)
{
    constexpr int failure = 2;
    const int code = session.lateExitCode.value_or(codeOfLibrary);
    const QStringList lines = session.toolLines();
    const bool saysSo = std::any_of(lines.cbegin(), lines.cend(), [](const QString &line) {
        return line.startsWith(QLatin1String("make: *** ")); // in every language
    });
    return code == 0 && saysSo ? failure : code;
}

QString inLog(const Session &session)
{
    return Text::tr("The whole output is in %1.").arg(logFile(session));
}

constexpr qint64 nearlyNothing = qint64(64) * 1024; // bytes; the file that did not fit may be gone

bool isNearlyFull(const QString &directory)
{
    return isFull(directory) || spaceLeft(directory).value_or(nearlyNothing) < nearlyNothing;
}

/** A kernel wants the very compiler that it was made with, which nobody can know before. */
std::optional<QString> missingCompiler(Session &session)
{
    static const QRegularExpression complaint(QStringLiteral(
        "(?:^|[ :])([^ :]*(?:gcc|clang|cc)(?:-[0-9.]+)?): (?:command not found|not found|"
        "No such file or directory)"));
    for (const QString &line : session.toolLines()) {
        const auto match = complaint.match(line);
        if (match.hasMatch())
            return match.captured(1);
    }
    return std::nullopt;
}

Outcome notSaved(Session &session, const QString &path)
{
    const bool isBack = restoreModules(session).lost.isEmpty();
    return Outcome::failed(isBack ? ExitCode::Backup : ExitCode::Restore,
                           Text::tr("%1 could not be copied to the backup.").arg(path),
                           Text::tr("See whether /tmp is full, then start again."));
}

QString copyCommands(const Session &session, const QStringList &installedPaths)
{
    QStringList commands;
    for (const QString &path : installedPaths)
        commands.append(
            QStringLiteral("cp %1 %2").arg(backupPath(path, session.kernelRelease), path));
    return commands.join(QStringLiteral("; "));
}

/** Decides by what is in the module tree, whatever make says of itself. */
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

}

Outcome checkDriver(Session &session)
{
    if (const auto problem = chooseBundle(session))
        return *problem;
    session.driver = describeDriver(session);
    for (const auto check : {checkTree, checkTreeInBundle, checkExtractionPath, checkSpace,
                             checkCompiler, checkPatch, checkPatchTool}) {
        if (const auto problem = check(session))
            return *problem;
    }
    if (isSecureBoot())
        session.frontend.note(
            Text::tr("This machine boots with Secure Boot: the kernel will refuse the driver "
                     "unless it is signed with a key that the machine knows."));
    return Outcome::done();
}

Outcome extractDriver(Session &session)
{
    const Compiler::ModemDriver &driver = session.driver;
    if (const auto problem = session.remember(
            Part::Driver, QStringList(driver.extractionPath) + pathsBesideTree(session)))
        return *problem;
    if (const auto problem = session.rememberTree(Part::Driver, driver.extractedDriverPath))
        return *problem;
    if (!QDir().mkpath(driver.extractionPath))
        return Outcome::failed(
            ExitCode::Extraction,
            Text::tr("The directory %1 could not be made.").arg(driver.extractionPath),
            Text::tr("Give another directory with --extraction-path."));
    // Once more, as somebody may have made it in the meantime.
    if (const auto problem = checkExtractionPath(session))
        return *problem;
    session.compiler = std::make_unique<Compiler>(driver, QThread::currentThread());
    session.changed(logFile(session), Text::tr("what the tools said while building"));
    session.changed(driver.extractedDriverPath, Text::tr("the unpacked driver"));
    session.compiler->extractDriver();
    if (const auto problem = waitForTools(session, ExitCode::Extraction))
        return *problem;
    if (!QFileInfo(driver.extractedDriverPath).isDir())
        return Outcome::failed(
            ExitCode::Extraction,
            Text::tr("The bundle was not unpacked to %1.").arg(driver.extractedDriverPath),
            Text::tr("See whether the disk is full. ") + inLog(session));
    if (const auto member = cutOffMember(session))
        return Outcome::failed(
            ExitCode::Extraction,
            Text::tr("Unpacking did not complete: %1 is not whole.").arg(*member),
            Text::tr("See whether the disk is full. ") + inLog(session));
    return Outcome::done();
}

Outcome patchDriver(Session &session)
{
    const QString file = patchFile(session);
    if (!QFileInfo(file).isFile())
        return Outcome::skipped(Text::tr("there is no patch for %1").arg(session.kernelRelease));
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
        return Outcome::done(Text::tr("kestra-setup applied %1").arg(file));
    if (code == 1)
        return Outcome::failed(ExitCode::Patch,
                               Text::tr("The patch %1 does not apply to the driver.").arg(file),
                               Text::tr("Get the patch that belongs to this bundle, or remove "
                                        "it."));
    return Outcome::failed(
        ExitCode::Patch,
        Text::tr("The program patch could not do its work (%1).")
            .arg(code ? Text::tr("code %1").arg(*code) : Text::tr("it did not run to its end")),
        Text::tr("See whether the disk is full and %1 is a patch.").arg(file));
}

Outcome compileDriver(Session &session)
{
    const int codeOfLibrary = session.compiler->compileDriver();
    if (const auto problem = waitForTools(session, ExitCode::Compilation))
        return *problem;
    const int code = exitCodeOfMake(session, codeOfLibrary);
    session.builtChecksum = checksum(productFile(session));
    if (code == 0 && !session.builtChecksum.isEmpty())
        return Outcome::done();
    const QString place = session.driver.extractedDriverPath;
    if (isNearlyFull(place))
        return Outcome::failed(
            ExitCode::Compilation,
            Text::tr("The driver did not compile, and there is no room left in %1.").arg(place),
            Text::tr("Make room, or give another directory with --extraction-path. ")
                + inLog(session));
    if (const auto compiler = missingCompiler(session))
        return Outcome::failed(
            ExitCode::Compilation,
            Text::tr("The driver did not compile, as the compiler %1 is not installed.")
                .arg(*compiler),
            Text::tr("Install the package that has it. ") + inLog(session));
    const QString cause = code == 0
        ? Text::tr("The compiler run left no %1.").arg(session.driver.compiledDriverName)
        : Text::tr("The driver did not compile (make ended with code %1).").arg(code);
    return Outcome::failed(ExitCode::Compilation, cause,
                           Text::tr("See whether the kernel headers and the driver fit "
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
                            Text::tr("moved here from %1").arg(saved.installedPath));
            continue;
        }
        return notSaved(session, saved.installedPath);
    }
    const QString uncopied = copyOtherFiles(session);
    if (!uncopied.isEmpty())
        return notSaved(session, uncopied);
    session.treeBeforeInstallation = moduleTreeNow(session.kernelRelease);
    if (installed.isEmpty())
        return Outcome::skipped(
            Text::tr("no %1 is installed").arg(session.driver.compiledDriverName));
    return Outcome::done();
}

Outcome installDriver(Session &session)
{
    // Whether it succeeds or not: what the installation adds is to go when it is undone.
    if (const auto problem = session.rememberNames(Part::Driver, moduleTree(session.kernelRelease),
                                                   moduleTree(session.kernelRelease)
                                                       + QStringLiteral("/modules."))) {
        restoreModules(session);
        return *problem;
    }
    const int codeOfLibrary = session.compiler->installDriver();
    if (const auto tool = session.waitForTools())
        return Outcome::failed(
            ExitCode::Restore, Text::tr("%1 does not end.").arg(*tool),
            Text::tr("The earlier driver is in %1.").arg(backupDirectory(session.kernelRelease)));
    const int code = exitCodeOfMake(session, codeOfLibrary);
    session.changed(session.driver.extractedDriverPath, Text::tr("unpacked and removed again"));
    if (code == 0 && isNewDriverInstalled(session)) {
        for (const QString &path :
             changedModules(session.kernelRelease, *session.treeBeforeInstallation))
            session.changed(path, Text::tr("installed with the driver"));
        return Outcome::done();
    }

    const QString cause = code == 0
        ? Text::tr("make ended well, but the new %1 is not in %2.")
              .arg(session.driver.compiledDriverName, moduleTree(session.kernelRelease))
        : Text::tr("The driver could not be installed (make ended with code %1).").arg(code);
    const Damage damage = restoreModules(session);
    if (!damage.lost.isEmpty())
        return Outcome::failed(ExitCode::Restore, cause,
                               Text::tr("The earlier driver is not back. Copy it by hand: %1")
                                   .arg(copyCommands(session, damage.lost)));
    const QString state = session.savedModules.isEmpty()
        ? Text::tr("No driver was installed before")
        : Text::tr("The earlier driver is installed again");
    if (!damage.altered.isEmpty())
        return Outcome::failed(
            ExitCode::Restore, cause,
            Text::tr("%1, but there was no backup of what else has changed: %2. Install the "
                     "package again that this belongs to. %3")
                .arg(state, damage.altered.join(QStringLiteral(", ")), inLog(session)));
    return Outcome::failed(ExitCode::Installation, cause,
                           QStringLiteral("%1. %2").arg(state, inLog(session)));
}

}
