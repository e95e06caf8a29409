// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QPointer>

namespace pellix::client {

/*
    A pointer, in a property, to an object with another owner.

    It reads as null once the object has been destroyed. The property still counts as set, so that
    setting null afterwards is a change: holds(nullptr) is false until then.
*/
template <typename Object> class NotOwned
{
public:
    bool holds(const Object *other) const { return other ? pointer == other : !set; }

    NotOwned &operator=(Object *object)
    {
        pointer = object;
        set = object != nullptr;
        return *this;
    }

    Object *data() const { return pointer.data(); }
    operator Object *() const { return pointer.data(); }
    Object *operator->() const { return pointer.data(); }

private:
    QPointer<Object> pointer;
    bool set = false;
};

} // namespace pellix::client
