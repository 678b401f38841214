// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagetesting.h"

#include "files.h"
#include "literals.h"

#include <QProcess>
#include <QStandardPaths>
#include <QTemporaryFile>

#include <algorithm>

#include <unistd.h>

namespace KestraTest {

EnvironmentVariable::EnvironmentVariable(const char *name, const QByteArray &value)
    : m_name(name), m_previous(qgetenv(name))
{
    qputenv(name, value);
}

EnvironmentVariable::~EnvironmentVariable()
{
    if (m_previous.isNull())
        qunsetenv(m_name.constData());
    else
        qputenv(m_name.constData(), m_previous);
}

StandInTool::Behaviour says(const QByteArray &output, const QByteArray &errorOutput, int exitCode)
{
    StandInTool::Behaviour behaviour;
    behaviour.output = output;
    behaviour.errorOutput = errorOutput;
    behaviour.exitCode = exitCode;
    return behaviour;
}

QByteArrayList sorted(QByteArrayList list)
{
    std::sort(list.begin(), list.end());
    return list;
}

QByteArrayList ownEnvironment()
{
    QByteArrayList result;
    for (char **entry = environ; *entry; ++entry)
        result.append(QByteArray(*entry));
    return sorted(result);
}

QByteArrayList englishEnvironment()
{
    QByteArrayList result = ownEnvironment();
    const auto isLocale = [](const QByteArray &entry) { return entry.startsWith("LC_ALL="); };
    result.erase(std::remove_if(result.begin(), result.end(), isLocale), result.end());
    return sorted(result << "LC_ALL=C");
}

bool isInstalled(const char *program)
{
    return !QStandardPaths::findExecutable(QString::fromLatin1(program)).isEmpty();
}

QByteArray obstacle(std::initializer_list<const char *> tools)
{
    for (const char *tool : tools) {
        if (!isInstalled(tool))
            return tool + QByteArray(" is not installed");
    }
    for (const char *directory : {"/usr", "/var/lib"}) {
        if (!QTemporaryFile(QString::fromLatin1(directory) + "/kestra-XXXXXX"_s).open())
            return directory + QByteArray(" cannot be written to: run as root");
    }
    return QByteArray();
}

QByteArray runTool(const QString &program, const QStringList &arguments,
                   const QString &workingDirectory)
{
    QProcess process;
    process.setWorkingDirectory(workingDirectory);
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert("LC_ALL"_s, "C"_s);
    process.setProcessEnvironment(environment);
    process.start(program, arguments);
    process.closeWriteChannel();
    if (!process.waitForFinished(60000) || process.exitCode() != 0)
        qFatal("%s %s failed: %s", qPrintable(program),
               qPrintable(arguments.join(QLatin1Char(' '))),
               process.readAllStandardError().constData());
    return process.readAllStandardOutput();
}

QByteArray recording(const char *name)
{
    return readFile(QStringLiteral(KESTRA_RECORDINGS "/") + QString::fromLatin1(name));
}

bool isAlive(qint64 pid)
{
    const QString status = QStringLiteral("/proc/%1/stat").arg(pid);
    return exists(status) && !readFile(status).contains(") Z ");
}

QString makeDeb(const QString &directory, const QString &name, const QString &configurationFile,
                const QByteArray &fields)
{
    const QString tree = directory + "/build-"_s + name;
    writeFile(tree + "/DEBIAN/control"_s,
              "Package: " + name.toLatin1()
                  + "\nVersion: 1.2\nArchitecture: all\n"
                    "Maintainer: The libkestra developers <kestra@example.org>\n"
                    "Description: Package for tests\n"
                  + fields);
    if (!configurationFile.isEmpty()) {
        writeFile(tree + configurationFile, "setting\n");
        writeFile(tree + "/DEBIAN/conffiles"_s, configurationFile.toLatin1() + '\n');
    }
    const QString package = QStringLiteral("%1/%2_1.2_all.deb").arg(directory, name);
    runTool("dpkg-deb"_s, {"--root-owner-group"_s, "-b"_s, tree, package});
    remove(tree);
    return package;
}

QString makeRpm(const QString &directory, const QString &name)
{
    const QString spec = QStringLiteral("%1/%2.spec").arg(directory, name);
    writeFile(spec,
              "Name: " + name.toLatin1()
                  + "\nVersion: 1.2\nRelease: 3\nSummary: Package for tests\n"
                    "License: MIT\nBuildArch: noarch\n"
                    "%description\nPackage for tests.\n%files\n");
    runTool("rpmbuild"_s, {"--define"_s, "_topdir "_s + directory, "-bb"_s, spec});
    return QStringLiteral("%1/RPMS/noarch/%2-1.2-3.noarch.rpm").arg(directory, name);
}

}
