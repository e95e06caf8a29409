// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

#include <functional>

// What the libraries log. Standard error is for the user of the program: without verbose only
// warnings get there, and what the transport says about its connection goes to the handler instead,
// which puts it into words. QT_LOGGING_RULES overrides all of it.
namespace diagnostics {

void install(bool verbose);
void setTransportHandler(std::function<void(const QString &problem)> handler);

} // namespace diagnostics
