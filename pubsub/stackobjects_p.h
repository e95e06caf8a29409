// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Around classes whose objects live on the stack, enter a list, and leave it in their destructor.
// With optimization, GCC 12 and later mistake this for a dangling pointer to a local variable.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#define PELLIX_STACK_OBJECTS_BEGIN                                                                 \
    _Pragma("GCC diagnostic push") _Pragma("GCC diagnostic ignored \"-Wdangling-pointer\"")
#define PELLIX_STACK_OBJECTS_END _Pragma("GCC diagnostic pop")
#else
#define PELLIX_STACK_OBJECTS_BEGIN
#define PELLIX_STACK_OBJECTS_END
#endif
