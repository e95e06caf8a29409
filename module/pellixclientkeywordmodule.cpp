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
    initKeywordResource(); // the linker leaves out what nothing refers to
#endif
    qmlRegisterModule(uri, 1, 0);
    qmlRegisterUncreatableMetaObject(staticMetaObject, uri, 1, 0, "PKeyword",
                                     QStringLiteral("PKeyword is not instantiable"));
    qmlRegisterUncreatableType<PKeywordClient>(
        uri, 1, 0, "PKeywordClient", QStringLiteral("PKeywordClient is not instantiable"));
    qmlRegisterType<PWebSocketKeywordClient>(uri, 1, 0, "PWebSocketKeywordClient");
    qmlRegisterType<PInProcessKeywordClient>(uri, 1, 0, "PInProcessKeywordClient");
    qmlRegisterType<PKeywordProxy>(uri, 1, 0, "PKeywordProxy");
    // Required: two classes under one name, the abstract one first. The later one wins.
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

// A second one for a module would end the program. They stay for ever, as the types do. The plugin
// is loaded in a thread of the engine's.
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
    \brief The PellixClientKeywordModule class makes the library known to QML.

    The name is reachable without its namespace, too.
*/

/*!
    Registers the types of the library under the module \a uri, version 1.0, and then protects the
    module against later registrations.

    The host calls it once, in the thread of its QML engine, before it loads any QML that imports
    the module. It passes "PellixClient.Keyword", the name under which the library's own components
    import it. A second call is not guarded against: Qt warns of each type, and keeps the first.

    An engine that also finds the installed module of that name on its import path does not load its
    plugin. The call is too late once something has imported that module: Qt warns in the same way.

    The components PKeywordPath and PKeywordPathList also need the host's own module
    "PellixClient.Control" 1.0 with a text element \c PText, and an object \c theme in the QML
    context whose function \c dp(n) turns design units into pixels. Installed ones stand in: see
    \l {Text and theme of the components}.

    The components are a resource of the library, also when it is linked statically.

    \sa initKeywordResource()
*/
void PellixClientKeywordModule::registerTypes(const char *uri)
{
    registerAll(uri);
    // Tells the engine, which may find the plugin on its import path, that nothing is left to do.
    leaveRegistration(uri, [] {});
}

void registerTypesOnImport()
{
    leaveRegistration("PellixClient.Keyword", [] { registerAll("PellixClient.Keyword"); });
}

} // namespace pellix::client
