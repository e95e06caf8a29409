// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/keywordhost.h"

#include "server/keywordserver.h"
#include "simulator/faultywebsocketserver.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QTimer>

#ifdef Q_OS_LINUX
#include <csignal>
#include <sys/prctl.h>
#endif

using namespace pellix::server;
using namespace pellix::simulator;
using namespace std::chrono_literals;

namespace {

// While no server is listening, the system may use the port for an outgoing connection.
constexpr auto portRetryInterval = 50ms;

} // namespace

struct KeywordHost::Backend
{
    KeywordServer keywords;
    FaultyWebSocketServer sockets {&keywords};
};

const char *outageName(Outage outage)
{
    switch (outage) {
    case Outage::Aborted:
        return "aborted";
    case Outage::Silent:
        return "silent";
    case Outage::Killed:
        return "killed";
    case Outage::Closed:
        return "closed";
    case Outage::HalfOpen:
        return "half-open";
    case Outage::Refused:
        return "refused";
    case Outage::PortTaken:
        return "port taken";
    }
    return "";
}

KeywordHost::KeywordHost(int keywordCount, const QString &simulator, QObject *parent)
    : QObject(parent), keywordCount(keywordCount), simulator(simulator)
{
    QTcpServer finder;
    if (!finder.listen(QHostAddress::LocalHost))
        qFatal("no free port: %s", qPrintable(finder.errorString()));
    ownPort = finder.serverPort();
}

KeywordHost::~KeywordHost()
{
    clear();
}

QString KeywordHost::keyword(int i)
{
    return QStringLiteral("/soak/group%1/k%2").arg(i / 100).arg(i % 100);
}

void KeywordHost::serve(Outage next, qint64 stage)
{
    intruder.reset();
    outage = next;
    if (suits(next)) {
        setStage(stage);
        backend->sockets.setSilent(false);
        return;
    }
    clear();
    this->stage = stage;
    start();
}

bool KeywordHost::suits(Outage next) const
{
    return backend && next != Outage::Killed && (next == Outage::HalfOpen) == bool(forwarder);
}

void KeywordHost::clear()
{
    if (process) {
        process->disconnect(this);
        process->kill();
        process->waitForFinished();
        process.reset();
    }
    forwarder.reset();
    backend.reset();
    intruder.reset();
}

void KeywordHost::start()
{
    if (outage == Outage::Killed)
        startProcess();
    else if (!listenInProcess())
        QTimer::singleShot(portRetryInterval, this, &KeywordHost::start);
}

bool KeywordHost::listenInProcess()
{
    if (!backend) {
        backend = std::make_unique<Backend>();
        for (int i = 0; i < keywordCount; ++i) {
            KeywordServer::Keyword declared;
            declared.path = keyword(i);
            declared.type = QStringLiteral("int");
            declared.access = QStringLiteral("RW");
            declared.value = value(i, stage);
            if (!backend->keywords.declare(declared))
                qFatal("cannot declare %s", qPrintable(declared.path));
        }
    }
    if (outage != Outage::HalfOpen)
        return backend->sockets.listen(QHostAddress::LocalHost, ownPort);
    if (!backend->sockets.listen())
        return false;
    forwarder = std::make_unique<Forwarder>(backend->sockets.port());
    return forwarder->listen(ownPort);
}

void KeywordHost::startProcess()
{
    QJsonArray keywords;
    for (int i = 0; i < keywordCount; ++i) {
        keywords.append(QJsonObject {{QStringLiteral("path"), keyword(i)},
                                     {QStringLiteral("type"), QStringLiteral("int")},
                                     {QStringLiteral("access"), QStringLiteral("RW")},
                                     {QStringLiteral("value"), value(i, stage)}});
    }
    scene = std::make_unique<QTemporaryFile>();
    if (!scene->open())
        qFatal("no temporary file: %s", qPrintable(scene->errorString()));
    scene->write(QJsonDocument(QJsonObject {{QStringLiteral("keywords"), keywords}}).toJson());
    scene->flush();

    process = std::make_unique<QProcess>();
    process->setStandardOutputFile(QProcess::nullDevice());
    process->setStandardErrorFile(QProcess::nullDevice());
#ifdef Q_OS_LINUX
    process->setChildProcessModifier([] { ::prctl(PR_SET_PDEATHSIG, SIGKILL); });
#endif
    // The process exits if the port is not available yet.
    connect(process.get(), &QProcess::finished, this, [this] {
        QTimer::singleShot(portRetryInterval, process.get(), [this] { process->start(); });
    });
    connect(process.get(), &QProcess::errorOccurred, this, [this](QProcess::ProcessError error) {
        if (error == QProcess::FailedToStart)
            qFatal("%s: %s", qPrintable(simulator), qPrintable(process->errorString()));
    });
    process->setProgram(simulator);
    process->setArguments({QStringLiteral("--port"), QString::number(ownPort),
                           QStringLiteral("--scene"), scene->fileName()});
    process->start();
}

void KeywordHost::strike()
{
    switch (outage) {
    case Outage::Aborted:
    case Outage::Killed:
        clear();
        break;
    case Outage::Silent:
        backend->sockets.setSilent(true);
        break;
    case Outage::Closed:
        backend->sockets.closeClients();
        break;
    case Outage::HalfOpen:
        forwarder->stopForwarding();
        break;
    case Outage::Refused:
    case Outage::PortTaken:
        clear();
        intrude();
        break;
    }
}

void KeywordHost::setStage(qint64 stage)
{
    this->stage = stage;
    for (int i = 0; backend && i < keywordCount; ++i)
        backend->keywords.setValue(keyword(i), value(i, stage));
}

void KeywordHost::intrude()
{
    visits = 0;
    ++manners;
    intruder = std::make_unique<QTcpServer>();
    connect(intruder.get(), &QTcpServer::newConnection, this, [this] {
        while (QTcpSocket *const visitor = intruder->nextPendingConnection())
            visit(visitor);
    });
    const auto listen = [this, listener = intruder.get()](const auto &again) -> void {
        if (!listener->listen(QHostAddress::LocalHost, ownPort))
            QTimer::singleShot(portRetryInterval, listener, [again] { again(again); });
    };
    listen(listen);
}

// The visitor gets replies that occur in practice: a refusal with or without closing, no reply, the
// greeting of another protocol, or an immediate close.
void KeywordHost::visit(QTcpSocket *visitor)
{
    ++visits;
    if (outage == Outage::Refused) {
        connect(visitor, &QTcpSocket::readyRead, visitor, [visitor, closing = manners % 2 == 0] {
            if (!visitor->readAll().contains("\r\n\r\n"))
                return;
            visitor->write("HTTP/1.1 503 Service Unavailable\r\nContent-Length: 0\r\n\r\n");
            if (closing)
                visitor->disconnectFromHost();
        });
    } else if (manners % 3 == 1) {
        visitor->write("SSH-2.0-OpenSSH_9.2p1\r\n");
    } else if (manners % 3 == 2) {
        visitor->abort();
    }
}
