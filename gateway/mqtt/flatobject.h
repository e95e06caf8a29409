// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/payload.h"

#include <QtCore/QByteArrayView>

#include <array>
#include <optional>

namespace pellix::gateway {

// The members of a JSON object as most devices send it: few members, none of which is an object or
// a list, plain texts and short numbers. It is read without a JSON document, and to the same end.
class FlatObject
{
public:
    // None if it is anything else, good or bad: then a document has to tell. The bytes have to live
    // as long as this.
    static std::optional<FlatObject> read(QByteArrayView json);

    // None if there is no member of that name.
    std::optional<Payload> member(QByteArrayView name) const;

private:
    struct Member
    {
        QByteArrayView name;
        QByteArrayView value;
    };
    static constexpr int most = 16;

    std::array<Member, most> members;
    int count = 0;
};

} // namespace pellix::gateway
