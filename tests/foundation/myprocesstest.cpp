// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "messagelog.h"
#include "testmain.h"

#include <kestra/foundation/myprocess.h>

#include <QByteArrayList>
#include <QMetaMethod>
#include <QProcessEnvironment>
#include <QRandomGenerator>
#include <QThread>

#include <algorithm>
#include <csignal>

using namespace KestraTest;

namespace {

constexpr int timeOut = 60000;

/** Collects the lines of a process. */
class Lines
{
public:
    explicit Lines(MyProcess &process)
    {
        QObject::connect(&process, &MyProcess::lineAvailable,
                         [this](const QByteArray &line) { m_lines.append(line); });
    }

    QByteArrayList take()
    {
        QByteArrayList lines;
        lines.swap(m_lines);
        return lines;
    }

private:
    QByteArrayList m_lines;
};

void setCommand(MyProcess &process, const QStringList &arguments)
{
    process.clearArguments();
    process.addArgument(helperProgram("processhelper"));
    for (const QString &argument : arguments)
        process.addArgument(argument);
}

/** Runs the helper and waits for it, as the owners of a process do. */
bool run(MyProcess &process, const QStringList &arguments)
{
    setCommand(process, arguments);
    process.start();
    return process.waitForFinished(timeOut);
}

/** Splits at each terminator; what follows the last one comes last. */
QByteArrayList split(const QByteArray &bytes)
{
    QByteArrayList parts = {QByteArray("")};
    for (const char byte : bytes) {
        if (byte == '\n' || byte == '\r')
            parts.append("");
        else
            parts.last().append(byte);
    }
    return parts;
}

int firstTerminator(const QByteArray &buffer, int from)
{
    const int newline = buffer.indexOf('\n', from);
    const int carriageReturn = buffer.indexOf('\r', from);
    if (newline < 0 || carriageReturn < 0)
        return std::max(newline, carriageReturn);
    return std::min(newline, carriageReturn);
}

/** Bytes in which terminators are rare, frequent, or of one kind only. */
QByteArray randomBytes(QRandomGenerator &random, int size)
{
    const QByteArray alphabet =
        QByteArrayList {"ab\n\r", QByteArray("abcdefghijklmnopqrstuvwxyz\0\n", 28), "\r\n",
                        QByteArray(500, 'x') + "\r" + QByteArray(500, 'x') + "\n"}
            .at(random.bounded(4));
    QByteArray bytes;
    for (int i = 0; i < size; ++i)
        bytes.append(alphabet.at(random.bounded(alphabet.size())));
    return bytes;
}

}

/** The process runner: its command line, its lines, and children of every sort. */
class MyProcessTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void newProcessIsIdleAndEmpty();
    void metaObjectHasTheSignalAndTheSlotsInOrder();

    void firstArgumentIsTheProgram();
    void firstArgumentAfterClearingIsTheProgram();
    void emptyArgumentsAreKeptButAreNoProgram();
    void argumentsReturnsACopy();

    void canReadLine_data();
    void canReadLine();
    void canReadLineFindsTheFirstOfBothKinds();
    void canReadLineIgnoresTheBufferOfTheProcess();

    void genericRead_data();
    void genericRead();
    void genericReadDoesNotDependOnThePieces();
    void genericReadOfALongLineInSmallPieces();
    void genericReadOfAMillionLinesAtOnce();
    void linesOutliveTheRead();

    void argumentsReachTheProgramUnchanged();
    void startWithArgumentsLeavesTheStoredCommand();
    void isRunningOnlyWhileRunning();
    void linesArriveWhileWaiting();
    void linesArriveInOddPieces();
    void standardErrorIsMerged();
    void unterminatedOutputIsNeverDelivered();
    void fragmentDoesNotReachTheNextRun_data();
    void fragmentDoesNotReachTheNextRun();
    void pendingOutputIsReadAtTheEnd();
    void endWithoutPendingOutputDeliversNothing();
    void processIsReusable();
    void aMillionLinesFromAChild();
    void longLineFromAChild();

    void environmentIsInherited();
    void environmentOfTheOwnerIsUsed();
    void workingDirectoryIsInherited();
    void standardInputCanBeWritten();

    void exitCodeIsPassedThrough_data();
    void exitCodeIsPassedThrough();
    void crashOfTheChild();
    void programThatCannotBeStarted();
    void nothingToStart();
    void timeOutLeavesTheChildRunning();
    void childThatClosesItsOutputEarly();
    void linesArriveInTheThreadOfTheProcess();
    void nothingIsReported();
};

void MyProcessTest::newProcessIsIdleAndEmpty()
{
    QObject parent;
    auto *const process = new MyProcess(&parent);
    QCOMPARE(process->parent(), &parent);
    QCOMPARE(process->m_program, QString());
    QCOMPARE(process->m_arguments, QStringList());
    QCOMPARE(process->m_buffer, QByteArray());
    QCOMPARE(process->arguments(), QStringList(QString()));
    QCOMPARE(process->processChannelMode(), QProcess::MergedChannels);
    QCOMPARE(process->state(), QProcess::NotRunning);
    QVERIFY(!process->isRunning());
    QVERIFY(process->processEnvironment().isEmpty());
}

void MyProcessTest::metaObjectHasTheSignalAndTheSlotsInOrder()
{
    const QMetaObject &meta = MyProcess::staticMetaObject;
    QCOMPARE(meta.superClass(), &QProcess::staticMetaObject);
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i)
        methods.append(QString::fromLatin1(meta.method(i).methodSignature()));
    QCOMPARE(methods,
             QStringList({"lineAvailable(QByteArray)"_s, "readStdOut()"_s, "procFinished()"_s}));
    QCOMPARE(meta.method(meta.methodOffset()).methodType(), QMetaMethod::Signal);
    QCOMPARE(meta.method(meta.methodOffset() + 1).methodType(), QMetaMethod::Slot);
    QCOMPARE(meta.method(meta.methodOffset() + 2).methodType(), QMetaMethod::Slot);
}

void MyProcessTest::firstArgumentIsTheProgram()
{
    MyProcess process(nullptr);
    process.addArgument("tool"_s);
    QCOMPARE(process.m_program, "tool"_s);
    QCOMPARE(process.m_arguments, QStringList());
    QCOMPARE(process.arguments(), QStringList("tool"_s));
    process.addArgument("-x"_s);
    process.addArgument("two words"_s);
    QCOMPARE(process.m_program, "tool"_s);
    QCOMPARE(process.m_arguments, QStringList({"-x"_s, "two words"_s}));
    QCOMPARE(process.arguments(), QStringList({"tool"_s, "-x"_s, "two words"_s}));
}

void MyProcessTest::firstArgumentAfterClearingIsTheProgram()
{
    MyProcess process(nullptr);
    process.addArgument("tool"_s);
    process.addArgument("-x"_s);
    process.clearArguments();
    QCOMPARE(process.m_program, QString());
    QCOMPARE(process.m_arguments, QStringList());
    process.addArgument("other"_s);
    QCOMPARE(process.m_program, "other"_s);
    QCOMPARE(process.m_arguments, QStringList());
    QCOMPARE(process.arguments(), QStringList("other"_s));
}

void MyProcessTest::emptyArgumentsAreKeptButAreNoProgram()
{
    MyProcess process(nullptr);
    process.addArgument(QString());
    process.addArgument("tool"_s);
    process.addArgument(QString());
    QCOMPARE(process.arguments(), QStringList({"tool"_s, QString()}));
}

void MyProcessTest::argumentsReturnsACopy()
{
    MyProcess process(nullptr);
    process.addArgument("tool"_s);
    process.arguments().append("more"_s);
    QCOMPARE(process.arguments(), QStringList("tool"_s));
    QCOMPARE(process.m_arguments, QStringList());
}

void MyProcessTest::canReadLine_data()
{
    QTest::addColumn<QByteArray>("buffer");
    QTest::addColumn<int>("from");
    QTest::addColumn<int>("index");

    QTest::newRow("empty") << QByteArray() << 0 << -1;
    QTest::newRow("no terminator") << QByteArray("abc") << 0 << -1;
    QTest::newRow("newline") << QByteArray("ab\ncd") << 0 << 2;
    QTest::newRow("carriage return") << QByteArray("ab\rcd") << 0 << 2;
    QTest::newRow("newline first") << QByteArray("a\nb\rc") << 0 << 1;
    QTest::newRow("carriage return first") << QByteArray("a\rb\nc") << 0 << 1;
    QTest::newRow("terminator at the start") << QByteArray("\nab") << 0 << 0;
    QTest::newRow("terminator at from") << QByteArray("a\nb\n") << 1 << 1;
    QTest::newRow("terminator after from") << QByteArray("a\nb\n") << 2 << 3;
    QTest::newRow("terminators before from only") << QByteArray("\r\nab") << 2 << -1;
    QTest::newRow("from at the end") << QByteArray("ab\n") << 3 << -1;
    QTest::newRow("from beyond the end") << QByteArray("ab\n") << 9 << -1;
    QTest::newRow("after a zero byte") << QByteArray("a\0b\n", 4) << 0 << 3;
    QTest::newRow("other control characters") << QByteArray("\v\f\t\x85 \n") << 0 << 5;
}

void MyProcessTest::canReadLine()
{
    QFETCH(QByteArray, buffer);
    QFETCH(int, from);
    QFETCH(int, index);
    QCOMPARE(MyProcess(nullptr).canReadLine(buffer, from), index);
}

void MyProcessTest::canReadLineFindsTheFirstOfBothKinds()
{
    MyProcess process(nullptr);
    const QByteArray filler(5000, 'x');
    for (const int first : {0, 1, 126, 127, 128, 129, 255, 256, 383, 384, 385, 895, 896, 4999}) {
        for (const int distance : {1, 2, 100, 128, 256, 5000}) {
            for (const bool newlineFirst : {true, false}) {
                QByteArray buffer = filler + filler;
                buffer[first] = newlineFirst ? '\n' : '\r';
                buffer[first + distance] = newlineFirst ? '\r' : '\n';
                QCOMPARE(process.canReadLine(buffer, 0), first);
                QCOMPARE(process.canReadLine(buffer, first + 1), first + distance);
            }
        }
    }
    QRandomGenerator random(1);
    for (int i = 0; i < 2000; ++i) {
        const QByteArray buffer = randomBytes(random, random.bounded(700));
        const int from = random.bounded(buffer.size() + 1);
        QCOMPARE(process.canReadLine(buffer, from), firstTerminator(buffer, from));
    }
}

void MyProcessTest::canReadLineIgnoresTheBufferOfTheProcess()
{
    MyProcess process(nullptr);
    process.m_buffer = "a\nb";
    QCOMPARE(process.canReadLine("ab", 0), -1);
    QCOMPARE(process.m_buffer, QByteArray("a\nb"));
}

void MyProcessTest::genericRead_data()
{
    QTest::addColumn<QByteArrayList>("reads");
    QTest::addColumn<QByteArrayList>("lines");
    QTest::addColumn<QByteArray>("buffer");
    const auto row = [](const char *name, const QByteArrayList &reads, const QByteArrayList &lines,
                        const QByteArray &buffer) {
        QTest::newRow(name) << reads << lines << buffer;
    };
    row("two lines", {"a\nb\n"}, {"a", "b"}, "");
    row("carriage return and newline", {"a\r\nb"}, {"a", ""}, "b");
    row("two reads", {"ab", "c\n"}, {"abc"}, "");
    row("three reads", {"a", "b", "c\nd"}, {"abc"}, "d");
    row("nothing", {""}, {}, "");
    row("nothing after a fragment", {"ab", ""}, {}, "ab");
    row("no terminator", {"abc"}, {}, "abc");
    row("empty line", {"a\n\nb\n"}, {"a", "", "b"}, "");
    row("terminators only", {"\n\r\n"}, {"", "", ""}, "");
    row("progress display", {"10%\r20%\r30%\r\n"}, {"10%", "20%", "30%", ""}, "");
    row("pair split between reads", {"a\r", "\nb\n"}, {"a", "", "b"}, "");
    row("terminator in a read of its own", {"abc", "\n"}, {"abc"}, "");
    row("newline and carriage return", {"a\n\rb\n"}, {"a", "", "b"}, "");
    row("zero bytes", {QByteArray("a\0b\n\0", 5)}, {QByteArray("a\0b", 3)}, QByteArray("\0", 1));
    row("bytes beyond ASCII", {"\xff\xe9\n"}, {"\xff\xe9"}, "");
    row("blanks", {" a \t\n"}, {" a \t"}, "");
}

void MyProcessTest::genericRead()
{
    QFETCH(QByteArrayList, reads);
    QFETCH(QByteArrayList, lines);
    QFETCH(QByteArray, buffer);
    MyProcess process(nullptr);
    Lines delivered(process);
    for (const QByteArray &read : qAsConst(reads))
        process.genericRead(read);
    QCOMPARE(delivered.take(), lines);
    QCOMPARE(process.m_buffer, buffer);
}

void MyProcessTest::genericReadDoesNotDependOnThePieces()
{
    QRandomGenerator random(2);
    for (int i = 0; i < 500; ++i) {
        const QByteArray bytes = randomBytes(random, random.bounded(2000));
        QByteArrayList expected = split(bytes);
        const QByteArray rest = expected.takeLast();

        MyProcess process(nullptr);
        Lines lines(process);
        const int largest = 1 + random.bounded(300);
        for (int from = 0; from < bytes.size();) {
            const int size = 1 + random.bounded(largest);
            process.genericRead(bytes.mid(from, size));
            from += size;
        }
        QCOMPARE(lines.take(), expected);
        QCOMPARE(process.m_buffer, rest);
    }
}

void MyProcessTest::genericReadOfALongLineInSmallPieces()
{
    // Searching again what was searched, or copying the buffer with each read, would take minutes.
    constexpr int pieces = 16384;
    MyProcess process(nullptr);
    Lines lines(process);
    QByteArray piece(4096, 'x');
    for (int i = 0; i < pieces; ++i) {
        piece[0] = static_cast<char>('a' + i % 26);
        process.genericRead(piece);
    }
    QCOMPARE(process.m_buffer.size(), 64 * 1024 * 1024);
    process.genericRead("end\nrest");
    const QByteArrayList delivered = lines.take();
    QCOMPARE(delivered.size(), 1);
    const QByteArray &line = delivered.constFirst();
    QCOMPARE(line.size(), 64 * 1024 * 1024 + 3);
    for (int i = 0; i < pieces; ++i)
        QCOMPARE(line.at(i * 4096), static_cast<char>('a' + i % 26));
    QCOMPARE(line.count('x'), pieces * 4095 + (pieces + 2) / 26);
    QVERIFY(line.endsWith("xend"));
    QCOMPARE(process.m_buffer, QByteArray("rest"));
}

void MyProcessTest::genericReadOfAMillionLinesAtOnce()
{
    constexpr int count = 1000000;
    QByteArray bytes;
    for (int i = 0; i < count; ++i)
        bytes += QByteArray::number(i) + '\n';
    bytes += "rest";

    MyProcess process(nullptr);
    int received = 0;
    int wrong = 0;
    QObject::connect(&process, &MyProcess::lineAvailable, [&](const QByteArray &line) {
        wrong += line != QByteArray::number(received);
        ++received;
    });
    process.genericRead(bytes);
    QCOMPARE(received, count);
    QCOMPARE(wrong, 0);
    QCOMPARE(process.m_buffer, QByteArray("rest"));
}

void MyProcessTest::linesOutliveTheRead()
{
    MyProcess process(nullptr);
    Lines lines(process);
    {
        char storage[] = "one\ntwo\nrest";
        process.genericRead(QByteArray::fromRawData(storage, 12));
        std::fill(std::begin(storage), std::end(storage), '#');
    }
    QCOMPARE(lines.take(), QByteArrayList({"one", "two"}));
    QCOMPARE(process.m_buffer, QByteArray("rest"));
}

void MyProcessTest::argumentsReachTheProgramUnchanged()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process,
                {"args"_s, QString(), "two words"_s, "$HOME *"_s, "\"quoted\" 'single'"_s,
                 "back\\slash"_s, "-x=;y"_s}));
    QCOMPARE(lines.take(),
             QByteArrayList(
                 {"", "two words", "$HOME *", "\"quoted\" 'single'", "back\\slash", "-x=;y"}));
}

void MyProcessTest::startWithArgumentsLeavesTheStoredCommand()
{
    MyProcess process(nullptr);
    Lines lines(process);
    setCommand(process, {"out"_s, "stored\\n"_s});
    const QStringList command = process.arguments();

    process.start(helperProgram("processhelper"), {"out"_s, "given\\n"_s});
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(lines.take(), QByteArrayList({"given"}));
    QCOMPARE(process.arguments(), command);

    process.start();
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(lines.take(), QByteArrayList({"stored"}));
    QCOMPARE(process.arguments(), command);
}

void MyProcessTest::isRunningOnlyWhileRunning()
{
    MyProcess process(nullptr);
    QVERIFY(!process.isRunning());
    setCommand(process, {"copy"_s});
    process.start();
    QCOMPARE(process.state(), QProcess::Starting);
    QVERIFY(!process.isRunning());
    QVERIFY(process.waitForStarted(timeOut));
    QCOMPARE(process.state(), QProcess::Running);
    QVERIFY(process.isRunning());
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(timeOut));
    QVERIFY(!process.isRunning());
}

void MyProcessTest::linesArriveWhileWaiting()
{
    // All of them before the wait returns, and the first before the child ends.
    MyProcess process(nullptr);
    QByteArrayList lines;
    QList<QProcess::ProcessState> states;
    QObject::connect(&process, &MyProcess::lineAvailable, [&](const QByteArray &line) {
        lines.append(line);
        states.append(process.state());
        if (line == "one")
            process.closeWriteChannel();
    });
    QVERIFY(run(process, {"out"_s, "one\\n"_s, "copy"_s, "out"_s, "two\\nthree\\n"_s}));
    QCOMPARE(lines, QByteArrayList({"one", "two", "three"}));
    QCOMPARE(states.constFirst(), QProcess::Running);
}

void MyProcessTest::linesArriveInOddPieces()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process,
                {"out"_s, "a"_s, "wait"_s, "30"_s, "out"_s, "b\\r"_s, "wait"_s, "30"_s, "out"_s,
                 "\\nc\\n\\n"_s, "wait"_s, "30"_s, "out"_s, "d\\0e\\xe9\\nlost"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"ab", "", "c", "", QByteArray("d\0e\xe9", 4)}));
    QCOMPARE(process.m_buffer, QByteArray("lost"));
}

void MyProcessTest::standardErrorIsMerged()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process,
                {"out"_s, "1\\n"_s, "err"_s, "2\\n"_s, "out"_s, "3 "_s, "err"_s, "4\\n"_s, "err"_s,
                 "5\\n"_s, "out"_s, "6\\n"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"1", "2", "3 4", "5", "6"}));
    QCOMPARE(process.readAllStandardError(), QByteArray());
}

void MyProcessTest::unterminatedOutputIsNeverDelivered()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"out"_s, "whole\\nfragment"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"whole"}));
    QCOMPARE(process.m_buffer, QByteArray("fragment"));
    QCoreApplication::processEvents();
    QCOMPARE(lines.take(), QByteArrayList());
    QCOMPARE(process.m_buffer, QByteArray("fragment"));
}

void MyProcessTest::fragmentDoesNotReachTheNextRun_data()
{
    QTest::addColumn<bool>("withArguments");
    QTest::newRow("start()") << false;
    QTest::newRow("start(program, arguments)") << true;
}

void MyProcessTest::fragmentDoesNotReachTheNextRun()
{
    QFETCH(bool, withArguments);
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"out"_s, "fragment"_s}));
    QCOMPARE(process.m_buffer, QByteArray("fragment"));
    const QStringList arguments = {"out"_s, "next\\n"_s};
    setCommand(process, arguments);
    if (withArguments)
        process.start(helperProgram("processhelper"), arguments);
    else
        process.start();
    QCOMPARE(process.m_buffer, QByteArray());
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(lines.take(), QByteArrayList({"next"}));
}

void MyProcessTest::pendingOutputIsReadAtTheEnd()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(QObject::disconnect(&process, &QProcess::readyReadStandardOutput, &process, nullptr));
    QVERIFY(run(process, {"out"_s, "one\\ntwo\\nfragment"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"one", "two"}));
    QCOMPARE(process.m_buffer, QByteArray("fragment"));
    QCOMPARE(process.bytesAvailable(), 0);
}

void MyProcessTest::endWithoutPendingOutputDeliversNothing()
{
    MyProcess process(nullptr);
    Lines lines(process);
    process.m_buffer = "fragment";
    process.procFinished();
    QCOMPARE(lines.take(), QByteArrayList());
    QCOMPARE(process.m_buffer, QByteArray("fragment"));
}

void MyProcessTest::processIsReusable()
{
    MyProcess process(nullptr);
    Lines lines(process);
    for (int i = 0; i < 5; ++i) {
        const QString number = QString::number(i);
        QVERIFY(run(process, {"out"_s, number + "\\n"_s, "exit"_s, number}));
        QCOMPARE(process.exitCode(), i);
        QCOMPARE(lines.take(), QByteArrayList({number.toLatin1()}));
    }
}

void MyProcessTest::aMillionLinesFromAChild()
{
    MyProcess process(nullptr);
    int received = 0;
    int wrong = 0;
    QObject::connect(&process, &MyProcess::lineAvailable, [&](const QByteArray &line) {
        ++received;
        wrong += line != "a short line";
    });
    QVERIFY(run(process, {"repeat"_s, "1000000"_s, "a short line\\n"_s}));
    QCOMPARE(received, 1000000);
    QCOMPARE(wrong, 0);
}

void MyProcessTest::longLineFromAChild()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"pieces"_s, "16384"_s, "4096"_s, "out"_s, "\\n"_s}));
    const QByteArrayList delivered = lines.take();
    QCOMPARE(delivered.size(), 1);
    QCOMPARE(delivered.constFirst().size(), 64 * 1024 * 1024);
    QCOMPARE(delivered.constFirst().count('x'), 64 * 1024 * 1024);
}

void MyProcessTest::environmentIsInherited()
{
    qputenv("LC_ALL", "de_DE");
    qputenv("KESTRA_PROBE", "inherited");
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"variable"_s, "LC_ALL"_s, "variable"_s, "KESTRA_PROBE"_s}));
    qunsetenv("LC_ALL");
    qunsetenv("KESTRA_PROBE");
    QCOMPARE(lines.take(), QByteArrayList({"LC_ALL=de_DE", "KESTRA_PROBE=inherited"}));
}

void MyProcessTest::environmentOfTheOwnerIsUsed()
{
    MyProcess process(nullptr);
    Lines lines(process);
    process.setEnvironment({"LC_ALL=C"_s});
    QVERIFY(run(process, {"variable"_s, "LC_ALL"_s, "variable"_s, "HOME"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"LC_ALL=C", "HOME unset"}));
}

void MyProcessTest::workingDirectoryIsInherited()
{
    MyProcess process(nullptr);
    Lines lines(process);
    process.start("pwd"_s, {"-P"_s});
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(lines.take(), QByteArrayList({QDir::current().canonicalPath().toLocal8Bit()}));
}

void MyProcessTest::standardInputCanBeWritten()
{
    MyProcess process(nullptr);
    Lines lines(process);
    setCommand(process, {"copy"_s});
    process.start();
    QVERIFY(process.waitForStarted(timeOut));
    QCOMPARE(process.openMode() & QIODevice::ReadWrite, QIODevice::ReadWrite);
    process.write("answer\n");
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(lines.take(), QByteArrayList({"answer"}));
}

void MyProcessTest::exitCodeIsPassedThrough_data()
{
    QTest::addColumn<int>("code");
    for (const int code : {0, 1, 77, 100, 255})
        QTest::addRow("%d", code) << code;
}

void MyProcessTest::exitCodeIsPassedThrough()
{
    QFETCH(int, code);
    MyProcess process(nullptr);
    QVERIFY(run(process, {"exit"_s, QString::number(code)}));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(process.exitCode(), code);
}

void MyProcessTest::crashOfTheChild()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"out"_s, "last words\\n"_s, "signal"_s, QString::number(SIGKILL)}));
    QCOMPARE(process.exitStatus(), QProcess::CrashExit);
    QCOMPARE(process.error(), QProcess::Crashed);
    QCOMPARE(lines.take(), QByteArrayList({"last words"}));
}

void MyProcessTest::programThatCannotBeStarted()
{
    MyProcess process(nullptr);
    Lines lines(process);
    bool finished = false;
    QObject::connect(&process, qOverload<int, QProcess::ExitStatus>(&QProcess::finished),
                     [&finished] { finished = true; });
    process.addArgument("/absent/program"_s);
    process.start();
    QVERIFY(!process.waitForFinished(timeOut));
    QCOMPARE(process.state(), QProcess::NotRunning);
    QCOMPARE(process.error(), QProcess::FailedToStart);
    QCOMPARE(process.exitCode(), 255);
    QVERIFY(!finished);
    QCOMPARE(lines.take(), QByteArrayList());

    QVERIFY(run(process, {"out"_s, "works again\\n"_s}));
    QCOMPARE(process.exitCode(), 0);
    QCOMPARE(lines.take(), QByteArrayList({"works again"}));
}

void MyProcessTest::nothingToStart()
{
    MyProcess process(nullptr);
    process.start();
    QVERIFY(!process.waitForFinished(timeOut));
    QCOMPARE(process.state(), QProcess::NotRunning);
    QCOMPARE(process.error(), QProcess::FailedToStart);
}

void MyProcessTest::timeOutLeavesTheChildRunning()
{
    MyProcess process(nullptr);
    Lines lines(process);
    setCommand(process, {"out"_s, "begin\\n"_s, "ignore"_s, "copy"_s, "out"_s, "end\\n"_s});
    process.start();
    QVERIFY(!process.waitForFinished(500));
    QCOMPARE(process.error(), QProcess::Timedout);
    QVERIFY(process.isRunning());
    QCOMPARE(lines.take(), QByteArrayList({"begin"}));
    QCOMPARE(process.exitCode(), 0);

    process.terminate();
    QVERIFY(!process.waitForFinished(100));
    process.closeWriteChannel();
    QVERIFY(process.waitForFinished(timeOut));
    QCOMPARE(process.exitStatus(), QProcess::NormalExit);
    QCOMPARE(lines.take(), QByteArrayList({"end"}));
}

void MyProcessTest::childThatClosesItsOutputEarly()
{
    MyProcess process(nullptr);
    Lines lines(process);
    QVERIFY(run(process, {"out"_s, "all\\n"_s, "close"_s, "wait"_s, "200"_s, "exit"_s, "4"_s}));
    QCOMPARE(lines.take(), QByteArrayList({"all"}));
    QCOMPARE(process.exitCode(), 4);
}

void MyProcessTest::linesArriveInTheThreadOfTheProcess()
{
    QThread thread;
    thread.start();
    auto *const process = new MyProcess(nullptr);
    process->moveToThread(&thread);
    QByteArrayList lines;
    QList<QThread *> threads;
    bool finished = false;
    QObject::connect(
        process, &MyProcess::lineAvailable, process,
        [&](const QByteArray &line) {
            lines.append(line);
            threads.append(QThread::currentThread());
        },
        Qt::DirectConnection);
    QMetaObject::invokeMethod(
        process,
        [&] {
            finished = run(*process, {"out"_s, "one\\ntwo\\n"_s});
        },
        Qt::BlockingQueuedConnection);
    process->deleteLater();
    thread.quit();
    QVERIFY(thread.wait(timeOut));
    QVERIFY(finished);
    QCOMPARE(lines, QByteArrayList({"one", "two"}));
    QCOMPARE(threads, QList<QThread *>({&thread, &thread}));
}

void MyProcessTest::nothingIsReported()
{
    MessageLog log;
    MyProcess process(nullptr);
    QVERIFY(run(process, {"out"_s, "line\\n"_s, "exit"_s, "3"_s}));
    process.start("/absent/program"_s, {});
    process.waitForFinished(timeOut);
    QCOMPARE(log.texts(), QStringList());
}

KESTRA_TEST_MAIN(MyProcessTest)

#include "myprocesstest.moc"
