// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "machine.h"

#include "files.h"

#include <QDir>
#include <QElapsedTimer>
#include <QTest>

namespace KestraTest {

namespace {

const QString udi = "/org/freedesktop/Hal/devices/modem"_s;
const QString saved = "/var/tmp/machine"_s;
const QString serviceFile = "/run/kestra-sandbox/services/org.freedesktop.Hal.service"_s;

const QStringList changeable = {
    "/etc/ppp"_s,        "/etc/kestra"_s,      "/etc/init.d"_s,
    "/etc/modprobe.d"_s, "/etc/resolv.conf"_s, "/etc/resolv.conf_kestra"_s,
    "/etc/rc0.d"_s,      "/etc/rc1.d"_s,       "/etc/rc2.d"_s,
    "/etc/rc3.d"_s,      "/etc/rc4.d"_s,       "/etc/rc5.d"_s,
    "/etc/rc6.d"_s,      "/opt/kestra"_s,      "/tmp/kestra_drv_backup"_s,
};

void runTool(const QString &program, const QStringList &arguments)
{
    if (QProcess::execute(program, arguments) != 0)
        qFatal("%s failed", qPrintable(program));
}

void copy(const QString &from, const QString &to)
{
    makeDirectory(QFileInfo(to).path());
    runTool("cp"_s, {"-a"_s, from, to});
}

const char usualDatabase[] = R"(
  <country code="Freedonia">
    <service name="Example PPPoA">
      <vpi>8</vpi><vci>35</vci><protocol>pppoa</protocol><encapsulation>vc</encapsulation>
      <dns_server_1>192.0.2.1</dns_server_1><dns_server_2>192.0.2.2</dns_server_2>
    </service>
    <service name="Example PPPoE">
      <vpi>0</vpi><vci>38</vci><protocol>pppoe</protocol><encapsulation>vc</encapsulation>
      <dns_server_1/><dns_server_2/>
    </service>
    <service name="Example Bad Protocol">
      <vpi>0</vpi><vci>38</vci><protocol>pppox</protocol>
    </service>
    <service name="Example No Circuit">
      <vpi>0</vpi><vci>seven</vci><protocol>pppoe</protocol>
    </service>
    <service name="Example Bad Encapsulation">
      <vpi>0</vpi><vci>38</vci><protocol>pppoe</protocol><encapsulation>x</encapsulation>
    </service>
    <service name="Example Bad Servers">
      <vpi>0</vpi><vci>38</vci><protocol>pppoa</protocol><dns_server_1>300.1.1.1</dns_server_1>
    </service>
    <service name="Example LLC">
      <vpi>1</vpi><vci>32</vci><protocol>pppoa</protocol><encapsulation>llc</encapsulation>
    </service>
  </country>
  <country code="Sylvania">
    <service name="Sylvanian Telecom">
      <vpi>1</vpi><vci>50</vci><protocol>pppoe</protocol>
    </service>
  </country>)";

}

Machine::Machine()
{
    for (const QString &path : changeable) {
        if (exists(path))
            copy(path, saved + path);
    }
    reset();
}

void Machine::reset()
{
    for (const QString &path : changeable) {
        remove(path);
        if (exists(saved + path))
            copy(saved + path, path);
    }
    remove(directory);
    remove(modules);
    remove("/var/lib/kestra"_s);
    remove(serviceFile);
    writeFile(oldModule, "the old driver\n");
    writeFile(directory + "/kernel/Makefile"_s, "");
    writeFile(directory + "/password"_s, password + "\n", 0600);
    writeDatabase(usualDatabase);
    writeBundle(makefile(usualBuild(), usualInstallation()));
    product = 0x9041;
    hal.resetBehaviour();
}

QByteArray Machine::makefile(const QByteArray &all, const QByteArray &install)
{
    const auto recipe = [](QByteArray lines) { return "\t" + lines.replace("\n", "\n\t") + "\n"; };
    return "all:\n" + recipe(all) + "clean:\n\trm -f ueagle-atm.ko\ninstall:\n" + recipe(install);
}

QByteArray Machine::usualBuild() { return "@echo building for $(KDIR)\ncp source.c ueagle-atm.ko"; }

QByteArray Machine::usualInstallation()
{
    return "install -D -m 644 ueagle-atm.ko " + newModule.toLatin1();
}

void Machine::writeBundle(const QByteArray &makefile)
{
    const QString tree = directory + "/bundle/ueagle-atm"_s;
    writeFile(tree + "/source.c"_s, source);
    writeFile(tree + "/Makefile"_s, makefile);
    runTool("tar"_s,
            {"-C"_s, directory + "/bundle"_s, "-czf"_s, directory + "/driver.tar.gz"_s,
             "ueagle-atm"_s});
}

void Machine::writeDatabase(const QByteArray &countries)
{
    writeFile(directory + "/services.xml"_s, "<services>" + countries + "\n</services>\n");
}

QMap<QString, QString> Machine::usualOptions()
{
    return {
        {"--unattended"_s, "-"_s},
        {"--modem-timeout"_s, "30"_s},
        {"--driver-bundle"_s, directory + "/driver.tar.gz"_s},
        {"--extraction-path"_s, directory + "/src"_s},
        {"--kernel-headers"_s, directory + "/kernel"_s},
        {"--no-packages"_s, "-"_s},
        {"--data-dir"_s, QStringLiteral(KESTRA_DATA_DIRECTORY)},
        {"--providers"_s, directory + "/services.xml"_s},
        {"--country"_s, "Freedonia"_s},
        {"--service"_s, "Example PPPoA"_s},
        {"--user"_s, "me@example.net"_s},
        {"--password-file"_s, directory + "/password"_s},
    };
}

QStringList Machine::arguments(const QMap<QString, QString> &changes)
{
    QMap<QString, QString> options = usualOptions();
    for (auto change = changes.cbegin(); change != changes.cend(); ++change)
        options[change.key()] = change.value();
    QStringList arguments;
    for (auto option = options.cbegin(); option != options.cend(); ++option) {
        if (option.value() == "-"_s)
            arguments.append(option.key());
        else if (!option.value().isNull())
            arguments << option.key() << option.value();
    }
    return arguments;
}

void Machine::start(QProcess &process, const QStringList &arguments)
{
    process.start(program, arguments);
    process.waitForStarted();
}

bool Machine::waitForOutput(QProcess &process, QByteArray &output, const QByteArray &text,
                            int timeout)
{
    QElapsedTimer time;
    time.start();
    for (;;) {
        output += process.readAllStandardOutput();
        if (output.contains(text))
            return true;
        if (time.hasExpired(timeout))
            return false;
        if (!process.waitForReadyRead(100) && process.state() == QProcess::NotRunning) {
            output += process.readAllStandardOutput();
            return output.contains(text);
        }
    }
}

SetupResult Machine::finish(QProcess &process, const QByteArray &output, int timeout)
{
    SetupResult result;
    const bool ended = process.state() == QProcess::NotRunning || process.waitForFinished(timeout);
    if (ended && process.exitStatus() == QProcess::NormalExit)
        result.code = process.exitCode();
    result.output = output + process.readAllStandardOutput();
    result.errors = process.readAllStandardError();
    return result;
}

void Machine::plugIn()
{
    hal.addDevice(udi, {{"usb_device.vendor_id"_s, 0x1110}, {"usb_device.product_id"_s, product}});
    hal.emitDeviceAdded(udi);
}

void Machine::installService(const QString &commandLine)
{
    writeFile(serviceFile,
              "[D-BUS Service]\nName=org.freedesktop.Hal\nExec=" + commandLine.toLocal8Bit()
                  + '\n');
}

SetupResult Machine::run(const QStringList &arguments, int timeout)
{
    QProcess process;
    QByteArray output;
    start(process, arguments);
    if (waitForOutput(process, output, "Waiting for a modem to be plugged in"))
        plugIn();
    return finish(process, output, timeout);
}

QByteArray Machine::state()
{
    QProcess find;
    const QStringList roots = changeable + QStringList {"/lib/modules"_s, directory + "/src"_s};
    find.start("sh"_s,
               QStringList {"-c"_s,
                            "find \"$@\" -printf '%p %m %U %l\\n' -type f "
                            "-exec sha256sum {} \\; 2>/dev/null | LC_ALL=C sort"_s,
                            "sh"_s}
                   + roots);
    find.waitForFinished();
    return find.readAllStandardOutput();
}

}
