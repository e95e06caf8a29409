// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Installs the translations of Qt, the companions, and the programs for the user's language, if
// they exist. Call this function once, after you create the application and before it shows any
// text.
void installTranslations();
