// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "module/pellixclientkeywordmodule.h"

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "client/inprocesskeywordclient.h"
#include "client/keywordclient.h"
#include "client/keywordtypes.h"
#include "client/websocketkeywordclient.h"
#include "models/keywordpathmodel.h"
#include "models/keywordqueryfilterproxymodel.h"
#include "models/keywordquerymodel.h"
#include "module/keywordresource.h"
#include "module/moduleregistration_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QHash>
#include <QtCore/QMutex>
#include <QtCore/QUrl>
#include <QtQml/qqml.h>
#include <QtQml/qqmlmoduleregistration.h>

namespace pellix::client {

namespace {

void registerAll(const char *uri)
{
#ifdef PELLIXCLIENT_STATIC
    initKeywordResource(); // the linker omits everything without a reference
#endif
    qmlRegisterModule(uri, 1, 0);
    qmlRegisterUncreatableMetaObject(staticMetaObject, uri, 1, 0, "PKeyword",
                                     QStringLiteral("PKeyword is not instantiable"));
    qmlRegisterUncreatableType<PKeywordClient>(
        uri, 1, 0, "PKeywordClient", QStringLiteral("PKeywordClient is not instantiable"));
    qmlRegisterType<PWebSocketKeywordClient>(uri, 1, 0, "PWebSocketKeywordClient");
    qmlRegisterType<PInProcessKeywordClient>(uri, 1, 0, "PInProcessKeywordClient");
    qmlRegisterType<PKeywordProxy>(uri, 1, 0, "PKeywordProxy");
    // Required: two classes under one name, the abstract one first. The later one takes precedence.
    qmlRegisterUncreatableType<PAbstractKeywordExpression>(
        uri, 1, 0, "PKeywordExpression", QStringLiteral("PKeywordExpression is not instantiable"));
    qmlRegisterType<PKeywordExpression>(uri, 1, 0, "PKeywordExpression");
    qmlRegisterType<PPostfixKeywordExpression>(uri, 1, 0, "PPostfixKeywordExpression");
    qmlRegisterType<PListPostfixKeywordExpression>(uri, 1, 0, "PListPostfixKeywordExpression");
    qmlRegisterType<PKeywordQueryModel>(uri, 1, 0, "PKeywordQueryModel");
    qmlRegisterType<PKeywordQueryFilterProxyModel>(uri, 1, 0, "PKeywordQueryFilterProxyModel");
    qmlRegisterType<PKeywordPathModel>(uri, 1, 0, "PKeywordPathModel");
    qmlRegisterType(QUrl(QStringLiteral("qrc:/PKeywordPath.qml")), uri, 1, 0, "PKeywordPath");
    qmlRegisterType(QUrl(QStringLiteral("qrc:/PKeywordPathList.qml")), uri, 1, 0,
                    "PKeywordPathList");
    qmlProtectModule(uri, 1);
}

// A second one for a module would terminate the program. They are never removed, like the types.
// The plugin is loaded in a thread of the engine.
void leaveRegistration(const char *uri, void (*registerFunction)())
{
    static QBasicMutex mutex;
    static auto *const registrations = new QHash<QByteArray, QQmlModuleRegistration *>;
    const QMutexLocker locker(&mutex);
    QQmlModuleRegistration *&registration = (*registrations)[uri];
    if (!registration)
        registration = new QQmlModuleRegistration(uri, registerFunction);
}

} // namespace

/*!
    \class pellix::client::PellixClientKeywordModule
    \inmodule PellixClientKeyword
    \inheaderfile module/pellixclientkeywordmodule.h
    \ingroup PellixClientKeywordClasses
    \brief The PellixClientKeywordModule class registers the types of the library with QML.

    The class is also available without its namespace.
*/

/*!
    Registers the types of the library under the module \a uri, version 1.0, and then protects the
    module against later registrations.

    Call this function once, in the thread of your QML engine, before you load any QML that imports
    the module. Pass "PellixClient.Keyword" as \a uri: the components of the library import the
    module under this name. Do not call the function twice: Qt then logs a warning for each type,
    and keeps the first registration.

    If an engine also finds the installed module of that name on its import path, it does not load
    its plugin. After the module has been imported, it is too late for the call: Qt then logs the
    same warnings.

    The components PKeywordPath and PKeywordPathList also need a module "PellixClient.Control" 1.0
    with a text element \c PText, and an object \c theme in the QML context whose function \c dp(n)
    converts design units to pixels. The library provides defaults for both: see \l {Text and theme
    of the components}.

    The components are resources of the library, even if it is linked statically.

    \sa initKeywordResource()
*/
void PellixClientKeywordModule::registerTypes(const char *uri)
{
    registerAll(uri);
    // Tells the engine, which may find the plugin on its import path, that nothing remains to be
    // done.
    leaveRegistration(uri, [] {});
}

void registerTypesOnImport()
{
    leaveRegistration("PellixClient.Keyword", [] { registerAll("PellixClient.Keyword"); });
}

} // namespace pellix::client
