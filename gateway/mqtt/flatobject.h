// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "gateway/mqtt/payload.h"

#include <QtCore/QByteArrayView>

#include <array>
#include <optional>

namespace pellix::gateway {

// The members of a JSON object as most devices send it: a few plain strings and short numbers,
// without nested objects or lists. It is read without a JSON document, with the same result.
class FlatObject
{
public:
    // Returns nothing for any other payload, valid or not; the caller then parses it as a document.
    // The bytes must outlive this object.
    static std::optional<FlatObject> read(QByteArrayView json);

    // Returns nothing if there is no member with this name.
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
