// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <mosquitto.h>

// Part of the other header since 2.1, which warns about this one.
#if LIBMOSQUITTO_VERSION_NUMBER < 2001000
#include <mqtt_protocol.h>
#endif
