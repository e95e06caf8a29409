// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "models/keywordqueryfilterproxymodel.h"
#include "module/pellixclientkeywordmodule.h"
#include "tests/scenarios/teardownscene.h"
#include "tests/support/socketclient.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QMetaMethod>
#include <QtQuick/QQuickWindow>
#include <QtTest/QTest>

#include <map>

using namespace pellix::client;

using Part = TeardownScene::Part;
using Screen = TeardownScene::Screen;
using Transport = TeardownScene::Transport;
Q_DECLARE_METATYPE(TeardownScene::Screen)
Q_DECLARE_METATYPE(TeardownScene::Transport)

namespace {

constexpr int everything = TeardownScene::PartCount; // as a victim

const char *victimName(int victim)
{
    return victim == everything ? "everything" : TeardownScene::name(Part(victim));
}

// Handlers that are connected before the scene is set up are called before the handlers of the
// library and of Qt for the same signal. Handlers that are connected later are called after them.
enum class Place {
    First,
    Last
};

// The signals of an object in which handlers may destroy objects, by their index in its
// meta-object.
QList<QMetaMethod> signalsOf(const QObject *object)
{
    QList<QMetaMethod> found;
    const QMetaObject *const meta = object->metaObject();
    for (int i = 0; i < meta->methodCount(); ++i) {
        const QMetaMethod method = meta->method(i);
        // A signal with a default argument is listed twice.
        if (method.methodType() == QMetaMethod::Signal
            && !(method.attributes() & QMetaMethod::Cloned))
            found << method;
    }
    return found;
}

QString describe(const QMetaMethod &signal)
{
    return QString::fromLatin1(signal.name());
}

// Runs a function at each emission of one signal.
class Trigger : public QObject
{
    Q_OBJECT

public:
    Trigger(QObject *sender, const QMetaMethod &signal, std::function<void()> action)
        : action(std::move(action))
    {
        static const QMetaMethod slot =
            staticMetaObject.method(staticMetaObject.indexOfSlot("fire()"));
        if (!connect(sender, signal, this, slot, Qt::DirectConnection))
            qFatal("cannot connect to %s", signal.methodSignature().constData());
    }

private Q_SLOTS:
    void fire() { action(); }

private:
    const std::function<void()> action;
};

// The number of emissions of each signal of each part while the scene is started and played.
using Emissions = std::map<std::pair<int, int>, int>; // {part, index of the signal}

/*
    Cases that Qt forbids, and that a library cannot permit. All other cases are tested.

    QSortFilterProxyModel emits the signals of Qt's model classes while it changes its own mapping
    and reads the rows of its source, so neither of the two may be destroyed in them.

    QWindow and QQuickWindow emit their signals while they show, hide, move, or render the window,
    so it must not be destroyed in them.
*/
bool isForbidden(Part sender, const QMetaMethod &signal, int victim)
{
    const QMetaObject *const of = signal.enclosingMetaObject();
    if (sender == TeardownScene::View) {
        return (of == &QWindow::staticMetaObject || of == &QQuickWindow::staticMetaObject)
            && (victim == TeardownScene::View || victim == everything);
    }
    if (sender == TeardownScene::FilterModel) {
        const bool ofQtsModel = of != &PKeywordQueryFilterProxyModel::staticMetaObject
            && of != &QObject::staticMetaObject;
        return ofQtsModel
            && (victim == TeardownScene::FilterModel || victim == TeardownScene::QueryModel
                || victim == everything);
    }
    return false;
}

} // namespace

/*
    Destroys every part of a live scene inside every signal of every part, at each emission while
    the scene performs all its operations and events. The signals and emissions are recorded during
    such a run, not listed here. The sanitizers detect errors.
*/
class tst_TeardownHandlers : public QObject
{
    Q_OBJECT

public:
    tst_TeardownHandlers();

private Q_SLOTS:
    void init() { QTest::failOnWarning(QRegularExpression(QStringLiteral(".*"))); }

    void handlers_mayDestroyAnything_data();
    void handlers_mayDestroyAnything();
    void scene_emitsEverySignal();
    void cleanupTestCase();

private:
    Emissions emissions(Transport transport, Screen screen, Place place);

    std::unique_ptr<TeardownScene::Servers> servers;
    int runs = 0;
    int missed = 0;
    std::map<QString, int> ownSignals; // of the library's classes, with the number of emissions
};

// Here and not in initTestCase(), because the rows are determined by running a scene.
tst_TeardownHandlers::tst_TeardownHandlers()
{
    // Otherwise, handlers of the view's signals would run in a rendering thread.
    qputenv("QSG_RENDER_LOOP", "basic");
    // Lost connections are logged as warnings, but are intended here.
    QLoggingCategory::setFilterRules(QStringLiteral(CLIENT_CATEGORY "=false"));
    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    servers = std::make_unique<TeardownScene::Servers>();
}

void tst_TeardownHandlers::cleanupTestCase()
{
    servers.reset();
    qInfo("%d destructions inside handlers; %d times the signal did not come again", runs, missed);
}

Emissions tst_TeardownHandlers::emissions(Transport transport, Screen screen, Place place)
{
    servers->reset();
    Emissions counts;
    std::vector<std::unique_ptr<Trigger>> triggers;
    TeardownScene scene(*servers, transport, screen);
    const auto watch = [&] {
        for (const Part part : TeardownScene::parts(screen)) {
            for (const QMetaMethod &signal : signalsOf(scene.part(part))) {
                const std::pair key(int(part), signal.methodIndex());
                triggers.push_back(std::make_unique<Trigger>(scene.part(part), signal,
                                                             [&counts, key] { ++counts[key]; }));
            }
        }
    };
    if (place == Place::First)
        watch();
    scene.start();
    if (place == Place::Last)
        watch();
    scene.play();
    for (const Part part : TeardownScene::parts(screen)) {
        for (const QMetaMethod &signal : signalsOf(scene.part(part))) {
            const QString of = QString::fromLatin1(signal.enclosingMetaObject()->className());
            if (of.startsWith(QLatin1String("pellix::client::"))) {
                ownSignals[of.section(QLatin1String("::"), -1) + QLatin1Char('.')
                           + describe(signal)] += counts[{part, signal.methodIndex()}];
            }
        }
    }
    for (const Part part : TeardownScene::parts(screen))
        scene.destroy(part); // signals during destruction are counted, too
    return counts;
}

void tst_TeardownHandlers::handlers_mayDestroyAnything_data()
{
    QTest::addColumn<Transport>("transport");
    QTest::addColumn<Screen>("screen");
    QTest::addColumn<bool>("first");
    QTest::addColumn<Part>("sender");
    QTest::addColumn<int>("signal");
    QTest::addColumn<int>("times");

    struct Setting
    {
        const char *name;
        Transport transport;
        Screen screen;
        Place place;
    };
    const Setting settings[] = {
        {"in process", Transport::InProcess, Screen::Without, Place::First},
        {"in process, last", Transport::InProcess, Screen::Without, Place::Last},
        {"web socket", Transport::WebSocket, Screen::Without, Place::First},
        {"web socket, last", Transport::WebSocket, Screen::Without, Place::Last},
        {"shown, in process", Transport::InProcess, Screen::With, Place::First},
        {"shown, in process, last", Transport::InProcess, Screen::With, Place::Last},
    };
    for (const Setting &setting : settings) {
#ifdef PELLIX_TEST_CONNECTION
        if (setting.transport != Transport::WebSocket)
            continue;
#endif
        const Emissions counts = emissions(setting.transport, setting.screen, setting.place);
        TeardownScene scene(*servers, setting.transport, setting.screen);
        for (const auto &[key, times] : counts) {
            if (times == 0)
                continue;
            const auto sender = Part(key.first);
            const QMetaMethod signal = scene.part(sender)->metaObject()->method(key.second);
            QTest::addRow("%s: %s.%s", setting.name, TeardownScene::name(sender),
                          qPrintable(describe(signal)))
                << setting.transport << setting.screen << (setting.place == Place::First) << sender
                << key.second << times;
        }
    }
}

void tst_TeardownHandlers::handlers_mayDestroyAnything()
{
    QFETCH(Transport, transport);
    QFETCH(Screen, screen);
    QFETCH(bool, first);
    QFETCH(Part, sender);
    QFETCH(int, signal);
    QFETCH(int, times);
    // Runs over a socket or with a screen take too long to test each emission. They test the first
    // emission for a handler that is called first, and the last one for a handler that is called
    // last.
    const bool everyTime = transport == Transport::InProcess && screen == Screen::Without;

    const auto run = [&](int victim, int time) {
        servers->reset();
        int emitted = 0;
        bool fired = false;
        {
            std::unique_ptr<Trigger> trigger;
            TeardownScene scene(*servers, transport, screen);
            const auto set = [&] {
                QObject *const object = scene.part(sender);
                trigger =
                    std::make_unique<Trigger>(object, object->metaObject()->method(signal), [&] {
                        if (++emitted != time)
                            return;
                        fired = true;
                        if (victim != everything) {
                            scene.destroy(Part(victim));
                            return;
                        }
                        for (const Part part : TeardownScene::parts(screen))
                            scene.destroy(part);
                    });
            };
            if (first)
                set();
            scene.start();
            if (!first)
                set();
            scene.play();
            for (const Part part : TeardownScene::parts(screen))
                scene.destroy(part);
        }
        ++runs;
        missed += !fired;
        // Over a socket, events may arrive in other batches than when they were counted.
        if (transport == Transport::InProcess && screen == Screen::Without)
            QVERIFY2(fired, qPrintable(QStringLiteral("time %1").arg(time)));
        QTRY_COMPARE(servers->keywords.sessionCount(), 0);
    };

    QList<int> victims {everything};
    for (const Part part : TeardownScene::parts(screen))
        victims << part;
    for (const int victim : victims) {
        TeardownScene scene(*servers, transport, screen);
        const QMetaMethod method = scene.part(sender)->metaObject()->method(signal);
        if (isForbidden(sender, method, victim))
            continue;
        for (int time = 1; time <= times; ++time) {
            if (!everyTime && time != (first ? 1 : times))
                continue;
            run(victim, time);
            if (QTest::currentTestFailed()) {
                qInfo("victim: %s, time %d", victimName(victim), time);
                return;
            }
        }
    }
}

// Every signal that the library can emit was emitted, so handlers of all of them were tested.
void tst_TeardownHandlers::scene_emitsEverySignal()
{
    DIFFERS("tst_keywordconnection has handlers of its own signals");
    ownSignals.clear();
    for (const Transport transport : {Transport::InProcess, Transport::WebSocket})
        emissions(transport, Screen::Without, Place::First);
    QStringList silent;
    for (const auto &[signal, times] : ownSignals) {
        if (times == 0)
            silent << signal;
    }
    // Required: these are never emitted.
    QCOMPARE(silent,
             QStringList({
                 QStringLiteral("PAbstractKeywordExpression.validChanged"),
                 QStringLiteral("PKeywordProxy.keywordExpressionChanged"),
                 QStringLiteral("PKeywordProxy.labelValueChanged"),
                 QStringLiteral("PWebSocketKeywordClient.urlChanged"),
             }));
}

QTEST_MAIN(tst_TeardownHandlers)
#include "tst_teardownhandlers.moc"
