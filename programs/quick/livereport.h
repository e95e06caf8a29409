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

// The value of each keyword that a proxy or a model of the window has at this moment.
using LiveValues = std::map<QString, QVariant>;

LiveValues liveValues(const QQuickWindow &window);

// One line "keyword = value" for each value, with the equal signs below one another.
QStringList reportLines(const LiveValues &values);
