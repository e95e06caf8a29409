// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/cluster/cluster.h"

#include "tests/support/freeport.h"
#include "tests/support/waitfor.h"

#include <QtCore/QFile>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QStandardPaths>
#include <QtCore/QThread>
#include <QtNetwork/QLocalSocket>
#include <QtNetwork/QTcpSocket>

#include <sys/resource.h>

bool isInterrupted = false;

namespace {

QString q(const char *text)
{
    return QString::fromLatin1(text);
}

bool run(const QString &program, const QStringList &arguments)
{
    QProcess process;
    process.setProcessChannelMode(QProcess::MergedChannels);
    process.start(program, arguments);
    return process.waitForFinished(60000) && process.exitCode() == 0;
}

Usage &operator+=(Usage &sum, const Usage &other)
{
    sum.processorSeconds += other.processorSeconds;
    sum.residentKib += other.residentKib;
    return sum;
}

// Each connection requires two files.
int mostConnections()
{
    rlimit limit {};
    ::getrlimit(RLIMIT_NOFILE, &limit);
    return int(qBound<rlim_t>(200, limit.rlim_cur, 40000) - 100) / 2;
}

// The first core is reserved for the gateways.
QList<int> coresFrom(int first)
{
    QList<int> cores;
    for (int i = first; i < QThread::idealThreadCount(); ++i)
        cores.append(i);
    return cores;
}

} // namespace

bool waitUntil(const std::function<bool()> &condition, int timeout)
{
    bool holds = false;
    waitFor([&] { return isInterrupted || (holds = condition()); }, timeout);
    return holds && !isInterrupted;
}

void pause(qint64 milliseconds)
{
    waitUntil([] { return false; }, int(milliseconds));
}

Answer httpGet(quint16 port, const QByteArray &path)
{
    Answer answer;
    QTcpSocket socket;
    socket.connectToHost(QHostAddress(QHostAddress::LocalHost), port);
    if (!socket.waitForConnected(1000))
        return answer;
    socket.write("GET " + path + " HTTP/1.0\r\nHost: localhost\r\n\r\n");
    QByteArray text;
    while (socket.waitForReadyRead(2000))
        text += socket.readAll();
    text += socket.readAll();
    answer.status = text.split(' ').value(1).toInt();
    answer.body = text.mid(text.indexOf("\r\n\r\n") + 4);
    return answer;
}

QString findProgram(const QString &name)
{
    const QString found = QStandardPaths::findExecutable(name);
    return found.isEmpty() ? QStandardPaths::findExecutable(name, {q("/usr/sbin"), q("/sbin")})
                           : found;
}

Cluster::Cluster(const ClusterOptions &options)
    : options(options), nodes(nodeCount), mqttPorts(nodeCount), gateways(size_t(options.gateways)),
      screenPort(freePort())
{
    for (Node &node : nodes) {
        for (quint16 *const port :
             {&node.clientPort, &node.httpPort, &node.routePort, &node.linkPort, &node.mqttPort})
            *port = freePort();
    }
    for (quint16 &port : mqttPorts)
        port = freePort();
    for (Gateway &gateway : gateways) {
        for (quint16 *const port : {&gateway.port, &gateway.directPort, &gateway.healthPort})
            *port = freePort();
    }
}

// Programs are stopped before those on which they depend.
Cluster::~Cluster()
{
    balancer.reset();
    gateways.clear();
    for (Node &node : nodes) {
        if (node.process)
            node.process->kill(); // a regular exit would take some time
    }
    nodes.clear();
}

bool Cluster::fail(const QString &what)
{
    if (problem.isEmpty())
        problem = what;
    return false;
}

bool Cluster::write(const QString &name, const QByteArray &content)
{
    QFile target(file(name));
    return (target.open(QIODevice::WriteOnly) && target.write(content) == content.size())
        || fail(target.fileName() + q(": ") + target.errorString());
}

QString Cluster::screenUrl() const
{
    return q("wss://localhost:%1").arg(screenPort);
}

QList<int> Cluster::otherCores() const
{
    return options.isPinned && QThread::idealThreadCount() > 1 ? coresFrom(1) : QList<int>();
}

// Creates certificates of a private authority: one for the balancer, and one for the screens.
bool Cluster::makeCertificates()
{
    const auto make = [this](const QString &name, const QStringList &arguments) {
        return run(q("openssl"),
                   QStringList {q("req"), q("-x509"), q("-newkey"), q("ec"), q("-pkeyopt"),
                                q("ec_paramgen_curve:prime256v1"), q("-nodes"), q("-days"), q("30"),
                                q("-keyout"), file(name + q(".key"))}
                       + arguments);
    };
    const auto issue = [this](const QString &name, const QString &subject,
                              const QByteArray &extensions) {
        return write(name + q(".ext"), extensions)
            && run(q("openssl"),
                   {q("req"), q("-newkey"), q("ec"), q("-pkeyopt"),
                    q("ec_paramgen_curve:prime256v1"), q("-nodes"), q("-keyout"),
                    file(name + q(".key")), q("-out"), file(name + q(".csr")), q("-subj"), subject})
            && run(q("openssl"),
                   {q("x509"), q("-req"), q("-in"), file(name + q(".csr")), q("-CA"),
                    file(q("ca.crt")), q("-CAkey"), file(q("ca.key")), q("-CAcreateserial"),
                    q("-days"), q("30"), q("-out"), file(name + q(".crt")), q("-extfile"),
                    file(name + q(".ext"))});
    };
    if (!make(q("ca"), {q("-out"), file(q("ca.crt")), q("-subj"), q("/CN=Cluster authority")})
        || !issue(q("server"), q("/CN=localhost"), "subjectAltName=DNS:localhost,IP:127.0.0.1\n")
        || !issue(q("screen"), q("/CN=screen"), "extendedKeyUsage=clientAuth\n"))
        return fail(q("openssl makes no certificates"));
    QFile certificate(file(q("server.crt")));
    QFile key(file(q("server.key")));
    return certificate.open(QIODevice::ReadOnly) && key.open(QIODevice::ReadOnly)
        && write(q("server.pem"), certificate.readAll() + key.readAll());
}

// Node 3 can be isolated: the other nodes reach it through its link, and it reaches them through
// theirs. The nodes also advertise the addresses of these links.
QByteArray Cluster::nodeConfiguration(int i) const
{
    const Node &node = nodes[size_t(i)];
    const bool isLast = i == nodeCount - 1;
    QStringList routes;
    for (int other = 0; other < nodeCount; ++other) {
        const bool isThroughLink = options.hasLinks && (isLast || other == nodeCount - 1);
        const Node &target = nodes[size_t(other)];
        routes << q("nats-route://127.0.0.1:%1")
                      .arg(isThroughLink ? target.linkPort : target.routePort);
    }
    return q(R"(server_name: n%1
listen: 127.0.0.1:%2
http: 127.0.0.1:%3
jetstream { store_dir: "%4", max_mem: 256MB, max_file: 1GB }
cluster {
  name: plant
  listen: 127.0.0.1:%5
  %6
  routes: [ %7 ]
}
mqtt { listen: 127.0.0.1:%8, ack_wait: "5s", max_ack_pending: 1000 }
accounts {
  PLANT { jetstream: enabled, users: [ { user: hmi, password: secret } ] }
  SYS { users: [ { user: admin, password: admin } ] }
}
system_account: SYS
)")
        .arg(i + 1)
        .arg(node.clientPort)
        .arg(node.httpPort)
        .arg(file(q("n%1").arg(i + 1)))
        .arg(node.routePort)
        .arg(options.hasLinks ? q("advertise: \"127.0.0.1:%1\"").arg(node.linkPort) : QString(),
             routes.join(q(", ")))
        .arg(node.mqttPort)
        .toUtf8();
}

// Behind a proxy: screens are identified by their certificates, which the balancer has checked.
// Clients get no rights for connecting from this machine, except read access on another port.
QByteArray Cluster::gatewayConfiguration(int i) const
{
    const Gateway &gateway = gateways[size_t(i)];
    const auto loopback = q("127.0.0.1");
    QJsonObject mqtt {{q("url"), q("mqtt://127.0.0.1:%1").arg(brokerPort((i + 1) % nodeCount))},
                      {q("user"), q("hmi")},
                      {q("passwordFile"), q("password")},
                      {q("version"), q("3.1.1")},
                      {q("keepAlive"), 5}};
    if (options.resync > 0)
        mqtt.insert(q("resync"), options.resync);
    const QJsonObject proxies {{q("addresses"), loopback},
                               {q("addressHeader"), q("X-Forwarded-For")},
                               {q("subjectHeader"), q("X-Client-Subject")}};
    return QJsonDocument(
               QJsonObject {
                   {q("listen"),
                    QJsonArray {QJsonObject {{q("address"), loopback},
                                             {q("port"), gateway.port},
                                             {q("proxies"), proxies}},
                                QJsonObject {{q("address"), loopback},
                                             {q("port"), gateway.directPort},
                                             {q("role"), q("viewer")}}}},
                   {q("clients"),
                    QJsonArray {QJsonObject {{q("certificate"), q("CN=screen")},
                                             {q("role"), q("viewer")}}}},
                   {q("limits"),
                    QJsonObject {{q("clients"), 20000},
                                 {q("watchedPerClient"), 200000},
                                 {q("keywords"), 500000}}},
                   {q("health"),
                    QJsonObject {{q("address"), loopback}, {q("port"), gateway.healthPort}}},
                   {q("sources"),
                    QJsonArray {QJsonObject {{q("name"), q("plant")},
                                             {q("mount"), q("/plant")},
                                             {q("topics"), QJsonArray {q("plant/#")}},
                                             {q("mqtt"), mqtt}}}}})
        .toJson();
}

// A lost node is detected by the first connection that it refuses. For some seconds, the health
// check also returns 503 on intact nodes, until they have a new leader.
QByteArray Cluster::balancerConfiguration() const
{
    QString text = q(R"(global
    log stderr format raw local0 notice
    stats socket %1 mode 600 level admin
    maxconn %5
    nbthread 1
    ssl-default-bind-options ssl-min-ver TLSv1.2

defaults
    mode http
    log global
    option redispatch 1
    retries 3
    timeout connect 2s
    timeout client 30s
    timeout server 30s
    timeout client-fin 5s
    timeout tunnel 1h
    timeout http-request 30s

frontend screens
    bind 127.0.0.1:%2 ssl crt %3 ca-file %4 verify optional
    http-request deny status 426 unless { hdr(Upgrade) -i websocket }
    http-request set-header X-Client-Subject "%[ssl_c_s_dn(,0,rfc2253)]"
    http-request set-header X-Forwarded-For %[src]
    default_backend gateways

backend gateways
    balance leastconn
    option httpchk
    http-check send meth GET uri /readyz hdr Host gateway
    http-check expect status 200
    default-server inter 250ms fall 2 rise 1 on-marked-down shutdown-sessions
)")
                       .arg(file(q("admin")))
                       .arg(screenPort)
                       .arg(file(q("server.pem")), file(q("ca.crt")))
                       .arg(mostConnections());
    for (int i = 0; i < gatewayCount(); ++i) {
        text += q("    server g%1 127.0.0.1:%2 check port %3\n")
                    .arg(i + 1)
                    .arg(gateways[size_t(i)].port)
                    .arg(gateways[size_t(i)].healthPort);
    }
    for (int first = 0; first < nodeCount; ++first) {
        text += q(R"(
listen broker%1
    mode tcp
    bind 127.0.0.1:%2
    timeout client 1h
    timeout server 1h
    option httpchk
    http-check send meth GET uri /healthz?js-server-only=true hdr Host broker
    http-check expect status 200
    default-server inter 500ms fall 10 rise 2 observe layer4 error-limit 1 on-error mark-down on-marked-down shutdown-sessions
)")
                    .arg(first + 1)
                    .arg(mqttPorts[size_t(first)]);
        for (int i = 0; i < nodeCount; ++i) {
            const int node = (first + i) % nodeCount;
            text += q("    server n%1 127.0.0.1:%2 check port %3%4\n")
                        .arg(node + 1)
                        .arg(nodes[size_t(node)].mqttPort)
                        .arg(nodes[size_t(node)].httpPort)
                        .arg(i == 0 ? QString() : q(" backup"));
        }
    }
    return text.toUtf8();
}

bool Cluster::start()
{
    if (!folder.isValid())
        return fail(folder.errorString());
    for (const char *const program : {"nats-server", "haproxy", "openssl"}) {
        if (findProgram(q(program)).isEmpty())
            return fail(q("%1 was not found").arg(q(program)));
    }
    if (!makeCertificates() || !write(q("password"), "secret"))
        return false;
    for (int i = 0; i < nodeCount; ++i) {
        Node &node = nodes[size_t(i)];
        node.link = std::make_unique<NodeLink>(node.routePort);
        if (options.hasLinks && !node.link->listen(node.linkPort))
            return fail(q("port %1 is taken").arg(node.linkPort));
        if (!startNode(i))
            return false;
    }
    if (!waitUntil([this] { return areNodesHealthy(); }))
        return fail(q("the brokers do not become a cluster"));
    balancer = std::make_unique<ChildProcess>(q("haproxy"));
    balancer->setLog(file(q("haproxy.log")), true);
    balancer->setCores(otherCores());
    return write(q("haproxy.cfg"), balancerConfiguration())
        && (balancer->start(findProgram(q("haproxy")), {q("-db"), q("-f"), file(q("haproxy.cfg"))})
            || fail(q("haproxy does not start")))
        && (waitUntil([this] { return !tellBalancer("show info").isEmpty(); })
            || fail(q("haproxy does not answer")));
}

bool Cluster::startGateways()
{
    for (int i = 0; i < gatewayCount(); ++i) {
        if (!startGateway(i))
            return false;
    }
    for (int i = 0; i < gatewayCount(); ++i) {
        if (!waitUntil([this, i] { return isGatewayReady(i); }))
            return fail(q("gateway %1 does not become ready").arg(i + 1));
    }
    return waitUntil([this] { return readyServers() == gatewayCount(); })
        || fail(q("haproxy does not see the gateways"));
}

bool Cluster::startNode(int i)
{
    Node &node = nodes[size_t(i)];
    const QString name = q("n%1").arg(i + 1);
    node.process = std::make_unique<ChildProcess>(name);
    node.process->setLog(file(name + q(".log")), true);
    node.process->setCores(otherCores());
    return write(name + q(".conf"), nodeConfiguration(i))
        && (node.process->start(findProgram(q("nats-server")), {q("-c"), file(name + q(".conf"))})
            || fail(q("nats-server does not start")));
}

bool Cluster::isNodeHealthy(int i) const
{
    return httpGet(nodes[size_t(i)].httpPort, "/healthz").status == 200;
}

bool Cluster::areNodesHealthy() const
{
    for (int i = 0; i < nodeCount; ++i) {
        if (!isNodeHealthy(i))
            return false;
    }
    return true;
}

void Cluster::killNode(int i)
{
    nodes[size_t(i)].process->kill();
}

void Cluster::cutLastNode()
{
    for (const Node &node : nodes)
        node.link->cut();
}

void Cluster::healLastNode()
{
    for (const Node &node : nodes)
        node.link->heal();
}

bool Cluster::startGateway(int i)
{
    Gateway &gateway = gateways[size_t(i)];
    const QString name = q("g%1").arg(i + 1);
    gateway.process = std::make_unique<ChildProcess>(name);
    gateway.process->setLog(file(name + q(".log")), true);
    if (options.isPinned)
        gateway.process->setCores({0});
    return write(name + q(".json"), gatewayConfiguration(i))
        && (gateway.process->start(q(GATEWAY_PROGRAM), {q("--config"), file(name + q(".json"))})
            || fail(q(GATEWAY_PROGRAM) + q(" does not start")));
}

bool Cluster::isGatewayReady(int i) const
{
    return httpGet(gateways[size_t(i)].healthPort, "/readyz").status == 200;
}

void Cluster::killGateway(int i)
{
    gateways[size_t(i)].process->kill();
}

bool Cluster::terminateGateway(int i)
{
    return gateways[size_t(i)].process->terminate();
}

QByteArray Cluster::tellBalancer(const QByteArray &command) const
{
    QLocalSocket socket;
    socket.connectToServer(file(q("admin")));
    if (!socket.waitForConnected(1000))
        return {};
    socket.write(command + '\n');
    QByteArray answer;
    while (socket.waitForReadyRead(1000))
        answer += socket.readAll();
    return answer + socket.readAll();
}

void Cluster::setDrained(int gateway, bool isDrained)
{
    tellBalancer("set server gateways/g" + QByteArray::number(gateway + 1) + " state "
                 + (isDrained ? "drain" : "ready"));
}

int Cluster::readyServers() const
{
    int count = 0;
    const QList<QByteArray> lines = tellBalancer("show servers state gateways").split('\n');
    for (const QByteArray &line : lines) {
        const QList<QByteArray> fields = line.split(' ');
        constexpr int running = 2;
        if (fields.value(1) == "gateways" && fields.value(5).toInt() == running)
            ++count;
    }
    return count;
}

double Cluster::metric(int gateway, const QByteArray &name) const
{
    const QList<QByteArray> lines =
        httpGet(gateways[size_t(gateway)].healthPort, "/metrics").body.split('\n');
    for (const QByteArray &line : lines) {
        if (line.startsWith(name) && (line.at(name.size()) == ' ' || line.at(name.size()) == '{'))
            return line.mid(line.lastIndexOf(' ') + 1).toDouble();
    }
    return 0;
}

Usage Cluster::nodeUsage() const
{
    Usage sum;
    for (const Node &node : nodes)
        sum += node.process->usage();
    return sum;
}

Usage Cluster::gatewayUsage() const
{
    Usage sum;
    for (const Gateway &gateway : gateways)
        sum += gateway.process->usage();
    return sum;
}

Usage Cluster::balancerUsage() const
{
    return balancer->usage();
}

QByteArray Cluster::logs() const
{
    QByteArray text;
    for (const char *const name : {"g1", "g2", "haproxy", "n1", "n2", "n3"}) {
        QFile log(file(q(name) + q(".log")));
        if (!log.open(QIODevice::ReadOnly))
            continue;
        const QByteArray all = log.readAll();
        text += QByteArray("--- ") + name + '\n' + all.right(2000);
    }
    return text;
}
