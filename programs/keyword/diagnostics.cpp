// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/diagnostics.h"

#include "programs/common/address.h"
#include "programs/keyword/output.h"
#include "programs/keyword/terminaltext.h"

#include <QtCore/QLoggingCategory>
#include <QtCore/QRegularExpression>

#include <cstdio>
#include <cstring>

namespace diagnostics {

namespace {

const char transportCategory[] = "pellixclient.keyword.websocketclient";
bool isVerbose = false;
std::function<void(const QString &)> transportHandler;

// QWebSocket's errors begin with the names of its functions, "QWebSocketPrivate::processHandshake:
// ".
QString withoutFunctionNames(QString message)
{
    static const QRegularExpression name(QStringLiteral("\\bQWebSocket\\w*::\\w+: "));
    return message.remove(name);
}

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &original)
{
    const QString message = withoutFunctionNames(original);
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

QLoggingCategory::CategoryFilter ruledFilter = nullptr;

// By the rules, but for what tells that an attempt to connect has failed.
void filterCategory(QLoggingCategory *category)
{
    ruledFilter(category);
    if (std::strcmp(category->categoryName(), transportCategory) == 0)
        category->setEnabled(QtWarningMsg, true);
}

} // namespace

void install(bool verbose)
{
    isVerbose = verbose;
    QLoggingCategory::setFilterRules(verbose ? QStringLiteral("pellixclient.*.debug=true")
                                             : QStringLiteral("*.debug=false\n*.info=false"));
    ruledFilter = QLoggingCategory::installFilter(filterCategory);
    qInstallMessageHandler(handleMessage);
}

void setTransportHandler(std::function<void(const QString &)> handler)
{
    transportHandler = std::move(handler);
}

} // namespace diagnostics
