// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_PACKAGETESTING_H
#define KESTRATEST_PACKAGETESTING_H

#include "standintool.h"

#include <QByteArray>
#include <QByteArrayList>
#include <QString>
#include <QStringList>

#include <initializer_list>

/** What the tests of the package classes share. */
namespace KestraTest {

/** Gives an environment variable another value while it exists. */
class EnvironmentVariable
{
public:
    EnvironmentVariable(const char *name, const QByteArray &value);
    ~EnvironmentVariable();
    Q_DISABLE_COPY(EnvironmentVariable)

private:
    QByteArray m_name;
    QByteArray m_previous;
};

/** Hides every tool from whoever looks for one while it exists. */
class NoTools : EnvironmentVariable
{
public:
    NoTools() : EnvironmentVariable("PATH", "/nonexistent") { }
};

/** A call that writes this and ends. */
StandInTool::Behaviour says(const QByteArray &output, const QByteArray &errorOutput = QByteArray(),
                            int exitCode = 0);

/** The environment of this process, sorted. */
QByteArrayList ownEnvironment();

/** The same with LC_ALL=C in the place of any other LC_ALL. */
QByteArrayList englishEnvironment();

QByteArrayList sorted(QByteArrayList list);

/** Whether there is such a program in PATH. */
bool isInstalled(const char *program);

/** Why real package managers with these tools cannot work here, empty if they can. */
QByteArray obstacle(std::initializer_list<const char *> tools);

/** Runs a real tool with English messages, to prepare or to check something; returns its output.
 * One that fails ends the test program.
 */
QByteArray runTool(const QString &program, const QStringList &arguments,
                   const QString &workingDirectory = QString());

/** Output of a tool that was written down once, such as "zypper-1.14.42/repos.txt". */
QByteArray recording(const char *name);

/** Whether the process is alive and no zombie. */
bool isAlive(qint64 pid);

/**
 * Builds a package without files for dpkg, except for a configuration file if its path is given.
 *
 * @param fields more lines of its control file
 *
 * @return the path of the package in @p directory
 */
QString makeDeb(const QString &directory, const QString &name,
                const QString &configurationFile = QString(),
                const QByteArray &fields = QByteArray());

/** Builds a package without files for rpm; returns its path, which is below @p directory. */
QString makeRpm(const QString &directory, const QString &name);

}

#endif
