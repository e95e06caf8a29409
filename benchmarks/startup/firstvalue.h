// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtQml/QQmlApplicationEngine>

// Shows the window that the engine has loaded, and runs the application until a frame with a value,
// the property "shown" of the window, is on the screen. Then prints two times in nanoseconds: that
// of the steady clock, and the processor time of this process. Returns the exit code of the
// program.
int showFirstValue(const QQmlApplicationEngine &engine);
