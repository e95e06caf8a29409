// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "tests/cluster/childprocess.h"
#include "tests/cluster/nodelink.h"

#include <QtCore/QTemporaryDir>

#include <functional>
#include <memory>
#include <vector>

// Whether the run was interrupted and is to end.
extern bool isInterrupted;
// Processes events until the condition is true. Returns false after the timeout in milliseconds, or
// if the run was interrupted.
bool waitUntil(const std::function<bool()> &condition, int timeout = 60000);
void pause(qint64 milliseconds);

struct ClusterOptions
{
    int gateways = 2;
    double resync = 0; // in seconds; 0: off
    bool isPinned = false; // gateways on one core, everything else on the others
    bool hasLinks = false; // connects the nodes through NodeLink, so that a node can be isolated
};

// Three nodes of nats-server, gateways, and haproxy in front of both, all on this machine.
class Cluster : public QObject
{
    Q_OBJECT

public:
    static constexpr int nodeCount = 3;

    explicit Cluster(const ClusterOptions &options);
    ~Cluster() override;

    bool start(); // the brokers and the load balancer
    bool startGateways();
    QString error() const { return problem; }

    // The port of the load balancer that prefers this node and uses the others if it is lost.
    quint16 brokerPort(int firstNode) const { return mqttPorts[size_t(firstNode)]; }
    quint16 nodePort(int node) const { return nodes[size_t(node)].mqttPort; } // of the node itself
    QString screenUrl() const;
    QString file(const QString &name) const { return folder.filePath(name); }
    int gatewayCount() const { return int(gateways.size()); }
    quint16 gatewayPort(int i) const { return gateways[size_t(i)].directPort; } // for inspectors
    quint16 proxiedPort(int i) const { return gateways[size_t(i)].port; } // for the load balancer

    bool startNode(int i);
    bool isNodeHealthy(int i) const;
    bool areNodesHealthy() const;
    void killNode(int i);
    void cutLastNode();
    void healLastNode();

    bool startGateway(int i);
    bool isGatewayReady(int i) const;
    void killGateway(int i);
    bool terminateGateway(int i);
    int readyServers() const; // gateways, according to the load balancer
    QByteArray tellBalancer(const QByteArray &command) const;
    void setDrained(int gateway, bool isDrained); // no new screens, if it is
    double metric(int gateway, const QByteArray &name) const;

    Usage nodeUsage() const; // of all nodes
    Usage gatewayUsage() const;
    Usage balancerUsage() const;
    QList<int> otherCores() const; // for all other processes
    QByteArray logs() const; // the last 2000 bytes of each

private:
    struct Node
    {
        std::unique_ptr<ChildProcess> process;
        std::unique_ptr<NodeLink> link;
        quint16 clientPort = 0;
        quint16 httpPort = 0;
        quint16 routePort = 0;
        quint16 linkPort = 0;
        quint16 mqttPort = 0;
    };
    struct Gateway
    {
        std::unique_ptr<ChildProcess> process;
        quint16 port = 0;
        quint16 directPort = 0;
        quint16 healthPort = 0;
    };

    bool fail(const QString &what);
    bool write(const QString &name, const QByteArray &content);
    bool makeCertificates();
    QByteArray nodeConfiguration(int i) const;
    QByteArray gatewayConfiguration(int i) const;
    QByteArray balancerConfiguration() const;

    const ClusterOptions options;
    QTemporaryDir folder;
    std::vector<Node> nodes;
    std::vector<quint16> mqttPorts;
    std::vector<Gateway> gateways;
    std::unique_ptr<ChildProcess> balancer;
    quint16 screenPort = 0;
    QString problem;
};

struct Answer
{
    int status = 0;
    QByteArray body;
};
Answer httpGet(quint16 port, const QByteArray &path);
// Also searches /usr/sbin and /sbin.
QString findProgram(const QString &name);
