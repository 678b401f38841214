// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#ifndef KESTRA_SETUP_LANGUAGE_H
#define KESTRA_SETUP_LANGUAGE_H

class QCoreApplication;

namespace Setup {

/** Lets @p application speak the language of the environment, or English. */
void speakLanguageOfUser(QCoreApplication &application);

}

#endif
