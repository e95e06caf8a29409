// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/quick/hosttheme.h"

#include <QtGui/QFont>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlProperty>

#include <memory>

QObject *provideTheme(QQmlEngine &engine)
{
    engine.addImportPath(QStringLiteral("qrc:/qt/qml"));
    QQmlComponent component(&engine);
    component.setData("import QtQml\nimport PellixClient.Theme\n"
                      "QtObject { readonly property QtObject theme: Theme }",
                      QUrl());
    const std::unique_ptr<QObject> holder(component.create());
    auto *theme = holder ? holder->property("theme").value<QObject *>() : nullptr;
    if (theme)
        QQmlProperty::write(theme, QStringLiteral("dark"), true); // regardless of the system
    engine.rootContext()->setContextProperty(QStringLiteral("theme"), theme);
    return theme;
}

void useSteadyFonts()
{
    QFont font;
    font.setFamilies({QStringLiteral("DejaVu Sans"), QStringLiteral("Noto Sans"), font.family()});
    QGuiApplication::setFont(font);
}
