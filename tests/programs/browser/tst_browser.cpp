// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/connection/pemfiles.h"
#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"
#include "programs/browser/preferences.h"
#include "programs/browser/session.h"
#include "programs/quick/hosttheme.h"
#include "server/clientidentification.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "server/writerequest.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QFile>
#include <QtCore/QLocale>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTranslator>
#include <QtGui/QAccessible>
#include <QtQml/QQmlContext>
#include <QtQml/QQmlEngine>
#include <QtQml/QQmlExtensionPlugin>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>
#include <QtQuickTest/quicktest.h>

#include <memory>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;

// Marks all translated texts.
class Marks : public QTranslator
{
public:
    bool isEmpty() const override { return false; }
    QString translate(const char *, const char *text, const char *, int) const override
    {
        return QStringLiteral("«%1»").arg(QString::fromUtf8(text));
    }
};

// The servers used by the browser, and functions that change something on them.
class Bench : public QObject
{
    Q_OBJECT
    Q_PROPERTY(Session *session READ session CONSTANT)
    Q_PROPERTY(Preferences *preferences READ preferences CONSTANT)

public:
    Bench()
        : browserSession([this](Session *session) {
              auto *client = new CountedClient<PInProcessKeywordClient>(session);
              linkInProcess(&server, client);
              return client;
          }),
          browserPreferences(directory.filePath(QStringLiteral("settings.ini")))
    {
        reset();
        browserSession.setAddresses({});
    }

    Session *session() { return &browserSession; }
    Preferences *preferences() { return &browserPreferences; }

    // Restores the initial state.
    Q_INVOKABLE void reset()
    {
        QLocale::setDefault(QLocale::c());
        QCoreApplication::removeTranslator(&marks);
        transport.reset();
        port = 0;
        server.clear();
        declare("/plant/level", "double", "RW", "Level", 41.5);
        declare("/plant/count", "int", "RW", "Bottles", 7);
        declare("/plant/limit", "int", "RW", "", 10);
        declare("/plant/running", "bool", "RW", "Running", true);
        declare("/plant/name", "string", "RW", "Name of the plant", QStringLiteral("North"));
        declare("/plant/serial", "string", "R", "Serial", QStringLiteral("A-7"));
        declare("/plant/recipe", "object", "RW", "Recipe",
                QVariantMap {{QStringLiteral("sugar"), 3}});
        server.setLabel(QStringLiteral("/plant"), QStringLiteral("Bottling works"));
        declare("/other#1/value", "double", "R", "", 1.5);
        server.setWriteHandler(QStringLiteral("/plant/limit"), [](const WriteRequest &request) {
            request.accept(qMin(request.value().toInt(), 100));
        });
        browserPreferences.setPinned({});
        browserSession.setAddresses({});
        browserSession.setCaFile({});
    }

    Q_INVOKABLE QVariant value(const QString &path) const { return server.value(path); }
    Q_INVOKABLE bool setValue(const QString &path, const QVariant &value)
    {
        return server.setValue(path, value);
    }
    Q_INVOKABLE bool setNull(const QString &path) { return server.update(path, QVariant(), {}); }
    Q_INVOKABLE bool setState(const QString &path, bool connected, bool online, bool consistent,
                              bool error)
    {
        return server.setState(path, connected, online, consistent, error);
    }
    Q_INVOKABLE void setLocale(const QString &name) { QLocale::setDefault(QLocale(name)); }
    Q_INVOKABLE void refuseWrites(const QString &path)
    {
        server.setWriteHandler(path, [](const WriteRequest &request) { request.refuse(); });
    }
    Q_INVOKABLE void declareDouble(const QString &path, const QString &label, double value)
    {
        server.declare({path, QStringLiteral("double"), QStringLiteral("RW"), label, value});
    }
    Q_INVOKABLE void setLabel(const QString &path, const QString &label)
    {
        server.setLabel(path, label);
    }
    Q_INVOKABLE void declareMany(const QString &path, int count)
    {
        for (int i = 0; i < count; ++i) {
            server.declare({QStringLiteral("%1/k%2").arg(path).arg(i), QStringLiteral("double"),
                            QStringLiteral("R"), QStringLiteral("Label %1").arg(i), i * 1.0});
        }
    }

    // Provides the same server over a WebSocket.
    Q_INVOKABLE QString listen()
    {
        transport = std::make_unique<FaultyWebSocketServer>(&server);
        if (!transport->listen(QHostAddress::LocalHost, port))
            return {};
        port = transport->port();
        return QStringLiteral("ws://127.0.0.1:%1").arg(port);
    }
    Q_INVOKABLE QString lastUrl() const { return QStringLiteral("ws://127.0.0.1:%1").arg(port); }
    // Uses a certificate of a private authority, and requires a token.
    Q_INVOKABLE QVariantMap listenWithTls()
    {
        transport = std::make_unique<FaultyWebSocketServer>(&server);
        const QString authority = QStringLiteral(TLS_FILES "/server.crt");
        QString error;
        ClientIdentification identification;
        const QByteArray token =
            identification.tokens.create(QStringLiteral("browser"), QStringLiteral("*"));
        if (!transport->setTls(
                pellix::extras::readCertificate(authority, &error),
                pellix::extras::readPrivateKey(QStringLiteral(TLS_FILES "/server.key"), &error))
            || !transport->setIdentification(identification) || !transport->listen())
            return {};
        return {{QStringLiteral("url"), transport->url().toString()},
                {QStringLiteral("authority"), authority},
                {QStringLiteral("token"), QString::fromLatin1(token)}};
    }
    Q_INVOKABLE void goAway()
    {
        transport->abortClients();
        transport.reset();
    }

    Q_INVOKABLE QString newFile(const QString &name) const
    {
        QString path = directory.filePath(name);
        QFile::remove(path);
        return path;
    }
    Q_INVOKABLE QString read(const QString &path) const
    {
        QFile file(path);
        return file.open(QIODevice::ReadOnly) ? QString::fromUtf8(file.readAll()) : QString();
    }

    Q_INVOKABLE void markTexts() { QCoreApplication::installTranslator(&marks); }

    // The controls below an item that can be used, as an object for each.
    Q_INVOKABLE QVariantList controls(QQuickItem *item) const
    {
        QAccessible::setActive(true); // items become accessible, as with a screen reader
        QVariantList found;
        const auto children = item->childItems();
        for (QQuickItem *child : children) {
            if (!child->isVisible() || !child->isEnabled())
                continue;
            if (isControl(child)) {
                const QAccessibleInterface *const accessible =
                    QAccessible::queryAccessibleInterface(child);
                Q_ASSERT(accessible); // available for each item
                // Qt does not expose the name of a password field.
                const auto naming =
                    accessible->state().passwordEdit ? QAccessible::Description : QAccessible::Name;
                found.append(QVariantMap {
                    {QStringLiteral("item"), QVariant::fromValue(child)},
                    {QStringLiteral("what"),
                     QStringLiteral("%1 %2").arg(
                         QString::fromLatin1(child->metaObject()->className()),
                         child->objectName())},
                    {QStringLiteral("role"), int(accessible->role())},
                    {QStringLiteral("name"), accessible->text(naming)},
                    {QStringLiteral("tabStop"), child->activeFocusOnTab()},
                });
            }
            found += controls(child);
        }
        return found;
    }

    // The pins that the browser would read when it is started again.
    Q_INVOKABLE QStringList storedPins() const
    {
        return Preferences(directory.filePath(QStringLiteral("settings.ini"))).pinned();
    }

private:
    static bool isControl(const QQuickItem *item)
    {
        if (item->activeFocusOnTab())
            return true;
        for (const char *type :
             {"QQuickAbstractButton", "QQuickTextField", "QQuickTextEdit", "QQuickComboBox"}) {
            if (item->inherits(type))
                return true;
        }
        return false;
    }

    void declare(const char *path, const char *type, const char *access, const char *label,
                 const QVariant &value)
    {
        server.declare({QString::fromLatin1(path), QString::fromLatin1(type),
                        QString::fromLatin1(access), QString::fromLatin1(label), value});
    }

    Marks marks;
    QTemporaryDir directory;
    KeywordServer server;
    std::unique_ptr<FaultyWebSocketServer> transport;
    quint16 port = 0;
    Session browserSession;
    Preferences browserPreferences;
};

class Setup : public QObject
{
    Q_OBJECT

public Q_SLOTS:
    void applicationAvailable()
    {
        QLoggingCategory::setFilterRules(
            QStringLiteral("pellixclient.keyword.connection=false\n"
                           "pellixclient.server.websocketserver=false"));
        PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
        pellix::extras::KeywordExtrasModule::registerTypes();
        bench = std::make_unique<Bench>();
    }
    void qmlEngineAvailable(QQmlEngine *engine)
    {
        provideTheme(*engine);
        engine->rootContext()->setContextProperty(QStringLiteral("bench"), bench.get());
    }
    void cleanupTestCase() { bench.reset(); }

private:
    std::unique_ptr<Bench> bench;
};

Q_IMPORT_QML_PLUGIN(KeywordBrowserPlugin)
QUICK_TEST_MAIN_WITH_SETUP(browser, Setup)
#include "tst_browser.moc"
