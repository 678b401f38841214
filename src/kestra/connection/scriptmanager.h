// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_CONNECTION_SCRIPTMANAGER_H
#define KESTRA_CONNECTION_SCRIPTMANAGER_H

#include <kestra/foundation/export.h>

#include <QObject>
#include <QString>
#include <QStringList>

class QFile;

/**
 * Writes the files with which pppd brings the connection up, and links its init script into the
 * run levels.
 *
 * The paths are fixed. Files are rewritten whole, as 8-bit text; no file stays open between
 * calls. Messages go to the Qt debug stream unless said otherwise. Nothing blocks for longer than
 * the files take to read and write.
 */
class KESTRA_EXPORT ScriptManager : public QObject
{
    Q_OBJECT

public:
    ScriptManager();
    ~ScriptManager() override;

    /**
     * Adds @p line and a newline to the end of the existing file @p fileName, unless the text
     * occurs anywhere in it. A file that cannot be read or written is left alone, silently.
     */
    void writeToFile(const QString &fileName, const QString &line);

    /**
     * Replaces @p before by @p after in @p fileName until it no longer occurs, and adds a newline
     * to the end of the file, whether or not anything was replaced.
     *
     * Never returns when @p after contains @p before. Failures go to the Qt warning stream.
     */
    void replaceInFile(const QString &fileName, const QString &before, const QString &after);

    /**
     * Removes every @p line that a newline follows from @p fileName. A file that cannot be read or
     * written is left alone, silently.
     */
    void removeFromFile(const QString &fileName, const QString &line);

    /**
     * Sets the modes of the files: the options and the secrets readable by root alone, the peer
     * files by everybody, the init script executable. Files that do not exist are skipped.
     */
    void setScriptsPermissions();

    /**
     * Writes the peer file "/etc/ppp/peers/kestra" for PPP over Ethernet on the interface nas0.
     *
     * @param user the user name, inserted unchanged
     * @return false when the file cannot be opened
     */
    bool writePPPoEScript(const QString &user);

    /**
     * Writes the peer file "/etc/ppp/peers/kestra" for PPP over ATM.
     *
     * @param vpi virtual path of the circuit
     * @param vci virtual channel of the circuit
     * @param user the user name, inserted unchanged
     * @return false when the file cannot be opened
     */
    bool writePPPoAScript(const unsigned short &vpi, const unsigned short &vci,
                          const QString &user);

    /**
     * Writes the peer file "/etc/ppp/peers/kestra_unicorn" for the interface dsl0 of the unicorn
     * driver.
     *
     * @param user the user name, inserted unchanged
     * @return false when the file cannot be opened
     */
    bool writeUnicornScript(const QString &user);

    /**
     * Writes user name and password to the PAP and the CHAP secrets; other entries are lost.
     *
     * Nobody but the owner can read the files from the moment they hold the password.
     *
     * @return false when the CHAP secrets cannot be opened; a failure on the PAP secrets is ignored
     */
    bool writeSecretScripts(const QString &user, const QString &password);

    /** Writes "/etc/ppp/options". @return false when the file cannot be opened */
    bool writeOptionsScript();

    /**
     * Replaces the options line of the unicorn driver in the modprobe file @p fileName, which is
     * created if need be. Prints the two numbers on standard output.
     *
     * @param fileName the file to edit
     * @param vpi virtual path of the circuit
     * @param vci virtual channel of the circuit
     * @param protocol 0 for PPP over ATM, any other value for PPP over Ethernet
     * @return false when the file cannot be written
     */
    bool writeUnicornOption(const QString &fileName, int &vpi, int &vci, int &protocol);

    /**
     * Returns the directory that holds the run-level directories, "/etc/init.d" or "/etc", or an
     * empty string.
     */
    QString getRcDir();

    /**
     * Links "/etc/init.d/kestrad" into all run levels and gives the message bus, or else the
     * hardware daemon, a start link where it has none; its kill links are removed.
     *
     * Links that the connection had before are removed first. Failures are ignored. Changes the
     * working directory of the process to the last run-level directory and leaves it there.
     *
     * @param number the sequence number of the links
     */
    void addDaemonToStart(const int &number);

private:
    bool writePeer(const QString &path, const char *prefix, const QStringList &lines);
    bool writeLines(const QString &path, const char *prefix, const QStringList &lines);
    bool writeSecret(const QString &path, const char *prefix, const QString &line);

    QFile *m_file;
    QString autostartScript;
    QString pppScript;
    QString papSecretsScript;
    QString chapSecretsScript;
    QString unicornScript;
    QString optionsScript;
};

#endif
