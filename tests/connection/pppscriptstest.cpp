// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "systemfiles.h"
#include "testmain.h"

#include <kestra/connection/scriptmanager.h>

#include <QProcess>
#include <QStandardPaths>

#include <atomic>
#include <csignal>
#include <memory>
#include <thread>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

using namespace KestraTest;

namespace {

const QString user = "user@example.com"_s;
const QString password = "sesame"_s;
const QString pap = "/etc/ppp/pap-secrets"_s;
const QString chap = "/etc/ppp/chap-secrets"_s;
const QString peer = "/etc/ppp/peers/kestra"_s;
const QString options = "/etc/ppp/options"_s;
const QString modprobeFile = "/etc/modprobe.d/unicorn.conf"_s;

const QStringList secretMessages = {
    "ScriptManager::writeSecretsScript(): fileName: \"/etc/ppp/pap-secrets\""_s,
    "ScriptManager::writeSecretsScript(): fileName (2): \"/etc/ppp/chap-secrets\""_s};

/** The writers of one file: what they write for the line 8.35 and the user above, and say. */
struct Writer
{
    const char *name;
    const char *path;
    const char *message;
    int lineCount;
    QString ScriptManager::*member;
    bool (*write)(ScriptManager &manager, const QString &user);
} const writers[] = {
    {"peer-pppoe", "/etc/ppp/peers/kestra", "ScriptManager::writePPPoEScript(): fileName:", 17,
     &ScriptManager::pppScript,
     [](ScriptManager &manager, const QString &user) { return manager.writePPPoEScript(user); }},
    {"peer-pppoa", "/etc/ppp/peers/kestra", "ScriptManager::writePPPoAScript(): fileName:", 15,
     &ScriptManager::pppScript,
     [](ScriptManager &manager, const QString &user) {
         return manager.writePPPoAScript(8, 35, user);
     }},
    {"peer-unicorn", "/etc/ppp/peers/kestra_unicorn",
     "ScriptManager::writeUnicornScript(): fileName:", 17, &ScriptManager::unicornScript,
     [](ScriptManager &manager, const QString &user) { return manager.writeUnicornScript(user); }},
    {"options", "/etc/ppp/options", "ScriptManager::writeOptionsScript(): fileName:", 2,
     &ScriptManager::optionsScript,
     [](ScriptManager &manager, const QString &) { return manager.writeOptionsScript(); }},
};

constexpr int peerWriterCount = 3; // the first ones; the others take no user

/** User names that a careless writer would change, and their bytes in the file. */
const struct
{
    const char *name;
    const char *text; // Latin-1
} difficultTexts[] = {
    {"empty", ""},
    {"%1", "%1"},
    {"%2", "%2"},
    {"%1%2%3%L1", "%1%2%3%L1"},
    {"quotes", "a\"b'c"},
    {"blanks", " a  b "},
    {"backslash", "a\\n\\"},
    {"hash", "#a"},
    {"8-bit", "m\xfcller\xff"},
    {"asterisk", "*"},
    {"tab", "a\tb"},
};

void addDifficultTexts()
{
    QTest::addColumn<QByteArray>("text");
    for (const auto &row : difficultTexts)
        QTest::newRow(row.name) << QByteArray(row.text);
}

QByteArray secretLine(const QByteArray &user, const QByteArray &password)
{
    return '"' + user + "\" * \"" + password + "\" *\n";
}

/** While one exists no file can grow, as on a full disc. */
class FullDisc
{
public:
    /** @param watchedPath the file whose mode is looked at whenever something is about to grow */
    explicit FullDisc(const QString &watchedPath = {})
    {
        path = QFile::encodeName(watchedPath);
        seenModes = 0;
        writeCount = 0;
        m_previousHandler = signal(SIGXFSZ, look);
        getrlimit(RLIMIT_FSIZE, &m_previousLimit);
        const rlimit limit = {0, m_previousLimit.rlim_max};
        setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisc()
    {
        setrlimit(RLIMIT_FSIZE, &m_previousLimit);
        signal(SIGXFSZ, m_previousHandler);
    }
    Q_DISABLE_COPY(FullDisc)

    static volatile sig_atomic_t writeCount;
    static volatile sig_atomic_t seenModes;

private:
    static void look(int)
    {
        writeCount = writeCount + 1;
        struct stat status;
        if (stat(path.constData(), &status) == 0)
            seenModes = seenModes | static_cast<int>(status.st_mode & 07777);
    }

    static QByteArray path;
    rlimit m_previousLimit;
    void (*m_previousHandler)(int);
};

volatile sig_atomic_t FullDisc::writeCount = 0;
volatile sig_atomic_t FullDisc::seenModes = 0;
QByteArray FullDisc::path;

/** Opens a file again and again, from a thread, and counts how often others could have, too. */
class Onlooker
{
public:
    explicit Onlooker(const QString &path)
        : m_thread([this, name = QFile::encodeName(path)] {
            while (!m_done)
                look(name.constData());
        })
    {
    }
    ~Onlooker() { stop(); }
    Q_DISABLE_COPY(Onlooker)

    void stop()
    {
        m_done = true;
        if (m_thread.joinable())
            m_thread.join();
    }

    std::atomic_int lookCount {0};
    std::atomic_int openToOthersCount {0};

private:
    void look(const char *path)
    {
        const int fd = open(path, O_RDONLY | O_CLOEXEC);
        if (fd < 0)
            return;
        ++lookCount;
        struct stat status;
        if (fstat(fd, &status) != 0 || (status.st_mode & 077))
            ++openToOthersCount;
        close(fd);
    }

    std::atomic_bool m_done {false};
    std::thread m_thread;
};

/** Sets the process's umask while it exists. */
class Umask
{
public:
    explicit Umask(mode_t mask) : m_previous(umask(mask)) { }
    ~Umask() { umask(m_previous); }
    Q_DISABLE_COPY(Umask)

private:
    mode_t m_previous;
};

/** What pppd has to say of its options when it is told to do nothing else. */
struct PppdRun
{
    enum { BadOption = 2, NoKernelSupport = 4 };

    explicit PppdRun(const QStringList &arguments = {})
    {
        QProcess pppd;
        pppd.setProcessChannelMode(QProcess::MergedChannels);
        pppd.start(program(), QStringList({"call"_s, "kestra"_s, "dryrun"_s}) + arguments);
        if (!pppd.waitForFinished())
            qFatal("cannot run pppd");
        exitCode = pppd.exitCode();
        output = pppd.readAll();
    }

    static QString program()
    {
        return QStandardPaths::findExecutable("pppd"_s, {"/usr/sbin"_s, "/sbin"_s});
    }

    int exitCode;
    QByteArray output;
};

bool kernelHasPpp()
{
    const int fd = open("/dev/ppp", O_RDWR | O_CLOEXEC);
    if (fd < 0)
        return false;
    close(fd);
    return true;
}

}

Q_DECLARE_METATYPE(const Writer *)

/** The writers of pppd's files. */
class PppScriptsTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void fileIsWritten_data() { addWriters(); }
    void fileIsWritten();
    void oldContentIsLost_data() { addWriters(); }
    void oldContentIsLost();
    void unopenableFileIsRefused_data() { addWriters(); }
    void unopenableFileIsRefused();
    void failingWriteIsNotDetected_data() { addWriters(); }
    void failingWriteIsNotDetected();
    void modesAreTheUsualOnes_data() { addWriters(); }
    void modesAreTheUsualOnes();
    void pathIsTheMembers_data() { addWriters(); }
    void pathIsTheMembers();
    void peerTakesTheUserUnchanged_data() { addDifficultTexts(); }
    void peerTakesTheUserUnchanged();
    void pppoaPeerHasTheNumbersInDecimal_data();
    void pppoaPeerHasTheNumbersInDecimal();
    void pppoaPeerNamesNoInterface();

    void secretsAreWritten();
    void secretsReplaceOldEntries();
    void secretsTakeUserAndPasswordUnchanged_data() { addDifficultTexts(); }
    void secretsTakeUserAndPasswordUnchanged();
    void secretsResultIsThatOfChap_data();
    void secretsResultIsThatOfChap();
    void secretsPathsAreTheMembers();
    void secretsAreForTheOwnerOnly_data();
    void secretsAreForTheOwnerOnly();
    void secretsLeaveTheUmaskAlone();
    void secretsAreClosedToOthersWhenTheyAreWritten_data();
    void secretsAreClosedToOthersWhenTheyAreWritten();
    void secretsAreNeverOpenToOthers();
    void secretsAreHiddenFromOldReaders_data();
    void secretsAreHiddenFromOldReaders();
    void secretsAreTakenFromAnotherOwner();
    void secretsFailingWriteIsNotDetected();

    void unicornOptionIsAppended_data();
    void unicornOptionIsAppended();
    void unicornOptionKnowsTwoProtocols_data();
    void unicornOptionKnowsTwoProtocols();
    void unicornOptionPrintsItsNumbers_data();
    void unicornOptionPrintsItsNumbers();
    void unicornOptionReplacesItself();
    void unicornOptionNeedsAWritableFile_data();
    void unicornOptionNeedsAWritableFile();
    void unicornOptionKeepsAReadOnlyFile();

    void channelsAreTheRightOnes();
    void noFileIsLeftOpen();

    void pppdReadsThePeerUpToItsPlugin_data();
    void pppdReadsThePeerUpToItsPlugin();
    void pppdUnderstandsAllOtherLines_data();
    void pppdUnderstandsAllOtherLines();
    void pppdReadsTheOptions();
    void pppdReadsTheWholePeer();

private:
    void addWriters();
    static QByteArray golden(const QString &name)
    {
        return readFile(QFINDTESTDATA("data/"_s + name));
    }
    bool writeUnicornOption(int vpi = 8, int vci = 35, int protocol = 0)
    {
        return m_manager->writeUnicornOption(modprobeFile, vpi, vci, protocol);
    }

    std::unique_ptr<MessageLog> m_log;
    std::unique_ptr<ScriptManager> m_manager;
};

void PppScriptsTest::init()
{
    remove("/etc/ppp"_s);
    remove(modprobeFile);
    makeDirectory("/etc/ppp/peers"_s);
    makeDirectory("/etc/modprobe.d"_s);
    m_log = std::make_unique<MessageLog>();
    m_manager = std::make_unique<ScriptManager>();
    m_log->clear();
}

void PppScriptsTest::cleanup()
{
    m_manager.reset();
    m_log.reset();
}

void PppScriptsTest::addWriters()
{
    QTest::addColumn<const Writer *>("writer");
    for (const Writer &writer : writers)
        QTest::newRow(writer.name) << &writer;
}

void PppScriptsTest::fileIsWritten()
{
    QFETCH(const Writer *, writer);
    const QString path = QString::fromLatin1(writer->path);
    QVERIFY(writer->write(*m_manager, user));
    QCOMPARE(readFile(path), golden(QString::fromLatin1(writer->name)));
    QCOMPARE(readFile(path).count('\n'), writer->lineCount);
    QCOMPARE(m_log->debugs(),
             QStringList("%1 \"%2\""_s.arg(QString::fromLatin1(writer->message), path)));
    QCOMPARE(m_log->texts(), m_log->debugs());
    QCOMPARE(listTree("/etc/ppp"_s).filter(QRegularExpression("[^/]$"_s)),
             QStringList(path.mid(int(qstrlen("/etc/ppp/")))));
}

void PppScriptsTest::oldContentIsLost()
{
    QFETCH(const Writer *, writer);
    const QString path = QString::fromLatin1(writer->path);
    writeFile(path, QByteArray("debug\n").repeated(1000));
    QVERIFY(writer->write(*m_manager, user));
    QVERIFY(writer->write(*m_manager, user));
    QCOMPARE(readFile(path), golden(QString::fromLatin1(writer->name)));
}

void PppScriptsTest::unopenableFileIsRefused()
{
    QFETCH(const Writer *, writer);
    const QString path = QString::fromLatin1(writer->path);
    const QStringList message("%1 \"%2\""_s.arg(QString::fromLatin1(writer->message), path));
    {
        writeFile(path, "old\n");
        const ReadOnlyMount mount(path);
        QVERIFY(!writer->write(*m_manager, user));
        QCOMPARE(readFile(path), QByteArray("old\n"));
        QCOMPARE(m_log->take(), message);
    }
    remove(path);
    makeDirectory(path);
    QVERIFY(!writer->write(*m_manager, user));
    QCOMPARE(m_log->take(), message);

    remove("/etc/ppp"_s);
    QVERIFY(!writer->write(*m_manager, user));
    QVERIFY(!exists("/etc/ppp"_s));
    QCOMPARE(m_log->take(), message);
}

void PppScriptsTest::failingWriteIsNotDetected()
{
    QFETCH(const Writer *, writer);
    const QString path = QString::fromLatin1(writer->path);
    writeFile(path, "old\n");
    bool written;
    {
        const FullDisc disc;
        written = writer->write(*m_manager, user);
    }
    QVERIFY(written);
    QVERIFY(FullDisc::writeCount > 0);
    QCOMPARE(readFile(path), QByteArray());
}

void PppScriptsTest::modesAreTheUsualOnes()
{
    QFETCH(const Writer *, writer);
    const QString path = QString::fromLatin1(writer->path);
    QVERIFY(writer->write(*m_manager, user));
    QCOMPARE(fileMode(path), 0644);

    writeFile(path, "", 0440);
    QVERIFY(writer->write(*m_manager, user));
    QCOMPARE(fileMode(path), 0440);
}

void PppScriptsTest::pathIsTheMembers()
{
    QFETCH(const Writer *, writer);
    m_manager.get()->*writer->member = "/etc/ppp/other"_s;
    QVERIFY(writer->write(*m_manager, user));
    QCOMPARE(readFile("/etc/ppp/other"_s), golden(QString::fromLatin1(writer->name)));
    QVERIFY(!exists(QString::fromLatin1(writer->path)));
    QCOMPARE(m_log->texts(),
             QStringList(QString::fromLatin1(writer->message) + " \"/etc/ppp/other\""_s));
}

void PppScriptsTest::peerTakesTheUserUnchanged()
{
    QFETCH(QByteArray, text);
    for (int i = 0; i < peerWriterCount; ++i) {
        const Writer &writer = writers[i];
        QVERIFY(writer.write(*m_manager, QString::fromLatin1(text)));
        const QByteArray expected =
            golden(QString::fromLatin1(writer.name)).replace(user.toLatin1(), text);
        QCOMPARE(readFile(QString::fromLatin1(writer.path)), expected);
    }
}

void PppScriptsTest::pppoaPeerHasTheNumbersInDecimal_data()
{
    QTest::addColumn<int>("vpi");
    QTest::addColumn<int>("vci");
    QTest::addColumn<QByteArray>("line");
    QTest::newRow("usual") << 8 << 35 << QByteArray("plugin pppoatm.so 8.35\n");
    QTest::newRow("smallest") << 0 << 0 << QByteArray("plugin pppoatm.so 0.0\n");
    QTest::newRow("largest") << 65535 << 65535 << QByteArray("plugin pppoatm.so 65535.65535\n");
    QTest::newRow("above half") << 256 << 32768 << QByteArray("plugin pppoatm.so 256.32768\n");
}

void PppScriptsTest::pppoaPeerHasTheNumbersInDecimal()
{
    QFETCH(int, vpi);
    QFETCH(int, vci);
    QFETCH(QByteArray, line);
    QVERIFY(m_manager->writePPPoAScript(static_cast<unsigned short>(vpi),
                                        static_cast<unsigned short>(vci), user));
    QCOMPARE(readFile(peer), golden("peer-pppoa"_s).replace("plugin pppoatm.so 8.35\n", line));
}

void PppScriptsTest::pppoaPeerNamesNoInterface()
{
    QVERIFY(m_manager->writePPPoEScript(user));
    QVERIFY(readFile(peer).contains("\nnic-nas0\n"));
    QVERIFY(m_manager->writePPPoAScript(8, 35, user));
    QVERIFY(!readFile(peer).contains("nic-"));
    QVERIFY(!readFile(peer).contains("nas0"));
}

void PppScriptsTest::secretsAreWritten()
{
    QVERIFY(m_manager->writeSecretScripts(user, password));
    QCOMPARE(readFile(pap), golden("secrets"_s));
    QCOMPARE(readFile(chap), golden("secrets"_s));
    QCOMPARE(m_log->debugs(), secretMessages);
    QCOMPARE(m_log->texts(), secretMessages);
    QCOMPARE(listTree("/etc/ppp"_s), QStringList({"chap-secrets"_s, "pap-secrets"_s, "peers/"_s}));
}

void PppScriptsTest::secretsReplaceOldEntries()
{
    for (const int mode : {0600, 0644}) {
        writeFile(pap, QByteArray("\"other\" * \"password\" *\n").repeated(100), mode);
        writeFile(chap, QByteArray("\"other\" * \"password\" *\n").repeated(100), mode);
        QVERIFY(m_manager->writeSecretScripts(user, password));
        QCOMPARE(readFile(pap), golden("secrets"_s));
        QCOMPARE(readFile(chap), golden("secrets"_s));
    }
}

void PppScriptsTest::secretsTakeUserAndPasswordUnchanged()
{
    QFETCH(QByteArray, text);
    for (const auto &other : difficultTexts) {
        QVERIFY(m_manager->writeSecretScripts(QString::fromLatin1(text),
                                              QString::fromLatin1(other.text)));
        QCOMPARE(readFile(pap), secretLine(text, other.text));
        QCOMPARE(readFile(chap), secretLine(text, other.text));
    }
}

void PppScriptsTest::secretsResultIsThatOfChap_data()
{
    QTest::addColumn<bool>("papIsWritable");
    QTest::addColumn<bool>("chapIsWritable");
    QTest::newRow("PAP unwritable") << false << true;
    QTest::newRow("CHAP unwritable") << true << false;
    QTest::newRow("both unwritable") << false << false;
}

void PppScriptsTest::secretsResultIsThatOfChap()
{
    QFETCH(bool, papIsWritable);
    QFETCH(bool, chapIsWritable);
    const auto content = [](bool isWritable) {
        return isWritable ? golden("secrets"_s) : QByteArray("old\n");
    };
    for (const int mode : {0600, 0644}) {
        writeFile(pap, "old\n", mode);
        writeFile(chap, "old\n", mode);
        std::unique_ptr<ReadOnlyMount> papMount, chapMount;
        if (!papIsWritable)
            papMount = std::make_unique<ReadOnlyMount>(pap);
        if (!chapIsWritable)
            chapMount = std::make_unique<ReadOnlyMount>(chap);
        QCOMPARE(m_manager->writeSecretScripts(user, password), chapIsWritable);
        QCOMPARE(readFile(pap), content(papIsWritable));
        QCOMPARE(readFile(chap), content(chapIsWritable));
        QCOMPARE(m_log->take(), secretMessages);
    }

    const auto refuse = [](const QString &path, bool isWritable) {
        remove(path);
        if (!isWritable)
            makeDirectory(path);
    };
    refuse(pap, papIsWritable);
    refuse(chap, chapIsWritable);
    QCOMPARE(m_manager->writeSecretScripts(user, password), chapIsWritable);
    QCOMPARE(m_log->take(), secretMessages);
}

void PppScriptsTest::secretsPathsAreTheMembers()
{
    m_manager->papSecretsScript = "/etc/ppp/one"_s;
    m_manager->chapSecretsScript = "/etc/ppp/two"_s;
    QVERIFY(m_manager->writeSecretScripts(user, password));
    QCOMPARE(listTree("/etc/ppp"_s), QStringList({"one"_s, "peers/"_s, "two"_s}));
    QCOMPARE(m_log->texts(),
             QStringList({"ScriptManager::writeSecretsScript(): fileName: \"/etc/ppp/one\""_s,
                          "ScriptManager::writeSecretsScript(): fileName (2): "
                          "\"/etc/ppp/two\""_s}));
}

void PppScriptsTest::secretsAreForTheOwnerOnly_data()
{
    QTest::addColumn<int>("mask");
    QTest::addColumn<int>("oldMode");
    for (const int mask : {0, 022, 077}) {
        for (const int oldMode : {-1, 0666, 0644, 0640, 0604, 0620, 0602, 0600, 0400})
            QTest::addRow("umask %03o, old mode %o", mask, oldMode) << mask << oldMode;
    }
}

void PppScriptsTest::secretsAreForTheOwnerOnly()
{
    QFETCH(int, mask);
    QFETCH(int, oldMode);
    for (const QString &path : {pap, chap}) {
        if (oldMode != -1)
            writeFile(path, "old\n", oldMode);
    }
    const Umask guard(static_cast<mode_t>(mask));
    QVERIFY(m_manager->writeSecretScripts(user, password));
    for (const QString &path : {pap, chap}) {
        QCOMPARE(fileMode(path) & 077, 0);
        QVERIFY(fileMode(path) & 0400);
        QCOMPARE(readFile(path), golden("secrets"_s));
    }
}

void PppScriptsTest::secretsLeaveTheUmaskAlone()
{
    const Umask guard(0);
    QVERIFY(m_manager->writeSecretScripts(user, password));
    const mode_t mask = umask(0);
    QCOMPARE(mask, static_cast<mode_t>(0));
    QVERIFY(m_manager->writeOptionsScript());
    QCOMPARE(fileMode(options), 0666);
}

void PppScriptsTest::secretsAreClosedToOthersWhenTheyAreWritten_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("oldMode");
    for (const int oldMode : {-1, 0666, 0640, 0600}) {
        QTest::addRow("PAP, old mode %o", oldMode) << pap << oldMode;
        QTest::addRow("CHAP, old mode %o", oldMode) << chap << oldMode;
    }
}

void PppScriptsTest::secretsAreClosedToOthersWhenTheyAreWritten()
{
    QFETCH(QString, path);
    QFETCH(int, oldMode);
    const Umask guard(0);
    if (oldMode != -1)
        writeFile(path, "old\n", oldMode);
    makeDirectory(path == pap ? chap : pap); // nothing else is written
    {
        const FullDisc disc(path);
        m_manager->writeSecretScripts(user, password);
    }
    QVERIFY(FullDisc::writeCount > 0);
    QCOMPARE(int(FullDisc::seenModes), 0600);
}

void PppScriptsTest::secretsAreNeverOpenToOthers()
{
    const Umask guard(0);
    Onlooker atPap(pap), atChap(chap);
    for (int i = 0; i < 3000; ++i) {
        m_manager->writeSecretScripts(user, password);
        unlink(QFile::encodeName(pap).constData());
        unlink(QFile::encodeName(chap).constData());
        m_log->clear();
    }
    for (Onlooker *onlooker : {&atPap, &atChap}) {
        onlooker->stop();
        QVERIFY(onlooker->lookCount > 0);
        QCOMPARE(onlooker->openToOthersCount.load(), 0);
    }
}

void PppScriptsTest::secretsAreHiddenFromOldReaders_data()
{
    QTest::addColumn<int>("mode");
    QTest::addColumn<bool>("isLink");
    for (const int mode : {0644, 0640, 0604, 0666}) {
        QTest::addRow("mode %o", mode) << mode << false;
        QTest::addRow("mode %o, link", mode) << mode << true;
    }
}

void PppScriptsTest::secretsAreHiddenFromOldReaders()
{
    QFETCH(int, mode);
    QFETCH(bool, isLink);
    const Umask guard(0);
    QFile readers[2];
    for (int i = 0; i < 2; ++i) {
        const QString path = i == 0 ? pap : chap;
        const QString file = isLink ? path + ".real"_s : path;
        writeFile(file, "old\n", mode);
        if (isLink)
            QVERIFY(QFile::link(file, path));
        readers[i].setFileName(file);
        QVERIFY(readers[i].open(QIODevice::ReadOnly | QIODevice::Unbuffered));
    }
    QVERIFY(m_manager->writeSecretScripts(user, password));
    for (QFile &reader : readers)
        QVERIFY(!reader.readAll().contains(password.toLatin1()));
    for (const QString &path : {pap, chap}) {
        QCOMPARE(readFile(path), golden("secrets"_s));
        QCOMPARE(fileMode(path) & 077, 0);
    }
}

void PppScriptsTest::secretsAreTakenFromAnotherOwner()
{
    constexpr uid_t nobody = 65534;
    for (const QString &path : {pap, chap}) {
        writeFile(path, "old\n", 0600);
        if (chown(QFile::encodeName(path).constData(), nobody, gid_t(-1)) != 0)
            QSKIP("files cannot be given away in a user namespace");
    }
    QVERIFY(m_manager->writeSecretScripts(user, password));
    for (const QString &path : {pap, chap}) {
        QCOMPARE(QFileInfo(path).ownerId(), geteuid());
        QCOMPARE(fileMode(path), 0600);
        QCOMPARE(readFile(path), golden("secrets"_s));
    }
}

void PppScriptsTest::secretsFailingWriteIsNotDetected()
{
    bool written;
    {
        const FullDisc disc;
        written = m_manager->writeSecretScripts(user, password);
    }
    QVERIFY(written);
    QCOMPARE(readFile(pap), QByteArray());
    QCOMPARE(readFile(chap), QByteArray());
}

void PppScriptsTest::unicornOptionIsAppended_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QByteArray>("kept");
    const QByteArray old = "options unicorn_usb_eth ActivationMode=3 VPI=0 VCI=38 PROTOCOL=pppoe "
                           "ENCAPS=llcc-encaps\n";
    const QByteArray others = "# modules\n\nalias eth0 8139too\noptions snd slots=1\n";
    // Wherever it were cut, some piece of it would begin like the option.
    const QByteArray longLine = '#' + QByteArray("options unicorn_usb_eth").repeated(8192) + '\n';
    const auto addKept = [](const char *name, const QByteArray &text) {
        QTest::newRow(name) << text << text;
    };
    QTest::newRow("missing file") << QByteArray() << QByteArray();
    addKept("other lines", others);
    QTest::newRow("old line") << old << QByteArray();
    QTest::newRow("old lines") << old + old << QByteArray();
    QTest::newRow("old line among others") << "# first\n" + old + others << "# first\n" + others;
    QTest::newRow("old lines among others")
        << old + "# first\n" + old + others + old << "# first\n" + others;
    QTest::newRow("old line without a newline") << others + old.chopped(1) << others;
    QTest::newRow("last line without a newline") << others.chopped(1) << others;
    QTest::newRow("last line without a newline after the old one")
        << old + "install x" << QByteArray("install x\n");
    QTest::newRow("anything that begins so is dropped")
        << "options unicorn_usb_eth2 x=1\noptions unicorn_usb_eth\n" + others << others;
    addKept("blank before it", ' ' + old);
    addKept("comment", '#' + old);
    addKept("two blanks", "options  unicorn_usb_eth VPI=0\n");
    addKept("tab", "options\tunicorn_usb_eth VPI=0\n");
    addKept("other case", "Options unicorn_usb_eth VPI=0\n");
    addKept("other module", "options unicorn_pci_eth VPI=0\noptions unicorn_usb_et\n");
    addKept("carriage returns", "alias a b\r\n\r\n");
    addKept("8-bit text", "# m\xfcller \xff\xe9\n");
    addKept("blank lines", "\n\n\n");
    addKept("long line is one line", longLine);
}

void PppScriptsTest::unicornOptionIsAppended()
{
    QFETCH(QByteArray, before);
    QFETCH(QByteArray, kept);
    if (!before.isEmpty())
        writeFile(modprobeFile, before);
    QByteArray output;
    bool written;
    {
        StdoutCapture capture;
        written = writeUnicornOption();
        output = capture.take();
    }
    QVERIFY(written);
    QCOMPARE(readFile(modprobeFile),
             kept
                 + "options unicorn_usb_eth ActivationMode=3 VPI=8 VCI=35 PROTOCOL=pppoatm "
                   "ENCAPS=vc-encaps\n");
    QCOMPARE(output, QByteArray("VPI: 8, VCI: 35\n"));
    QCOMPARE(m_log->texts(), QStringList());
}

void PppScriptsTest::unicornOptionKnowsTwoProtocols_data()
{
    QTest::addColumn<int>("protocol");
    QTest::addColumn<QByteArray>("end");
    const QByteArray pppoe = " PROTOCOL=pppoe ENCAPS=llcc-encaps\n";
    QTest::newRow("0") << 0 << QByteArray(" PROTOCOL=pppoatm ENCAPS=vc-encaps\n");
    for (const int protocol : {1, 2, -1, 256, 65536})
        QTest::addRow("%i", protocol) << protocol << pppoe;
}

void PppScriptsTest::unicornOptionKnowsTwoProtocols()
{
    QFETCH(int, protocol);
    QFETCH(QByteArray, end);
    bool written;
    {
        const StdoutCapture capture;
        written = writeUnicornOption(0, 38, protocol);
    }
    QVERIFY(written);
    QCOMPARE(readFile(modprobeFile), "options unicorn_usb_eth ActivationMode=3 VPI=0 VCI=38" + end);
}

void PppScriptsTest::unicornOptionPrintsItsNumbers_data()
{
    QTest::addColumn<int>("vpi");
    QTest::addColumn<int>("vci");
    QTest::newRow("usual") << 8 << 35;
    QTest::newRow("zero") << 0 << 0;
    QTest::newRow("negative") << -1 << -35;
    QTest::newRow("large") << 65536 << 2147483647;
}

void PppScriptsTest::unicornOptionPrintsItsNumbers()
{
    QFETCH(int, vpi);
    QFETCH(int, vci);
    const int givenVpi = vpi, givenVci = vci;
    int protocol = 7;
    const QByteArray first = QByteArray::number(vpi), second = QByteArray::number(vci);
    QByteArray output;
    {
        StdoutCapture capture;
        m_manager->writeUnicornOption(modprobeFile, vpi, vci, protocol);
        output = capture.take();
    }
    QCOMPARE(output, "VPI: " + first + ", VCI: " + second + '\n');
    QVERIFY(readFile(modprobeFile).contains(" VPI=" + first + " VCI=" + second + ' '));
    QCOMPARE(vpi, givenVpi);
    QCOMPARE(vci, givenVci);
    QCOMPARE(protocol, 7);
}

void PppScriptsTest::unicornOptionReplacesItself()
{
    writeFile(modprobeFile, "# other\n");
    {
        const StdoutCapture capture;
        for (const int protocol : {0, 1, 0, 1})
            writeUnicornOption(1, 32, protocol);
    }
    QCOMPARE(readFile(modprobeFile),
             QByteArray("# other\noptions unicorn_usb_eth ActivationMode=3 VPI=1 VCI=32 "
                        "PROTOCOL=pppoe ENCAPS=llcc-encaps\n"));
}

void PppScriptsTest::unicornOptionNeedsAWritableFile_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("directory") << "/etc/modprobe.d"_s;
    QTest::newRow("missing directory") << "/etc/absent/unicorn.conf"_s;
}

void PppScriptsTest::unicornOptionNeedsAWritableFile()
{
    QFETCH(QString, path);
    int vpi = 8, vci = 35, protocol = 0;
    bool written;
    QByteArray output;
    {
        StdoutCapture capture;
        written = m_manager->writeUnicornOption(path, vpi, vci, protocol);
        output = capture.take();
    }
    QVERIFY(!written);
    QCOMPARE(output, QByteArray("VPI: 8, VCI: 35\n"));
    QCOMPARE(m_log->debugs(),
             QStringList("ScriptManager::writeUnicornOption(): failed to write options!"_s));
    QCOMPARE(m_log->texts(), m_log->debugs());
    QVERIFY(!exists("/etc/absent"_s));
}

void PppScriptsTest::unicornOptionKeepsAReadOnlyFile()
{
    writeFile(modprobeFile, "# other\n");
    const ReadOnlyMount mount(modprobeFile);
    bool written;
    {
        const StdoutCapture capture;
        written = writeUnicornOption();
    }
    QVERIFY(!written);
    QCOMPARE(readFile(modprobeFile), QByteArray("# other\n"));
    QCOMPARE(m_log->texts(),
             QStringList("ScriptManager::writeUnicornOption(): failed to write options!"_s));
}

void PppScriptsTest::channelsAreTheRightOnes()
{
    for (const bool enabled : {true, false}) {
        const DebugFile debugFile(enabled);
        m_log->clear();
        QByteArray output;
        {
            StdoutCapture capture;
            for (const Writer &writer : writers)
                writer.write(*m_manager, user);
            m_manager->writeSecretScripts(user, password);
            output = capture.take();
        }
        QCOMPARE(output, QByteArray());
        QCOMPARE(debugFile.text(), QByteArray());
        QCOMPARE(m_log->debugs().size(), 6);
        QCOMPARE(m_log->texts().size(), 6);
        QVERIFY(m_log->texts().filter(password).isEmpty());
        {
            StdoutCapture capture;
            writeUnicornOption();
            output = capture.take();
        }
        QCOMPARE(output, QByteArray("VPI: 8, VCI: 35\n"));
        QCOMPARE(debugFile.text(), QByteArray());
        QCOMPARE(m_log->texts().size(), 6);
    }
}

void PppScriptsTest::noFileIsLeftOpen()
{
    const int before = openFileCount();
    const auto writeAll = [this] {
        const StdoutCapture capture;
        for (const Writer &writer : writers)
            writer.write(*m_manager, user);
        m_manager->writeSecretScripts(user, password);
        writeUnicornOption();
    };
    writeAll();
    QCOMPARE(openFileCount(), before);
    writeAll();
    QCOMPARE(openFileCount(), before);
    {
        const ReadOnlyMount mount("/etc/ppp"_s);
        writeAll();
    }
    QCOMPARE(openFileCount(), before);
}

void PppScriptsTest::pppdReadsThePeerUpToItsPlugin_data()
{
    QTest::addColumn<const Writer *>("writer");
    QTest::addColumn<QByteArray>("plugin");
    QTest::newRow("PPPoE") << &writers[0] << QByteArray("Plugin rp-pppoe.so loaded.");
    QTest::newRow("PPPoA") << &writers[1] << QByteArray("Plugin pppoatm.so loaded.");
    QTest::newRow("unicorn") << &writers[2] << QByteArray("Plugin rp-pppoe.so loaded.");
}

/** pppd names the first option that it does not know, and loads a plugin when it meets its line. */
void PppScriptsTest::pppdReadsThePeerUpToItsPlugin()
{
    QFETCH(const Writer *, writer);
    QFETCH(QByteArray, plugin);
    if (PppdRun::program().isEmpty())
        QSKIP("there is no pppd that this user may run");
    m_manager->pppScript = m_manager->unicornScript = peer;
    QVERIFY(m_manager->writeOptionsScript());
    QVERIFY(writer->write(*m_manager, user));

    const PppdRun run;
    QVERIFY2(run.exitCode != PppdRun::BadOption, run.output.constData());
    QVERIFY2(run.output.startsWith(plugin), run.output.constData());
    QVERIFY2(!run.output.contains("In file"), run.output.constData());

    writeFile(peer, readFile(peer).replace("plugin ", "nonsense\nplugin "));
    const PppdRun broken;
    QCOMPARE(broken.exitCode, int(PppdRun::BadOption));
    QVERIFY2(
        broken.output.contains("In file /etc/ppp/peers/kestra: unrecognized option 'nonsense'"),
        broken.output.constData());
}

void PppScriptsTest::pppdUnderstandsAllOtherLines_data()
{
    QTest::addColumn<const Writer *>("writer");
    for (int i = 0; i < peerWriterCount; ++i)
        QTest::newRow(writers[i].name) << &writers[i];
}

/** A plugin ends pppd where the kernel has no PPP; all that is not the plugin's is read here. */
void PppScriptsTest::pppdUnderstandsAllOtherLines()
{
    QFETCH(const Writer *, writer);
    if (PppdRun::program().isEmpty())
        QSKIP("there is no pppd that this user may run");
    m_manager->pppScript = m_manager->unicornScript = peer;
    QVERIFY(m_manager->writeOptionsScript());
    QVERIFY(writer->write(*m_manager, "a b%1"_s));

    QByteArray own;
    for (const QByteArray &line : readFile(peer).split('\n')) {
        if (!line.startsWith("plugin ") && !line.startsWith("nic-"))
            own += line + '\n';
    }
    writeFile(peer, own);
    const PppdRun run({"notty"_s});
    QVERIFY2(run.exitCode == 0 || run.exitCode == PppdRun::NoKernelSupport, run.output.constData());
    QVERIFY2(!run.output.contains("In file"), run.output.constData());

    writeFile(peer, own + "nonsense\n");
    const PppdRun broken({"notty"_s});
    QCOMPARE(broken.exitCode, int(PppdRun::BadOption));
}

void PppScriptsTest::pppdReadsTheOptions()
{
    if (PppdRun::program().isEmpty())
        QSKIP("there is no pppd that this user may run");
    QVERIFY(m_manager->writeOptionsScript());
    writeFile(peer, "noauth\n");
    const PppdRun run({"notty"_s});
    QVERIFY2(run.exitCode == 0 || run.exitCode == PppdRun::NoKernelSupport, run.output.constData());

    writeFile(options, readFile(options) + "nonsense\n");
    const PppdRun broken({"notty"_s});
    QCOMPARE(broken.exitCode, int(PppdRun::BadOption));
    QVERIFY2(broken.output.contains("In file /etc/ppp/options: unrecognized option 'nonsense'"),
             broken.output.constData());
}

void PppScriptsTest::pppdReadsTheWholePeer()
{
    if (PppdRun::program().isEmpty())
        QSKIP("there is no pppd that this user may run");
    if (!kernelHasPpp())
        QSKIP("the kernel has no PPP: pppd stops at the plugin line of a peer file");
    QVERIFY(m_manager->writeOptionsScript());
    QVERIFY(m_manager->writePPPoAScript(8, 35, user));
    const PppdRun run;
    QVERIFY2(run.exitCode == 0, run.output.constData());
}

KESTRA_TEST_MAIN(PppScriptsTest)

#include "pppscriptstest.moc"
