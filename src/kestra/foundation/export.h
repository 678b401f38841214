// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_FOUNDATION_EXPORT_H
#define KESTRA_FOUNDATION_EXPORT_H

#include <QtGlobal>

/** Marks what the shared library offers to its users; everything else in it is hidden. */
#ifdef KESTRA_LIBRARY
#define KESTRA_EXPORT Q_DECL_EXPORT
#else
#define KESTRA_EXPORT Q_DECL_IMPORT
#endif

#endif
