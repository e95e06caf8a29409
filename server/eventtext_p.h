// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/record_p.h"

#include <QtCore/QByteArray>
#include <QtCore/QStringView>

namespace pellix::server {

// The event that tells what is known of a keyword: compact JSON, byte for byte what QJsonDocument
// writes, but without a document, which would cost ten times as much.
QByteArray eventText(QStringView keyword, const Record &record);

// A text in quotes, as JSON has it.
void appendQuoted(QByteArray &json, QStringView text);

} // namespace pellix::server
