// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/quick/translations.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLibraryInfo>
#include <QtCore/QLocale>
#include <QtCore/QStandardPaths>
#include <QtCore/QTranslator>

namespace {

// Returns whether the folder contains a translation.
bool install(const QString &name, const QString &folder)
{
    auto *const translator = new QTranslator(QCoreApplication::instance());
    if (translator->load(QLocale(), name, QStringLiteral("_"), folder))
        return QCoreApplication::installTranslator(translator);
    delete translator;
    return false;
}

} // namespace

void installTranslations()
{
    install(QStringLiteral("qtbase"), QLibraryInfo::path(QLibraryInfo::TranslationsPath));
    const QStringList folders = QStandardPaths::locateAll(
        QStandardPaths::GenericDataLocation, QStringLiteral("pellixclient-keyword/translations"),
        QStandardPaths::LocateDirectory);
    for (const QString &folder : folders) { // the folder of the user comes first
        if (install(QStringLiteral("pellixclient-keyword"), folder))
            return;
    }
}
