// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>
#include <QtCore/QStringList>
#include <QtCore/QVariant>

#include <map>

QT_BEGIN_NAMESPACE
class QQuickWindow;
QT_END_NAMESPACE

// The current value of each keyword in the proxies and models of the window.
using LiveValues = std::map<QString, QVariant>;

LiveValues liveValues(const QQuickWindow &window);

// One line "keyword = value" for each value, with aligned equals signs.
QStringList reportLines(const LiveValues &values);
