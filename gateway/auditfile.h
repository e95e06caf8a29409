// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>

namespace pellix::gateway {

// A file to which lines are appended. Each line reaches the file with its write, so the file may be
// moved at any time. A failing write is logged once, until a write succeeds again.
class AuditFile : public QFile
{
    Q_OBJECT

public:
    using QFile::QFile;

    bool openToAppend();

protected:
    qint64 writeData(const char *data, qint64 size) override;

private:
    bool isFailing = false;
};

} // namespace pellix::gateway
