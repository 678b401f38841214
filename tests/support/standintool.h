// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRATEST_STANDINTOOL_H
#define KESTRATEST_STANDINTOOL_H

#include <QByteArray>
#include <QByteArrayList>
#include <QList>
#include <QString>
#include <QStringList>
#include <QTemporaryDir>

namespace KestraTest {

/**
 * A program that stands at the front of PATH, in the place of a tool, while the object exists.
 * It writes down how it is called and then does what it was told.
 *
 * @code
 * StandInTool dpkg("dpkg");
 * dpkg.setBehaviour({"ii  foo\n", "", 1}); // standard output, standard error, exit code
 * ...
 * QCOMPARE(dpkg.calls().size(), 1);
 * QCOMPARE(dpkg.calls().first().arguments, QStringList({"-l"_s, "foo"_s}));
 * QCOMPARE(dpkg.calls().first().variable("LC_ALL"), QByteArray("C"));
 * @endcode
 */
class StandInTool
{
public:
    /** What a call does: wait, write, write, run the script, wait, end. */
    struct Behaviour
    {
        QByteArray output; ///< for standard output, written at once
        QByteArray errorOutput; ///< for standard error
        int exitCode = 0;
        int waitBefore = 0; ///< milliseconds
        int waitAfter = 0; ///< milliseconds between the output and the end
        int signal = 0; ///< if not 0, the call ends by this signal
        QByteArray script; ///< if not empty, run by /bin/sh with the call's arguments in $@
    };

    struct Call
    {
        QStringList arguments; ///< without the program name, read as Latin-1 in the C locale
        QByteArrayList rawArguments; ///< the same, as bytes
        QByteArray program; ///< argv[0]; QProcess makes it the full path
        QByteArrayList environment; ///< NAME=value entries in the order of the call
        QString workingDirectory;
        qint64 pid;

        /** What getenv() gives in the tool; null if the variable is not set. */
        QByteArray variable(const char *name) const;
    };

    explicit StandInTool(const char *name);
    ~StandInTool();
    Q_DISABLE_COPY(StandInTool)

    /** For every call that none of the other settings is for. By default: no output, exit code 0.
     */
    void setBehaviour(const Behaviour &behaviour);
    /** For the calls that have this argument, wherever it stands; comes before addBehaviour(). */
    void setBehaviourFor(const char *argument, const Behaviour &behaviour);
    /** For the next call that is not spoken for yet: the first one added is for the first call...
     */
    void addBehaviour(const Behaviour &behaviour);

    /** The calls so far, in order. */
    QList<Call> calls() const;
    /** Only their arguments. */
    QList<QStringList> argumentsOfCalls() const;
    /** Waits until there are that many calls; false after the time. Processes no events. */
    bool waitForCalls(int count, int milliseconds = 5000) const;

    /** Where the stand-in is; its directory is the first of PATH. */
    QString path() const;

private:
    void write(const QString &key, const Behaviour &behaviour);

    QByteArray m_name;
    QByteArray m_previousPath;
    QTemporaryDir m_directory;
    int m_added = 0;
};

}

#endif
