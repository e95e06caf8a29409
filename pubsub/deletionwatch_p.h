// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "pubsub/stackobjects_p.h"

PELLIX_STACK_OBJECTS_BEGIN

namespace pellix::client {

/*
    Lets a function that emits signals check whether its object still exists afterwards.

    The object keeps a DeletionWatch among its private data; the function opens a Scope on it and
    asks deleted() after each emission. Scopes nest with the calls that open them.

    Unlike a QPointer, it allocates nothing, so classes of which there are many objects, such as one
    for each bound keyword, use it. Where one allocation for each object does not matter, a QPointer
    to the object serves as well.
*/
class DeletionWatch
{
public:
    DeletionWatch() = default;
    DeletionWatch(const DeletionWatch &) = delete;
    DeletionWatch &operator=(const DeletionWatch &) = delete;
    ~DeletionWatch()
    {
        for (Scope *scope = innermost; scope; scope = scope->outer)
            scope->watch = nullptr;
    }

    class Scope
    {
    public:
        explicit Scope(DeletionWatch &watch) : watch(&watch), outer(watch.innermost)
        {
            watch.innermost = this;
        }
        Scope(const Scope &) = delete;
        Scope &operator=(const Scope &) = delete;
        ~Scope()
        {
            if (watch)
                watch->innermost = outer;
        }

        bool deleted() const { return !watch; }

    private:
        friend class DeletionWatch;
        DeletionWatch *watch;
        Scope *const outer;
    };

private:
    Scope *innermost = nullptr;
};

} // namespace pellix::client

PELLIX_STACK_OBJECTS_END
