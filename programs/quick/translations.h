// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Has the application show the texts of Qt, of the companions and of the programs in the user's
// language, as far as there are translations. Call it once there is an application, before any
// text.
void installTranslations();
