// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "packagemanager.h"

#include "apt.h"
#include "zypper.h"

#include <kestra/foundation/debugline_p.h>
#include <kestra/foundation/debuglog.h>
#include <kestra/foundation/text_p.h>
#include <kestra/media/filemanager.h>

#include <QDebug>
#include <QFile>
#include <QRegExp>
#include <QThread>

#include <cstdio>

using Kestra::Private::debugLine;
using Kestra::Private::readLine;
using Kestra::Private::text;

namespace {

constexpr int unknownManager = -2;
constexpr int noProductFile = -1;
constexpr int badProductLine = -2;

const QString apt = QStringLiteral("apt");
const QString zypper = QStringLiteral("zypper");

QString findProductFile(const QString &mountPoint)
{
    QString path;
    FileManager().findFile(mountPoint, QStringLiteral("products"), path);
    return path;
}

}

PackageManager::PackageManager(const QString &manager, QThread *thread)
    : QObject(thread), m_manager(manager)
{
    qDebug() << "PackageManager::parent:" << thread << "\nP.'s thread:" << thread->thread();
    m_apt = new Apt(thread);
    m_zypper = new Zypper(thread);
    puts("z:1");
    puts("z:2");
    qDebug() << "m_manager" << m_manager;
}

PackageManager::~PackageManager() = default; // the backends belong to the thread object

QStringList PackageManager::getNotInstalled(QStringList packages)
{
    if (m_manager == apt)
        return m_apt->getNotInstalled(packages);
    if (m_manager == zypper)
        return m_zypper->getNotInstalled(packages);
    puts("PackageManager::getNotInstalled(): return pkgs;");
    return packages;
}

bool PackageManager::getArePackagesAvailable(QStringList packages)
{
    printf("PM::gapa: %s\n", packages.join(QStringLiteral(", ")).toLocal8Bit().constData());
    if (packages.isEmpty()) {
        puts("PM::getArePackagesAvailable: empty list!");
        return true;
    }
    if (m_manager == apt) {
        debugLine("return apt->getArePackagesAvailable ( pkgs );\n");
        return m_apt->getArePackagesAvailable(packages);
    }
    if (m_manager == zypper) {
        debugLine("return zypper->getArePackagesAvailable ( pkgs );\n");
        return m_zypper->getArePackagesAvailable(packages);
    }
    // The one message that is written even while debugging is off.
    fprintf(pFile, "PackageManager::getArePackagesAvailable: unknown package manager!\n");
    puts("return true;");
    return true;
}

bool PackageManager::getIsPackageInstalled(const QString &package)
{
    if (m_manager == apt)
        return m_apt->getNotInstalled({package}).isEmpty();
    if (m_manager == zypper)
        return m_zypper->getNotInstalled({package}).isEmpty();
    return false;
}

int PackageManager::installPackages(const QStringList &packages)
{
    if (m_manager.isEmpty() || packages.isEmpty())
        return 0;
    if (m_manager == apt) {
        qDebug() << "PackageManager: using Apt";
        return m_apt->install(packages, false);
    }
    if (m_manager == zypper) {
        qDebug() << "PackageManager: using Zypper";
        return m_zypper->install(packages);
    }
    qDebug() << "PackageManager: unknown m_manager, aborting! (" << m_manager << ")";
    return unknownManager;
}

int PackageManager::addCD(const QString &mountPoint)
{
    if (m_manager == apt)
        return m_apt->addCD(mountPoint);
    if (m_manager == zypper)
        return addSuseDisc(mountPoint);
    return unknownManager;
}

int PackageManager::addSuseDisc(const QString &mountPoint)
{
    const QString productPath = findProductFile(mountPoint);
    if (productPath.isEmpty()) {
        qDebug() << "product file not found, aborting";
        return noProductFile;
    }
    QFile productFile(productPath);
    if (!productFile.open(QIODevice::ReadOnly)) {
        qDebug() << "product file not open, adding \"Kestra added CD/DVD\"";
        return m_zypper->addRepo(mountPoint, QStringLiteral("Kestra added CD/DVD"));
    }
    qDebug() << "product file is open";
    QRegExp productLine(QStringLiteral("^/\\s+(.{1,100})\\s*$"));
    if (!productLine.exactMatch(text(readLine(productFile, 100))))
        return badProductLine;
    const QString product = productLine.cap(1).trimmed();
    qDebug() << "exact match:" << product;

    const QList<ZypperRepo> repos = m_zypper->getRepos();
    for (const ZypperRepo &repo : repos) {
        qDebug() << "iterating, current repo:" << repo.name;
        if (repo.name != product)
            continue;
        if (repo.enabled) {
            qDebug() << "repo is already enabled";
            return 0;
        }
        qDebug() << "enabling repo:" << repo.alias;
        return m_zypper->enableRepo(repo.alias, true) ? 1 : 0;
    }
    return m_zypper->addRepo(mountPoint, product);
}
