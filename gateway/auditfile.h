// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QFile>

namespace pellix::gateway {

// A file to which lines are added. Each is in the file once it has been written, so that the file
// may be moved away at any time. A write that fails is logged once, until one succeeds.
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
