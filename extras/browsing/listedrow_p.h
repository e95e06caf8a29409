// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/browsing/listedkeyword_p.h"
#include "extras/shared/clientlink_p.h"
#include "extras/shared/rowupdate_p.h"

#include <QtCore/QTimer>

#include <functional>
#include <memory>

namespace pellix::extras {

// The row of a listed keyword, in a list or in a tree.
struct ListedRow : UpdatedRow
{
    const QString &shownName() const { return label.isEmpty() ? listed.name : label; }

    // With another type or another spelling, it is another row.
    bool isOf(const ListedKeyword &found) const
    {
        return listed.type == found.type && listed.keyword == found.keyword;
    }

    // Subscribes to the label, or unsubscribes. A label may arrive inside the call, and handlers
    // may do anything.
    void watchLabel(bool wanted, ClientLink &link,
                    const std::function<void(const QString &label)> &onLabel);

    ListedKeyword listed;
    QString label;
    std::unique_ptr<ClientLink::Watch> labelWatch;
};

// The order of rows: the natural order of their displayed names.
bool isListedBefore(const ListedRow &left, const ListedRow &right);

// The labels of a long list arrive one by one. Moving a row for each would have quadratic cost, and
// the rows would jump: the rows are sorted when no more labels arrive, or after some time.
class LabelRest
{
public:
    LabelRest(QObject *context, const std::function<void()> &settle);

    void begin();
    void stop();

private:
    QTimer rest;
    QTimer patience;
};

} // namespace pellix::extras
