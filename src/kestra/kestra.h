// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_H
#define KESTRA_H

/**
 * @file
 * Includes every public header of the library, and the two of Qt without which no program uses it:
 * the application, whose event loop delivers the signals, and the thread, which several
 * constructors take.
 */

#include <QCoreApplication>
#include <QThread>

#include <kestra/foundation/debuglog.h>
#include <kestra/foundation/lockfile.h>
#include <kestra/foundation/myprocess.h>
#include <kestra/foundation/systeminfo.h>

#include <kestra/packages/apt.h>
#include <kestra/packages/packagemanager.h>
#include <kestra/packages/rpm.h>
#include <kestra/packages/zypper.h>
#include <kestra/packages/zypperrepo.h>

#include <kestra/modem/compiler.h>
#include <kestra/modem/firmware.h>
#include <kestra/modem/modemmanager.h>

#include <kestra/connection/dnsmanager.h>
#include <kestra/connection/scriptmanager.h>
#include <kestra/connection/serviceparser.h>

#include <kestra/media/filemanager.h>
#include <kestra/media/haliface.h>
#include <kestra/media/mediamanager.h>
#include <kestra/media/volume.h>

#endif
