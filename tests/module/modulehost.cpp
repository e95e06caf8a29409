// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QRegularExpression>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlEngine>

#include <cstdio>
#include <dlfcn.h>
#include <memory>
#include <vector>

namespace {

// Types are registered for the whole process, so each case needs a separate one. This program
// executes its arguments in order, and prints the results:
//   register URI  calls PellixClientKeywordModule::registerTypes()
//   path FOLDER   adds an import path, to the engine in use and to each later one
//   engine        uses a new engine, and keeps the earlier ones
//   import WHAT   loads an object of the imported module, such as "PellixClient.Keyword 1.0"
//   plugin FILE   prints whether this plugin is loaded
class Host
{
public:
    Host() { addEngine(); }
    void run(const QString &step, const QString &argument);

private:
    void addEngine();
    void import(const QString &what);

    QStringList paths;
    std::vector<std::unique_ptr<QQmlEngine>> engines;
};

void Host::run(const QString &step, const QString &argument)
{
    if (step == QLatin1String("register")) {
        PellixClientKeywordModule::registerTypes(qPrintable(argument));
    } else if (step == QLatin1String("path")) {
        paths << argument;
        engines.back()->addImportPath(argument);
    } else if (step == QLatin1String("engine")) {
        addEngine();
    } else if (step == QLatin1String("import")) {
        import(argument);
    } else if (step == QLatin1String("plugin")) {
        const bool isLoaded = dlopen(qPrintable(argument), RTLD_LAZY | RTLD_NOLOAD);
        std::printf("plugin: %s\n", isLoaded ? "loaded" : "not loaded");
    } else {
        std::printf("no such step: %s\n", qPrintable(step));
    }
    std::fflush(stdout);
}

void Host::addEngine()
{
    engines.push_back(std::make_unique<QQmlEngine>());
    for (const QString &path : std::as_const(paths))
        engines.back()->addImportPath(path);
}

void Host::import(const QString &what)
{
    QQmlComponent component(engines.back().get());
    component.setData("import " + what.toUtf8()
                          + "\nPKeywordProxy { property int type: PKeyword.KVT_INT;"
                            " keywordExpression: PPostfixKeywordExpression { postfix: '/a' } }",
                      QUrl());
    const std::unique_ptr<QObject> object(component.isReady() ? component.create() : nullptr);
    if (object) {
        std::printf("import: %s of type %d\n", qPrintable(object->property("keyword").toString()),
                    object->property("type").toInt());
    } else {
        // Which of several unknown names comes first depends on a hash.
        static const QRegularExpression unknown(QStringLiteral("^\\w+ (?=is not a type)"));
        for (const QQmlError &error : component.errors())
            std::printf("import: %s\n", qPrintable(error.description().remove(unknown)));
    }
}

} // namespace

int main(int argc, char *argv[])
{
    const QCoreApplication application(argc, argv);
    Host host;
    const QStringList arguments = QCoreApplication::arguments().mid(1);
    for (int i = 0; i + 1 < arguments.size(); i += 2)
        host.run(arguments.at(i), arguments.at(i + 1));
    return 0;
}
