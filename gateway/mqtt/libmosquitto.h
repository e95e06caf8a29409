// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <mosquitto.h>

// Since version 2.1, mosquitto.h includes these declarations, and this header causes a warning.
#if LIBMOSQUITTO_VERSION_NUMBER < 2001000
#include <mqtt_protocol.h>
#endif
