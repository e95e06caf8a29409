// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Runs a fuzz target with files and folders of inputs, without libFuzzer.

#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>

#include <cstddef>
#include <cstdint>
#include <cstdio>

extern "C" int LLVMFuzzerInitialize(int *argc, char ***argv);
extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size);

namespace {

bool replay(const QString &name)
{
    QFile file(name);
    if (!file.open(QIODevice::ReadOnly)) {
        std::fprintf(stderr, "%s: %s\n", qPrintable(name), qPrintable(file.errorString()));
        return false;
    }
    std::fprintf(stderr, "Running: %s\n", qPrintable(name)); // names the input of a crash
    const QByteArray input = file.readAll();
    LLVMFuzzerTestOneInput(reinterpret_cast<const uint8_t *>(input.constData()),
                           size_t(input.size()));
    return true;
}

} // namespace

int main(int argc, char **argv)
{
    LLVMFuzzerInitialize(&argc, &argv);
    int inputs = 0;
    for (int i = 1; i < argc; ++i) {
        const QString name = QString::fromLocal8Bit(argv[i]);
        if (!QFileInfo(name).isDir()) {
            if (!replay(name))
                return 1;
            ++inputs;
            continue;
        }
        QDirIterator files(name, QDir::Files);
        while (files.hasNext()) {
            if (!replay(files.next()))
                return 1;
            ++inputs;
        }
    }
    if (inputs == 0)
        std::fprintf(stderr, "no inputs\n");
    return inputs == 0;
}
