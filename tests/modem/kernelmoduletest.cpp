// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "driverfixture.h"
#include "messagelog.h"
#include "testmain.h"

#include <memory>

using namespace KestraTest;

namespace {

const QByteArray source = R"(#include <linux/module.h>
static int __init probe_init(void) { return 0; }
static void __exit probe_exit(void) { }
module_init(probe_init);
module_exit(probe_exit);
MODULE_LICENSE("GPL");
)";

const QByteArray makefile = R"(obj-m := kestra-probe.o
TARGET = $(DESTDIR)/lib/modules/$(shell uname -r)/kernel/drivers/usb/atm
all:
	$(MAKE) -C $(KDIR) M=$(CURDIR) modules
clean:
	$(MAKE) -C $(KDIR) M=$(CURDIR) clean
install:
	$(REFUSE)install -D -m 644 kestra-probe.ko $(TARGET)/kestra-probe.ko
)";

/** Returns the newest installed tree of kernel headers that modules can be built with, or "". */
QString kernelHeaders()
{
    const QDir sources("/usr/src"_s);
    const QStringList names =
        sources.entryList({"linux-headers-*"_s}, QDir::Dirs, QDir::Name | QDir::Reversed);
    for (const QString &name : names) {
        const QString path = sources.filePath(name);
        if (exists(path + "/Module.symvers"_s))
            return path;
    }
    return QString();
}

}

/** The whole pipeline on a kernel module that is really compiled. */
class KernelModuleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();
    void cleanup();

    void moduleIsBuiltAndInstalled();
    void oldModuleIsRestoredWhenTheInstallationFails();
    void compilerErrorsAreInTheLog();

private:
    void writeModuleBundle(const QByteArray &code) const;

    const QString installed = "/lib/modules/%1/kernel/drivers/usb/atm/kestra-probe.ko"_s.arg(
        Kestra::SystemInfo::getKernelRelease());
    const QString backup = "/tmp/kestra_drv_backup/%1/kernel/drivers/usb/atm/kestra-probe.ko"_s.arg(
        Kestra::SystemInfo::getKernelRelease());
    QString headers;
    std::unique_ptr<DriverFixture> fixture;
};

void KernelModuleTest::initTestCase()
{
    headers = kernelHeaders();
    if (headers.isEmpty())
        QSKIP("no kernel headers in /usr/src (linux-headers-amd64, linux-headers-686-pae)");
    for (const char *variable : {"MAKEFLAGS", "MAKELEVEL", "MFLAGS", "GNUMAKEFLAGS"})
        qunsetenv(variable);
}

void KernelModuleTest::init()
{
    fixture = std::make_unique<DriverFixture>();
    fixture->driver.compiledDriverName = "kestra-probe.ko"_s;
    fixture->driver.makeEnvironment = "KDIR="_s + headers;
    writeModuleBundle(source);
    writeFile(installed, "stock");
}

void KernelModuleTest::cleanup()
{
    fixture.reset();
    remove("/lib/modules/"_s + Kestra::SystemInfo::getKernelRelease());
    remove("/tmp/kestra_drv_backup"_s);
    remove("/opt/kestra"_s);
}

void KernelModuleTest::writeModuleBundle(const QByteArray &code) const
{
    fixture->writeTree(makefile);
    writeFile(fixture->inTree("kestra-probe.c"_s), code);
    writeFile(fixture->inTree("kestra-probe.o"_s), "left over in the bundle");
    fixture->packTree();
}

void KernelModuleTest::moduleIsBuiltAndInstalled()
{
    {
        Compiler compiler(fixture->driver, nullptr);
        compiler.extractDriver();
        QVERIFY(!exists(fixture->inTree("kestra-probe.o"_s)));
        compiler.patchDriver();
        QCOMPARE(compiler.compileDriver(), 0);
        QVERIFY(exists(fixture->inTree("kestra-probe.ko"_s)));
        compiler.backupDriver();
        QVERIFY(!exists(installed));
        QCOMPARE(compiler.installDriver(), 0);
    }
    const QByteArray module = readFile(installed);
    QVERIFY(module.startsWith("\x7f"
                              "ELF"));
    const QString headersRelease = QDir(headers).dirName().remove("linux-headers-"_s);
    QVERIFY(module.contains("vermagic=" + headersRelease.toLatin1() + ' '));
    QCOMPARE(readFile(backup), QByteArray("stock"));
    QVERIFY(!exists(fixture->tree()));

    const QByteArray log = readFile(fixture->logPath());
    int position = -1;
    for (const char *part :
         {"# Begin Of Extraction\ndriver/\n", "\ndriver/kestra-probe.c\n", "# End Of Extraction",
          "# Begin Of Cleaning\n", "# Begin Of Compilation\n", "kestra-probe.ko\n",
          "\n# Process exited with status: 0.\n# End Of Compilation\n", "# Begin Of Installation\n",
          "# End Of Installation\n\n\n\n"}) {
        const int next = log.indexOf(part, position + 1);
        QVERIFY2(next > position, part);
        position = next;
    }
}

void KernelModuleTest::oldModuleIsRestoredWhenTheInstallationFails()
{
    fixture->driver.installArguments = "install, REFUSE=false "_s;
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(compiler.compileDriver(), 0);
    compiler.backupDriver();
    QCOMPARE(compiler.installDriver(), 2);
    QVERIFY(!exists(installed));
    MessageLog log;
    compiler.restoreDriver();
    QCOMPARE(readFile(installed), QByteArray("stock"));
    QVERIFY(log.debugs().contains("Compiler::restoreDriver(): \"%1\" restored to \"%2\""_s.arg(
        backup, QString(installed).replace("/kernel/"_s, "//kernel/"_s))));
}

void KernelModuleTest::compilerErrorsAreInTheLog()
{
    writeModuleBundle(source + "this is no C\n");
    Compiler compiler(fixture->driver, nullptr);
    compiler.extractDriver();
    QCOMPARE(compiler.compileDriver(), 2);
    QVERIFY(compiler.compilerLog.contains("kestra-probe.c:"));
    QVERIFY(compiler.compilerLog.contains("error:"));
    QVERIFY(compiler.compilerLog.endsWith(
        "\n# Process exited with status: 2.\n# End Of Compilation\n\n\n\n"));
    QCOMPARE(readFile(installed), QByteArray("stock"));
}

KESTRA_TEST_MAIN(KernelModuleTest)

#include "kernelmoduletest.moc"
