// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/configurationobject.h"

#include <QtCore/QJsonObject>
#include <QtCore/QString>

#include <memory>

namespace pellix::gateway {

class Source;

// What came of the tests that a configuration keeps of its mapping.
struct MappingTests
{
    int run = 0;
    ConfigurationProblems failed;
};

// What the configuration says of one source, as its own kind reads it.
class SourceSettings
{
public:
    virtual ~SourceSettings();

    virtual std::unique_ptr<Source> create() const = 0;
    // Whether a source that runs with these settings goes on with the other ones, and takes them
    // over.
    virtual bool apply(const SourceSettings &other, Source *source) const = 0;
    virtual bool operator==(const SourceSettings &other) const = 0;

    // Runs the tests that the configuration keeps, without a connection. Keywords are under the
    // mount.
    virtual MappingTests runTests(const QString &mount) const;
    // The members of an entry of "sources" that these settings amount to, with what the source has
    // seen so far, if one is given. Secrets are no part of it.
    virtual QJsonObject toJson(const Source *source) const;
};

// A kind of source, which the member of this name in an entry of "sources" chooses.
class SourceType
{
public:
    virtual ~SourceType();

    virtual QString name() const = 0; // such as "mqtt"
    // Reads the members of an entry that are the source's own, problems included; null if there are
    // any.
    virtual std::shared_ptr<const SourceSettings> read(ConfigurationObject &source) const = 0;
};

} // namespace pellix::gateway
