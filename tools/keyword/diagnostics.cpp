// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tools/keyword/diagnostics.h"

#include "programs/common/address.h"
#include "tools/keyword/output.h"
#include "tools/keyword/terminaltext.h"

#include <QtCore/QLoggingCategory>

#include <cstdio>
#include <cstring>

namespace diagnostics {

namespace {

const char transportCategory[] = "pellixclient.keyword.websocketclient";
bool isVerbose = false;
std::function<void(const QString &)> transportHandler;

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    const bool isTransport =
        context.category && std::strcmp(context.category, transportCategory) == 0;
    if (type == QtWarningMsg && isTransport && transportHandler) {
        const bool isQuoted = message.size() > 1 && message.startsWith(QLatin1Char('"'))
            && message.endsWith(QLatin1Char('"'));
        transportHandler(isQuoted ? message.mid(1).chopped(1) : message);
        if (!isVerbose)
            return;
    }
    if (type == QtWarningMsg && !isVerbose) {
        complain(message);
        return;
    }
    const QString text = programs::withoutSecrets(qFormatLogMessage(type, context, message));
    const QByteArray line = withoutHarm(text, LineEnds::Kept).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

} // namespace

void install(bool verbose)
{
    isVerbose = verbose;
    QLoggingCategory::setFilterRules(verbose ? QStringLiteral("pellixclient.*.debug=true")
                                             : QStringLiteral("*.debug=false\n*.info=false"));
    qInstallMessageHandler(handleMessage);
}

void setTransportHandler(std::function<void(const QString &)> handler)
{
    transportHandler = std::move(handler);
}

} // namespace diagnostics
