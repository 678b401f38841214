// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_DRIVERFIXTURE_H
#define KESTRATEST_DRIVERFIXTURE_H

#include "files.h"
#include "literals.h"

#include <kestra/foundation/systeminfo.h>
#include <kestra/modem/compiler.h>

#include <QDir>
#include <QProcess>
#include <QTemporaryDir>

namespace KestraTest {

/**
 * A scratch directory in which a driver can be unpacked and built, and the description that goes
 * with it. The bundle is "bundle.tar", it unpacks into "build/driver".
 */
class DriverFixture
{
public:
    DriverFixture()
    {
        driver.driverName = "ueagle-atm"_s;
        driver.driverVersion = "default"_s;
        driver.extractedDriverPath = tree();
        driver.compiledDriverName = "ueagle-atm.ko"_s;
        driver.extractionPath = path("build"_s);
        driver.driverBundlePath = path("bundle.tar"_s);
        driver.compileArguments = "all"_s;
        driver.installArguments = "install"_s;
        makeDirectory(driver.extractionPath);
    }

    /** A file of the scratch directory. */
    QString path(const QString &name) const { return m_directory.filePath(name); }
    QString tree() const { return path("build/driver"_s); }
    QString inTree(const QString &name) const { return tree() + QLatin1Char('/') + name; }

    /** Makes an unpacked tree with this Makefile. */
    void writeTree(const QByteArray &makefile) const { writeFile(inTree("Makefile"_s), makefile); }

    /** Makes a bundle of the tree, with the Makefile only, and removes the tree. */
    void writeBundle(const QByteArray &makefile) const
    {
        writeTree(makefile);
        packTree();
    }

    /** Makes a bundle of the tree as it is, and removes the tree. */
    void packTree() const
    {
        if (QProcess::execute("tar"_s,
                              {"--sort=name"_s, "-C"_s, driver.extractionPath, "-cf"_s,
                               driver.driverBundlePath, "driver"_s})
            != 0)
            qFatal("cannot make the bundle");
        remove(tree());
    }

    /** Where the patch for a kernel lies. */
    QString patchPath(const QString &release) const
    {
        return path(driver.driverName + QLatin1Char('-') + driver.driverVersion + QLatin1Char('_')
                    + release + ".patch"_s);
    }

    /** Where the destructor of a Compiler writes its log. */
    QString logPath() const
    {
        return "/opt/kestra/logs/%1-%2_compiler.log"_s.arg(driver.driverName, driver.driverVersion);
    }

    Compiler::ModemDriver driver;

private:
    QTemporaryDir m_directory;
};

/** A block of the build log. */
inline QByteArray logBlock(const char *title, const QByteArray &lines, int exitCode = 0,
                           const QByteArray &afterStatus = QByteArray())
{
    return QByteArray("# Begin Of ") + title + '\n' + lines + "\n# Process exited with status: "
        + QByteArray::number(exitCode) + ".\n" + afterStatus + "# End Of " + title + "\n\n\n\n";
}

}

#endif
