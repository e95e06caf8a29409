// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/connection/pemfiles.h"

#include <QtCore/QByteArray>

#include <optional>

namespace pellix::extras {

// Reads the files each time, but parses them only if one of them or the default configuration has
// changed, because parsing takes several milliseconds.
class TlsFilesReader
{
public:
    std::optional<QSslConfiguration> read(const PTlsFiles &files, QString *error);

private:
    // What a configuration is made of: the files, and the default configuration for the rest.
    struct Source
    {
        bool isSameAs(const Source &other) const;

        PTlsFiles names;
        QByteArray authorities;
        QByteArray certificate;
        QByteArray key;
        QSslConfiguration standard;
    };

    static std::optional<QSslConfiguration> parse(const Source &source, QString *error);

    Source source;
    std::optional<QSslConfiguration> configuration;
};

} // namespace pellix::extras
