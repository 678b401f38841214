// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "files.h"
#include "machine.h"
#include "testmain.h"

#include <QDir>

using namespace KestraTest;

namespace {

const QString data = "/tmp/data"_s;
const QString modules = Machine::modules;
const QString place = modules + "/kernel/drivers/usb/atm"_s;

/** The distribution's headers; not those of the running kernel, which may be another's. */
QString headers()
{
    const QDir sources("/usr/src"_s);
    const QStringList names =
        sources.entryList({"linux-headers-*-amd64"_s, "linux-headers-*-686*"_s}, QDir::Dirs,
                          QDir::Name | QDir::Reversed);
    return names.isEmpty() ? QString() : sources.filePath(names.first());
}

QByteArray outputOf(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.start(program, arguments);
    process.waitForFinished(-1);
    return process.readAllStandardOutput().trimmed();
}

QByteArray fieldOf(const QString &module, const QString &field)
{
    return outputOf("/sbin/modinfo"_s, {"-F"_s, field, module});
}

SetupResult run(const QStringList &arguments)
{
    QProcess process;
    Machine::start(process, arguments + QStringList {"--data-dir"_s, data});
    return Machine::finish(process, {}, 300000);
}

/** All of the module tree and where drivers are unpacked, byte for byte. */
QByteArray state()
{
    return outputOf("sh"_s,
                    {"-c"_s,
                     "find /lib/modules/ /usr/src/kestra /tmp/kestra_drv_backup '(' -printf"
                     " '%p %y %m %U %G %l\\n' , -type f -exec sha256sum {} + ')' 2>/dev/null"
                     " | LC_ALL=C sort"_s});
}

}

/** The drivers of the shipped catalogue, from the distribution's sources, for its kernel. */
class BundleTest : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init();

    void buildsInstallsAndRestores_data();
    void buildsInstallsAndRestores();

private:
    QString m_headers;
};

void BundleTest::initTestCase()
{
    m_headers = headers();
    QVERIFY2(!m_headers.isEmpty(),
             "no package linux-headers-amd64 or linux-headers-686-pae is installed");
    QCOMPARE(QProcess::execute("cp"_s, {"-r"_s, QStringLiteral(KESTRA_DATA_DIRECTORY), data}), 0);
    for (const char *driver : {"ueagle-atm", "speedtch", "cxacru"})
        QCOMPARE(QProcess::execute(QStringLiteral(KESTRA_BUNDLE_SCRIPT),
                                   {QLatin1String(driver), "--output"_s, data + "/bundles"_s}),
                 0);
}

/** A kernel with an earlier driver, and with depmod's lists. */
void BundleTest::init()
{
    for (const QString &path :
         {modules, "/var/lib/kestra"_s, "/tmp/kestra_drv_backup"_s, "/opt/kestra"_s})
        remove(path);
    for (const char *list : {"/modules.order", "/modules.builtin"})
        writeFile(modules + QLatin1String(list), "");
    writeFile(place + "/usbatm.ko"_s, "an earlier one", 0600);
}

void BundleTest::buildsInstallsAndRestores_data()
{
    QTest::addColumn<QString>("driver");
    QTest::addColumn<QString>("version");
    QTest::newRow("ueagle-atm") << "ueagle-atm"_s
                                << "default"_s;
    QTest::newRow("speedtch") << "speedtch"_s
                              << "default"_s;
    QTest::newRow("cxacru") << "cxacru"_s
                            << "neo"_s;
}

void BundleTest::buildsInstallsAndRestores()
{
    QFETCH(QString, driver);
    QFETCH(QString, version);
    const QString module = place + "/%1.ko"_s.arg(driver);
    writeFile(module, "an earlier one", 0640);
    QCOMPARE(QProcess::execute("/sbin/depmod"_s, {Machine::release}), 0);
    const QByteArray before = state();

    const SetupResult built = run({"driver"_s, "build"_s, "--unattended"_s, "--driver"_s, driver,
                                   "--kernel-headers"_s, m_headers});
    QVERIFY2(built.code == 0, built.everything().constData());
    QVERIFY2(
        built.output.contains(
            "Taking the bundle /tmp/data/bundles/%1-%2.tar.gz\n"_s.arg(driver, version).toLatin1()),
        built.output.constData());
    const QByteArray kernel =
        QFileInfo(m_headers).fileName().mid(int(qstrlen("linux-headers-"))).toLatin1();
    for (const QString &file : {module, place + "/usbatm.ko"_s}) {
        QCOMPARE(fieldOf(file, "name"_s),
                 QFileInfo(file)
                     .completeBaseName()
                     .replace(QLatin1Char('-'), QLatin1Char('_'))
                     .toLatin1());
        QVERIFY2(fieldOf(file, "vermagic"_s).startsWith(kernel + " SMP "),
                 fieldOf(file, "vermagic"_s).constData());
    }
    QCOMPARE(fieldOf(module, "depends"_s).split(',').contains("usbatm"), true);
    QVERIFY(readFile(modules + "/modules.dep"_s)
                .contains("kernel/drivers/usb/atm/%1.ko: "_s.arg(driver).toLatin1()));
    QVERIFY(!exists("/usr/src/kestra/%1-%2"_s.arg(driver, version)));

    const SetupResult restored = run({"driver"_s, "restore"_s});
    QVERIFY2(restored.code == 0, restored.everything().constData());
    QCOMPARE(state(), before);
    QCOMPARE(fileMode(module), 0640);
}

KESTRA_TEST_MAIN(BundleTest)

#include "bundletest.moc"
