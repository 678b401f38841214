// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QElapsedTimer>

#include <cerrno>
#include <csignal>
#include <poll.h>
#include <pty.h>
#include <sys/ioctl.h>
#include <sys/wait.h>
#include <termios.h>
#include <unistd.h>

using namespace KestraTest;

using Changes = QMap<QString, QString>;

namespace {

using Environment = QMap<QByteArray, QByteArray>;

const Environment usualEnvironment = {
    {"TERM", "xterm"}, {"NO_COLOR", "1"}, {"LC_ALL", "C.UTF-8"}, {"INPUTRC", "/dev/null"}};

/** kestra-setup on a terminal of its own: type, and read the screen. */
class TerminalRun
{
public:
    explicit TerminalRun(const QStringList &arguments, Environment environment = {},
                         unsigned short columns = 100, bool fromShell = false)
    {
        for (auto usual = usualEnvironment.cbegin(); usual != usualEnvironment.cend(); ++usual) {
            if (!environment.contains(usual.key()))
                environment[usual.key()] = usual.value();
        }
        QList<QByteArray> words = {Machine::program.toLocal8Bit()};
        if (fromShell) // one with job control
            words = {"/bin/bash", "--norc",
                     "-c",        "set -m; \"$@\"; while :; do read -r word; $word; done",
                     "bash",      Machine::program.toLocal8Bit()};
        for (const QString &argument : arguments)
            words.append(argument.toLocal8Bit());
        QVector<char *> pointers;
        for (QByteArray &word : words)
            pointers.append(word.data());
        pointers.append(nullptr);
        const winsize size = {24, columns, 0, 0};
        m_pid = ::forkpty(&m_terminal, nullptr, nullptr, &size);
        if (m_pid == 0) {
            for (auto variable = environment.cbegin(); variable != environment.cend(); ++variable)
                ::setenv(variable.key().constData(), variable.value().constData(), 1);
            ::execv(pointers[0], pointers.data());
            ::_exit(127);
        }
    }

    ~TerminalRun()
    {
        if (m_pid > 0) {
            ::kill(m_pid, SIGKILL);
            ::waitpid(m_pid, nullptr, 0);
        }
        ::close(m_terminal);
    }

    /** Waits until the screen shows @p text after what was waited for before. */
    bool waitFor(const QByteArray &text, int timeout = 20000)
    {
        QElapsedTimer time;
        time.start();
        for (;;) {
            const int found = m_screen.indexOf(text, m_seen);
            if (found >= 0) {
                m_seen = found + text.size();
                return true;
            }
            if (time.hasExpired(timeout) || !read(100))
                return false;
        }
    }

    void type(const QByteArray &text)
    {
        QCOMPARE(::write(m_terminal, text.constData(), std::size_t(text.size())),
                 ssize_t(text.size()));
    }

    bool isEchoing() const
    {
        termios settings;
        return ::tcgetattr(m_terminal, &settings) == 0 && (settings.c_lflag & ECHO);
    }

    /** Returns whether one of the keys with a meaning, VSUSP for instance, has it. */
    bool hasKey(int which) const
    {
        termios settings;
        return ::tcgetattr(m_terminal, &settings) == 0 && settings.c_cc[which] != _POSIX_VDISABLE;
    }

    bool waitForEcho(bool wanted) const
    {
        for (int i = 0; i < 50 && isEchoing() != wanted; ++i)
            QTest::qWait(20);
        return isEchoing() == wanted;
    }

    /** Returns the exit code, or -1. */
    int finish()
    {
        while (read(20000)) { }
        int status = 0;
        ::waitpid(m_pid, &status, 0);
        m_pid = -1;
        return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }

    QByteArray screen() const { return m_screen; }

    void resize(unsigned short columns)
    {
        const winsize size = {24, columns, 0, 0};
        ::ioctl(m_terminal, TIOCSWINSZ, &size);
    }

private:
    bool read(int timeout)
    {
        pollfd entry = {m_terminal, POLLIN, 0};
        if (::poll(&entry, 1, timeout) == 0)
            return timeout < 20000;
        char buffer[4096];
        const ssize_t count = ::read(m_terminal, buffer, sizeof buffer);
        if (count <= 0)
            return false;
        m_screen.append(buffer, int(count));
        return true;
    }

    int m_terminal = -1;
    pid_t m_pid = -1;
    QByteArray m_screen;
    int m_seen = 0;
};

/** The options of a run that asks for all that it may ask for, save for those of @p changes. */
QStringList asking(Changes changes = {})
{
    for (const char *option : {"--unattended", "--driver-bundle", "--country", "--service",
                               "--user", "--password-file"}) {
        const QString name = QString::fromLatin1(option);
        if (!changes.contains(name))
            changes[name] = QString();
    }
    return Machine::arguments(changes);
}

/** The same with a modem that need not be found, and without its driver. */
QStringList askingForConnection(Changes changes = {})
{
    changes["--no-driver"_s] = "-"_s;
    changes["--driver"_s] = "ueagle-atm"_s;
    return asking(changes);
}

const QByteArray password = "typed s3cret";

const QByteArray wideLine = "\u4e00\u4e8c\u4e09\u56db\u4e94\u516d\u4e03\u516b\u4e5d\u5341"
                            "\u4e00\u4e8c\u4e09\u56db\u4e94\u516d\u4e03\u516b\u4e5d\u5341";

/** Returns how many columns the text takes; of the wide characters it knows those of wideLine. */
int columns(const QByteArray &text)
{
    int count = 0;
    for (const QChar character : QString::fromUtf8(text))
        count += character.unicode() >= 0x4e00 ? 2 : 1;
    return count;
}

/** The states in which the progress line was seen, without what erases it. */
QList<QByteArray> progressLines(QByteArray screen)
{
    QList<QByteArray> lines;
    const int end = screen.indexOf("What was written");
    for (const QByteArray &line : screen.left(end).replace("\r\n", "\n").split('\r')) {
        if (line.startsWith("\x1b[K") && !line.contains('\n'))
            lines.append(line.mid(3));
    }
    return lines;
}

}

/** The questions, on a real terminal. */
class PromptTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init() { m_machine.reset(); }

    void everythingIsAskedFor();
    void whatIsGivenIsNotAskedFor();
    void partsOfNamesAndNumbers();
    void longListsAreNotShown();
    void enterListsAll();
    void nothingToAsk();
    void interruptedAtAQuestion();
    void interruptedAtThePassword();
    void noKeyShowsThePassword();
    void endOfInput();
    void progressIsOneLine();
    void progressFitsNarrowTerminals();
    void aNarrowedTerminalKeepsOneLine();
    void wrongAnswersAreAskedForAgain();
    void refusedAnswersCanBeMended();
    void aPipeEndsWithTheLastFault();
    void tabCompletesNames();
    void tabCompletesPaths();
    void goingBack();
    void helpIsGiven();
    void nothingIsDoneWithoutAgreement();
    void colours_data();
    void colours();
    void aDumbTerminalIsNotRewritten();
    void stoppedAtAQuestion();

private:
    Machine m_machine;
};

void PromptTest::everythingIsAskedFor()
{
    TerminalRun run(asking());
    QVERIFY(run.waitFor("Waiting for a modem to be plugged in"));
    m_machine.plugIn();
    QVERIFY(run.waitFor("ueagle-atm-default.tar.gz is not in "));
    QVERIFY(run.waitFor("kestra-driver-bundle ueagle-atm cuts it out of "));
    QVERIFY(run.waitFor("Driver bundle for ueagle-atm (a tar archive): "));
    run.type(Machine::directory.toLatin1() + "/driver.tar.gz\n");
    QVERIFY(run.waitFor("   1  Freedonia\r\n   2  Sylvania\r\nCountry, or its number: "));
    run.type("1\n");
    QVERIFY(run.waitFor("   7  Example LLC\r\nProvider and service, or its number: "));
    run.type("Example PPPoA\n");
    QVERIFY(run.waitFor("User name: "));
    run.type("typed@example.net\n");
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    run.type(password + "\n");
    QVERIFY(run.waitFor("Go on (yes or no): "));
    run.type("yes\n");
    QVERIFY(run.waitFor("The connection is set up.", 60000));
    QCOMPARE(run.finish(), 0);
    QVERIFY(run.screen().contains("typed@example.net"));
    QVERIFY(!run.screen().contains(password));
    QCOMPARE(readFile("/etc/ppp/pap-secrets"_s),
             QByteArray("\"typed@example.net\" * \"" + password + "\" *\n"));
    QCOMPARE(readFile(Machine::newModule), Machine::source);
}

void PromptTest::whatIsGivenIsNotAskedFor()
{
    TerminalRun run(asking({{"--driver"_s, "ueagle-atm"_s},
                            {"--driver-bundle"_s, Machine::directory + "/driver.tar.gz"_s},
                            {"--driver-tree"_s, Machine::directory + "/src/ueagle-atm"_s},
                            {"--country"_s, "freedonia"_s},
                            {"--service"_s, "Example LLC"_s},
                            {"--password-file"_s, Machine::directory + "/password"_s}}));
    QVERIFY(run.waitFor("User name: "));
    for (const char *question : {"Driver bundle", "Country", "Provider"})
        QVERIFY2(!run.screen().contains(question), question);
    run.type("me\n");
    QVERIFY(run.waitFor("Go on (yes or no): "));
    QVERIFY(!run.screen().contains("Password: "));
}

void PromptTest::partsOfNamesAndNumbers()
{
    TerminalRun run(askingForConnection({{"--country"_s, "Atlantis"_s}}));
    QVERIFY(run.waitFor("Nothing matches \"Atlantis\".\r\nCountry, or a part of it: "));
    run.type("Fredonia\n");
    QVERIFY(run.waitFor("Nothing matches \"Fredonia\". Near matches: Freedonia.\r\n"));
    run.type("free\n");
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    run.type("bad\n");
    QVERIFY(run.waitFor("   1  Example Bad Protocol\r\n   2  Example Bad Encapsulation\r\n   3  "
                        "Example Bad Servers\r\nProvider and service, or its number: "));
    run.type("3\n");
    QVERIFY(run.waitFor("Freedonia, Example Bad Servers: 0.38, pppoa, vc"));
}

void PromptTest::longListsAreNotShown()
{
    QByteArray countries;
    for (int i = 1; i <= 30; ++i)
        countries += "<country code=\"Country " + QByteArray::number(i)
            + "\"><service name=\"S\"><vpi>1</vpi><vci>32</vci><protocol>pppoe</protocol></service>"
              "</country>";
    m_machine.writeDatabase(countries);
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("30 to choose from; the Enter key alone lists all 30.\r\n"
                        "Country, or a part of it: "));
    run.type("30\n"); // a part of a name here, not a number
    QVERIFY(run.waitFor("User name: "));
    QVERIFY(run.screen().contains("Country 30, S: 1.32, pppoe, llc"));
}

void PromptTest::enterListsAll()
{
    QByteArray countries;
    for (int i = 1; i <= 30; ++i)
        countries += "<country code=\"Long Name of Country " + QByteArray::number(i)
            + "\"><service name=\"S\"><vpi>1</vpi><vci>32</vci><protocol>pppoe</protocol></service>"
              "</country>";
    m_machine.writeDatabase(countries);
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("Country, or a part of it: "));
    run.type("\n");
    // The terminal is 100 characters wide, which makes three columns.
    QVERIFY(
        run.waitFor("\r\n   1  Long Name of Country 1     11  Long Name of Country 11    21  Long "
                    "Name of Country 21\r\n   2  "));
    QVERIFY(run.waitFor("  30  Long Name of Country 30\r\nCountry, or its number: "));
    run.type("12\n");
    QVERIFY(run.waitFor("Long Name of Country 12, S: 1.32, pppoe, llc"));
}

/** A single service is no question, and does not break the line of the stage. */
void PromptTest::nothingToAsk()
{
    TerminalRun run(askingForConnection({{"--country"_s, "Sylvania"_s}}));
    QVERIFY(run.waitFor("Sylvania, Sylvanian Telecom: 1.50, pppoe, llc"));
    QVERIFY2(!run.screen().contains("choose the provider ...\r\n"), run.screen().constData());
}

void PromptTest::interruptedAtAQuestion()
{
    const QByteArray before = Machine::state();
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("Fre\x03");
    QCOMPARE(run.finish(), 130);
    QVERIFY2(run.screen().contains("The set-up was interrupted."), run.screen().constData());
    QVERIFY2(run.screen().contains(" ... interrupted ("), run.screen().constData());
    QVERIFY2(run.screen().contains("\r\nNothing was changed.\r\n"), run.screen().constData());
    QVERIFY(run.isEchoing());
    QCOMPARE(Machine::state(), before);
}

void PromptTest::interruptedAtThePassword()
{
    TerminalRun run(askingForConnection(
        {{"--country"_s, "Freedonia"_s}, {"--service"_s, "Example LLC"_s}, {"--user"_s, "me"_s}}));
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    run.type("half a secr\x03");
    QVERIFY(run.waitFor("The set-up was interrupted."));
    QVERIFY(run.waitForEcho(true));
    QCOMPARE(run.finish(), 130);
    QVERIFY(!run.screen().contains("half a"));
}

/** A shell would switch the echo on again for a program that was stopped and goes on. */
void PromptTest::noKeyShowsThePassword()
{
    TerminalRun run(askingForConnection(
        {{"--country"_s, "Freedonia"_s}, {"--service"_s, "Example LLC"_s}, {"--user"_s, "me"_s}}));
    QVERIFY(run.hasKey(VSUSP) && run.hasKey(VQUIT));
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    QVERIFY(!run.hasKey(VSUSP));
    QVERIFY(!run.hasKey(VQUIT));
    run.type("\x1a\x1c\n");
    QVERIFY(run.waitFor("The password cannot be used with pppd: it has a control character"));
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    run.type("\x04"); // no other
    QCOMPARE(run.finish(), 18);
    QVERIFY(run.hasKey(VSUSP) && run.hasKey(VQUIT));
}

void PromptTest::endOfInput()
{
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("\x04");
    QCOMPARE(run.finish(), 2);
    QVERIFY2(run.screen().contains(
                 "\r\nNo country was chosen. Choose one, or give it with --country.\r\n"),
             run.screen().constData());
}

void PromptTest::progressIsOneLine()
{
    m_machine.writeBundle(
        Machine::makefile("@echo a step of the build\n@sleep 2\n" + Machine::usualBuild(),
                          Machine::usualInstallation()));
    TerminalRun run(Machine::arguments());
    QVERIFY(run.waitFor("Waiting for a modem to be plugged in"));
    m_machine.plugIn();
    // Rewritten in place, with the time and the last line of the tool.
    QVERIFY(run.waitFor("\r\x1b[K[ 8/13] compile the driver ... "));
    QVERIFY(run.waitFor(" s | a step of the build"));
    QVERIFY(run.waitFor("\r\x1b[K[ 8/13] compile the driver ... "));
    QVERIFY(run.waitFor("\r\x1b[K[ 8/13] compile the driver ... done ("));
    QCOMPARE(run.finish(), 0);
    for (QByteArray line :
         run.screen().left(run.screen().indexOf("What was written")).split('\r')) {
        line.replace("\x1b[K", "");
        if (line.contains(" | "))
            QVERIFY2(line.size() < 100, line.constData());
    }
}

void PromptTest::progressFitsNarrowTerminals()
{
    for (const unsigned short width : {40, 61}) {
        m_machine.reset();
        m_machine.writeBundle(
            Machine::makefile("@echo " + wideLine + "\n@sleep 1\n" + Machine::usualBuild(),
                              Machine::usualInstallation()));
        TerminalRun run(Machine::arguments(), {}, width);
        QVERIFY(run.waitFor("Waiting for a modem to be plugged in"));
        m_machine.plugIn();
        QCOMPARE(run.finish(), 0);
        int widest = 0;
        const QList<QByteArray> lines = progressLines(run.screen());
        for (const QByteArray &line : lines)
            widest = std::max(widest, columns(line));
        QVERIFY2(widest < width, run.screen().constData());
        QVERIFY(width == 40 || widest >= width - 2); // the room is used where there is enough
        QCOMPARE(run.screen().contains("\u4e00\u4e8c"), width == 61);
    }
}

/** A terminal breaks the line that it has when it is made narrower: both parts are taken back. */
void PromptTest::aNarrowedTerminalKeepsOneLine()
{
    m_machine.writeBundle(
        Machine::makefile("@echo " + QByteArray(80, 'x') + "\n@sleep 2\n" + Machine::usualBuild(),
                          Machine::usualInstallation()));
    TerminalRun run(Machine::arguments());
    QVERIFY(run.waitFor("Waiting for a modem to be plugged in"));
    m_machine.plugIn();
    QVERIFY(run.waitFor("xxxxxxxxxx"));
    run.resize(40);
    QVERIFY(run.waitFor("\x1b[2A\r\x1b[J[ 8/13] compile the driver ... "));
    const int narrow = run.screen().size();
    QCOMPARE(run.finish(), 0);
    for (const QByteArray &line : progressLines(run.screen().mid(narrow)))
        QVERIFY2(line.size() < 40, line.constData());
}

void PromptTest::wrongAnswersAreAskedForAgain()
{
    const QByteArray directory = Machine::directory.toLatin1();
    QVERIFY(QFile::copy(Machine::directory + "/driver.tar.gz"_s,
                        Machine::directory + "/my driver (1).tar.gz"_s));
    TerminalRun run(asking({{"--driver"_s, "ueagle-atm"_s}}));
    const QByteArray bundle = "Driver bundle for ueagle-atm (a tar archive): ";
    const auto refuses = [&run](const QByteArray &answer, const QByteArray &why,
                                const QByteArray &question) {
        run.type(answer + "\n");
        QVERIFY2(run.waitFor(why), run.screen().constData());
        QVERIFY2(run.waitFor("\r\n" + question), run.screen().constData());
    };
    QVERIFY(run.waitFor(bundle));
    refuses("", "No driver bundle was given.", bundle);
    refuses("/no/such", "The driver bundle /no/such does not exist or is not a readable file.",
            bundle);
    refuses(directory + "/services.xml", "is no tar archive that can be read to its end.", bundle);
    run.type(directory + "/my driver (1).tar.gz\n");
    QVERIFY(run.waitFor("Country, or its number: "));
    refuses("Atlantis", "Nothing matches \"Atlantis\".", "Country, or a part of it: ");
    refuses("<", "There is no question to go back to.", "   1  Freedonia");
    run.type("1\n");
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    refuses("bad protocol", "The provider database has the unknown protocol \"pppox\"",
            "   1  Example PPPoA");
    run.type("1\n");
    QVERIFY(run.waitFor("User name: "));
    refuses("", "The user name cannot be used with pppd: it is empty.", "User name: ");
    refuses("me\"you", "The user name cannot be used with pppd: it has a double quote in it.",
            "User name: ");
    run.type("me\n");
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    refuses("", "The password cannot be used with pppd: it is empty.", "Password: ");
    QVERIFY(run.waitForEcho(false));
    run.type(password + "\n");
    QVERIFY(run.waitFor("  Driver        built from " + directory + "/my driver (1).tar.gz\r\n"));
    QVERIFY(run.waitFor("Go on (yes or no): "));
    refuses("maybe", "Please answer yes or no.", "Go on (yes or no): ");
    run.type("y\n");
    QVERIFY(run.waitFor("The connection is set up.", 60000));
    QCOMPARE(run.finish(), 0);
    QVERIFY(!run.screen().contains(password));
}

/** The arrow upwards brings back what was typed before: to the same question, and no secret. */
void PromptTest::refusedAnswersCanBeMended()
{
    TerminalRun run(
        askingForConnection({{"--country"_s, "Freedonia"_s}, {"--service"_s, "Example LLC"_s}}));
    QVERIFY(run.waitFor("User name: "));
    run.type("me\"\n");
    QVERIFY(run.waitFor("double quote in it.\r\nUser name: "));
    run.type("\x1b[A\x7f\n");
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    run.type(password + "\n");
    QVERIFY(run.waitFor("  User name     me\r\n"));
    QVERIFY(run.waitFor("Go on (yes or no): "));
    run.type("\x1b[A\n");
    QVERIFY(run.waitFor("Please answer yes or no."));
    QVERIFY(!run.screen().contains(password));
}

void PromptTest::aPipeEndsWithTheLastFault()
{
    QProcess process;
    Machine::start(
        process,
        askingForConnection({{"--country"_s, "Freedonia"_s}, {"--service"_s, "Example LLC"_s}}));
    process.write("me\"\n");
    process.closeWriteChannel();
    const SetupResult result = Machine::finish(process);
    QCOMPARE(result.code, 18);
    QVERIFY2(result.output.contains("\nUser name: The user name cannot be used with pppd: it has a "
                                    "double quote in it.\nUser name: \n"),
             result.output.constData());
    QVERIFY(!result.output.contains('\x1b'));
}

void PromptTest::tabCompletesNames()
{
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("LVA\t");
    QVERIFY2(run.waitFor("Sylvania"), run.screen().constData());
    run.type("\x15"
             "fr\t\n"); // all of it is taken back
    QVERIFY(run.waitFor("Freedonia"));
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    run.type("example p\t");
    QVERIFY2(run.waitFor("PPPo"), run.screen().constData());
    run.type("\t\t");
    QVERIFY2(run.waitFor("Example PPPoA  Example PPPoE"), run.screen().constData());
    run.type("e\t\n");
    QVERIFY(run.waitFor("Freedonia, Example PPPoE: 0.38"));
}

void PromptTest::tabCompletesPaths()
{
    makeDirectory(Machine::directory + "/a directory"_s);
    QVERIFY(QFile::copy(Machine::directory + "/driver.tar.gz"_s,
                        Machine::directory + "/a directory/the driver.tar.gz"_s));
    TerminalRun run(asking({{"--driver"_s, "ueagle-atm"_s}}));
    QVERIFY(run.waitFor("(a tar archive): "));
    run.type(Machine::directory.toLatin1() + "/a d\t");
    QVERIFY2(run.waitFor("/a directory/"), run.screen().constData());
    run.type("t\t\n");
    QVERIFY2(run.waitFor("the driver.tar.gz\r\n"), run.screen().constData());
    QVERIFY(run.waitFor("Country, or its number: "));
}

void PromptTest::goingBack()
{
    TerminalRun run(askingForConnection());
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("Freedonia\n");
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    run.type("<\n");
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("Freedonia\n");
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    run.type("Example LLC\n");
    QVERIFY(run.waitFor("User name: "));
    run.type("<\n");
    QVERIFY(run.waitFor("   7  Example LLC\r\nProvider and service, or its number: "));
    run.type("<\n");
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("Sylvania\n"); // which has one service only
    QVERIFY(run.waitFor("    Sylvania, Sylvanian Telecom: 1.50, pppoe, llc\r\nUser name: "));
    run.type("<\n");
    QVERIFY(run.waitFor("Country, or its number: "));
    run.type("Sylvania\n");
    QVERIFY(run.waitFor("User name: "));
    run.type("me\n");
    QVERIFY(run.waitFor("Password: "));
    QVERIFY(run.waitForEcho(false));
    run.type("secret\n");
    QVERIFY(run.waitFor("  Provider      Sylvanian Telecom (1.50, pppoe, llc)\r\n"));
}

void PromptTest::helpIsGiven()
{
    TerminalRun run(askingForConnection({{"--country"_s, "Freedonia"_s}}));
    QVERIFY(run.waitFor("A question mark as an answer explains the question"));
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    run.type("?\n");
    QVERIFY(run.waitFor("What you have a contract for; the provider's letter tells. < goes back to "
                        "the country."));
    QVERIFY(run.waitFor("Provider and service, or its number: "));
    QCOMPARE(run.screen().count("A question mark as an answer"), 1);
}

void PromptTest::nothingIsDoneWithoutAgreement()
{
    const QByteArray before = Machine::state();
    TerminalRun run(
        askingForConnection({{"--country"_s, "Freedonia"_s},
                             {"--service"_s, "Example LLC"_s},
                             {"--password-file"_s, Machine::directory + "/password"_s}}));
    QVERIFY(run.waitFor("User name: "));
    run.type("me\n");
    QVERIFY(run.waitFor("\r\n\r\nWhat will be done with these answers:\r\n"));
    QVERIFY(run.waitFor("  Password      not shown\r\n"));
    QVERIFY(run.waitFor("  write the connection, link the connection into the run levels, set the "
                        "name servers.\r\n"));
    QVERIFY(run.waitFor("Go on (yes or no): "));
    run.type("no\n");
    QCOMPARE(run.finish(), 130);
    QVERIFY2(run.screen().contains("The set-up was not begun. Start it again to give other "
                                   "answers.\r\nNothing was changed.\r\n"),
             run.screen().constData());
    QCOMPARE(Machine::state(), before);
    QVERIFY(!exists("/var/lib/kestra/state.json"_s));
}

void PromptTest::colours_data()
{
    QTest::addColumn<QByteArray>("noColour");
    QTest::addColumn<QByteArray>("terminal");
    QTest::addColumn<bool>("areWanted");
    QTest::newRow("usual") << QByteArray() << QByteArray("xterm") << true;
    QTest::newRow("refused") << QByteArray("1") << QByteArray("xterm") << false;
    QTest::newRow("a dumb terminal") << QByteArray() << QByteArray("dumb") << false;
}

void PromptTest::colours()
{
    QFETCH(QByteArray, noColour);
    QFETCH(QByteArray, terminal);
    QFETCH(bool, areWanted);
    TerminalRun run(
        askingForConnection({{"--country"_s, "Freedonia"_s}, {"--service"_s, "Example LLC"_s}}),
        {{"NO_COLOR", noColour}, {"TERM", terminal}});
    QVERIFY(run.waitFor("User name: "));
    run.type("\"\n");
    QVERIFY(run.waitFor("User name: "));
    run.type("\x03");
    QCOMPARE(run.finish(), 130);
    QCOMPARE(run.screen().contains("\x1b[32mdone\x1b[0m ("), areWanted);
    QCOMPARE(run.screen().contains("\x1b[31minterrupted\x1b[0m ("), areWanted);
    QCOMPARE(run.screen().contains("\x1b[31mThe user name cannot be used"), areWanted);
    QCOMPARE(run.screen().contains("\x1b[31mThe set-up was interrupted."), areWanted);
    QCOMPARE(run.screen().contains("m\x1b") || run.screen().contains("[0m"), areWanted);
}

void PromptTest::aDumbTerminalIsNotRewritten()
{
    TerminalRun run(askingForConnection(), {{"TERM", "dumb"}});
    QVERIFY(run.waitFor("Country, or its number: "));
    QVERIFY(run.isEchoing()); // the terminal itself edits the line
    run.type("Sylvania\n");
    QVERIFY(run.waitFor("User name: "));
    run.type("\x04");
    QCOMPARE(run.finish(), 2);
    QVERIFY2(!run.screen().contains('\x1b'), run.screen().constData());
}

/** As from a shell: the terminal is the shell's while kestra-setup is stopped. */
void PromptTest::stoppedAtAQuestion()
{
    TerminalRun run(askingForConnection(), {}, 100, true);
    QVERIFY(run.waitFor("Country, or its number: "));
    QVERIFY(run.waitForEcho(false)); // it is readline that shows what is typed
    run.type("Fre");
    QVERIFY(run.waitFor("Fre")); // the key throws away what nobody has read
    run.type("\x1a");
    QVERIFY2(run.waitFor("Stopped"), run.screen().constData());
    QVERIFY(run.waitForEcho(true));
    run.type("fg\n");
    QVERIFY2(run.waitFor("Country, or its number: Fre"), run.screen().constData());
    QVERIFY(run.waitForEcho(false));
    run.type("edonia\n");
    QVERIFY2(run.waitFor("Provider and service, or its number: "), run.screen().constData());
}

KESTRA_TEST_MAIN(PromptTest)
#include "prompttest.moc"
