// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QMetaEnum>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtQml/QQmlComponent>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlExpression>
#include <QtTest/QTest>

#include <dlfcn.h>

#include <memory>
#include <utility>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

// The last registration under a name. A component has no meta-object.
struct Registration
{
    const QMetaObject *meta = nullptr;
    bool creatable = true;
};

QMap<QString, Registration> &registrations()
{
    static QMap<QString, Registration> names;
    return names;
}

// A class as described in the file: its own members in order, one text each.
struct Description
{
    QString header;
    QString prototype;
    QString name; // in QML; empty if it has none
    bool creatable = true;
    QStringList properties;
    QStringList methods;
    QMap<QString, int> enumerators;
};

QString value(const QString &line, const char *key)
{
    const QRegularExpression pattern(q("\\b%1: \"([^\"]*)\"").arg(q(key)));
    return pattern.match(line).captured(1);
}

// The C++ type, as named in the meta-object.
QString typeName(const QString &line)
{
    QString name = value(line, "type");
    if (line.contains(q("isPointer: true")))
        name += q("*");
    if (line.contains(q("isList: true")))
        name = q("QList<%1>").arg(name);
    return name;
}

// Reads the file line by line, because the program that writes it puts one fact on each line.
QMap<QString, Description> readDescriptions(const QString &fileName)
{
    QMap<QString, Description> descriptions;
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly))
        return descriptions;
    QString header, className, method, result;
    QStringList parameters;
    const QRegularExpression exportPattern(q("exports: \\[\"PellixClient.Keyword/(\\w+) 1.0\"\\]"));
    const QRegularExpression enumerator(q("^\"(\\w+)\": (-?\\d+),?$"));
    const auto current = [&]() -> Description & { return descriptions[className]; };
    const QStringList lines = QString::fromUtf8(file.readAll()).split(q("\n"));
    for (const QString &line : lines) {
        const QString fact = line.trimmed();
        if (line.startsWith(q("        file: "))) {
            header = value(line, "file");
        } else if (line.startsWith(q("        name: "))) {
            className = value(line, "name");
            current().header = std::exchange(header, {});
        } else if (fact.startsWith(q("name: "))) { // of a signal, a method, or an enumeration
            method += value(line, "name");
        } else if (fact.startsWith(q("prototype: "))) {
            current().prototype = value(fact, "prototype");
        } else if (fact.startsWith(q("exports: "))) {
            current().name = exportPattern.match(fact).captured(1);
        } else if (fact == q("isCreatable: false")) {
            current().creatable = false;
        } else if (fact.startsWith(q("Property {"))) {
            current().properties << q("%1 %2 %3 %4")
                                        .arg(typeName(fact), value(fact, "name"),
                                             fact.contains(q("isReadonly: true")) ? q("r")
                                                                                  : q("rw"),
                                             value(fact, "notify"));
        } else if (fact == q("Signal {") || fact == q("Method {")) {
            method = fact.startsWith(q("Signal")) ? q("signal ") : q("method ");
            result = q("void");
            parameters.clear();
        } else if (fact.startsWith(q("Parameter {"))) {
            parameters << typeName(fact) + q(" ") + value(fact, "name");
        } else if (fact.startsWith(q("type: "))) {
            result = typeName(fact);
        } else if (line == q("        }")) {
            if (!result.isEmpty())
                current().methods << q("%1(%2) %3").arg(method, parameters.join(q(", ")), result);
            method.clear();
            result.clear();
        } else if (const auto match = enumerator.match(fact); match.hasMatch()) {
            current().enumerators.insert(match.captured(1), match.captured(2).toInt());
        }
    }
    return descriptions;
}

// The type of a property in C++. For Qt 6.4, a type that its compiler cannot use is described if it
// would otherwise compile code that reads the property incorrectly.
QString describedType(const QMetaProperty &property)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 5, 0)
    const QString name =
        q(property.enclosingMetaObject()->className()) + q("::") + q(property.name());
    if (name == q("pellix::client::PKeywordProxy::value")
        || name == q("pellix::client::PKeywordProxy::labelValue"))
        return q("QList<QVariantList>");
#endif
    return q(property.metaType().name());
}

QStringList liveProperties(const QMetaObject &meta)
{
    QStringList properties;
    for (int i = meta.propertyOffset(); i < meta.propertyCount(); ++i) {
        const QMetaProperty property = meta.property(i);
        properties << q("%1 %2 %3 %4")
                          .arg(describedType(property), q(property.name()),
                               property.isWritable() ? q("rw") : q("r"),
                               QString::fromLatin1(property.notifySignal().name()));
    }
    return properties;
}

QStringList liveMethods(const QMetaObject &meta)
{
    QStringList methods;
    for (int i = meta.methodOffset(); i < meta.methodCount(); ++i) {
        const QMetaMethod method = meta.method(i);
        if (method.access() != QMetaMethod::Public)
            continue;
        QStringList parameters;
        for (int p = 0; p < method.parameterCount(); ++p)
            parameters << q(method.parameterMetaType(p).name()) + q(" ")
                    + QString::fromLatin1(method.parameterNames().at(p));
        methods << q("%1%2(%3) %4")
                       .arg(method.methodType() == QMetaMethod::Signal ? q("signal ")
                                                                       : q("method "),
                            QString::fromLatin1(method.name()), parameters.join(q(", ")),
                            q(method.returnMetaType().name()));
    }
    return methods;
}

} // namespace

// These two functions intercept all registrations, including those that Qt makes itself, by
// replacing the Qt functions with the same names. There is no other way to get all names of a
// module.

template <typename Function> static Function *qtFunction(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

int QQmlPrivate::qmlregister(RegistrationType type, void *data)
{
    const auto isOurs = [](const char *uri) { return q(uri) == q("PellixClient.Keyword"); };
    if (type == TypeRegistration) {
        const auto &registered = *static_cast<RegisterType *>(data);
        if (isOurs(registered.uri))
            registrations().insert(q(registered.elementName),
                                   {registered.metaObject, registered.create != nullptr});
    } else if (type == CompositeRegistration) {
        const auto &registered = *static_cast<RegisterCompositeType *>(data);
        if (isOurs(registered.uri))
            registrations().insert(q(registered.typeName), {});
    }
    static auto *const forward = qtFunction<int(RegistrationType, void *)>(
        "_ZN11QQmlPrivate11qmlregisterENS_16RegistrationTypeEPv");
    return forward(type, data);
}

int qmlRegisterUncreatableMetaObject(const QMetaObject &meta, const char *uri, int versionMajor,
                                     int versionMinor, const char *qmlName, const QString &reason)
{
    registrations().insert(q(qmlName), {&meta, false});
    static auto *const forward =
        qtFunction<int(const QMetaObject &, const char *, int, int, const char *, const QString &)>(
            "_Z32qmlRegisterUncreatableMetaObjectRK11QMetaObjectPKciiS3_RK7QString");
    return forward(meta, uri, versionMajor, versionMinor, qmlName, reason);
}

class tst_QmlTypes : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();
    void init() { QTest::failOnWarning(QRegularExpression(q(".*"))); }

    void names_areThoseThatAreRegistered();
    void classes_areDescribedAsTheyAre_data();
    void classes_areDescribedAsTheyAre();
    void headers_declareTheClasses();
    void bases_areDescribedUpToQObject();
    void enumerators_areThoseQmlSees();
    void components_areTheLibrarysOwn_data();
    void components_areTheLibrarysOwn();
    void folder_leavesTheTypesToTheProgram();
    void qmllint_takesTheHostsControlModuleFirst();
    void qmllint_judges_data();
    void qmllint_judges();

private:
    QString judge(const QStringList &folders, const QString &file) const;

    QMap<QString, Description> descriptions;
};

void tst_QmlTypes::initTestCase()
{
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    descriptions = readDescriptions(q(IMPORTS "/PellixClient/Keyword/plugins.qmltypes"));
    QVERIFY(!descriptions.isEmpty());
}

void tst_QmlTypes::names_areThoseThatAreRegistered()
{
    QStringList described;
    for (const Description &description : std::as_const(descriptions)) {
        if (!description.name.isEmpty())
            described << description.name;
    }
    QFile qmldir(q(IMPORTS "/PellixClient/Keyword/qmldir"));
    QVERIFY(qmldir.open(QIODevice::ReadOnly));
    const QRegularExpression component(q("^(\\w+) 1.0 \\w+.qml$"),
                                       QRegularExpression::MultilineOption);
    auto match = component.globalMatch(QString::fromUtf8(qmldir.readAll()));
    while (match.hasNext())
        described << match.next().captured(1);
    described.sort();
    QCOMPARE(described, registrations().keys());
    QCOMPARE(described.size(), 13);
}

void tst_QmlTypes::classes_areDescribedAsTheyAre_data()
{
    QTest::addColumn<QString>("name");

    const QStringList names = registrations().keys();
    for (const QString &name : names) {
        if (registrations().value(name).meta)
            QTest::newRow(qPrintable(name)) << name;
    }
}

void tst_QmlTypes::classes_areDescribedAsTheyAre()
{
    QFETCH(QString, name);

    const Registration registration = registrations().value(name);
    QVERIFY(descriptions.contains(q(registration.meta->className())));
    const Description description = descriptions.value(q(registration.meta->className()));

    QCOMPARE(description.name, name);
    QCOMPARE(description.creatable, registration.creatable);
    QCOMPARE(description.properties, liveProperties(*registration.meta));
    QCOMPARE(description.methods, liveMethods(*registration.meta));
}

// The headers are included by generated code of qmltc.
void tst_QmlTypes::headers_declareTheClasses()
{
    int headers = 0;
    for (auto it = descriptions.cbegin(); it != descriptions.cend(); ++it) {
        const QString name = it.key().section(q("::"), -1);
        if (it.key() == name)
            continue; // a class of Qt
        QVERIFY2(!it->header.isEmpty(), qPrintable(it.key()));
        QFile file(q(SOURCES "/") + it->header);
        QVERIFY2(file.open(QIODevice::ReadOnly), qPrintable(file.fileName()));
        const QString text = QString::fromUtf8(file.readAll());
        const QRegularExpression declaration(q("^class \\w+ %1 (final )?: public ").arg(name),
                                             QRegularExpression::MultilineOption);
        QVERIFY2(name == q("client") ? text.contains(q("Q_NAMESPACE_EXPORT"))
                                     : text.contains(declaration),
                 qPrintable(it.key()));
        ++headers;
    }
    QCOMPARE(headers, 12);
}

void tst_QmlTypes::bases_areDescribedUpToQObject()
{
    for (const Registration &registration : std::as_const(registrations())) {
        const QMetaObject *meta = registration.meta;
        if (!meta)
            continue; // a component
        while (meta->superClass()) {
            const QString base = q(meta->superClass()->className());
            QCOMPARE(descriptions.value(q(meta->className())).prototype, base);
            meta = meta->superClass();
            if (meta == &QObject::staticMetaObject)
                break;
            QVERIFY2(descriptions.contains(base), qPrintable(base));
            QCOMPARE(descriptions.value(base).properties, liveProperties(*meta));
            QCOMPARE(descriptions.value(base).methods, liveMethods(*meta));
        }
    }
}

void tst_QmlTypes::enumerators_areThoseQmlSees()
{
    const QMetaObject *const meta = registrations().value(q("PKeyword")).meta;
    QMap<QString, int> live;
    for (int i = 0; i < meta->enumeratorCount(); ++i) {
        for (int k = 0; k < meta->enumerator(i).keyCount(); ++k)
            live.insert(q(meta->enumerator(i).key(k)), meta->enumerator(i).value(k));
    }
    const QMap<QString, int> described = descriptions.value(q("pellix::client")).enumerators;
    QCOMPARE(described, live);

    QQmlEngine engine;
    for (auto it = described.begin(); it != described.end(); ++it) {
        QQmlComponent component(&engine);
        component.setData("import QtQml\nimport PellixClient.Keyword 1.0\n"
                          "QtObject { property int value: PKeyword."
                              + it.key().toUtf8() + " }",
                          QUrl());
        const std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        QCOMPARE(object->property("value").toInt(), it.value());
    }
}

void tst_QmlTypes::components_areTheLibrarysOwn_data()
{
    QTest::addColumn<QString>("file");

    QTest::newRow("path") << q("PKeywordPath.qml");
    QTest::newRow("path list") << q("PKeywordPathList.qml");
}

void tst_QmlTypes::components_areTheLibrarysOwn()
{
    QFETCH(QString, file);

    QFile described(q(IMPORTS "/PellixClient/Keyword/") + file);
    QFile own(q(":/") + file);
    QVERIFY(described.open(QIODevice::ReadOnly));
    QVERIFY(own.open(QIODevice::ReadOnly));
    QCOMPARE(described.readAll(), own.readAll());
}

void tst_QmlTypes::folder_leavesTheTypesToTheProgram()
{
    QQmlEngine engine;
    engine.addImportPath(q(IMPORTS));
    const QJSValue theme = engine.evaluate(q("({ dp: units => units })"));
    engine.rootContext()->setContextProperty(q("theme"), QVariant::fromValue(theme));
    const QStringList names = registrations().keys();
    for (const QString &name : names) {
        if (!registrations().value(name).creatable)
            continue;
        QQmlComponent component(&engine);
        component.setData("import PellixClient.Keyword 1.0\n" + name.toUtf8() + " { }", QUrl());
        const std::unique_ptr<QObject> object(component.create());
        QVERIFY2(object, qPrintable(component.errorString()));
        if (const QMetaObject *const meta = registrations().value(name).meta) {
            QCOMPARE(object->metaObject()->className(), meta->className());
        } else {
            // The component in the library, not the file for tools.
            QQmlComponent file(&engine, QUrl(q("qrc:/%1.qml").arg(name)));
            const std::unique_ptr<QObject> own(file.create());
            QCOMPARE(object->metaObject()->className(), own->metaObject()->className());
        }
    }
}

// An application lists the folder of its own module before ours.
void tst_QmlTypes::qmllint_takesTheHostsControlModuleFirst()
{
    QTemporaryDir folder;
    QVERIFY(QDir(folder.path()).mkpath(q("PellixClient/Control")));
    const auto write = [&folder](const char *name, const char *text) {
        QFile file(folder.filePath(q(name)));
        return file.open(QIODevice::WriteOnly) && file.write(text) > 0;
    };
    QVERIFY(
        write("PellixClient/Control/qmldir", "module PellixClient.Control\nPText 1.0 PText.qml\n"));
    QVERIFY(
        write("PellixClient/Control/PText.qml", "import QtQuick\nText { property int own: 1 }\n"));
    QVERIFY(write("Screen.qml", "import PellixClient.Control 1.0\nPText { own: 2 }\n"));
    const QString screen = folder.filePath(q("Screen.qml"));
    const QString output = judge({folder.path(), q(IMPORTS)}, screen);
    QVERIFY2(!output.contains(q("Warning: ")), qPrintable(output));
    QVERIFY(judge({q(IMPORTS)}, screen).contains(q("own")));
}

// The output of qmllint for the file.
QString tst_QmlTypes::judge(const QStringList &folders, const QString &file) const
{
    QStringList arguments;
    for (const QString &folder : folders)
        arguments << q("-I") << folder;
    QProcess qmllint;
    qmllint.setProcessChannelMode(QProcess::MergedChannels);
    qmllint.start(q(QMLLINT), arguments << file);
    if (!qmllint.waitForFinished() || qmllint.exitStatus() != QProcess::NormalExit)
        return q("Warning: qmllint failed");
    return QString::fromUtf8(qmllint.readAll());
}

void tst_QmlTypes::qmllint_judges_data()
{
    QTest::addColumn<QString>("body");
    QTest::addColumn<QString>("complaint"); // empty: no warning

    QTest::newRow("all types") << q(
        "PWebSocketKeywordClient { id: web; urls: [\"ws://127.0.0.1\"]; autoReconnect: true }\n"
        "PInProcessKeywordClient { id: inside }\n"
        "PKeywordProxy {\n"
        "    id: proxy\n"
        "    client: web\n"
        "    keywordExpression: PListPostfixKeywordExpression {\n"
        "        values: [\"/a\", \"/b\"]\n"
        "        aggregation: PKeyword.Max\n"
        "    }\n"
        "    onValueChanged: proxy.update(proxy.valueType === PKeyword.KVT_DOUBLE ? 1.5 : 2)\n"
        "}\n"
        "PKeywordQueryFilterProxyModel {\n"
        "    sourceModel: PKeywordQueryModel { keywordClient: inside; keyword: \"/\" }\n"
        "}\n"
        "PKeywordPath { keyword: \"/a\"; keywordClient: web }\n"
        "PKeywordPathList { keywords: [\"/a\"]; onKeywordRemove: (index) => print(index) }\n"
        "PText { text: proxy.value }")
                               << QString();
    QTest::newRow("values read") << q(
        "property real number: proxy.value\n"
        "property string text: proxy.value?.toFixed(1) ?? \"none\"\n"
        "property var member: proxy.value.x ?? proxy.value[1]\n"
        "property bool above: proxy.value >= 1000 && proxy.valueValid\n"
        "property alias aliased: proxy.value\n"
        "property color color: proxy.value ? \"red\" : \"green\"\n"
        "function twice(other: PKeywordProxy): real { return (other.value ?? 0) * 2 }\n"
        "PKeywordProxy {\n"
        "    id: proxy\n"
        "    property real own: value ?? -1\n"
        "    onValueChanged: update(value + 1)\n"
        "    onLabelValueChanged: print(labelValue ?? \"none\")\n"
        "}\n"
        "Binding { target: proxy; property: \"keyword\"; value: proxy.value }\n"
        "Repeater { model: proxy.value; delegate: Item { } }")
                                 << QString();
    QTest::newRow("answers read") << q(
        "PWebSocketKeywordClient { onKeyIndexResponse: (id, data) => print(id, data.payload) }")
                                  << QString();
    QTest::newRow("misspelt property assigned")
        << q("PKeywordProxy { keywrod: \"/a\" }") << q("keywrod");
    QTest::newRow("misspelt property read")
        << q("PKeywordProxy { id: proxy }\nText { visible: proxy.conected }") << q("conected");
    QTest::newRow("misspelt enumerator")
        << q("Item { property int type: PKeyword.KVT_DUOBLE }") << q("KVT_DUOBLE");
    QTest::newRow("misspelt method")
        << q("PKeywordProxy { id: proxy; Component.onCompleted: proxy.upadte(1) }") << q("upadte");
    QTest::newRow("misspelt property of a component")
        << q("PKeywordPath { keywrod: \"/a\" }") << q("keywrod");
    QTest::newRow("misspelt type") << q("PKeywordPorxy { }") << q("PKeywordPorxy");
}

void tst_QmlTypes::qmllint_judges()
{
    QFETCH(QString, body);
    QFETCH(QString, complaint);

    QTemporaryDir folder;
    QFile file(folder.filePath(q("Screen.qml")));
    QVERIFY(file.open(QIODevice::WriteOnly));
    file.write(
        "import QtQuick\nimport PellixClient.Control 1.0\nimport PellixClient.Keyword 1.0\n\n"
        "Item {\n"
        + body.toUtf8() + "\n}\n");
    file.close();

    const QString output = judge({q(IMPORTS)}, file.fileName());
    // Later versions of qmllint exit with 0 even if there are warnings.
    QVERIFY2(output.contains(q("Warning: ")) != complaint.isEmpty(), qPrintable(output));
    QVERIFY2(output.contains(complaint), qPrintable(output));
}

QTEST_MAIN(tst_QmlTypes)
#include "tst_qmltypes.moc"
