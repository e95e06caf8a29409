// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/diagnostics.h"

#include "programs/common/address.h"
#include "programs/keyword/output.h"
#include "programs/keyword/terminaltext.h"

#include <QtCore/QLoggingCategory>

#include <cstdio>

namespace diagnostics {

namespace {

bool isVerbose = false;

void handleMessage(QtMsgType type, const QMessageLogContext &context, const QString &message)
{
    if (type == QtWarningMsg && !isVerbose) {
        complain(message);
        return;
    }
    const QString text = programs::withoutSecrets(qFormatLogMessage(type, context, message));
    const QByteArray line = withoutHarm(text, LineEnds::Kept).toLocal8Bit() + '\n';
    std::fwrite(line.constData(), 1, size_t(line.size()), stderr);
}

} // namespace

// The connection itself reports what the transport would warn about.
void install(bool verbose)
{
    isVerbose = verbose;
    QLoggingCategory::setFilterRules(verbose
                                         ? QStringLiteral("pellixclient.*.debug=true")
                                         : QStringLiteral("*.debug=false\n*.info=false\n"
                                                          "pellixclient.keyword.connection=false"));
    qInstallMessageHandler(handleMessage);
}

} // namespace diagnostics
