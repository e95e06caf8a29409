// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/programs/keyword/toolbench.h"

#include <QtTest/QTest>

#include <csignal>

QStringList words(const char *line)
{
    return QString::fromUtf8(line).split(QLatin1Char(' '), Qt::SkipEmptyParts);
}

Tool::Tool(const QStringList &arguments, const QString &url, const QStringList &variables)
{
    QProcessEnvironment environment = QProcessEnvironment::systemEnvironment();
    environment.insert(QStringLiteral("LC_ALL"), QStringLiteral("C.UTF-8"));
    environment.insert(QStringLiteral("TZ"), QStringLiteral("UTC"));
    environment.remove(QStringLiteral("QT_LOGGING_RULES"));
    environment.remove(QStringLiteral("KEYWORD_URL"));
    if (!url.isNull())
        environment.insert(QStringLiteral("KEYWORD_URL"), url);
    for (const QString &variable : variables)
        environment.insert(variable.section(QLatin1Char('='), 0, 0),
                           variable.section(QLatin1Char('='), 1));
    process.setProcessEnvironment(environment);
    process.start(QStringLiteral(PROGRAM), arguments);
}

Tool::~Tool()
{
    process.kill();
    process.waitForFinished();
}

void Tool::read()
{
    out += process.readAllStandardOutput();
    err += process.readAllStandardError();
}

bool Tool::finish(int milliseconds)
{
    const bool finished =
        QTest::qWaitFor([this] { return process.state() == QProcess::NotRunning; }, milliseconds);
    read();
    return finished;
}

bool Tool::printed(int lines)
{
    return QTest::qWaitFor(
        [&] {
            read();
            return out.count('\n') >= lines;
        },
        30000);
}

bool Tool::complained(const QString &text)
{
    return QTest::qWaitFor([&] { return errors().contains(text); }, 30000);
}

void Tool::sendSignal(int number)
{
    ::kill(pid_t(process.processId()), number);
}

int Tool::exitCode() const
{
    return process.exitStatus() == QProcess::NormalExit ? process.exitCode() : -1;
}

QString Tool::output()
{
    read();
    return QString::fromUtf8(out);
}

QStringList Tool::lines()
{
    return output().split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

QString Tool::errors()
{
    read();
    return QString::fromUtf8(err);
}

QStringList Run::lines() const
{
    return output.split(QLatin1Char('\n'), Qt::SkipEmptyParts);
}

Bench::Bench()
{
    declare("/plant/name", "string", QStringLiteral("Riverside"), "RW", "Name");
    declare("/plant/shift", "int", 2, "RW", "Shift");
    declare("/plant/stop", "bool", false);
    declare("/plant/tank2/level", "double", 45.25, "R", "Level");
    declare("/plant/tank10/level", "double", 50.5, "R");
    declare("/plant/recipe", "object",
            QVariantMap {{QStringLiteral("name"), QStringLiteral("Lemon, \"sour\"")}}, "R");
    server.setLabel(QStringLiteral("/plant"), QStringLiteral("Bottling works"));
    socketServer.listen();
}

void Bench::declare(const char *path, const char *type, const QVariant &value, const char *access,
                    const char *label)
{
    pellix::server::KeywordServer::Keyword keyword;
    keyword.path = QString::fromUtf8(path);
    keyword.type = QString::fromUtf8(type);
    keyword.value = value;
    keyword.access = QString::fromUtf8(access);
    keyword.label = QString::fromUtf8(label);
    server.declare(keyword);
}

QString Bench::url() const
{
    return socketServer.url().toString();
}

Run Bench::run(const QStringList &arguments) const
{
    Tool tool(arguments, url());
    Run run;
    if (tool.finish())
        run.exitCode = tool.exitCode();
    run.output = tool.output();
    run.errors = tool.errors();
    return run;
}

QString Bench::file(const char *name) const
{
    return directory.filePath(QString::fromUtf8(name));
}
