// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QString>

// The completion file for a shell: "bash", "zsh", or "fish".
QString completionFile(const QString &shell);
