// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/settings.h"

#include "programs/common/accessfiles.h"
#include "programs/common/address.h"
#include "programs/keyword/commandtable.h"
#include "server/websocketkeywordserver.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QUrl>

#include <algorithm>
#include <cmath>
#include <utility>

using namespace pellix::client;
using pellix::server::WebSocketKeywordServer;

namespace {

const QChar numberMark(0xE000);

// The addresses in KEYWORD_URL.
QStringList environmentUrls()
{
    static const QRegularExpression blanks(QStringLiteral("\\s+"));
    return qEnvironmentVariable("KEYWORD_URL").split(blanks, Qt::SkipEmptyParts);
}

std::optional<std::chrono::milliseconds> toDuration(const QString &seconds)
{
    bool isNumber = false;
    const double number = seconds.toDouble(&isNumber);
    if (!isNumber || !(number > 0 && number <= 1e6))
        return std::nullopt;
    return std::chrono::milliseconds(qMax(qint64(1), qRound64(number * 1000)));
}

std::optional<int> toCount(const QString &text)
{
    bool isNumber = false;
    const int number = text.toInt(&isNumber);
    return isNumber && number > 0 ? std::optional<int>(number) : std::nullopt;
}

std::optional<qint64> toSize(const QString &text)
{
    static const QRegularExpression size(QStringLiteral("^([0-9]{1,12})([KMG]?)$"),
                                         QRegularExpression::CaseInsensitiveOption);
    const QRegularExpressionMatch match = size.match(text);
    if (!match.hasMatch())
        return std::nullopt;
    const QString unit = match.captured(2).toUpper();
    const int shift = unit.isEmpty() ? 0
        : unit == QLatin1String("K") ? 10
        : unit == QLatin1String("M") ? 20
                                     : 30;
    const qint64 bytes = match.captured(1).toLongLong() << shift;
    return bytes > 0 && (bytes >> shift) == match.captured(1).toLongLong()
        ? std::optional<qint64>(bytes)
        : std::nullopt;
}

std::optional<double> toSpeed(const QString &text)
{
    if (text == QLatin1String("max"))
        return 0;
    bool isNumber = false;
    const double speed = text.toDouble(&isNumber);
    return isNumber && speed > 0 && std::isfinite(speed) ? std::optional<double>(speed)
                                                         : std::nullopt;
}

// Unlike in the wildcards of QRegularExpression, "*" also matches separators.
QRegularExpression toPattern(const QString &wildcard)
{
    QString path = wildcard;
    path.replace(QLatin1Char('#'), QLatin1Char('/'));
    if (!path.startsWith(QLatin1Char('/')) && !path.startsWith(QLatin1Char('*')))
        path.prepend(QLatin1Char('/'));
    QString pattern = QRegularExpression::escape(path);
    pattern.replace(QLatin1String("\\*"), QLatin1String(".*"));
    pattern.replace(QLatin1String("\\?"), QLatin1String("."));
    return QRegularExpression(QRegularExpression::anchoredPattern(pattern),
                              QRegularExpression::DotMatchesEverythingOption);
}

// Reads the options into settings. Stores the first problem.
class Reader
{
public:
    Reader(const QCommandLineParser &parser, Settings *settings)
        : parser(parser), settings(settings)
    { }

    QString read()
    {
        readConnection();
        readOutput();
        readSelection();
        readWriting();
        readRecording();
        readReplay();
        return problem;
    }

private:
    bool isSet(const char *name) const { return parser.isSet(QString::fromLatin1(name)); }
    QString value(const char *name) const
    {
        return shownArgument(parser.value(QString::fromLatin1(name)));
    }

    void complain(const char *name, const QString &expected)
    {
        if (problem.isEmpty())
            problem = QStringLiteral("--%1: %2, not '%3'")
                          .arg(QLatin1String(name), expected, value(name));
    }

    template <typename Convert, typename Target>
    void take(const char *name, const Convert &convert, Target *target, const QString &expected)
    {
        if (!isSet(name))
            return;
        if (const auto converted = convert(value(name)))
            *target = *converted;
        else
            complain(name, expected);
    }

    // Converts the position among the choices in the table. The enumerations below are in the same
    // order.
    template <typename Enum, typename Target>
    void choose(const char *name, std::initializer_list<Enum> meanings, Target *target)
    {
        if (!isSet(name))
            return;
        const QStringList choices = findOption(QString::fromLatin1(name))->choices;
        const qsizetype chosen = choices.indexOf(value(name));
        if (chosen >= 0)
            *target = *(meanings.begin() + chosen);
        else
            complain(name, choices.join(QLatin1String(", ")) + QStringLiteral(" are known"));
    }

    void readConnection()
    {
        if (findCommand(settings->command)->options.contains(QLatin1String("url"))) {
            readUrls();
            readFiles();
        }
        std::chrono::milliseconds timeout {0};
        take("timeout", toDuration, &timeout, QStringLiteral("must be a number of seconds"));
        if (timeout.count() > 0)
            settings->timeout = timeout;
        settings->reconnect = !isSet("no-reconnect");
        settings->verbose = isSet("verbose");
    }

    void readUrls()
    {
        settings->urls = parser.values(QStringLiteral("url"));
        const bool fromEnvironment = settings->urls.isEmpty();
        if (fromEnvironment)
            settings->urls = environmentUrls();
        // A space in a password splits the address in two, and the parts are not recognized as
        // secret.
        const bool isCut = fromEnvironment && settings->urls.size() > 1
            && qEnvironmentVariable("KEYWORD_URL").contains(QLatin1Char('@'));
        for (const QString &url : std::as_const(settings->urls)) {
            const QString reason = programs::addressProblem(url);
            if (reason.isEmpty() || !problem.isEmpty())
                continue;
            problem =
                QStringLiteral("cannot use the address %1: %2")
                    .arg(isCut ? QStringLiteral("in KEYWORD_URL") : programs::shownAddress(url),
                         reason);
        }
    }

    void readFiles()
    {
        settings->caFile = value("ca");
        settings->certificateFile = value("cert");
        settings->keyFile = value("key");
        settings->tokenFile = value("token-file");
        const auto given = [this](const char *name) {
            return isSet(name) ? std::optional<QString>(value(name)) : std::nullopt;
        };
        if (problem.isEmpty() && !settings->urls.isEmpty())
            problem = programs::accessProblem(
                {given("ca"), given("cert"), given("key"), given("token-file")}, settings->urls);
    }

    void readOutput()
    {
        choose("format", {Format::Text, Format::Json, Format::Csv}, &settings->format);
        choose("time", {TimeStamp::None, TimeStamp::Local, TimeStamp::Utc, TimeStamp::Delta},
               &settings->time);
        settings->raw = isSet("raw");
        if (settings->raw && settings->format != Format::Text && problem.isEmpty())
            problem = QStringLiteral("--raw requires the format text");
    }

    void readSelection()
    {
        const QString expected = QStringLiteral("must be a number above 0");
        take("count", toCount, &settings->count, expected);
        take("depth", toCount, &settings->depth, expected);
        settings->recursive = isSet("recursive");
        choose("type",
               {PKeywordValueType::KVT_BOOL, PKeywordValueType::KVT_INT,
                PKeywordValueType::KVT_DOUBLE, PKeywordValueType::KVT_STRING},
               &settings->type);
        choose("access",
               {PKeywordValueAccess::KVA_NONE, PKeywordValueAccess::KVA_READ,
                PKeywordValueAccess::KVA_READ_META, PKeywordValueAccess::KVA_WRITE,
                PKeywordValueAccess::KVA_READWRITE},
               &settings->access);
        settings->watch = isSet("watch");
        settings->keyword = value("keyword");
        take("interval", toDuration, &settings->interval,
             QStringLiteral("must be a number of seconds"));
    }

    void readWriting()
    {
        settings->wait = isSet("wait");
        const QStringList types = findOption(QStringLiteral("as"))->choices;
        take(
            "as",
            [&](const QString &type) {
                return types.contains(type) ? std::optional<QString>(type) : std::nullopt;
            },
            &settings->as, types.join(QLatin1String(", ")) + QStringLiteral(" are known"));
    }

    void readRecording()
    {
        const QStringList patterns = parser.values(QStringLiteral("exclude"));
        for (const QString &pattern : patterns)
            settings->exclude.append(toPattern(shownArgument(pattern)));
        take("rotate", toSize, &settings->rotate,
             QStringLiteral("must be a size such as 500K or 10M"));
        settings->force = isSet("force");
    }

    void readReplay()
    {
        take("speed", toSpeed, &settings->speed, QStringLiteral("must be a number above 0 or max"));
        settings->loop = isSet("loop");
        settings->hold = isSet("hold");
        settings->stay = isSet("stay");
        take(
            "listen",
            [](const QString &text) {
                const QHostAddress address(
                    text == QLatin1String("localhost") ? QStringLiteral("127.0.0.1") : text);
                return address.isNull() ? std::nullopt : std::optional<QHostAddress>(address);
            },
            &settings->listenAddress, QStringLiteral("must be an IP address or localhost"));
        take(
            "port",
            [](const QString &text) {
                bool isNumber = false;
                const ushort port = text.toUShort(&isNumber);
                return isNumber ? std::optional<quint16>(port) : std::nullopt;
            },
            &settings->port, QStringLiteral("must be a port number"));
        readAllowedOrigins();
        settings->helpAll = isSet("all");
    }

    void readAllowedOrigins()
    {
        settings->allowedOrigins = parser.values(QStringLiteral("allow-origin"));
        for (const QString &origin : std::as_const(settings->allowedOrigins)) {
            if (!WebSocketKeywordServer::isOrigin(origin) && problem.isEmpty())
                problem =
                    QStringLiteral(
                        "--allow-origin: must be an origin such as http://localhost:3000, not '%1'")
                        .arg(origin);
        }
    }

    const QCommandLineParser &parser;
    Settings *const settings;
    QString problem;
};

} // namespace

QString hiddenArgument(const QString &argument)
{
    static const QRegularExpression negativeNumber(QStringLiteral("^-\\.?[0-9]"));
    return negativeNumber.match(argument).hasMatch() ? numberMark + argument : argument;
}

QString shownArgument(const QString &argument)
{
    return argument.startsWith(numberMark) ? argument.mid(1) : argument;
}

QString readSettings(const QCommandLineParser &parser, Settings *settings)
{
    return Reader(parser, settings).read();
}
