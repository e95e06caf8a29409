// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/qglobal.h>

QT_BEGIN_NAMESPACE
class QObject;
class QQmlEngine;
QT_END_NAMESPACE

// The components of the keyword library look for an object "theme" in their context. This makes the
// Theme of our programs known there, in dark colours, and lets the engine find their modules.
// Returns the theme, which the engine owns, or null after a warning by Qt.
QObject *provideTheme(QQmlEngine &engine);

// Fonts whose digits all have one width: numbers do not jump when they change.
void useSteadyFonts();
