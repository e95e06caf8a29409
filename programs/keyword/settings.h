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

// One command line, understood and checked.
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

    double speed = 1; // 0: does not wait
    bool loop = false;
    bool hold = false;
    bool stay = false;
    QHostAddress listenAddress {QHostAddress::LocalHost};
    quint16 port = 0;
    QStringList allowedOrigins;

    bool helpAll = false;
};

// Reads the options into the settings, which name the command. Returns what is wrong with them;
// empty if nothing is.
QString readSettings(const QCommandLineParser &parser, Settings *settings);

// The parser takes what begins with a dash for an option. Negative numbers pass it hidden.
QString hiddenArgument(const QString &argument);
QString shownArgument(const QString &argument);
