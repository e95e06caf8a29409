// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "benchmarks/eventrate.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QTextStream>
#include <QtNetwork/QTcpServer>
#include <QtRemoteObjects/QRemoteObjectDynamicReplica>
#include <QtRemoteObjects/QRemoteObjectHost>
#include <QtRemoteObjects/QRemoteObjectNode>

#include <benchmark/benchmark.h>

#include <algorithm>
#include <memory>
#include <vector>

// The peer: the same values as property changes of objects in another process.

class Speed : public QObject
{
    Q_OBJECT
    Q_PROPERTY(double value READ value WRITE setValue NOTIFY valueChanged)

public:
    double value() const { return current; }
    void setValue(double value)
    {
        if (value == current)
            return;
        current = value;
        Q_EMIT valueChanged(value);
    }

Q_SIGNALS:
    void valueChanged(double value);

private:
    double current = 0;
};

// Changes the objects the given number of times on request.
class Go : public QObject
{
    Q_OBJECT

public:
    explicit Go(int count)
    {
        for (int i = 0; i < count; ++i)
            speeds.push_back(std::make_unique<Speed>());
    }

    std::vector<std::unique_ptr<Speed>> speeds;

public Q_SLOTS:
    void go(int changes)
    {
        const size_t count = speeds.size();
        for (size_t i = 0; i < size_t(changes); ++i) {
            const double half = i / count % 2 ? 1234.5678 : 8765.4321;
            speeds[i % count]->setValue(half + double(i % count));
        }
    }
};

class ChangeCounter : public QObject
{
    Q_OBJECT

public:
    qint64 changes = 0;

public Q_SLOTS:
    void count() { ++changes; }
};

namespace {

// The same number as the keywords in the corresponding benchmark.
int objectCount()
{
    return smokeRun() ? 100 : 10000;
}

QString objectName(int i)
{
    return QStringLiteral("speed%1").arg(i);
}

int changeCount()
{
    return smokeRun() ? 2 * objectCount() : 200000;
}

quint16 freePort()
{
    QTcpServer server;
    return server.listen(QHostAddress::LocalHost, 0) ? server.serverPort() : 0;
}

void remoteObjectChanges(benchmark::State &state)
{
    const OtherProcess server(QStringLiteral("remoteobjects"), {QString::number(objectCount())});
    QRemoteObjectNode node;
    if (!node.connectToNode(QUrl(QStringLiteral("tcp://127.0.0.1:%1").arg(server.port)))) {
        state.SkipWithError("no connection");
        return;
    }
    std::vector<std::unique_ptr<QRemoteObjectDynamicReplica>> replicas;
    replicas.reserve(size_t(objectCount()));
    for (int i = 0; i < objectCount(); ++i)
        replicas.emplace_back(node.acquireDynamic(objectName(i)));
    const std::unique_ptr<QRemoteObjectDynamicReplica> go(
        node.acquireDynamic(QStringLiteral("go")));
    const bool ready = waitFor([&] {
        return go->isInitialized()
            && std::all_of(replicas.cbegin(), replicas.cend(),
                           [](const auto &replica) { return replica->isInitialized(); });
    });
    if (!ready) {
        state.SkipWithError("the objects did not come");
        return;
    }
    ChangeCounter counter;
    const QMetaMethod count =
        counter.metaObject()->method(counter.metaObject()->indexOfSlot("count()"));
    for (const auto &replica : replicas) {
        // A dynamic replica has its properties only at run time.
        const QMetaObject *const meta = replica->metaObject();
        QObject::connect(replica.get(),
                         meta->property(meta->indexOfProperty("value")).notifySignal(), &counter,
                         count);
    }
    measureEventRate(state, changeCount(), [&] {
        counter.changes = 0;
        QMetaObject::invokeMethod(go.get(), "go", Q_ARG(int, changeCount()));
        return waitFor([&counter] { return counter.changes == changeCount(); });
    });
}
BENCHMARK(remoteObjectChanges)->Iterations(1)->UseRealTime();

} // namespace

int serveRemoteObjects(int count)
{
    const quint16 port = freePort();
    QRemoteObjectHost host(QUrl(QStringLiteral("tcp://127.0.0.1:%1").arg(port)));
    Go go(count);
    for (int i = 0; i < count; ++i)
        host.enableRemoting(go.speeds[size_t(i)].get(), objectName(i));
    host.enableRemoting(&go, QStringLiteral("go"));
    QTextStream(stdout) << port << Qt::endl;
    return QCoreApplication::exec();
}

#include "bench_remoteobjects.moc"
