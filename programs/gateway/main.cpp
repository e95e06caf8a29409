// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/gateway.h"
#include "gateway/servicenotifier.h"
#include "programs/common/commandline.h"
#include "programs/common/interrupt.h"
#include "programs/gateway/arguments.h"
#include "programs/gateway/dump.h"
#include "programs/gateway/sourcetypes.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QFile>
#include <QtCore/QJsonDocument>
#include <QtCore/QLoggingCategory>
#include <QtCore/QTextStream>
#include <QtCore/QTimer>

#include <algorithm>
#include <chrono>
#include <cstdlib>

using namespace pellix::gateway;
using namespace std::chrono_literals;

namespace {

constexpr auto drainTime = 1000ms;
constexpr auto statusInterval = 1000ms;

void complainAbout(const QString &file, const ConfigurationProblems &problems)
{
    for (const ConfigurationProblem &problem : problems) {
        QStringList parts;
        if (!file.isEmpty() && !problem.text.contains(file))
            parts.append(file);
        if (!problem.pointer.isEmpty())
            parts.append(problem.pointer);
        parts.append(problem.text);
        programs::complain(parts.join(QLatin1String(": ")));
    }
}

std::optional<Configuration> read(const Arguments &arguments)
{
    ConfigurationProblems problems;
    auto configuration = arguments.file.isEmpty()
        ? Configuration::parse(arguments.json, QString(), sourceTypes(), &problems)
        : Configuration::read(arguments.file, sourceTypes(), &problems);
    complainAbout(arguments.file, problems);
    return configuration;
}

int check(const QString &file, const Configuration &configuration)
{
    int run = 0;
    ConfigurationProblems failed;
    for (const Configuration::Source &source : configuration.sources) {
        const MappingTests tests = source.settings->runTests(source.mount);
        run += tests.run;
        failed += tests.failed;
    }
    complainAbout(file, failed);
    if (!failed.isEmpty())
        return programs::badUsage;
    QTextStream(stdout) << file << ": good; " << configuration.sources.size() << " sources, " << run
                        << " mapping tests passed" << Qt::endl;
    return EXIT_SUCCESS;
}

QJsonObject written(const Arguments &arguments)
{
    QByteArray json = arguments.json;
    QFile file(arguments.file);
    if (!arguments.file.isEmpty() && file.open(QIODevice::ReadOnly))
        json = file.readAll();
    return QJsonDocument::fromJson(json).object();
}

QString addressesOf(const Gateway &gateway)
{
    QStringList addresses;
    for (const QUrl &url : gateway.urls())
        addresses.append(url.toString());
    return addresses.join(QLatin1String(", "));
}

void reload(const Arguments &arguments, Gateway *gateway, ServiceNotifier *notifier)
{
    notifier->reloading();
    // Even if the configuration is invalid, because the file may have been rotated.
    gateway->reopenAudit();
    const std::optional<Configuration> configuration = read(arguments);
    QString error = QStringLiteral("it has errors");
    if (configuration && gateway->apply(*configuration, &error))
        qInfo().noquote() << arguments.file + QStringLiteral(": reloaded");
    else
        programs::complain(QStringLiteral("configuration not changed: ") + error);
    notifier->ready();
}

// A source that is blocked in a system call cannot be waited for.
int finish(const Gateway &gateway, int exitCode)
{
    const QList<Gateway::SourceStatus> sources = gateway.sources();
    const bool haveStopped =
        std::all_of(sources.cbegin(), sources.cend(), [](const Gateway::SourceStatus &source) {
            return source.source->state() == Source::State::Stopped;
        });
    if (!haveStopped)
        std::_Exit(exitCode);
    return exitCode;
}

int dump(const Arguments &arguments, Configuration configuration)
{
    configuration.listeners.clear();
    configuration.health.reset();
    configuration.self.clear();
    configuration.audit.clear();
    Gateway gateway;
    QString error;
    gateway.apply(configuration, &error);
    Dump dump(&gateway, configuration, written(arguments));
    QObject::connect(&dump, &Dump::finished, &gateway, [&gateway](int exitCode) {
        QObject::connect(&gateway, &Gateway::drained, &gateway,
                         [exitCode] { QCoreApplication::exit(exitCode); });
        gateway.drain(0ms);
    });
    return finish(gateway, QCoreApplication::exec());
}

int serve(const Arguments &arguments, const Configuration &configuration)
{
    ServiceNotifier notifier;
    Gateway gateway;
    QString error;
    if (!gateway.apply(configuration, &error)) {
        programs::complain(error);
        return EXIT_FAILURE;
    }

    if (!arguments.file.isEmpty()) {
        programs::onHangUp(
            [&arguments, &gateway, &notifier] { reload(arguments, &gateway, &notifier); });
    }
    programs::onInterrupt([&gateway, &notifier] {
        notifier.stopping();
        gateway.drain(drainTime);
    });
    QObject::connect(&gateway, &Gateway::drained, &QCoreApplication::quit);
    QTimer statusTimer;
    const auto tellStatus = [&] { notifier.setStatus(gateway.status()); };
    if (notifier.isWanted()) {
        QObject::connect(&statusTimer, &QTimer::timeout, &gateway, tellStatus);
        statusTimer.start(statusInterval);
    }
    tellStatus();
    notifier.ready();
    QTextStream out(stdout);
    out << "listening on " << addressesOf(gateway);
    if (gateway.healthPort() != 0)
        out << "; health on port " << gateway.healthPort();
    out << Qt::endl;
    return finish(gateway, QCoreApplication::exec());
}

} // namespace

int main(int argc, char **argv)
{
    QCoreApplication application(argc, argv);
    QCoreApplication::setApplicationName(QStringLiteral("keyword-gateway"));
    QCoreApplication::setApplicationVersion(QStringLiteral(PELLIX_VERSION));
    qSetMessagePattern(QStringLiteral("%{appname}: %{message}"));
    programs::hideSecretsInLog();

    Arguments arguments;
    if (!readArguments(&arguments))
        return programs::badUsage;
    const std::optional<Configuration> configuration = read(arguments);
    if (!configuration)
        return programs::badUsage;
    switch (arguments.task) {
    case Arguments::Task::Check:
        return check(arguments.file, *configuration);
    case Arguments::Task::Dump:
        return dump(arguments, *configuration);
    default:
        return serve(arguments, *configuration);
    }
}
