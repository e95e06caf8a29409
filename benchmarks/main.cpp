// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/otherprocess.h"
#include "benchmarks/ratioreporter.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QLoggingCategory>
#include <QtGui/QGuiApplication>

int main(int argc, char *argv[])
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false"));
    if (argc > 2 && qstrcmp(argv[1], "--role") == 0) {
        const QCoreApplication application(argc, argv);
        const QStringList arguments = QCoreApplication::arguments();
        return serveRole(arguments.at(2), arguments.mid(3));
    }

    // Drawing on a display is not measured, so no display is needed.
    if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM"))
        qputenv("QT_QPA_PLATFORM", "offscreen");
    if (qEnvironmentVariableIsEmpty("QT_QUICK_BACKEND"))
        qputenv("QT_QUICK_BACKEND", "software");
    const QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    return runBenchmarks(argc, argv, RatioReporter::Library);
}
