// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/soak/gateway/gatewayprocess.h"

#include "tests/support/waitfor.h"

#include <QtCore/QFile>
#include <QtCore/QJsonDocument>

GatewayProcess::GatewayProcess(const QString &program) : program(program)
{
    process.setLog(folder.filePath(QStringLiteral("log")), false);
    QObject::connect(&process, &ChildProcess::lineRead, &process, [this](const QByteArray &line) {
        const QByteArray start = "listening on ";
        if (line.startsWith(start))
            listensOn = QString::fromUtf8(line.mid(start.size()));
    });
}

bool GatewayProcess::start(const QJsonObject &configuration)
{
    QFile file(folder.filePath(QStringLiteral("gateway.json")));
    const QByteArray json = QJsonDocument(configuration).toJson();
    if (!file.open(QIODevice::WriteOnly) || file.write(json) != json.size() || !file.flush())
        return false;
    return process.start(program, {QStringLiteral("--config"), file.fileName()})
        && waitFor([this] { return !listensOn.isEmpty() || !isRunning(); }) && isRunning();
}

QByteArray GatewayProcess::log() const
{
    QFile file(folder.filePath(QStringLiteral("log")));
    return file.open(QIODevice::ReadOnly) ? file.readAll().trimmed() : QByteArray();
}

int GatewayProcess::connections() const
{
    return int(log().count("): connected"));
}

QString GatewayProcess::lastLogLine() const
{
    return QString::fromUtf8(log().split('\n').constLast());
}
