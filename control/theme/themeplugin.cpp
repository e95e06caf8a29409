// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include <QtCore/QPointer>
#include <QtQml/QJSValue>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlEngineExtensionPlugin>
#include <QtQml/qqml.h>
#include <QtQml/qqmlmoduleregistration.h>

#include <memory>

namespace {

// What the components of the keyword library find under the name "theme" where the host supplies
// nothing: the function of the singleton Theme. The engine is still loading when it gets this, and
// cannot load that file at the same time, so Theme is looked up when it is needed.
class DefaultTheme : public QObject
{
    Q_OBJECT
    // A property with a function, and not a function: a binding follows what that one reads in QML.
    Q_PROPERTY(QJSValue dp READ dp CONSTANT)

public:
    explicit DefaultTheme(QQmlEngine *engine) : QObject(engine), engine(engine) { }

    QJSValue dp();

private:
    QObject *find();

    QQmlEngine *const engine;
    QPointer<QObject> theme; // the engine's
};

QJSValue DefaultTheme::dp()
{
    if (!theme)
        theme = find();
    return theme ? engine->toScriptValue(theme.data()).property(QStringLiteral("dp")) : QJSValue();
}

// A singleton of QML has no type id in C++.
QObject *DefaultTheme::find()
{
    QQmlComponent component(engine);
    component.setData("import QtQml\nimport PellixClient.Theme 1.0\n"
                      "QtObject { readonly property QtObject theme: Theme }",
                      QUrl());
    const std::unique_ptr<QObject> holder(component.isReady() ? component.create() : nullptr);
    if (!holder)
        qWarning("%s", qPrintable(component.errorString()));
    return holder ? holder->property("theme").value<QObject *>() : nullptr;
}

} // namespace

// Supplies the context object "theme" to an engine that has none.
class PellixClientThemePlugin : public QQmlEngineExtensionPlugin
{
    Q_OBJECT
    Q_PLUGIN_METADATA(IID QQmlEngineExtensionInterface_iid)

public:
    PellixClientThemePlugin()
    {
        static const QQmlModuleRegistration registration(
            "PellixClient.Theme", [] { qmlRegisterModule("PellixClient.Theme", 1, 0); });
    }

    void initializeEngine(QQmlEngine *engine, const char *uri) override
    {
        Q_UNUSED(uri)
        const QString name = QStringLiteral("theme");
        if (!engine->rootContext()->contextProperty(name).isValid())
            engine->rootContext()->setContextProperty(name, new DefaultTheme(engine));
    }
};

#include "themeplugin.moc"
