// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_MYPROCESS_H
#define KESTRA_FOUNDATION_MYPROCESS_H

#include <kestra/foundation/export.h>

#include <QByteArray>
#include <QProcess>
#include <QString>
#include <QStringList>

/**
 * A process that remembers its command line and delivers its output line by line.
 *
 * Standard error is merged into standard output. Output is handled while the owner waits in
 * `waitForFinished()` or while the event loop runs; the lines of a run have all been delivered
 * when the wait returns true. What the child writes after its last line terminator is never
 * delivered.
 *
 * @code
 * MyProcess process(nullptr);
 * QObject::connect(&process, &MyProcess::lineAvailable,
 *                  [](QByteArray line) { puts(line.constData()); });
 * process.addArgument(QStringLiteral("ls"));
 * process.addArgument(QStringLiteral("/"));
 * process.start();
 * process.waitForFinished(30000);
 * @endcode
 *
 * The class writes no message. A program that cannot be started leaves the process in
 * `QProcess::NotRunning` with `QProcess::error()` set, and `exitCode()` reads 255; with no program
 * set it stays what it was.
 */
class KESTRA_EXPORT MyProcess : public QProcess
{
    Q_OBJECT

public:
    /** Creates an idle process without a command. @param parent the owner, may be null */
    explicit MyProcess(QObject *parent);
    ~MyProcess() override;

    /** Sets the program if none is set, otherwise appends @p argument to the arguments. */
    void addArgument(const QString &argument);

    /** Forgets the program and its arguments. */
    void clearArguments();

    /** Returns the whole command line: the program, then its arguments. */
    QStringList arguments() const;

    /** Starts the stored command; output left over from an earlier run is dropped. Does not wait.
     */
    void start();

    /** Starts @p program with @p arguments instead; the stored command stays as it is. */
    void start(const QString &program, const QStringList &arguments);

    /** Returns whether the child runs; false while it is still starting. */
    bool isRunning() const;

    /**
     * Finds a line terminator, a newline or a carriage return.
     *
     * @param buffer the bytes to search
     * @param from the index of the first byte to look at; a negative one counts from the end
     * @return the index of the first terminator at or after @p from, or -1 if there is none
     */
    int canReadLine(const QByteArray &buffer, int from) const;
    using QProcess::canReadLine;

    /**
     * Takes @p data for output of the child and emits lineAvailable() for each line that it
     * completes. The cost is proportional to the size of @p data, however long the lines are.
     */
    void genericRead(QByteArray data);

public Q_SLOTS:
    /** Delivers what the child has written so far. */
    void readStdOut();

    /** Delivers what is still unread after the child has ended. */
    void procFinished();

Q_SIGNALS:
    /**
     * One line of output.
     *
     * A newline and a carriage return each end a line of their own, so that a progress display
     * gives one line per rewrite and a CR-LF pair gives the line and then an empty one.
     *
     * @param line the line without its terminator, possibly empty
     */
    void lineAvailable(QByteArray line);

private:
    QString m_program;
    QStringList m_arguments;
    QByteArray m_buffer;
};

#endif
