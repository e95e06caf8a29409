// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/pingcommand.h"

using namespace pellix::client;

namespace {

constexpr int defaultCount = 4;

double rounded(double milliseconds)
{
    return double(qRound64(milliseconds * 1000)) / 1000;
}

QByteArray shown(double milliseconds)
{
    return QByteArray::number(milliseconds, 'f', 3);
}

} // namespace

PingCommand::PingCommand(const Settings &settings, Output *output)
    : ClientCommand(settings, output), wanted(settings.count.value_or(defaultCount))
{
    pause.setSingleShot(true);
    pause.setInterval(settings.interval);
    connect(&pause, &QTimer::timeout, this, &PingCommand::send);
    connect(client(), &PKeywordClient::keyIndexResponse, this, &PingCommand::onResponse);
}

void PingCommand::begin()
{
    send();
}

void PingCommand::send()
{
    ++sent;
    answered();
    sinceRequest.start();
    underWay = client()->sendKeyIndex(settings.arguments.value(0), PKeywordValueType::KVT_NOPROP,
                                      PKeywordValueAccess::KVA_NONE);
}

void PingCommand::onResponse(const QUuid &id)
{
    const double time = double(sinceRequest.nsecsElapsed()) / 1e6;
    if (isFinished() || id != underWay)
        return;
    underWay = {};
    answered();
    least = answers == 0 ? time : qMin(least, time);
    most = qMax(most, time);
    sum += time;
    ++answers;
    if (output->isText())
        output->line("reply " + QByteArray::number(sent) + ": " + shown(time) + " ms");
    else
        output->row({{"sequence", sent}, {"milliseconds", rounded(time)}});
    wait();
}

void PingCommand::wait()
{
    if (sent < wanted)
        pause.start();
    else
        conclude(answers == sent ? ExitCode::Success : ExitCode::TimedOut);
}

void PingCommand::onTimeout()
{
    answered();
    if (underWay.isNull())
        return; // between two requests
    underWay = {};
    complain(QStringLiteral("no reply to request %1").arg(sent));
    wait();
}

void PingCommand::interrupt()
{
    if (sent == 0)
        ClientCommand::interrupt();
    else
        conclude(answers > 0 ? ExitCode::Success : ExitCode::Interrupted);
}

void PingCommand::conclude(ExitCode code)
{
    const double average = answers > 0 ? sum / answers : 0;
    if (output->isText()) {
        QByteArray line =
            QByteArray::number(sent) + " sent, " + QByteArray::number(answers) + " answered";
        if (answers > 0)
            line +=
                ", min/avg/max " + shown(least) + '/' + shown(average) + '/' + shown(most) + " ms";
        output->line(line);
    } else if (output->format() == Format::Json) {
        const auto figure = [this](double time) {
            return answers > 0 ? QJsonValue(rounded(time)) : QJsonValue();
        };
        output->row({{"sent", sent},
                     {"answered", answers},
                     {"min", figure(least)},
                     {"avg", figure(average)},
                     {"max", figure(most)}});
    }
    finish(code);
}
