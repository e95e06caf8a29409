// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"

#include <QtCore/QHash>
#include <QtCore/QList>
#include <QtCore/QMetaMethod>
#include <QtCore/QMetaProperty>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QProperty>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <vector>

namespace pellix::server {

class KeywordServer;
class WriteRequest;
struct ServeOptions;

// The keywords of one object. It is the receiver of its connections, which therefore end with it.
// Getters, setters, and receivers of events may delete it, the object, and the server.
class ObjectKeywords : public QObject
{
    Q_OBJECT

public:
    ObjectKeywords(KeywordServer *server, QObject *object, const QString &path,
                   const ServeOptions &options);
    ~ObjectKeywords() override;

    QStringList paths() const;
    // Reads all values. Returns false if the object or the server has been deleted in the meantime.
    bool readAll();
    void declare();

protected:
    void timerEvent(QTimerEvent *event) override;

private Q_SLOTS:
    void onNotify();

private:
    // It is looked up by its index each time, because some objects change their meta-object. Inside
    // the destructor of a base class, an object has only the properties of that class.
    struct Property
    {
        int index = -1;
        QString path;
        QString label;
        QVariant value; // the first one
        Type type = Type::None;
        bool isWritable = false;
        bool isDynamic = false;
        bool isReading = false; // its getter is under way
        bool isPolled = false;
    };

    void add(const QMetaProperty &property, const ServeOptions &options);
    void reportFields(QMetaType type);
    void follow(const QMetaProperty &property, const ServeOptions &options);
    void onDestroyed();
    QMetaProperty metaProperty(int number) const;
    bool read(int number, QVariant *value);
    void update(int number);
    void show(int number, const QVariant &value);
    void write(int number, const WriteRequest &request);

    const QPointer<KeywordServer> server;
    const QPointer<QObject> object;
    const QString path;
    std::vector<Property> properties;
    QHash<int, QList<int>> bySignal; // the numbers of the properties that a signal is about
    std::vector<QPropertyNotifier> notifiers;
    int pollTimer = 0;
    bool isDeclared = false;
};

} // namespace pellix::server
