// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

// Whether the text is an address that a WebSocket client can try: ws://host:port or
// wss://host:port.
bool isWebSocketAddress(const QString &text);
