// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/limits.h"
#include "server/peer.h"
#include "server/role.h"
#include "server/serveoptions.h"
#include "server/serverglobal.h"
#include "server/statistics.h"
#include "server/writerequest.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>
#include <memory>

QT_BEGIN_NAMESPACE
class QIODevice;
QT_END_NAMESPACE

namespace pellix::server {

class KeywordSession;

class PELLIXCLIENT_SERVER_EXPORT KeywordServer : public QObject
{
    Q_OBJECT

public:
    struct Keyword
    {
        QString path;
        QString type; // "bool", "int", "double", "string" or "object"
        QString access = QStringLiteral("R"); // "N", "R", "RM", "W" or "RW"
        QString label;
        QVariant value;
        bool connected = true;
        bool online = true;
        bool consistent = true;
        bool error = false;
        bool assumesWrites = false;
    };
    struct State
    {
        bool connected = true;
        bool online = true;
        bool consistent = true;
        bool error = false;
    };
    class PELLIXCLIENT_SERVER_EXPORT Batch
    {
    public:
        explicit Batch(KeywordServer *server);
        ~Batch();

    private:
        Q_DISABLE_COPY_MOVE(Batch)
        const QPointer<KeywordServer> server;
    };
    using WriteHandler = std::function<void(const WriteRequest &request)>;
    using WriteCheck = std::function<bool(const QVariant &value)>;

    static const QStringList &types();
    static const QStringList &accesses();
    static bool fits(const QVariant &value, const QString &type);
    static QString normalizedPath(const QString &keyword);

    explicit KeywordServer(QObject *parent = nullptr);
    ~KeywordServer() override;

    bool declare(const Keyword &keyword);
    bool remove(const QString &path);
    void clear();
    bool contains(const QString &path) const;
    int keywordCount() const;

    QVariant value(const QString &path) const;
    bool setValue(const QString &path, const QVariant &value);
    bool setState(const QString &path, bool connected, bool online, bool consistent, bool error);
    bool update(const QString &path, const QVariant &value, const State &state);
    int setConnected(const QString &level, bool connected);
    bool setLabel(const QString &path, const QString &label);
    void setWriteHandler(const QString &path, const WriteHandler &handler);
    void setWriteCheck(const QString &path, const WriteCheck &check);
    void setAuditDevice(QIODevice *device);

    bool serve(QObject *object, const QString &path, const ServeOptions &options = {});
    bool stopServing(const QString &path);

    bool setRole(const Role &role);
    bool removeRole(const QString &name);
    QStringList roles() const;
    Limits limits() const;
    void setLimits(const Limits &limits);

    KeywordSession *openSession(QObject *parent = nullptr);
    KeywordSession *openSession(const Peer &peer, QObject *parent = nullptr);
    int sessionCount() const;
    QStringList requestedKeywords(const QString &level) const;
    Statistics statistics() const;

Q_SIGNALS:
    void keywordRequested(const QString &path);
    void keywordReleased(const QString &path);
    void indexRequested(const QString &path);
    void valueWritten(const QString &path, const QVariant &value);
    void roleRemoved(const QString &name);

private:
    friend class KeywordSession;
    friend class ObjectKeywords;
    friend class WebSocketKeywordServer;
    friend class WriteRequest;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::server
