// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QTemporaryDir>
#include <QtQml/qqml.h>
#include <QtTest/QTest>

#include <dlfcn.h>

using namespace pellix::client;

namespace {

QString q(const char *text)
{
    return QString::fromUtf8(text);
}

QStringList calls;

template <typename Function> Function *qtFunction(const char *symbol)
{
    return reinterpret_cast<Function *>(dlsym(RTLD_NEXT, symbol));
}

void note(const char *what, const char *uri, int major, int minor, const char *name = "",
          const char *source = "", const QString &reason = {})
{
    calls << q("%1 %2 %3.%4 %5 %6 %7")
                 .arg(q(what), q(uri), QString::number(major), QString::number(minor), q(name),
                      q(source), reason)
                 .simplified();
}

} // namespace

// These functions intercept the calls of the library to the Qt functions with the same names.

int QQmlPrivate::qmlregister(RegistrationType type, void *data)
{
    if (type == TypeRegistration) {
        const auto &registered = *static_cast<RegisterType *>(data);
        note("type", registered.uri, registered.version.majorVersion(),
             registered.version.minorVersion(), registered.elementName,
             registered.metaObject->className(), registered.noCreationReason);
    } else if (type == CompositeRegistration) {
        const auto &registered = *static_cast<RegisterCompositeType *>(data);
        note("file", registered.uri, registered.version.majorVersion(),
             registered.version.minorVersion(), registered.typeName,
             qPrintable(registered.url.toString()));
    }
    static auto *const forward = qtFunction<int(RegistrationType, void *)>(
        "_ZN11QQmlPrivate11qmlregisterENS_16RegistrationTypeEPv");
    return forward(type, data);
}

int qmlRegisterUncreatableMetaObject(const QMetaObject &meta, const char *uri, int major, int minor,
                                     const char *name, const QString &reason)
{
    // The original function makes a type registration of it, with the function above.
    static auto *const forward =
        qtFunction<int(const QMetaObject &, const char *, int, int, const char *, const QString &)>(
            "_Z32qmlRegisterUncreatableMetaObjectRK11QMetaObjectPKciiS3_RK7QString");
    note("meta-object", uri, major, minor, name, meta.className(), reason);
    const QStringList before = calls;
    const int result = forward(meta, uri, major, minor, name, reason);
    calls = before;
    return result;
}

void qmlRegisterModule(const char *uri, int major, int minor)
{
    note("module", uri, major, minor);
    static auto *const forward =
        qtFunction<void(const char *, int, int)>("_Z17qmlRegisterModulePKcii");
    forward(uri, major, minor);
}

bool qmlProtectModule(const char *uri, int major)
{
    note("protect", uri, major, 0);
    static auto *const forward = qtFunction<bool(const char *, int)>("_Z16qmlProtectModulePKci");
    return forward(uri, major);
}

// Tests registerTypes() as called by an application that also finds, or does not find, the plugin.
class tst_Registration : public QObject
{
    Q_OBJECT

private Q_SLOTS:
    void initTestCase();

    void registerTypes_registersAtOnceInThisOrder();
    void host_imports_data();
    void host_imports();

private:
    QTemporaryDir description;
};

// The module as it is installed without a plugin: only a description for tools.
void tst_Registration::initTestCase()
{
    const QString folder = description.filePath(q("PellixClient/Keyword"));
    QVERIFY(QDir().mkpath(folder));
    const QDir module(q(IMPORTS "/PellixClient/Keyword"));
    const QStringList files = module.entryList({q("*.qml"), q("*.qmltypes")}, QDir::Files);
    for (const QString &file : files)
        QVERIFY(QFile::copy(module.filePath(file), folder + QLatin1Char('/') + file));
    QFile full(module.filePath(q("qmldir")));
    QFile plain(folder + q("/qmldir"));
    QVERIFY(full.open(QIODevice::ReadOnly) && plain.open(QIODevice::WriteOnly));
    const QRegularExpression plugin(q("(optional plugin|classname) .*\\n"));
    plain.write(QString::fromUtf8(full.readAll()).remove(plugin).toUtf8());
}

void tst_Registration::registerTypes_registersAtOnceInThisOrder()
{
    calls.clear();
    PellixClientKeywordModule::registerTypes("Some.Module");
    const QStringList expected {
        q("module Some.Module 1.0"),
        q("meta-object Some.Module 1.0 PKeyword pellix::client PKeyword is not instantiable"),
        q("type Some.Module 1.0 PKeywordClient pellix::client::PKeywordClient "
          "PKeywordClient is not instantiable"),
        q("type Some.Module 1.0 PWebSocketKeywordClient pellix::client::PWebSocketKeywordClient"),
        q("type Some.Module 1.0 PInProcessKeywordClient pellix::client::PInProcessKeywordClient"),
        q("type Some.Module 1.0 PKeywordProxy pellix::client::PKeywordProxy"),
        q("type Some.Module 1.0 PKeywordExpression pellix::client::PAbstractKeywordExpression "
          "PKeywordExpression is not instantiable"),
        q("type Some.Module 1.0 PKeywordExpression pellix::client::PKeywordExpression"),
        q("type Some.Module 1.0 PPostfixKeywordExpression "
          "pellix::client::PPostfixKeywordExpression"),
        q("type Some.Module 1.0 PListPostfixKeywordExpression "
          "pellix::client::PListPostfixKeywordExpression"),
        q("type Some.Module 1.0 PKeywordQueryModel pellix::client::PKeywordQueryModel"),
        q("type Some.Module 1.0 PKeywordQueryFilterProxyModel "
          "pellix::client::PKeywordQueryFilterProxyModel"),
        q("type Some.Module 1.0 PKeywordPathModel pellix::client::PKeywordPathModel"),
        q("file Some.Module 1.0 PKeywordPath qrc:/PKeywordPath.qml"),
        q("file Some.Module 1.0 PKeywordPathList qrc:/PKeywordPathList.qml"),
        q("protect Some.Module 1.0"),
    };
    QCOMPARE(calls, expected);
    QVERIFY(qmlTypeId("Some.Module", 1, 0, "PKeywordProxy") >= 0);
}

void tst_Registration::host_imports_data()
{
    QTest::addColumn<QString>("steps");
    QTest::addColumn<QStringList>("printed");
    QTest::addColumn<int>("refused"); // registrations about which Qt warns

    const QString works = q("import: /a of type 5");
    const QString missing = q("import: module \"PellixClient.Keyword\" is not installed");
    const QString notLoaded = q("plugin: not loaded");
    const QString host = q("register PellixClient.Keyword");
    const QString path = q("path " IMPORTS);
    const QString described = q("path ") + description.path();
    const QString versioned = q("import PellixClient.Keyword 1.0");
    const QString unversioned = q("import PellixClient.Keyword");
    const QString loaded = q("plugin " PLUGIN);
    const auto row = [](const char *name, const QStringList &steps, const QStringList &printed,
                        int refused = 0) {
        QTest::newRow(name) << steps.join(QLatin1Char('|')) << printed << refused;
    };

    row("host, version", {host, versioned}, {works});
    row("host, no version", {host, unversioned}, {works});
    row("host, both", {host, unversioned, versioned}, {works, works});
    row("neither", {versioned, unversioned}, {missing, missing});
    row("host, tools' folder", {described, host, versioned, unversioned}, {works, works});
    row("tools' folder alone", {described, versioned}, {q("import: is not a type")});
    row("host, two engines", {host, versioned, q("engine -"), unversioned, versioned},
        {works, works, works});
    // Nothing prevents the second call, and the module is protected by then. The first call remains
    // in effect.
    row("host twice", {host, host, versioned, unversioned}, {works, works}, 14);
    row("host twice, used between", {host, unversioned, host, versioned}, {works, works}, 14);
#ifdef PLUGIN
    const QString isLoaded = q("plugin: loaded");
    row("plugin, version", {path, versioned, loaded}, {works, isLoaded});
    row("plugin, no version", {path, unversioned, loaded}, {works, isLoaded});
    row("plugin, both, two engines", {path, versioned, q("engine -"), unversioned, versioned},
        {works, works, works});
    row("host and plugin, version", {path, host, versioned, loaded}, {works, notLoaded});
    row("host and plugin, no version", {path, host, unversioned, loaded}, {works, notLoaded});
    row("host and plugin, both, two engines",
        {path, host, versioned, unversioned, q("engine -"), unversioned, versioned, loaded},
        {works, works, works, works, notLoaded});
    row("host imports first, plugin found later",
        {host, versioned, path, q("engine -"), versioned, unversioned, loaded},
        {works, works, works, notLoaded});
    row("plugin first, then the host", {path, unversioned, host, versioned, unversioned, loaded},
        {works, works, works, isLoaded}, 14);
    row("host twice, and the plugin", {path, host, host, unversioned, versioned, loaded},
        {works, works, notLoaded}, 14);
    row("two URIs of the host",
        {q("register A.B"), q("register C.D"), q("import A.B 1.0"), q("import C.D"),
         q("import A.B"), q("import C.D 1.0")},
        {works, works, works, works});
    row("two URIs, the plugin's among them",
        {path, q("register A.B"), host, q("import A.B"), versioned, unversioned, loaded},
        {works, works, works, notLoaded});
    row("another URI of the host, and the plugin",
        {path, q("register A.B"), unversioned, q("import A.B"), versioned, loaded},
        {works, works, works, isLoaded});
#endif
}

void tst_Registration::host_imports()
{
    QFETCH(QString, steps);
    QFETCH(QStringList, printed);
    QFETCH(int, refused);

    QStringList arguments;
    const QStringList list = steps.split(QLatin1Char('|'));
    for (const QString &step : list)
        arguments << step.section(QLatin1Char(' '), 0, 0) << step.section(QLatin1Char(' '), 1);
    QProcess host;
    host.start(q(MODULE_HOST), arguments);
    QVERIFY(host.waitForFinished());
    const QString warnings = QString::fromUtf8(host.readAllStandardError());
    const QRegularExpression refusal(
        q("^Cannot install .* into protected module 'PellixClient.Keyword' version '1'$"),
        QRegularExpression::MultilineOption);
    QVERIFY2(warnings.count(refusal) == refused && warnings.count(QLatin1Char('\n')) == refused,
             qPrintable(warnings));
    QCOMPARE(QString::fromUtf8(host.readAllStandardOutput()).trimmed().split(QLatin1Char('\n')),
             printed);
    QCOMPARE(host.exitStatus(), QProcess::NormalExit);
    QCOMPARE(host.exitCode(), 0);
}

QTEST_GUILESS_MAIN(tst_Registration)
#include "tst_registration.moc"
