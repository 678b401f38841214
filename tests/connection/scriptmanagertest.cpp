// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "systemfiles.h"
#include "testmain.h"

#include <kestra/connection/scriptmanager.h>

#include <memory>

using namespace KestraTest;

namespace {

const QString fileName = "/tmp/edited"_s;
const QString absent = "/tmp/absent"_s;
const QString present = "ScriptManager::writeToFile(): There is already such line."_s;

const QString constructed =
    "autostartScript: \"/etc/init.d/kestrad\" \npppScript \"/etc/ppp/peers/kestra\" "
    "\npapSecretsScript \"/etc/ppp/pap-secrets\" \nchapSecretsScript \"/etc/ppp/chap-secrets\" "
    "\nunicornScript \"/etc/ppp/peers/kestra_unicorn\" \noptionsScript \"/etc/ppp/options\""_s;

/** All 255 bytes but zero. */
QByteArray allBytes()
{
    QByteArray bytes;
    for (int byte = 1; byte < 256; ++byte)
        bytes.append(static_cast<char>(byte));
    return bytes;
}

QByteArray bytes(const char (&text)[6]) { return QByteArray(text, 5); }

}

/** The object itself and its primitives for editing text. */
class ScriptManagerTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void hasNoSignalsAndNoParent();
    void hasFixedPaths();
    void logsItsLife();
    void writesToTheQtStreamsOnly();

    void writeToFileAddsALine_data();
    void writeToFileAddsALine();
    void writeToFileFindsText_data();
    void writeToFileFindsText();
    void writeToFileCreatesNothing();
    void writeToFileIsSilentAboutWhatItCannotOpen();
    void writeToFileIsSilentAboutWhatItCannotWrite();

    void replaceInFileReplacesEverything_data();
    void replaceInFileReplacesEverything();
    void replaceInFileAddsANewlineEachTime();
    void replaceInFileWarnsOfWhatItCannotRead_data();
    void replaceInFileWarnsOfWhatItCannotRead();
    void replaceInFileWarnsOfWhatItCannotWrite();

    void removeFromFileRemovesEverything_data();
    void removeFromFileRemovesEverything();
    void removeFromFileCreatesNothing();
    void removeFromFileIsSilentAboutWhatItCannotOpen();
    void removeFromFileIsSilentAboutWhatItCannotWrite();

    void bytesAreKept();
    void textEndsAtTheFirstZeroByte();
    void modesAreKept();
    void linksAreFollowed();
    void noFileIsLeftOpen();

    void permissionsAreSet_data();
    void permissionsAreSet();
    void permissionsAreOfAllFiles();
    void permissionsSkipMissingFiles();
    void permissionsAreOfFixedPaths();

private:
    std::unique_ptr<MessageLog> m_log;
    std::unique_ptr<ScriptManager> m_manager;
};

void ScriptManagerTest::init()
{
    remove("/etc/ppp"_s);
    remove("/etc/init.d"_s);
    m_log = std::make_unique<MessageLog>();
    m_manager = std::make_unique<ScriptManager>();
    m_log->clear();
}

void ScriptManagerTest::cleanup()
{
    m_manager.reset();
    m_log.reset();
    remove(fileName);
    QVERIFY(!exists(absent));
}

void ScriptManagerTest::hasNoSignalsAndNoParent()
{
    QCOMPARE(ScriptManager::staticMetaObject.className(), "ScriptManager");
    QCOMPARE(ScriptManager::staticMetaObject.superClass(), &QObject::staticMetaObject);
    QCOMPARE(ScriptManager::staticMetaObject.methodCount(),
             QObject::staticMetaObject.methodCount());
    QCOMPARE(ScriptManager::staticMetaObject.propertyCount(),
             QObject::staticMetaObject.propertyCount());
    QVERIFY(!m_manager->parent());
}

void ScriptManagerTest::hasFixedPaths()
{
    QCOMPARE(m_manager->autostartScript, "/etc/init.d/kestrad"_s);
    QCOMPARE(m_manager->pppScript, "/etc/ppp/peers/kestra"_s);
    QCOMPARE(m_manager->papSecretsScript, "/etc/ppp/pap-secrets"_s);
    QCOMPARE(m_manager->chapSecretsScript, "/etc/ppp/chap-secrets"_s);
    QCOMPARE(m_manager->unicornScript, "/etc/ppp/peers/kestra_unicorn"_s);
    QCOMPARE(m_manager->optionsScript, "/etc/ppp/options"_s);
}

void ScriptManagerTest::logsItsLife()
{
    const QStringList before = listTree("/etc"_s);
    auto manager = std::make_unique<ScriptManager>();
    QCOMPARE(m_log->debugs(), QStringList(constructed));
    QCOMPARE(m_log->take(), QStringList(constructed));
    manager.reset();
    QCOMPARE(m_log->debugs(), QStringList("~ScriptManager()"_s));
    QCOMPARE(m_log->take(), QStringList("~ScriptManager()"_s));
    QCOMPARE(listTree("/etc"_s), before);
}

void ScriptManagerTest::writesToTheQtStreamsOnly()
{
    for (const bool enabled : {true, false}) {
        writeFile(fileName, "a\n");
        const DebugFile debugFile(enabled);
        m_log->clear();
        QByteArray output;
        {
            StdoutCapture capture;
            ScriptManager manager;
            manager.writeToFile(fileName, "a"_s);
            manager.replaceInFile(absent, "a"_s, "b"_s);
            manager.removeFromFile(fileName, "a"_s);
            manager.setScriptsPermissions();
            output = capture.take();
        }
        QCOMPARE(output, QByteArray());
        QCOMPARE(debugFile.text(), QByteArray());
        QCOMPARE(m_log->debugs(), QStringList({constructed, present, "~ScriptManager()"_s}));
        QCOMPARE(m_log->texts().size(), 4);
    }
}

void ScriptManagerTest::writeToFileAddsALine_data()
{
    QTest::addColumn<QByteArray>("before");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("after");
    QTest::newRow("empty file") << QByteArray() << "new"_s << QByteArray("new\n");
    QTest::newRow("end") << QByteArray("a\nb\n") << "new"_s << QByteArray("a\nb\nnew\n");
    QTest::newRow("no newline at the end joins")
        << QByteArray("a\nb") << "new"_s << QByteArray("a\nbnew\n");
    QTest::newRow("own newline leaves an empty line")
        << QByteArray("a\n") << "new\n"_s << QByteArray("a\nnew\n\n");
    QTest::newRow("own newline is searched for, too")
        << QByteArray("new") << "new\n"_s << QByteArray("newnew\n\n");
    QTest::newRow("other case") << QByteArray("NOAUTH\n") << "noauth"_s
                                << QByteArray("NOAUTH\nnoauth\n");
    QTest::newRow("several lines")
        << QByteArray("b\na\n") << "a\nb"_s << QByteArray("b\na\na\nb\n");
    QTest::newRow("no pattern") << QByteArray("abc\n") << "a.c"_s << QByteArray("abc\na.c\n");
}

void ScriptManagerTest::writeToFileAddsALine()
{
    QFETCH(QByteArray, before);
    QFETCH(QString, line);
    QFETCH(QByteArray, after);
    writeFile(fileName, before);
    m_manager->writeToFile(fileName, line);
    QCOMPARE(readFile(fileName), after);
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::writeToFileFindsText_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("line");
    QTest::newRow("line") << QByteArray("lock\nnoauth\n") << "noauth"_s;
    QTest::newRow("part of a longer line") << QByteArray("lock\nnoauth-extra\n") << "noauth"_s;
    QTest::newRow("end of a longer line") << QByteArray("# noauth") << "noauth"_s;
    QTest::newRow("across lines") << QByteArray("a\nb\n") << "a\nb"_s;
    QTest::newRow("empty text") << QByteArray("a\n") << QString();
    QTest::newRow("empty text in an empty file") << QByteArray() << QString();
}

void ScriptManagerTest::writeToFileFindsText()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, line);
    writeFile(fileName, content, 0444);
    m_manager->writeToFile(fileName, line);
    QCOMPARE(readFile(fileName), content);
    QCOMPARE(m_log->debugs(), QStringList(present));
    QCOMPARE(m_log->texts(), QStringList(present));
}

void ScriptManagerTest::writeToFileCreatesNothing()
{
    m_manager->writeToFile(absent, "line"_s);
    QVERIFY(!exists(absent));
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::writeToFileIsSilentAboutWhatItCannotOpen()
{
    m_manager->writeToFile("/etc"_s, "line"_s);
    m_manager->writeToFile("/etc/passwd/file"_s, "line"_s);
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::writeToFileIsSilentAboutWhatItCannotWrite()
{
    writeFile(fileName, "a\n");
    const ReadOnlyMount mount(fileName);
    m_manager->writeToFile(fileName, "line"_s);
    QCOMPARE(readFile(fileName), QByteArray("a\n"));
    m_manager->writeToFile(fileName, "a"_s);
    QCOMPARE(m_log->texts(), QStringList(present));
}

void ScriptManagerTest::replaceInFileReplacesEverything_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("before");
    QTest::addColumn<QString>("after");
    QTest::addColumn<QByteArray>("result");
    QTest::newRow("every occurrence") << QByteArray("mtu 1492\nmtu 1492 mtu\n") << "mtu"_s
                                      << "mru"_s << QByteArray("mru 1492\nmru 1492 mru\n\n");
    QTest::newRow("nothing to replace still adds a newline") << QByteArray("a\n") << "b"_s
                                                             << "c"_s << QByteArray("a\n\n");
    QTest::newRow("empty file") << QByteArray() << "b"_s
                                << "c"_s << QByteArray("\n");
    QTest::newRow("no newline at the end") << QByteArray("a") << "a"_s
                                           << "c"_s << QByteArray("c\n");
    QTest::newRow("case") << QByteArray("A a\n") << "a"_s
                          << "b"_s << QByteArray("A b\n\n");
    QTest::newRow("until none is left") << QByteArray("aaaaabc\n") << "ab"_s
                                        << "b"_s << QByteArray("bc\n\n");
    QTest::newRow("by nothing") << QByteArray("xaaaabbbby") << "ab"_s << QString()
                                << QByteArray("xy\n");
    QTest::newRow("blanks squeezed") << QByteArray("a        b\n") << "  "_s
                                     << " "_s << QByteArray("a b\n\n");
    QTest::newRow("across lines") << QByteArray("a\nb\nc\n") << "a\nb"_s
                                  << "d"_s << QByteArray("d\nc\n\n");
    QTest::newRow("no pattern, no placeholders") << QByteArray("a.c abc \\1\n") << "a.c"_s
                                                 << "%1\\1"_s << QByteArray("%1\\1 abc \\1\n\n");
}

void ScriptManagerTest::replaceInFileReplacesEverything()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, before);
    QFETCH(QString, after);
    QFETCH(QByteArray, result);
    writeFile(fileName, content);
    m_manager->replaceInFile(fileName, before, after);
    QCOMPARE(readFile(fileName), result);
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::replaceInFileAddsANewlineEachTime()
{
    writeFile(fileName, "a\n");
    for (int i = 0; i < 3; ++i)
        m_manager->replaceInFile(fileName, "x"_s, "y"_s);
    QCOMPARE(readFile(fileName), QByteArray("a\n\n\n\n"));
}

void ScriptManagerTest::replaceInFileWarnsOfWhatItCannotRead_data()
{
    QTest::addColumn<QString>("path");
    QTest::newRow("missing") << absent;
    QTest::newRow("directory") << "/etc"_s;
    QTest::newRow("below a file") << "/etc/passwd/file"_s;
}

void ScriptManagerTest::replaceInFileWarnsOfWhatItCannotRead()
{
    QFETCH(QString, path);
    m_manager->replaceInFile(path, "a"_s, "b"_s);
    const QString warning =
        "ScriptManager::replaceInFile(): couldn't open file \"%1\" in read only mode!"_s;
    QCOMPARE(m_log->warnings(), QStringList(warning.arg(path)));
    QCOMPARE(m_log->texts(), m_log->warnings());
}

void ScriptManagerTest::replaceInFileWarnsOfWhatItCannotWrite()
{
    writeFile(fileName, "a\n");
    const ReadOnlyMount mount(fileName);
    m_manager->replaceInFile(fileName, "a"_s, "b"_s);
    QCOMPARE(m_log->warnings(),
             QStringList("ScriptManager::replaceInFile(): couldn't open file \"/tmp/edited\" in "
                         "write only mode!"_s));
    QCOMPARE(m_log->texts(), m_log->warnings());
    QCOMPARE(readFile(fileName), QByteArray("a\n"));
}

void ScriptManagerTest::removeFromFileRemovesEverything_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::addColumn<QString>("line");
    QTest::addColumn<QByteArray>("result");
    QTest::newRow("every copy") << QByteArray("x\na\nx\nx\nb\nx\n") << "x"_s
                                << QByteArray("a\nb\n");
    QTest::newRow("last line without a newline stays")
        << QByteArray("x\na\nx") << "x"_s << QByteArray("a\nx");
    QTest::newRow("nothing to remove") << QByteArray("a\nb") << "x"_s << QByteArray("a\nb");
    QTest::newRow("empty file") << QByteArray() << "x"_s << QByteArray();
    QTest::newRow("end of a longer line goes, too")
        << QByteArray("ax\nb\n") << "x"_s << QByteArray("ab\n");
    QTest::newRow("beginning of a longer line stays")
        << QByteArray("xa\nb\n") << "x"_s << QByteArray("xa\nb\n");
    QTest::newRow("case") << QByteArray("X\nx\n") << "x"_s << QByteArray("X\n");
    QTest::newRow("until none is left") << QByteArray("xx\n\ny\n") << "x"_s << QByteArray("y\n");
    QTest::newRow("own newline takes an empty line along")
        << QByteArray("x\n\nx\na\n") << "x\n"_s << QByteArray("x\na\n");
    QTest::newRow("nothing takes all newlines")
        << QByteArray("a\n\nb\nc") << QString() << QByteArray("abc");
    QTest::newRow("carriage return is part of the line")
        << QByteArray("x\r\nx\n") << "x"_s << QByteArray("x\r\n");
    QTest::newRow("no pattern") << QByteArray("abc\n") << "a.c"_s << QByteArray("abc\n");
    QTest::newRow("everything") << QByteArray("x\nx\n") << "x"_s << QByteArray();
}

void ScriptManagerTest::removeFromFileRemovesEverything()
{
    QFETCH(QByteArray, content);
    QFETCH(QString, line);
    QFETCH(QByteArray, result);
    writeFile(fileName, content);
    m_manager->removeFromFile(fileName, line);
    QCOMPARE(readFile(fileName), result);
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::removeFromFileCreatesNothing()
{
    m_manager->removeFromFile(absent, "line"_s);
    QVERIFY(!exists(absent));
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::removeFromFileIsSilentAboutWhatItCannotOpen()
{
    m_manager->removeFromFile("/etc"_s, "line"_s);
    m_manager->removeFromFile("/etc/passwd/file"_s, "line"_s);
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::removeFromFileIsSilentAboutWhatItCannotWrite()
{
    writeFile(fileName, "a\n");
    const ReadOnlyMount mount(fileName);
    m_manager->removeFromFile(fileName, "a"_s);
    QCOMPARE(readFile(fileName), QByteArray("a\n"));
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::bytesAreKept()
{
    const QByteArray content = allBytes();
    writeFile(fileName, content);
    m_manager->writeToFile(fileName, QString::fromLatin1("\xe9\xff"));
    QCOMPARE(readFile(fileName), content + "\xe9\xff\n");
    m_manager->replaceInFile(fileName, QString::fromLatin1("\xe9\xff"),
                             QString::fromLatin1("\xfc"));
    QCOMPARE(readFile(fileName), content + "\xfc\n\n");
    m_manager->removeFromFile(fileName, QString::fromLatin1("\xfc"));
    QCOMPARE(readFile(fileName), content + "\n");
}

void ScriptManagerTest::textEndsAtTheFirstZeroByte()
{
    writeFile(fileName, bytes("a\n\0b\n"));
    m_manager->writeToFile(fileName, "b"_s);
    QCOMPARE(readFile(fileName), QByteArray("a\nb\n"));

    writeFile(fileName, bytes("a\n\0b\n"));
    m_manager->replaceInFile(fileName, "a"_s, "c"_s);
    QCOMPARE(readFile(fileName), QByteArray("c\n\n"));

    writeFile(fileName, bytes("a\n\0b\n"));
    m_manager->removeFromFile(fileName, "a"_s);
    QCOMPARE(readFile(fileName), QByteArray());

    writeFile(fileName, bytes("\0a\nb\n"));
    m_manager->removeFromFile(fileName, "x"_s);
    QCOMPARE(readFile(fileName), QByteArray());
}

void ScriptManagerTest::modesAreKept()
{
    writeFile(fileName, "a\n", 0640);
    m_manager->writeToFile(fileName, "b"_s);
    m_manager->replaceInFile(fileName, "a"_s, "c"_s);
    m_manager->removeFromFile(fileName, "c"_s);
    QCOMPARE(readFile(fileName), QByteArray("b\n\n"));
    QCOMPARE(fileMode(fileName), 0640);
}

void ScriptManagerTest::linksAreFollowed()
{
    const QString link = "/tmp/link"_s;
    writeFile(fileName, "a\n");
    QVERIFY(QFile::link(fileName, link));
    m_manager->writeToFile(link, "b"_s);
    m_manager->replaceInFile(link, "a"_s, "c"_s);
    m_manager->removeFromFile(link, "c"_s);
    QCOMPARE(linkTarget(link), fileName);
    QCOMPARE(readFile(fileName), QByteArray("b\n\n"));
    remove(link);
}

void ScriptManagerTest::noFileIsLeftOpen()
{
    writeFile(fileName, "a\n");
    const int before = openFileCount();
    for (const QString &path : {fileName, absent, "/etc"_s}) {
        m_manager->writeToFile(path, "a"_s);
        QCOMPARE(openFileCount(), before);
        m_manager->writeToFile(path, "b"_s);
        QCOMPARE(openFileCount(), before);
        m_manager->replaceInFile(path, "a"_s, "c"_s);
        QCOMPARE(openFileCount(), before);
        m_manager->removeFromFile(path, "b"_s);
        QCOMPARE(openFileCount(), before);
    }
    const ReadOnlyMount mount(fileName);
    m_manager->writeToFile(fileName, "d"_s);
    m_manager->replaceInFile(fileName, "c"_s, "d"_s);
    m_manager->removeFromFile(fileName, "c"_s);
    QCOMPARE(openFileCount(), before);
    QCOMPARE(readFile(fileName), QByteArray("c\n\n"));
}

void ScriptManagerTest::permissionsAreSet_data()
{
    QTest::addColumn<QString>("path");
    QTest::addColumn<int>("mode");
    QTest::newRow("options") << "/etc/ppp/options"_s << 0400;
    QTest::newRow("PAP") << "/etc/ppp/pap-secrets"_s << 0400;
    QTest::newRow("CHAP") << "/etc/ppp/chap-secrets"_s << 0400;
    QTest::newRow("peer") << "/etc/ppp/peers/kestra"_s << 0444;
    QTest::newRow("init script") << "/etc/init.d/kestrad"_s << 0751;
    QTest::newRow("unicorn peer") << "/etc/ppp/peers/kestra_unicorn"_s << 0444;
}

void ScriptManagerTest::permissionsAreSet()
{
    QFETCH(QString, path);
    QFETCH(int, mode);
    for (const int before : {0600, 0644, 0777, 0}) {
        writeFile(path, "content\n", before);
        m_manager->setScriptsPermissions();
        QCOMPARE(fileMode(path), mode);
    }
    QCOMPARE(readFile(path), QByteArray("content\n"));
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::permissionsAreOfAllFiles()
{
    for (const char *path : {"ppp/options", "ppp/pap-secrets", "ppp/chap-secrets",
                             "ppp/peers/kestra", "ppp/peers/kestra_unicorn", "ppp/peers/other",
                             "ppp/other", "init.d/kestrad", "init.d/other"})
        writeFile("/etc/"_s + QString::fromLatin1(path), "", 0640);
    m_manager->setScriptsPermissions();
    QCOMPARE(fileMode("/etc/ppp/options"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/pap-secrets"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/chap-secrets"_s), 0400);
    QCOMPARE(fileMode("/etc/ppp/peers/kestra"_s), 0444);
    QCOMPARE(fileMode("/etc/ppp/peers/kestra_unicorn"_s), 0444);
    QCOMPARE(fileMode("/etc/init.d/kestrad"_s), 0751);
    QCOMPARE(fileMode("/etc/ppp/peers/other"_s), 0640);
    QCOMPARE(fileMode("/etc/ppp/other"_s), 0640);
    QCOMPARE(fileMode("/etc/init.d/other"_s), 0640);
}

void ScriptManagerTest::permissionsSkipMissingFiles()
{
    m_manager->setScriptsPermissions();
    QVERIFY(!exists("/etc/ppp"_s));
    QVERIFY(!exists("/etc/init.d"_s));
    QCOMPARE(m_log->texts(), QStringList());
}

void ScriptManagerTest::permissionsAreOfFixedPaths()
{
    const QString moved = "/etc/ppp/moved"_s;
    for (QString *path :
         {&m_manager->autostartScript, &m_manager->pppScript, &m_manager->papSecretsScript,
          &m_manager->chapSecretsScript, &m_manager->unicornScript, &m_manager->optionsScript})
        *path = moved;
    writeFile(moved, "", 0640);
    writeFile("/etc/ppp/pap-secrets"_s, "", 0640);
    m_manager->setScriptsPermissions();
    QCOMPARE(fileMode(moved), 0640);
    QCOMPARE(fileMode("/etc/ppp/pap-secrets"_s), 0400);
}

KESTRA_TEST_MAIN(ScriptManagerTest)

#include "scriptmanagertest.moc"
