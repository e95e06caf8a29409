// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configurationobject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::gateway {

class Source;

// The results of the mapping tests in a configuration.
struct MappingTests
{
    int run = 0;
    ConfigurationProblems failed;
};

// The settings of one source, as read by its source type.
class SourceSettings
{
public:
    virtual ~SourceSettings();

    virtual std::unique_ptr<Source> create() const = 0;
    // Applies other settings to a source that runs with these. Returns false if the source must be
    // restarted instead.
    virtual bool apply(const SourceSettings &other, Source *source) const = 0;
    virtual bool operator==(const SourceSettings &other) const = 0;

    // Runs the mapping tests in the configuration, without a connection. The keywords are below the
    // mount.
    virtual MappingTests runTests(const QString &mount) const;
    // The members of an entry in "sources" that describe these settings, including the topics
    // that the source, if given, has seen so far. It contains no secrets.
    virtual QJsonObject toJson(const Source *source) const;
};

// A type of source. An entry in "sources" selects it by a member with the name of the type.
class SourceType
{
public:
    virtual ~SourceType();

    virtual QString name() const = 0; // such as "mqtt"
    // Reads those members of an entry that are specific to this type. Reports problems, and then
    // returns null.
    virtual std::shared_ptr<const SourceSettings> read(ConfigurationObject &source) const = 0;
};

} // namespace pellix::gateway
