// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

namespace pellix::gateway {

// Makes a level of a keyword from a level of a topic, or from another name. "/" and "#", which
// would separate levels, and an empty name become "_". "Label", which the protocol reserves,
// becomes "Label_".
QString keywordLevel(const QString &name);

// The path of the keyword for a topic, such as "/hall/lamp".
QString keywordPath(const QString &topic);

// Whether a message can have this topic: it is not empty, not too long, and has no wildcards.
bool isTopicName(const QString &topic);

} // namespace pellix::gateway
