// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "programs.h"

#include "base/text.h"

#include <QRegularExpression>

namespace Setup {

namespace {

// What works on files, and so on those of the preview alone.
constexpr const char *watched[] = {
    "apt-get",
    "apt-cdrom",
    "cp",
    "depmod",
    "dkms",
    "dpkg",
    "firmware-extract",
    "insserv",
    "install",
    "make",
    "mount",
    "patch",
    "rpm",
    "rpmbuild",
    "tar",
    "umount",
    "unzip",
    "update-initramfs",
    "update-rc.d",
    "zypper",
};

/** What has an effect that no file system holds back. */
struct Held
{
    const char *name;
    const char *unless = ""; ///< words with which it only asks, or works on files
};

constexpr Held held[] = {
    // the kernel and its modules
    {"modprobe", "-n,--dry-run,--show,-D,--show-depends,-c,--showconfig,-R,--resolve-alias"},
    {"insmod"},
    {"rmmod"},
    {"kexec"},
    {"sysctl"},
    {"udevadm", "info,verify,--version"},
    // drives and modems
    {"eject"},
    {"usb_modeswitch"},
    {"pppoeconf"},
    // the network
    {"dhclient"},
    {"ifconfig", "-a,-s"},
    {"ifdown"},
    {"ifup"},
    {"ip", "show,list,get,-V"},
    {"iptables", "-L,-S,--list,--list-rules"},
    {"nft", "list"},
    {"nmcli"},
    {"poff"},
    {"pon"},
    {"pppd", "--version,--help"},
    {"resolvectl", "status,query"},
    {"rfkill", "list"},
    {"route", "-n"},
    {"tc", "show"},
    // services and processes
    {"deb-systemd-invoke"},
    {"initctl", "list,status,version"},
    {"invoke-rc.d", "--query"},
    {"kill", "-0,-l,-L"},
    {"killall", "-0"},
    {"loginctl"},
    {"pkill"},
    {"rc-service"},
    {"service", "status,--status-all"},
    {"start-stop-daemon", "--test,-t,--status,-T"},
    {"systemctl",
     "cat,disable,enable,is-active,is-enabled,is-failed,list-unit-files,list-units,mask,preset,"
     "show,status,unmask,--version"},
    {"systemd-run"},
    {"halt"},
    {"poweroff"},
    {"reboot"},
    {"shutdown"},
    {"telinit"},
    // the message bus
    {"busctl", "list,tree,introspect,get-property"},
    {"dbus-send"},
    {"gdbus", "introspect"},
    {"qdbus"},
};

constexpr const char *wasRun = "run";

QString quoted(const QString &word)
{
    static const QRegularExpression plain(QStringLiteral("\\A[A-Za-z0-9_@%+=:,./~-]+\\z"));
    if (plain.match(word).hasMatch())
        return word;
    QString inside = word;
    inside.replace(QLatin1Char('\''), QStringLiteral("'\\''"));
    return QLatin1Char('\'') + inside + QLatin1Char('\'');
}

}

QStringList programOptions()
{
    QStringList options;
    for (const char *name : watched)
        options << QStringLiteral("--watch") << QLatin1String(name);
    for (const Held &program : held)
        options << QStringLiteral("--hold")
                << (*program.unless ? QStringLiteral("%1=%2").arg(QLatin1String(program.name),
                                                                  QLatin1String(program.unless))
                                    : QLatin1String(program.name));
    return options;
}

QVector<ProgramCall> readCalls(const QByteArray &notes)
{
    QVector<ProgramCall> calls;
    const QList<QByteArray> words = notes.split('\0');
    for (int i = 0; i + 1 < words.size();) {
        const int count = words[i + 1].toInt();
        QStringList line;
        for (const QByteArray &word : words.mid(i + 2, count))
            line.append(quoted(textFromBytes(word)));
        calls.append({line.join(QLatin1Char(' ')), words[i] == wasRun});
        i += 2 + count;
    }
    return calls;
}

}
