// SPDX-FileCopyrightText: 2026 The libkestra developers
// SPDX-License-Identifier: LGPL-2.1-or-later

#include "language.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <QTranslator>

namespace Setup {

namespace {

/** LANGUAGE says nothing in the locale "C", which is for programs that read what we say. */
bool isForPrograms()
{
    for (const char *variable : {"LC_ALL", "LC_MESSAGES", "LANG"}) {
        const QByteArray locale = qgetenv(variable);
        if (!locale.isEmpty())
            return locale == "C" || locale == "POSIX";
    }
    return true;
}

bool isEnglish(const QString &language)
{
    const auto spoken = QLocale(language).language();
    return spoken == QLocale::C || spoken == QLocale::English;
}

bool install(QCoreApplication &application, const QString &file, const QString &directory)
{
    auto *const translator = new QTranslator(&application);
    return translator->load(file, directory) && QCoreApplication::installTranslator(translator);
}

QString directoryOfQt()
{
#if QT_VERSION >= QT_VERSION_CHECK(6, 0, 0)
    return QLibraryInfo::path(QLibraryInfo::TranslationsPath);
#else
    return QLibraryInfo::location(QLibraryInfo::TranslationsPath);
#endif
}

}

void speakLanguageOfUser(QCoreApplication &application)
{
    if (isForPrograms())
        return;
    for (QString language : QLocale::system().uiLanguages()) {
        if (isEnglish(language))
            return;
        language.replace(QLatin1Char('-'), QLatin1Char('_'));
        if (!install(application, QStringLiteral("kestra-setup_") + language,
                     QStringLiteral(":/translations")))
            continue;
        // What Qt itself has to say is in a package that may be missing.
        install(application, QStringLiteral("qtbase_") + language, directoryOfQt());
        return;
    }
}

}
