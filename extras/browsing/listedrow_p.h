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

    // Of another type, or spelt in another way, it is another one.
    bool isOf(const ListedKeyword &found) const
    {
        return listed.type == found.type && listed.keyword == found.keyword;
    }

    // Watches the label, or does not any more. A label may come at once, and with it anything that
    // a handler does.
    void watchLabel(bool wanted, ClientLink &link,
                    const std::function<void(const QString &label)> &onLabel);

    ListedKeyword listed;
    QString label;
    std::unique_ptr<ClientLink::Watch> labelWatch;
};

// The order of rows: that of what is shown of them, naturally.
bool isListedBefore(const ListedRow &left, const ListedRow &right);

// The labels of a long list arrive one by one. Moving a row for each would cost the square of their
// number, and make the rows dance: the rows are put in order when the labels have come to rest, or
// have not done so for long.
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
