// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/gateway/publisher.h"
#include "benchmarks/ratioreporter.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QLoggingCategory>

int main(int argc, char *argv[])
{
    QLoggingCategory::setFilterRules(QStringLiteral("*.debug=false\n*.info=false"));
    const auto number = [&argv](int i) { return QByteArray(argv[i]).toInt(); };
    if (argc > 6 && qstrcmp(argv[1], "--publish") == 0)
        return Publisher::run(quint16(number(2)), number(3), number(4), number(5), number(6) != 0);
    if (argc > 5 && qstrcmp(argv[1], "--publish-steadily") == 0)
        return Publisher::runSteadily(quint16(number(2)), number(3), number(4), number(5));
    const QCoreApplication application(argc, argv);
    return runBenchmarks(argc, argv, RatioReporter::Gateway);
}
