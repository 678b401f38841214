// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_MODEM_COMPILER_H
#define KESTRA_MODEM_COMPILER_H

#include <kestra/foundation/export.h>

#include <QByteArray>
#include <QObject>
#include <QString>
#include <QStringList>

class MyProcess;
class QDir;
class QProcess;
class QThread;

/**
 * Builds a kernel driver from a bundle of sources and installs it for the running kernel.
 *
 * One object serves one driver. Call the stages in this order: extractDriver() (which ends with
 * cleanDriver()), patchDriver(), compileDriver(), backupDriver(), installDriver(), and
 * restoreDriver() when the installation failed. No stage calls a later one, and each checks its
 * own preconditions; a failed one is reported on the Qt warning stream and changes nothing.
 *
 * Each stage appends what its tool printed to a log, which the destructor writes to
 * "/opt/kestra/logs/NAME-VERSION_compiler.log". Stages may be called again; since signal
 * connections then add up, the log holds the lines of a repeated stage more than once.
 *
 * The stages block until their tool ends or its time is up; a tool that takes longer is left
 * running and its exit code is read all the same.
 */
class KESTRA_EXPORT Compiler : public QObject
{
    Q_OBJECT

public:
    /** All that a driver build needs to know. Lists are one string, separated by ", ". */
    struct ModemDriver
    {
        QString driverName; ///< name of the driver, for the names of patch and log
        QString driverVersion; ///< tag of the version, for the names of patch and log
        QString extractedDriverPath; ///< directory that the bundle unpacks into
        QString compiledDriverName; ///< file name of the built module, with its suffix
        QString extractionPath; ///< directory in which the bundle is unpacked
        QString driverBundlePath; ///< the bundle, a tar archive; patches lie beside it
        QString compileArguments; ///< arguments of make for the build
        QString installArguments; ///< arguments of make for the installation
        QString makeEnvironment; ///< NAME=value entries for the environment of make
    };

    /**
     * Takes the description; a debug line says so when something needed is empty.
     *
     * @param driver the description of the build
     * @param thread the parent of the object and the thread in which its tools run; may be null
     */
    Compiler(Compiler::ModemDriver driver, QThread *thread);

    /** Writes the log. Tools of the object that still run are killed, but for a "make clean". */
    ~Compiler() override;

    /**
     * Removes an earlier tree, unpacks the bundle with tar and cleans the tree.
     *
     * The exit code of tar is found in the log only. Blocks for up to 60 s, and as long as the
     * removal of the earlier tree takes.
     */
    void extractDriver();

    /**
     * Runs "make clean -i" in the tree.
     *
     * @return the exit code of make, or -1 when the tree is missing. Blocks for up to 30 s.
     */
    int cleanDriver();

    /**
     * Runs patch with the patch for exactly the running kernel, "NAME-VERSION_RELEASE.patch"
     * beside the bundle, if there is one.
     *
     * The patch file is passed as an argument, which patch(1) takes for the file to be patched,
     * and nothing is written to its standard input: with today's patch nothing is applied and the
     * call takes its full 5 s. Says on the Qt debug stream what it does.
     */
    void patchDriver();

    /**
     * Builds the driver with make.
     *
     * @return the exit code of make, or -1 when the tree is missing. Blocks for up to 30 s.
     */
    int compileDriver();

    /**
     * Installs the driver with make and removes the tree, also after a failure.
     *
     * @return the exit code of make, or -1 when the tree is missing. Blocks for up to 30 s, and as
     *         long as the removal of the tree takes.
     */
    int installDriver();

    /**
     * Moves the installed copies of the module from the kernel's module tree to
     * "/tmp/kestra_drv_backup/RELEASE". Blocks as long as the files take to copy.
     */
    void backupDriver();

    /**
     * Copies the backups of this object back; a file that exists is not overwritten. Says on the
     * Qt debug stream what became of each file.
     */
    void restoreDriver();

    /** Has no effect. */
    void removeDriver();

Q_SIGNALS:
    /** Never emitted. */
    void fatalError(QString);

public Q_SLOTS:
    /** Takes an output line of tar, of make clean or of the build into the log. */
    void debugDriverCompileProcess(QByteArray line);

    /**
     * Takes an output line of a removal into the log. One with exactly two colons is also kept, and
     * shown on the Qt debug stream when an installation fails. Not connected by the library.
     */
    void debugDriverRemoveProcess(QByteArray line);

    /** Takes an output line of the installation into the log. */
    void debugDriverInstallProcess(QByteArray line);

private:
    bool treeExists(const char *method) const;
    void prepareMake(MyProcess *process) const;
    int runMake(MyProcess *process, const char *method);
    int run(MyProcess *process);
    void beginBlock(const char *title);
    void endBlock(const char *title);
    void logLine(const char *slot, const QByteArray &line);
    void reportRemovedFiles();
    bool prepareBackupDir() const;
    void moveToBackup(const QString &installedFile);
    void writeLog() const;

    MyProcess *compileProcess;
    MyProcess *cleanProcess;
    MyProcess *installProcess;
    MyProcess *extractProcess;
    QProcess *patchProcess;
    QString extractedDriverPath;
    QString driverName;
    QString driverVersion;
    QString extractionPath;
    QString driverBundlePath;
    QString compiledDriverName;
    QStringList compileArguments;
    QStringList installArguments;
    QStringList makeEnvironment;
    QByteArray compilerLog;
    QStringList removeLines;
    QString kernelRelease;
    QString backupPath;
    QDir *backupDir;
    QStringList backedUpFiles;
};

#endif
