// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "compiler.h"

#include <kestra/foundation/debugline_p.h>
#include <kestra/foundation/myprocess.h>
#include <kestra/foundation/systeminfo.h>
#include <kestra/foundation/text_p.h>
#include <kestra/media/filemanager.h>

#include <QDebug>
#include <QDir>
#include <QFile>
#include <QFileInfo>
#include <QProcess>
#include <QThread>

#include <initializer_list>
#include <utility>

#include <sys/stat.h>
#include <unistd.h>

using Kestra::Private::debugLine;
using Kestra::Private::text;

namespace {

constexpr int toolTimeout = 30000; // ms, for tar and make
constexpr int patchTimeout = 5000;

const QString backupRoot = QStringLiteral("/tmp/kestra_drv_backup");

QStringList splitList(const QString &list) { return list.split(QStringLiteral(", ")); }

void removeTree(const QString &path)
{
    QProcess::execute(QStringLiteral("rm"), {QStringLiteral("-rf"), path});
}

/**
 * Makes the directory the working directory of the process, if it is there: a process cannot be
 * started in one that is missing. It runs where its parent is then.
 */
void enterIfPresent(QProcess *process, const QString &directory)
{
    process->setWorkingDirectory(QDir(directory).exists() ? directory : QString());
}

/** Returns whether the path is a directory that nobody else could have made or may write to. */
bool isOurs(const QString &directory)
{
    struct stat status;
    return lstat(QFile::encodeName(directory).constData(), &status) == 0 && S_ISDIR(status.st_mode)
        && status.st_uid == geteuid() && !(status.st_mode & S_IWOTH);
}

QString moduleTree(const QString &kernelRelease)
{
    return QStringLiteral("/lib/modules/") + kernelRelease;
}

}

Compiler::Compiler(Compiler::ModemDriver driver, QThread *thread)
    : QObject(thread)
    , compileProcess(new MyProcess(nullptr))
    , cleanProcess(new MyProcess(nullptr))
    , installProcess(new MyProcess(nullptr))
    , extractProcess(new MyProcess(nullptr))
    , patchProcess(new QProcess)
    , extractedDriverPath(driver.extractedDriverPath)
    , driverName(driver.driverName)
    , driverVersion(driver.driverVersion)
    , extractionPath(driver.extractionPath)
    , driverBundlePath(driver.driverBundlePath)
    , compiledDriverName(driver.compiledDriverName)
    , compileArguments(splitList(driver.compileArguments))
    , installArguments(splitList(driver.installArguments))
    , makeEnvironment(splitList(driver.makeEnvironment))
    , kernelRelease(Kestra::SystemInfo::getKernelRelease())
    , backupPath(backupRoot + QLatin1Char('/') + kernelRelease)
    , backupDir(new QDir(backupPath))
{
    qDebug() << "Compiler::Compiler: ctor invoked...";
    if (!thread) {
        debugLine("Compiler::Compiler(): parent is null!\n");
    } else {
        for (QProcess *process : std::initializer_list<QProcess *> {
                 compileProcess, cleanProcess, installProcess, extractProcess, patchProcess})
            process->moveToThread(thread);
    }
    extractProcess->setEnvironment(QProcess::systemEnvironment() << QStringLiteral("LC_ALL=C"));
    if (extractedDriverPath.isEmpty() || driverName.isEmpty() || driverVersion.isEmpty()
        || compiledDriverName.isEmpty() || driverBundlePath.isEmpty())
        debugLine("Compiler::Compiler(): needed variables are empty!\n");
}

Compiler::~Compiler()
{
    debugLine("Compiler::~Compiler(): dtor called\n");
    writeLog();
    delete compileProcess;
    delete installProcess;
    delete extractProcess;
    delete patchProcess;
    delete backupDir;

    // Deleting a process kills its child. A "make clean" that outran its time may go on; its
    // process object then deletes itself when the child ends.
    if (cleanProcess->state() == QProcess::NotRunning)
        delete cleanProcess;
    else
        connect(cleanProcess, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                cleanProcess, &QObject::deleteLater);
}

void Compiler::extractDriver()
{
    if (driverName.isEmpty() || driverVersion.isEmpty() || extractionPath.isEmpty()
        || driverBundlePath.isEmpty()) {
        qWarning() << "Compiler::extractDriver(): \"driverName\" and/or \"driverVersion\" and/or "
                      "\"extractionPath\" and/or \"driverBundlePath\" is empty or NULL, aborting!";
        return;
    }
    if (!QFile::exists(driverBundlePath)) {
        qWarning() << "Compiler::extractDriver(): driverBundlePath: file does not exist, aborting!";
        return;
    }
    removeTree(extractedDriverPath);

    extractProcess->clearArguments();
    enterIfPresent(extractProcess, extractedDriverPath);
    for (const QString &argument :
         {QStringLiteral("tar"), QStringLiteral("-v"), QStringLiteral("-C"), extractionPath,
          QStringLiteral("-xf"), driverBundlePath})
        extractProcess->addArgument(argument);
    connect(extractProcess, &MyProcess::lineAvailable, this, &Compiler::debugDriverCompileProcess);
    beginBlock("Extraction");
    run(extractProcess);
    endBlock("Extraction");
    cleanDriver();
}

int Compiler::cleanDriver()
{
    if (!treeExists("cleanDriver"))
        return -1;
    prepareMake(cleanProcess);
    cleanProcess->addArgument(QStringLiteral("clean"));
    cleanProcess->addArgument(QStringLiteral("-i"));
    connect(cleanProcess, &MyProcess::lineAvailable, this, &Compiler::debugDriverCompileProcess);
    beginBlock("Cleaning");
    const int code = runMake(cleanProcess, "cleanDriver");
    endBlock("Cleaning");
    return code;
}

void Compiler::patchDriver()
{
    if (extractedDriverPath.isEmpty()) {
        qDebug() << "Compiler::patchDriver(): extractedDriverPath is empty, returning!";
        return;
    }
    const QFileInfo patch(QStringLiteral("%1/%2-%3_%4.patch")
                              .arg(QFileInfo(driverBundlePath).absolutePath(), driverName,
                                   driverVersion, kernelRelease));
    if (!patch.isFile())
        return;
    const QString patchPath = patch.absoluteFilePath();
    qDebug() << "Compiler::patchDriver(): Patching" << driverName << "by" << patchPath;
    enterIfPresent(patchProcess, extractedDriverPath);
    patchProcess->start(QStringLiteral("patch"), {QStringLiteral("-p0"), patchPath},
                        QIODevice::ReadWrite);
    patchProcess->waitForFinished(patchTimeout);
    qDebug() << "Compiler::patchDriver(): patch process exited with code:"
             << patchProcess->exitCode();
}

int Compiler::compileDriver()
{
    if (!treeExists("compileDriver"))
        return -1;
    prepareMake(compileProcess);
    if (compileArguments.isEmpty())
        qDebug() << "Compiler::compileDriver(): no arguments for \"make\"";
    for (const QString &argument : std::as_const(compileArguments))
        compileProcess->addArgument(argument);
    connect(compileProcess, &MyProcess::lineAvailable, this, &Compiler::debugDriverCompileProcess);
    beginBlock("Compilation");
    const int code = runMake(compileProcess, "compileDriver");
    endBlock("Compilation");
    return code;
}

int Compiler::installDriver()
{
    if (!treeExists("installDriver"))
        return -1;
    prepareMake(installProcess);
    if (installArguments.isEmpty()) {
        qDebug() << "Compiler::installDriver(): no arguments for \"make\", using default.";
        installProcess->addArgument(QStringLiteral("install"));
    }
    for (const QString &argument : std::as_const(installArguments))
        installProcess->addArgument(argument);
    connect(installProcess, &MyProcess::lineAvailable, this, &Compiler::debugDriverInstallProcess);
    beginBlock("Installation");
    const int code = runMake(installProcess, "installDriver");
    if (code != 0)
        reportRemovedFiles();
    endBlock("Installation");
    removeTree(extractedDriverPath);
    return code;
}

void Compiler::backupDriver()
{
    if (compiledDriverName.isEmpty()) {
        qWarning()
            << "Compiler::backupDriver(): \"compiledDriverName\" is empty or NULL, aborting!";
        return;
    }
    if (!prepareBackupDir())
        return;
    FileManager files;
    files.indexFiles(moduleTree(kernelRelease));
    const QStringList copies = files.getIndex().filter(QLatin1Char('/') + compiledDriverName);
    for (const QString &copy : copies)
        moveToBackup(copy);
}

void Compiler::restoreDriver()
{
    for (const QString &backup : std::as_const(backedUpFiles)) {
        if (!QFile::exists(backup))
            continue;
        const QString destination =
            moduleTree(kernelRelease) + QLatin1Char('/') + backup.mid(backupPath.length());
        if (QFile::copy(backup, destination))
            qDebug() << "Compiler::restoreDriver():" << backup << "restored to" << destination;
        else
            qDebug() << "Compiler::restoreDriver():" << backup << " could not be restored to"
                     << destination;
    }
    backedUpFiles.clear();
}

void Compiler::removeDriver() { }

void Compiler::debugDriverCompileProcess(QByteArray line)
{
    logLine("debugDriverCompileProcess", line);
}

void Compiler::debugDriverRemoveProcess(QByteArray line)
{
    if (line.count(':') == 2)
        removeLines.append(text(line));
    logLine("debugDriverRemoveProcess", line);
}

void Compiler::debugDriverInstallProcess(QByteArray line)
{
    logLine("debugDriverInstallProcess", line);
}

/** Sets the arguments' common part, the working directory and the environment of a make. */
void Compiler::prepareMake(MyProcess *process) const
{
    process->clearArguments();
    process->setWorkingDirectory(extractedDriverPath);
    if (!makeEnvironment.isEmpty())
        process->setEnvironment(QProcess::systemEnvironment() + makeEnvironment);
    process->addArgument(QStringLiteral("make"));
}

bool Compiler::treeExists(const char *method) const
{
    if (extractedDriverPath.isEmpty()) {
        qWarning().nospace() << "Compiler::" << method
                             << "(): \"extractedDriverPath\" is empty or NULL, aborting!";
        return false;
    }
    if (!QDir(extractedDriverPath).exists()) {
        qWarning().nospace() << "Compiler::" << method
                             << "(): extractedDriverPath: directory does not exist, aborting!";
        return false;
    }
    return true;
}

/** Runs a make with its debug lines. */
int Compiler::runMake(MyProcess *process, const char *method)
{
    debugLine("Compiler::%s(): starting the process.\n", method);
    const int code = run(process);
    debugLine("Compiler::%s(): the process exited with code %i.\n", method, code);
    return code;
}

/** Runs a process and logs its exit status. */
int Compiler::run(MyProcess *process)
{
    process->start();
    process->waitForFinished(toolTimeout);
    const int code = process->exitCode();
    compilerLog.append("\n# Process exited with status: " + QByteArray::number(code) + ".\n");
    return code;
}

void Compiler::beginBlock(const char *title)
{
    compilerLog.append(QByteArray("# Begin Of ") + title + "\n");
}

void Compiler::endBlock(const char *title)
{
    compilerLog.append(QByteArray("# End Of ") + title + "\n\n\n\n");
}

void Compiler::logLine(const char *slot, const QByteArray &line)
{
    compilerLog.append(line).append('\n');
    debugLine("Compiler::%s(): %s\n", slot, line.constData());
}

void Compiler::reportRemovedFiles()
{
    compilerLog.append("# RESTORING DRIVER\n");
    for (const QString &line : std::as_const(removeLines)) {
        const int first = line.indexOf(QLatin1Char(':'));
        const int last = line.lastIndexOf(QLatin1Char(':'));
        qDebug() << line.left(first) << line.mid(first + 1, last - first - 1) << line.mid(last + 1);
    }
    compilerLog.append("# END OF RESTORING DRIVER\n");
}

/**
 * Makes the backup directory, or clears what an earlier backup left at its top.
 *
 * Everybody may write to /tmp. A directory that somebody else has put there first would have us
 * delete files of his choice and restore a module of his making; it counts as one that cannot be
 * created.
 */
bool Compiler::prepareBackupDir() const
{
    const bool existed = backupDir->exists();
    QDir().mkdir(backupRoot);
    if (!isOurs(backupRoot) || !backupDir->mkpath(backupPath) || !isOurs(backupPath)) {
        qDebug() << QStringLiteral(
                        "Compiler::backupDriver(): could not create backup path (%1), aborting!")
                        .arg(backupPath);
        return false;
    }
    if (!existed)
        return true;
    backupDir->refresh();
    const QStringList leftovers = backupDir->entryList(QDir::Files | QDir::NoSymLinks);
    for (const QString &name : leftovers)
        QFile::remove(backupPath + QLatin1Char('/') + name);
    return true;
}

void Compiler::moveToBackup(const QString &installedFile)
{
    const QFileInfo file(installedFile);
    const QString directory = backupPath + file.absolutePath().remove(moduleTree(kernelRelease));
    if (!QDir(directory).exists())
        QDir().mkpath(directory);
    const QString backup = directory + QLatin1Char('/') + file.fileName();
    if (QDir(directory).exists() && QFile::copy(installedFile, backup)) {
        backedUpFiles.append(backup);
        QFile::remove(installedFile);
    }
}

void Compiler::writeLog() const
{
    const QString logsPath = QStringLiteral("/opt/kestra/logs");
    if (!QDir(logsPath).exists()) {
        debugLine("Compiler::~Compiler(): logs' dir does not exist, creating a ne one.\n");
        QDir().mkpath(logsPath);
    }
    QFile log(QStringLiteral("%1/%2-%3_compiler.log").arg(logsPath, driverName, driverVersion));
    if (log.open(QIODevice::WriteOnly | QIODevice::Truncate))
        log.write(compilerLog);
}
