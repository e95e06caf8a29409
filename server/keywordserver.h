// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/serverglobal.h"

#include <QtCore/QObject>
#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <functional>
#include <memory>

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
    };
    using WriteHandler = std::function<bool(const QVariant &value)>;

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
    bool setLabel(const QString &path, const QString &label);
    void setWriteHandler(const QString &path, const WriteHandler &handler);

    KeywordSession *openSession(QObject *parent = nullptr);
    int sessionCount() const;

Q_SIGNALS:
    void keywordRequested(const QString &path);
    void valueWritten(const QString &path, const QVariant &value);

private:
    friend class KeywordSession;
    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::server
