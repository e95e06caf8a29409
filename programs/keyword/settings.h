// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "client/keywordtypes.h"

#include <QtCore/QRegularExpression>
#include <QtCore/QStringList>
#include <QtNetwork/QHostAddress>

#include <chrono>
#include <optional>

QT_BEGIN_NAMESPACE
class QCommandLineParser;
QT_END_NAMESPACE

enum class Format {
    Text,
    Json,
    Csv
};

enum class TimeStamp {
    None,
    Local,
    Utc,
    Delta
};

// A parsed and validated command line.
struct Settings
{
    QString command;
    QStringList arguments;

    QStringList urls;
    QString caFile;
    QString certificateFile;
    QString keyFile;
    QString tokenFile;
    std::optional<std::chrono::milliseconds> timeout;
    bool reconnect = true;
    bool verbose = false;

    Format format = Format::Text;
    std::optional<TimeStamp> time;
    bool raw = false;

    std::optional<int> count;
    bool recursive = false;
    pellix::client::PKeywordValueType type = pellix::client::PKeywordValueType::KVT_NOPROP;
    pellix::client::PKeywordValueAccess access = pellix::client::PKeywordValueAccess::KVA_NONE;
    std::optional<int> depth;

    bool wait = false;
    QString as;
    bool watch = false;
    QString keyword;
    std::chrono::milliseconds interval {1000};

    QList<QRegularExpression> exclude;
    qint64 rotate = 0; // bytes; 0: never
    bool force = false;

    double speed = 1; // 0: without waiting
    bool loop = false;
    bool hold = false;
    bool stay = false;
    QHostAddress listenAddress {QHostAddress::LocalHost};
    quint16 port = 0;
    QStringList allowedOrigins;

    bool helpAll = false;
};

// Reads the options into the settings, in which the command is already set. Returns the problem, or
// an empty string.
QString readSettings(const QCommandLineParser &parser, Settings *settings);

// QCommandLineParser treats everything that begins with a dash as an option. These functions hide
// negative numbers from it, and restore them.
QString hiddenArgument(const QString &argument);
QString shownArgument(const QString &argument);
