// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/topickeyword.h"

#include <QtCore/QByteArray>
#include <QtCore/QList>
#include <QtCore/QString>
#include <QtCore/QStringList>

#include <memory>

namespace pellix::gateway {

// What a description has changed. Keywords are identified by their path.
struct ConventionChange
{
    QList<QString> removed; // paths; first, so that one that is declared as well has no value
    QList<TopicKeyword> declared; // anew, or as they are now; then they keep their value
    QStringList subscribe; // topic filters that are needed from now on
    QStringList unsubscribe;
    QStringList messages; // for the log: what was skipped, and why; each only once
};

struct ConventionOptions
{
    QString base; // first levels of its topics; the usual ones if empty
    bool sleepingIsOnline = false; // Homie: a device that sleeps is there
    bool alertsAreErrors = false; // Homie: an alert of a device sets the flag of its keywords

    bool operator==(const ConventionOptions &other) const
    {
        return base == other.base && sleepingIsOnline == other.sleepingIsOnline
            && alertsAreErrors == other.alertsAreErrors;
    }
};

// Reads topics by which devices describe themselves, and makes keywords of what they say. It keeps
// what it has read, knows nothing of the link, and is used in one thread.
class Convention
{
public:
    virtual ~Convention();

    virtual QString name() const = 0; // the word that switches it on, such as "homie"
    // Topic filters of the descriptions. Messages on them may have to do with values as well, such
    // as a state that tells whether a device is there.
    virtual QStringList subscriptions() const = 0;
    // Takes a message on one of them. An empty payload takes a description back.
    virtual ConventionChange take(const QString &topic, const QByteArray &payload) = 0;
    virtual int skipped() const = 0; // entities that could not be mapped
    virtual void clear() = 0; // as if nothing had been read

    // The convention of that name, or null.
    static std::unique_ptr<Convention> create(const QString &name,
                                              const ConventionOptions &options = {});
    static QStringList names();
};

} // namespace pellix::gateway
