// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "tests/fuzz/fuzz.h"

#include <QtCore/QCoreApplication>

#include <cstddef>
#include <cstdint>

// libFuzzer finds both functions by name.
extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv)
{
    // It is never deleted: libFuzzer may end the process, and the static objects of Qt Network,
    // which are created later, must not be destroyed earlier.
    static const auto *const application = new QCoreApplication(*argc, *argv);
    Q_UNUSED(application);
    qInstallMessageHandler([](QtMsgType type, const QMessageLogContext &, const QString &message) {
        if (type == QtDebugMsg || type == QtInfoMsg)
            return;
        std::fprintf(stderr, "logged: %s\n", qPrintable(message));
        std::abort();
    });
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    runInput(QByteArray(reinterpret_cast<const char *>(data), qsizetype(size)));
    return 0;
}
