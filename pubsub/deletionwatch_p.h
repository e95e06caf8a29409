// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

// Objects of this file stand on the stack, enter a list, and leave it in their destructor. GCC 12
// and later, optimising, take that for a pointer to a local that is left behind.
#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdangling-pointer"
#endif

namespace pellix::client {

/*
    Tells a function that emits signals whether its object outlived them.

    The object keeps a DeletionWatch among its private data; the function opens a Scope on it and
    asks deleted() after each emission. Unlike a QPointer this allocates nothing and may be used
    on every bound keyword. Scopes nest with the calls that open them.
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

#if defined(__GNUC__) && !defined(__clang__) && __GNUC__ >= 12
#pragma GCC diagnostic pop
#endif
