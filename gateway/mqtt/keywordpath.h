// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

namespace pellix::gateway {

// One level of a keyword, out of a level of a topic or another name: "/" and "#" would end it and
// become "_", as an empty one does; KEYWORD/Label is the protocol's, so "Label" becomes "Label_".
QString keywordLevel(const QString &name);

// The levels of a topic as those of a keyword, such as "/hall/lamp".
QString keywordPath(const QString &topic);

// Whether a message can have it as its topic: not empty, not too long, and no wildcards.
bool isTopicName(const QString &topic);

} // namespace pellix::gateway
