// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QFile>
#include <QtCore/QSettings>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>

#include <cstdio>

//! [configuration]
// Returns the addresses in the configuration. If there are none, prints the reason to standard
// error.
static QStringList addressesIn(const QString &configuration)
{
    QFile file(configuration);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "tutorial-7: cannot open %s: %s\n", qUtf8Printable(configuration),
                     qUtf8Printable(file.errorString()));
        return {};
    }
    const QSettings settings(configuration, QSettings::IniFormat);
    QStringList addresses = settings.value(QStringLiteral("server/urls")).toStringList();
    if (addresses.isEmpty())
        std::fprintf(stderr, "tutorial-7: %s: the section [server] has no urls\n",
                     qUtf8Printable(configuration));
    return addresses;
}
//! [configuration]

int main(int argc, char **argv)
{
    QGuiApplication application(argc, argv);
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();

    QQmlApplicationEngine engine;
    //! [start]
    if (argc > 1) {
        const QStringList addresses = addressesIn(application.arguments().at(1));
        if (addresses.isEmpty())
            return 1;
        engine.setInitialProperties({{QStringLiteral("addresses"), addresses}});
    }
    //! [start]
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/Tanks/Main.qml")));
    return engine.rootObjects().isEmpty() ? 1 : QGuiApplication::exec();
}
