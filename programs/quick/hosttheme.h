// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/qglobal.h>

QT_BEGIN_NAMESPACE
class QObject;
class QQmlEngine;
QT_END_NAMESPACE

// The components of the keyword library require an object "theme" in their context. This function
// provides the Theme of our programs there, with dark colors, and adds the import paths of their
// modules to the engine. Returns the theme, which the engine owns, or null after a warning of Qt.
QObject *provideTheme(QQmlEngine &engine);

// Sets fonts with digits of equal width, so that text does not move when a number changes.
void useSteadyFonts();
