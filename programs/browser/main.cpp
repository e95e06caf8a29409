// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/inprocesskeywordclient.h"
#include "extras/connection/pemfiles.h"
#include "extras/keywordextrasmodule.h"
#include "module/pellixclientkeywordmodule.h"
#include "programs/browser/preferences.h"
#include "programs/browser/session.h"
#include "programs/common/accessfiles.h"
#include "programs/common/address.h"
#include "programs/common/commandline.h"
#include "programs/quick/hosttheme.h"
#include "programs/quick/screenshot.h"
#include "programs/quick/translations.h"
#include "server/inprocesslink.h"
#include "server/keywordserver.h"
#include "simulator/telemetryscene.h"

#include <QtCore/QCommandLineParser>
#include <QtCore/QLoggingCategory>
#include <QtGui/QGuiApplication>
#include <QtQml/QQmlApplicationEngine>
#include <QtQuick/QQuickWindow>
#include <QtQuickControls2/QQuickStyle>

#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

using namespace pellix::client;
using namespace pellix::server;
using namespace pellix::simulator;

namespace {

struct Options
{
    QStringList addresses; // empty: the server in this process
    programs::AccessFiles files;
    QString keyword = QStringLiteral("/");
    QString selected;
    QString filter;
    QStringList pinned;
    std::optional<int> aggregation;
    std::optional<bool> dark;
    bool trend = false;
    QString settings; // empty: the settings of the user
};

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(main)
};

std::optional<int> aggregationFromName(const QString &name)
{
    // In the order of PKeywordAggregation, without its first value, No, which stands for no
    // aggregate.
    static constexpr std::array names {"min", "max", "equal", "sum", "and", "or"};
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (name == QLatin1String(names[i]))
            return static_cast<int>(i) + static_cast<int>(PKeywordAggregation::Min);
    }
    return std::nullopt;
}

QCommandLineOption option(const char *name, const QString &description, const char *value)
{
    return {QString::fromLatin1(name), description, QString::fromLatin1(value)};
}

class CommandLine
{
public:
    explicit CommandLine(const Screenshot &screenshot);

    // Returns the options, or prints a message and returns nothing if they are invalid.
    std::optional<Options> options(const Session &session) const;

    QCommandLineParser parser;

private:
    const QCommandLineOption url = option(
        "url",
        Text::tr(
            "Browse the keyword server at this WebSocket <address>, such as ws://host:port. "
            "If given several times, the next address is tried when one cannot be reached. The "
            "default is a server in the program with live values of this machine."),
        "address");
    const QCommandLineOption ca = option(
        "ca", Text::tr("Trust only the authorities in this PEM <file>, for wss:// addresses."),
        "file");
    const QCommandLineOption certificate = option(
        "cert", Text::tr("Send this certificate <file> (PEM) to the server. Requires --key."),
        "file");
    const QCommandLineOption key = option(
        "key", Text::tr("The private key <file> (PEM, unencrypted) of the certificate."), "file");
    const QCommandLineOption token = option(
        "token-file",
        Text::tr(
            "Send the token in this <file> to the server. Requires --url with wss:// addresses."),
        "file");
    const QCommandLineOption keyword =
        option("keyword", Text::tr("Open this <path>; / by default."), "path");
    const QCommandLineOption select =
        option("select", Text::tr("Select the keyword at this <path>."), "path");
    const QCommandLineOption pin = option(
        "pin", Text::tr("Pin the keyword at this <path>. May be given several times."), "path");
    const QCommandLineOption filter = option(
        "filter", Text::tr("List only keywords with all these <words> in the label or the name."),
        "words");
    const QCommandLineOption aggregate = option(
        "aggregate",
        Text::tr("Aggregate the pinned keywords in this <mode>: min, max, equal, sum, and, or."),
        "mode");
    const QCommandLineOption settings =
        option("settings", Text::tr("Store the settings in this INI <file>."), "file");
    const QCommandLineOption trend {QStringLiteral("trend"),
                                    Text::tr("Show all pinned keywords in one plot.")};
    const QCommandLineOption dark {QStringLiteral("dark"), Text::tr("Use dark colors.")};
    const QCommandLineOption light {QStringLiteral("light"), Text::tr("Use light colors.")};
};

CommandLine::CommandLine(const Screenshot &screenshot)
{
    parser.setApplicationDescription(Text::tr(
        "Lists the keywords of a server, shows their live values, and writes them.\n\n"
        "user:password@ in an address requires wss://. Addresses are shown without secrets and are "
        "not saved.\n\n"
        "The exit code is 0 on success, 1 on failure, or 2 if the command line is invalid."));
    parser.addHelpOption();
    parser.addVersionOption();
    parser.addOptions({url, ca, certificate, key, token, keyword, select, pin, filter, aggregate,
                       trend, dark, light, settings});
    screenshot.addOptions(parser);
}

std::optional<Options> CommandLine::options(const Session &session) const
{
    if (!parser.positionalArguments().isEmpty()) {
        const QString argument = parser.positionalArguments().constFirst();
        programs::complain(
            Text::tr("unexpected argument '%1'").arg(programs::shownAddress(argument)));
        return std::nullopt;
    }
    Options options;
    options.addresses = parser.values(url);
    const QString problem = session.problem(options.addresses);
    if (!problem.isEmpty()) {
        programs::complain(problem);
        return std::nullopt;
    }
    const auto given = [this](const QCommandLineOption &option) {
        return parser.isSet(option) ? std::optional<QString>(parser.value(option)) : std::nullopt;
    };
    options.files = {given(ca), given(certificate), given(key), given(token)};
    QString fileProblem = programs::accessProblem(options.files, options.addresses);
    if (fileProblem.isEmpty() && options.files.token && options.addresses.isEmpty())
        fileProblem = Text::tr("--token-file requires --url");
    if (!fileProblem.isEmpty()) {
        programs::complain(fileProblem);
        return std::nullopt;
    }
    if (parser.isSet(keyword))
        options.keyword = parser.value(keyword);
    options.selected = parser.value(select);
    options.filter = parser.value(filter);
    options.pinned = parser.values(pin);
    options.settings = parser.value(settings);
    options.trend = parser.isSet(trend);
    if (parser.isSet(settings) && options.settings.isEmpty()) {
        programs::complain(Text::tr("--settings requires a file name"));
        return std::nullopt;
    }
    if (parser.isSet(aggregate)) {
        options.aggregation = aggregationFromName(parser.value(aggregate));
        if (!options.aggregation) {
            programs::complain(
                Text::tr("'%1' is not an aggregate mode; use one of: min, max, equal, sum, and, or")
                    .arg(parser.value(aggregate)));
            return std::nullopt;
        }
    }
    if (parser.isSet(dark) && parser.isSet(light)) {
        programs::complain(Text::tr("--dark and --light cannot be used together"));
        return std::nullopt;
    }
    if (parser.isSet(dark) || parser.isSet(light))
        options.dark = parser.isSet(dark);
    return options;
}

// Passes the files to the session. Returns the problem with a file, or an empty string. After this
// call, the addresses can be set, and then the token.
QString readFiles(Session &session, const programs::AccessFiles &files, QString *token)
{
    const pellix::extras::PTlsFiles names {files.authorities.value_or(QString()),
                                           files.certificate.value_or(QString()),
                                           files.key.value_or(QString())};
    QString problem;
    if (!pellix::extras::tlsConfiguration(names, &problem))
        return problem;
    session.setCaFile(names.authorities);
    session.setCertificateFile(names.certificate);
    session.setKeyFile(names.key);
    if (files.token)
        *token = programs::readToken(*files.token, &problem);
    return problem;
}

// Creates a server with the live values of this machine, and a client that is connected to it.
PKeywordClient *createInProcess(Session *session)
{
    auto *server = new KeywordServer(session);
    auto *scene = new TelemetryScene(server, session);
    auto *client = new CountedClient<PInProcessKeywordClient>(session);
    linkInProcess(server, client);
    scene->start();
    return client;
}

} // namespace

int main(int argc, char *argv[])
{
    QCoreApplication::setOrganizationName(QStringLiteral("PellixClient"));
    QCoreApplication::setApplicationName(QStringLiteral("keyword-browser"));
    QCoreApplication::setApplicationVersion(QStringLiteral(BROWSER_VERSION));
    programs::hideSecretsInLog();

    Screenshot screenshot;
    CommandLine commandLine(screenshot);
    if (programs::answeredWithoutDisplay(commandLine.parser, argc, argv))
        return EXIT_SUCCESS;
    const QGuiApplication application(argc, argv);
    installTranslations();
    QGuiApplication::setApplicationDisplayName(Text::tr("Keyword Browser"));
    Session session(createInProcess); // outlives the engine, whose proxies point to its clients
    if (!programs::parseArguments(commandLine.parser))
        return programs::badUsage;
    const std::optional<Options> options = commandLine.options(session);
    if (!options)
        return programs::badUsage;
    QString token;
    const QString fileProblem = readFiles(session, options->files, &token);
    if (!fileProblem.isEmpty()) {
        programs::complain(fileProblem);
        return EXIT_FAILURE;
    }
    if (const int exitCode = screenshot.prepare(commandLine.parser))
        return exitCode;

    // The transport logs each command at debug level, and the window shows the problems of the
    // connection. QT_LOGGING_RULES enables both again.
    QLoggingCategory::setFilterRules(QStringLiteral("pellixclient.keyword.connection=false"));
    useSteadyFonts();
    QQuickStyle::setStyle(QStringLiteral("Basic")); // uses the palette of the window

    Preferences preferences(options->settings);
    for (const QString &keyword : options->pinned)
        preferences.pin(keyword);
    if (options->aggregation)
        preferences.setAggregation(*options->aggregation);
    if (options->dark)
        preferences.setDark(*options->dark);
    session.setAddresses(options->addresses);
    session.setToken(token);

    PellixClientKeywordModule::registerTypes("PellixClient.Keyword");
    pellix::extras::KeywordExtrasModule::registerTypes();
    QQmlApplicationEngine engine;
    if (!provideTheme(engine))
        return EXIT_FAILURE;
    engine.setInitialProperties({
        {QStringLiteral("session"), QVariant::fromValue(&session)},
        {QStringLiteral("preferences"), QVariant::fromValue(&preferences)},
        {QStringLiteral("keyword"), options->keyword},
        {QStringLiteral("selected"), options->selected},
        {QStringLiteral("filter"), options->filter},
        {QStringLiteral("trend"), options->trend},
    });
    engine.load(QUrl(QStringLiteral("qrc:/qt/qml/KeywordBrowser/Main.qml")));
    if (engine.rootObjects().isEmpty())
        return EXIT_FAILURE;

    screenshot.schedule(qobject_cast<QQuickWindow *>(engine.rootObjects().constFirst()));
    return QGuiApplication::exec();
}
