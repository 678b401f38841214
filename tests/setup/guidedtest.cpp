// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QElapsedTimer>
#include <QRegularExpression>

using namespace KestraTest;

namespace {

const QString bundle = "/root/ueagle-atm default.tar.gz"_s;

const QString documentedRelease = "6.1.0-30-amd64"_s;

const char database[] = R"(
  <country code="Freedonia">
    <service name="Freedonia Telecom ADSL">
      <vpi>8</vpi><vci>35</vci><protocol>pppoa</protocol><encapsulation>vc</encapsulation>
      <dns_server_1>192.0.2.1</dns_server_1><dns_server_2>192.0.2.2</dns_server_2>
    </service>
    <service name="Freedonia Telecom Business">
      <vpi>8</vpi><vci>36</vci><protocol>pppoe</protocol>
    </service>
    <service name="Rufus Online">
      <vpi>0</vpi><vci>38</vci><protocol>pppoe</protocol>
    </service>
  </country>
  <country code="Sylvania">
    <service name="Sylvanian Telecom">
      <vpi>1</vpi><vci>50</vci><protocol>pppoe</protocol>
    </service>
  </country>)";

/** A terminal emulator, so that what counts is what a person sees. */
class Screen
{
public:
    explicit Screen(const QStringList &command)
        : m_server(QStringLiteral("guided%1").arg(++s_servers))
    {
        writeFile("/tmp/tmux.conf"_s, "set -g status off\n");
        tmux(QStringList {"-f"_s, "/tmp/tmux.conf"_s, "new-session"_s, "-d"_s, "-x"_s, "100"_s,
                          "-y"_s, "70"_s, "-e"_s, "LC_ALL=C.UTF-8"_s, "-e"_s, "INPUTRC=/dev/null"_s,
                          "/bin/sh"_s, "-c"_s, "\"$@\"; echo \"exit code $?\"; read -r end"_s,
                          "sh"_s}
             + command);
    }
    ~Screen() { tmux({"kill-server"_s}); }

    void type(const QString &text) { tmux({"send-keys"_s, "-l"_s, text}); }
    void press(const QString &key) { tmux({"send-keys"_s, key}); }
    void enter(const QString &text)
    {
        type(text);
        press("Enter"_s);
    }
    void resize(int columns)
    {
        tmux({"resize-window"_s, "-x"_s, QString::number(columns), "-y"_s, "70"_s});
    }

    /** What is seen, with lines joined that the terminal has broken. */
    QString text() const
    {
        QStringList lines;
        for (const QString &line :
             QString::fromUtf8(tmux({"capture-pane"_s, "-p"_s, "-J"_s})).split("\n"_s))
            lines.append(QString(line).replace(QRegularExpression(" +$"_s), QString()));
        return lines.join("\n"_s).trimmed();
    }

    bool waitFor(const QString &pattern, int timeout = 20000) const
    {
        const QRegularExpression expression(pattern);
        QElapsedTimer time;
        for (time.start(); !time.hasExpired(timeout); QTest::qWait(50)) {
            if (expression.match(text()).hasMatch())
                return true;
        }
        return false;
    }

private:
    QByteArray tmux(const QStringList &arguments) const
    {
        QProcess process;
        process.start("tmux"_s, QStringList {"-L"_s, m_server} + arguments);
        process.waitForFinished();
        return process.readAllStandardOutput();
    }

    // One that has been told to end still takes the next session for a moment, and ends with it.
    static inline int s_servers = 0;
    const QString m_server;
};

/** What differs from run to run and from machine to machine. */
QString normal(QString text)
{
    text.replace(QRegularExpression("\\d+\\.\\d s\\b"_s), "0.0 s"_s);
    text.replace(Machine::release, documentedRelease);
    text.remove(QStringLiteral(KESTRA_DATA_DIRECTORY) + "/bundles or "_s);
    return text;
}

/** The screens that the documentation shows. */
QStringList documented()
{
    const QStringList parts =
        QString::fromUtf8(readFile(QStringLiteral(KESTRA_GUIDED_RUN))).split("```\n"_s);
    QStringList screens;
    for (int i = 1; i < parts.size(); i += 2)
        screens.append(parts[i].trimmed());
    return screens;
}

QString from(const QString &text, const QString &beginning)
{
    return text.mid(text.indexOf(beginning)).trimmed();
}

}

/** A whole guided run, read from the screen. */
class GuidedTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();

    void wholeRun();
    void narrowedInTheMidst();

private:
    QStringList command() const;

    Machine m_machine;
};

/** What is on the screen shall not depend on the machine. */
void GuidedTest::init()
{
    m_machine.reset();
    writeFile("/etc/resolv.conf"_s, "nameserver 198.51.100.1\n");
    for (const QString &name : {"options"_s, "pap-secrets"_s, "chap-secrets"_s})
        remove("/etc/ppp/"_s + name);
    for (int level = 0; level <= 6; ++level) {
        const QString directory = "/etc/rc%1.d"_s.arg(level);
        remove(directory);
        makeDirectory(directory);
    }
    writeFile("/etc/init.d/dbus"_s, "");
    remove("/usr/src/kestra"_s);
}

QStringList GuidedTest::command() const
{
    return {Machine::program,
            "--kernel-headers"_s,
            Machine::directory + "/kernel"_s,
            "--no-packages"_s,
            "--data-dir"_s,
            QStringLiteral(KESTRA_DATA_DIRECTORY),
            "--providers"_s,
            Machine::directory + "/services.xml"_s};
}

void GuidedTest::wholeRun()
{
    m_machine.writeBundle(Machine::makefile("@echo building\n@sleep 3\n" + Machine::usualBuild(),
                                            Machine::usualInstallation()));
    m_machine.writeDatabase(database);
    remove(bundle);
    QVERIFY(QFile::copy(Machine::directory + "/driver.tar.gz"_s, bundle));
    Screen screen(command());
    QVERIFY2(screen.waitFor("Waiting for a modem"_s), qPrintable(screen.text()));
    m_machine.plugIn();
    QVERIFY2(screen.waitFor("\\(a tar archive\\):$"_s), qPrintable(screen.text()));
    screen.type("/root/ueagle-atm d"_s);
    screen.press("Tab"_s);
    QVERIFY2(screen.waitFor("default.tar.gz$"_s), qPrintable(screen.text()));
    screen.press("Enter"_s);
    QVERIFY2(screen.waitFor("Country, or its number:$"_s), qPrintable(screen.text()));
    screen.type("free"_s);
    screen.press("Tab"_s);
    QVERIFY2(screen.waitFor("number: Freedonia$"_s), qPrintable(screen.text()));
    screen.press("Enter"_s);
    QVERIFY2(screen.waitFor("Provider and service, or its number:$"_s), qPrintable(screen.text()));
    screen.enter("telecom adsl"_s);
    QVERIFY2(screen.waitFor("User name:$"_s), qPrintable(screen.text()));
    screen.enter("me@example.net"_s);
    QVERIFY2(screen.waitFor("Password:$"_s), qPrintable(screen.text()));
    screen.enter("s3cret"_s);
    QVERIFY2(screen.waitFor("Go on \\(yes or no\\):$"_s), qPrintable(screen.text()));
    QStringList seen = {screen.text()};
    screen.enter("yes"_s);
    QVERIFY2(screen.waitFor("\\] compile the driver \\.\\.\\. 2\\.\\d s \\| building$"_s),
             qPrintable(screen.text()));
    seen.append(from(screen.text(), "[ 6/13]"_s));
    QVERIFY2(screen.waitFor("exit code 0$"_s), qPrintable(screen.text()));
    seen.append(from(screen.text(), "[ 8/13]"_s).remove("exit code 0"_s));

    const QStringList shown = documented();
    QCOMPARE(shown.size(), seen.size());
    for (int i = 0; i < seen.size(); ++i) {
        if (normal(shown[i]) != normal(seen[i].trimmed()))
            QFAIL(qPrintable("docs/guided-run.md shows something else than:\n"_s + seen[i]));
    }
    QVERIFY(!seen.join(QString()).contains("s3cret"_s));
    QCOMPARE(readFile("/etc/ppp/pap-secrets"_s), QByteArray("\"me@example.net\" * \"s3cret\" *\n"));
}

/** The line of the stage is one line before and after. */
void GuidedTest::narrowedInTheMidst()
{
    m_machine.writeBundle(
        Machine::makefile("@echo " + QByteArray(120, 'x') + "\n@sleep 4\n" + Machine::usualBuild(),
                          Machine::usualInstallation()));
    Screen screen(QStringList(Machine::program) + Machine::arguments());
    QVERIFY2(screen.waitFor("Waiting for a modem"_s), qPrintable(screen.text()));
    m_machine.plugIn();
    const QString line = "\\[ 8/13\\] compile the driver \\.\\.\\. \\d\\.\\d s"_s;
    QVERIFY2(screen.waitFor(line + " \\| x{50,}$"_s), qPrintable(screen.text()));
    screen.resize(40);
    QVERIFY2(screen.waitFor(line + "$"_s), qPrintable(screen.text()));
    QCOMPARE(screen.text().count("compile the driver"_s), 1);
    screen.resize(100);
    QVERIFY2(screen.waitFor(line + " \\| x{50,}$"_s), qPrintable(screen.text()));
    QCOMPARE(screen.text().count("compile the driver"_s), 1);
    QVERIFY2(screen.waitFor("exit code 0$"_s), qPrintable(screen.text()));
    QCOMPARE(screen.text().count("compile the driver"_s), 1);
    QVERIFY(!screen.text().contains("xxxxx"_s));
}

KESTRA_TEST_MAIN(GuidedTest)
#include "guidedtest.moc"
