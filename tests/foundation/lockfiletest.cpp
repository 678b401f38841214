// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "debugfile.h"
#include "files.h"
#include "messagelog.h"
#include "stdoutcapture.h"
#include "testmain.h"

#include <kestra/foundation/lockfile.h>

#include <QProcess>

#include <cerrno>
#include <cstdarg>
#include <cstring>

#include <fcntl.h>
#include <sys/mount.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

#ifndef SYS_fcntl64 // which only 32-bit machines have
#define SYS_fcntl64 SYS_fcntl
#endif

namespace {

bool locksAreUnavailable = false;

}

// Stands before the C library's function, for the library under test too: no file system that can
// be mounted here is out of locks. Which of its names is called depends on the width of an offset
// and of a time.
extern "C" {

__attribute__((visibility("default"))) int controlFile(int fd, int command, ...) __asm__("fcntl64");

int controlFile(int fd, int command, ...)
{
    va_list arguments;
    va_start(arguments, command);
    const long argument = va_arg(arguments, long);
    va_end(arguments);
    if (locksAreUnavailable && command == F_SETLK) {
        errno = ENOLCK;
        return -1;
    }
    return static_cast<int>(syscall(SYS_fcntl64, fd, command, argument));
}

__attribute__((visibility("default"), alias("fcntl64"))) int
controlFilePlainly(int fd, int command, ...) __asm__("fcntl");
__attribute__((visibility("default"), alias("fcntl64"))) int
controlFileWithTime(int fd, int command, ...) __asm__("__fcntl_time64");
}

using namespace KestraTest;

namespace {

const QString path = "/tmp/lock/file"_s;

int openDescriptors() { return listDirectory("/proc/self/fd"_s).size(); }

/** Returns the descriptors that this process has of the lock file. */
QList<int> descriptorsOfTheFile()
{
    QList<int> descriptors;
    for (const QString &entry : listDirectory("/proc/self/fd"_s)) {
        if (linkTarget("/proc/self/fd/"_s + entry) == path)
            descriptors.append(entry.toInt());
    }
    return descriptors;
}

/** Returns what another process sees: "free", or the lock in its way. */
QByteArray lockSeenByOthers()
{
    QProcess process;
    process.start(helperProgram("lockholder"), {"--test"_s, path});
    process.waitForFinished();
    return process.readAllStandardOutput().trimmed();
}

QByteArray wholeFileLockedByThisProcess()
{
    return "exclusive 0 0 " + QByteArray::number(getpid());
}

bool isSameFile(int fd, int otherFd)
{
    struct stat status, otherStatus;
    return fstat(fd, &status) == 0 && fstat(otherFd, &otherStatus) == 0
        && status.st_dev == otherStatus.st_dev && status.st_ino == otherStatus.st_ino;
}

/** Another process that holds the lock while the object exists. */
class LockHolder
{
public:
    LockHolder()
    {
        writeFile(path, "content of the holder");
        m_process.start(helperProgram("lockholder"), {path});
        if (!m_process.waitForReadyRead() || m_process.readAll() != "locked\n")
            qFatal("the lock holder has no lock");
    }

    ~LockHolder()
    {
        m_process.closeWriteChannel();
        m_process.waitForFinished();
    }

private:
    QProcess m_process;
};

}

/** Locks between processes. */
class LockFileTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void init();
    void cleanup();

    void lockCreatesTheFile();
    void lockIsExclusiveOverTheWholeFile();
    void lockTruncates();
    void lockOpensForReadingAndWriting();
    void descriptorIsClosedOnExec();
    void secondLockOfTheSameProcessSucceeds();
    void lockHeldByAnotherProcess();
    void lockIsFreeAfterTheOtherProcess();
    void failedLockTruncates();
    void fileThatCannotBeOpened_data();
    void fileThatCannotBeOpened();
    void readOnlyFileSystem_data();
    void readOnlyFileSystem();
    void standInDescriptorCanBeUnlocked();
    void fileSystemWithoutLocks();
    void nameIsConvertedToLocalBytes();
    void unlockReleasesAndCloses();
    void unlockOfABadDescriptor();
    void unlockGoesOnAfterAFailedRelease();
    void closeExecIsSetAndCleared();
    void closeExecOfABadDescriptor();
    void nothingIsWrittenWithoutDebug();
};

void LockFileTest::init() { makeDirectory("/tmp/lock"_s); }

void LockFileTest::cleanup()
{
    locksAreUnavailable = false;
    remove("/tmp/lock"_s);
}

void LockFileTest::lockCreatesTheFile()
{
    DebugFile log;
    const mode_t mask = umask(0);
    const int fd = lockFile(path);
    umask(mask);
    QVERIFY(fd >= 0);
    QCOMPARE(fileMode(path), 0640);
    QCOMPARE(readFile(path), QByteArray());
    QCOMPARE(log.text(), QByteArray());
    QCOMPARE(unlockFile(fd), 0);
}

void LockFileTest::lockIsExclusiveOverTheWholeFile()
{
    const int fd = lockFile(path);
    QCOMPARE(lockSeenByOthers(), wholeFileLockedByThisProcess());
    QCOMPARE(write(fd, "longer", 6), ssize_t(6));
    QCOMPARE(lockSeenByOthers(), wholeFileLockedByThisProcess());
    unlockFile(fd);
}

void LockFileTest::lockTruncates()
{
    writeFile(path, "content", 0600);
    const int fd = lockFile(path);
    QVERIFY(fd >= 0);
    QCOMPARE(readFile(path), QByteArray());
    QCOMPARE(fileMode(path), 0600);
    // Reading the file has closed a descriptor of it, which ends a record lock.
    unlockFile(fd);
}

void LockFileTest::lockOpensForReadingAndWriting()
{
    const int fd = lockFile(path);
    QCOMPARE(fcntl(fd, F_GETFL, 0L) & O_ACCMODE, O_RDWR);
    unlockFile(fd);
}

void LockFileTest::descriptorIsClosedOnExec()
{
    const int fd = lockFile(path);
    QCOMPARE(fcntl(fd, F_GETFD, 0L), FD_CLOEXEC);
    QProcess child;
    child.start("ls"_s, {"-l"_s, "/proc/self/fd"_s});
    QVERIFY(child.waitForFinished());
    const QByteArray descriptors = child.readAllStandardOutput();
    QVERIFY(descriptors.contains(" -> "));
    QVERIFY(!descriptors.contains("/tmp/lock/file"));
    unlockFile(fd);
}

void LockFileTest::secondLockOfTheSameProcessSucceeds()
{
    const int first = lockFile(path);
    const int second = lockFile(path);
    QVERIFY(first >= 0 && second >= 0 && first != second);
    QCOMPARE(lockSeenByOthers(), wholeFileLockedByThisProcess());
    unlockFile(second);
    // Closing any descriptor of the file ended the lock.
    QCOMPARE(lockSeenByOthers(), QByteArray("free"));
    unlockFile(first);
}

void LockFileTest::lockHeldByAnotherProcess()
{
    LockHolder holder;
    DebugFile log;
    const int descriptorsBefore = openDescriptors();
    errno = 0;
    const int fd = lockFile(path); // the holder keeps the lock until the end of the test
    const int error = errno;
    QCOMPARE(fd, -1);
    QVERIFY(error == EAGAIN || error == EACCES);
    QCOMPARE(log.text(), QByteArray("getFileLock(): Could not get lock: /tmp/lock/file\n"));
    QCOMPARE(openDescriptors(), descriptorsBefore);
    QVERIFY(lockSeenByOthers().startsWith("exclusive"));
}

void LockFileTest::lockIsFreeAfterTheOtherProcess()
{
    {
        LockHolder holder;
        QCOMPARE(lockFile(path), -1);
    }
    const int fd = lockFile(path);
    QVERIFY(fd >= 0);
    unlockFile(fd);
}

void LockFileTest::failedLockTruncates()
{
    LockHolder holder;
    QVERIFY(!readFile(path).isEmpty());
    QCOMPARE(lockFile(path), -1);
    QCOMPARE(readFile(path), QByteArray());
}

void LockFileTest::fileThatCannotBeOpened_data()
{
    QTest::addColumn<QString>("unopenable");
    QTest::newRow("directory does not exist") << "/tmp/lock/absent/file"_s;
    QTest::newRow("is a directory") << "/tmp/lock"_s;
    QTest::newRow("below a file") << "/etc/passwd/file"_s;
    QTest::newRow("no name") << QString();
}

void LockFileTest::fileThatCannotBeOpened()
{
    QFETCH(QString, unopenable);
    DebugFile log;
    errno = 0;
    const int fd = lockFile(unopenable);
    const int error = errno;
    QCOMPARE(fd, -1);
    QCOMPARE(error, EPERM);
    QCOMPARE(log.text(), "getFileLock(): Could not open lock file " + unopenable.toLatin1() + '\n');
}

void LockFileTest::readOnlyFileSystem_data()
{
    QTest::addColumn<QByteArray>("content");
    QTest::newRow("file does not exist") << QByteArray();
    QTest::newRow("file exists") << QByteArray("content");
}

void LockFileTest::readOnlyFileSystem()
{
    QFETCH(QByteArray, content);
    QCOMPARE(mount("tmpfs", "/mnt", "tmpfs", 0, ""), 0);
    if (!content.isNull())
        writeFile("/mnt/file"_s, content);
    QCOMPARE(mount("tmpfs", "/mnt", "tmpfs", MS_REMOUNT | MS_RDONLY, ""), 0);

    DebugFile log;
    const int fd = lockFile("/mnt/file"_s);
    QVERIFY(fd > 0);
    QVERIFY(isSameFile(fd, STDIN_FILENO));
    QCOMPARE(log.text(),
             QByteArray("getFileLock(): Not using locking for read only lock file /mnt/file\n"));
    QCOMPARE(exists("/mnt/file"_s), !content.isNull());
    if (!content.isNull())
        QCOMPARE(readFile("/mnt/file"_s), content);
    QCOMPARE(unlockFile(fd), 0);
    QCOMPARE(umount("/mnt"), 0);
}

void LockFileTest::standInDescriptorCanBeUnlocked()
{
    locksAreUnavailable = true;
    const int fd = lockFile(path);
    locksAreUnavailable = false;
    QVERIFY(isSameFile(fd, STDIN_FILENO));
    QCOMPARE(unlockFile(fd), 0);
    QCOMPARE(fcntl(fd, F_GETFD, 0L), -1);
    QVERIFY(fcntl(STDIN_FILENO, F_GETFD, 0L) != -1);
}

void LockFileTest::fileSystemWithoutLocks()
{
    writeFile(path, "content");
    DebugFile log;
    const int descriptorsBefore = openDescriptors();
    locksAreUnavailable = true;
    const int fd = lockFile(path);
    locksAreUnavailable = false;
    QVERIFY(fd > 0);
    QVERIFY(isSameFile(fd, STDIN_FILENO));
    QCOMPARE(log.text(),
             QByteArray("getFileLock(): Not using locking for nfs mounted lock file "
                        "/tmp/lock/file\n"));
    QCOMPARE(readFile(path), QByteArray());

    // The lock file itself stays open beside the duplicate.
    QCOMPARE(openDescriptors(), descriptorsBefore + 2);
    QCOMPARE(unlockFile(fd), 0);
    const QList<int> left = descriptorsOfTheFile();
    QCOMPARE(left.size(), 1);
    close(left.constFirst());
}

void LockFileTest::nameIsConvertedToLocalBytes()
{
    const QString name = QString::fromUtf8("/tmp/lock/\303\251");
    DebugFile log;
    const int fd = lockFile(name);
    QVERIFY(fd >= 0);
    QCOMPARE(access(name.toLocal8Bit().constData(), F_OK), 0);
    unlockFile(fd);

    lockFile(name + "/file"_s);
    QVERIFY(log.text().endsWith("Could not open lock file " + name.toLocal8Bit() + "/file\n"));
}

void LockFileTest::unlockReleasesAndCloses()
{
    const int fd = lockFile(path);
    const int copy = dup(fd); // keeps the file open, so that the release is seen by itself
    QCOMPARE(write(fd, "content", 7), ssize_t(7));
    DebugFile log;
    QCOMPARE(unlockFile(fd), 0);
    QCOMPARE(log.text(), "unlockFile(): unlocking fd: " + QByteArray::number(fd) + '\n');
    QCOMPARE(lockSeenByOthers(), QByteArray("free"));
    QCOMPARE(fcntl(fd, F_GETFD, 0L), -1);
    QVERIFY(exists(path));
    close(copy);
}

void LockFileTest::unlockOfABadDescriptor()
{
    DebugFile log;
    QCOMPARE(unlockFile(9999), -1);
    const QString reason = QString::fromLatin1(strerror(EBADF));
    QCOMPARE(log.lines(),
             QStringList({"unlockFile(): unlocking fd: 9999"_s,
                          "unlockFile(): fcntl unlock failed on fd 9999: "_s + reason,
                          "unlockFile(): lock file close failed on fd 9999: "_s + reason}));
}

void LockFileTest::unlockGoesOnAfterAFailedRelease()
{
    const int fd = lockFile(path);
    DebugFile log;
    locksAreUnavailable = true;
    QCOMPARE(unlockFile(fd), 0);
    locksAreUnavailable = false;
    QCOMPARE(log.lines(),
             QStringList({"unlockFile(): unlocking fd: %1"_s.arg(fd),
                          "unlockFile(): fcntl unlock failed on fd %1: %2"_s.arg(fd).arg(
                              QString::fromLatin1(strerror(ENOLCK)))}));
    QCOMPARE(fcntl(fd, F_GETFD, 0L), -1);
}

void LockFileTest::closeExecIsSetAndCleared()
{
    DebugFile log;
    const int fd = dup(STDIN_FILENO);
    QCOMPARE(fcntl(fd, F_GETFD, 0L), 0);
    setCloseExec(fd, true);
    QCOMPARE(fcntl(fd, F_GETFD, 0L), FD_CLOEXEC);
    setCloseExec(fd, false);
    QCOMPARE(fcntl(fd, F_GETFD, 0L), 0);
    close(fd);
    QCOMPARE(log.text(), QByteArray());
}

void LockFileTest::closeExecOfABadDescriptor()
{
    DebugFile log;
    setCloseExec(9999, true);
    QCOMPARE(log.text(),
             QByteArray("getFileLock(): Could not set close on exec ") + QByteArray(strerror(EBADF))
                 + "\n");
}

void LockFileTest::nothingIsWrittenWithoutDebug()
{
    LockHolder holder;
    MessageLog messages;
    DebugFile log(false);
    StdoutCapture output, error(stderr);
    lockFile(path);
    lockFile("/tmp/lock/absent/file"_s);
    unlockFile(9999);
    setCloseExec(9999, true);
    locksAreUnavailable = true;
    const int fd = lockFile(path);
    locksAreUnavailable = false;
    unlockFile(fd);
    for (const int left : descriptorsOfTheFile())
        close(left);
    QCOMPARE(log.text(), QByteArray());
    QCOMPARE(messages.texts(), QStringList());
    QCOMPARE(output.take(), QByteArray());
    QCOMPARE(error.take(), QByteArray());
}

KESTRA_TEST_MAIN(LockFileTest)

#include "lockfiletest.moc"
