// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/quick/livereport.h"

#include "binding/keywordproxy.h"

#include <QtCore/QAbstractItemModel>
#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <algorithm>

using pellix::client::PKeywordProxy;

namespace {

// Longer keywords, such as aggregates, whose names contain a digest, do not affect the alignment of
// the others.
constexpr qsizetype widestAlignedKeyword = 40;

// Collects the values and labels from the rows of a model with keywords.
void collectRows(const QAbstractItemModel &model, LiveValues &values)
{
    const QHash<int, QByteArray> names = model.roleNames();
    const int keywordRole = names.key("keyword", -1);
    const int valueRole = names.key("value", -1);
    const int labelRole = names.key("label", -1);
    const int staleRole = names.key("stale", -1);
    if (keywordRole < 0)
        return;
    for (int row = 0; row < model.rowCount(); ++row) {
        const QModelIndex index = model.index(row, 0);
        const QString keyword = index.data(keywordRole).toString();
        const QVariant value = index.data(valueRole);
        if (!value.isNull() && !index.data(staleRole).toBool())
            values.insert_or_assign(keyword, value);
        const QString label = index.data(labelRole).toString();
        if (!label.isEmpty())
            values.insert_or_assign(keyword + QStringLiteral("/Label"), label);
    }
}

void collectValues(const QObject &parent, LiveValues &values)
{
    const auto models = parent.findChildren<QAbstractItemModel *>();
    for (const QAbstractItemModel *model : models)
        collectRows(*model, values);
    const auto proxies = parent.findChildren<PKeywordProxy *>();
    for (const PKeywordProxy *proxy : proxies) {
        if (proxy->value().isValid() && !proxy->value().isNull())
            values.insert_or_assign(proxy->keyword(), proxy->value());
    }
}

// Delegates are not QObject children of the item that shows them, so both trees are traversed.
void collectValues(const QQuickItem &item, LiveValues &values)
{
    collectValues(static_cast<const QObject &>(item), values);
    const auto children = item.childItems();
    for (const QQuickItem *child : children)
        collectValues(*child, values);
}

QString text(const QVariant &value)
{
    if (value.typeId() == QMetaType::Double)
        return QString::number(value.toDouble(), 'g', 10);
    return value.toString();
}

} // namespace

LiveValues liveValues(const QQuickWindow &window)
{
    LiveValues values;
    collectValues(static_cast<const QObject &>(window), values);
    collectValues(*window.contentItem(), values);
    return values;
}

QStringList reportLines(const LiveValues &values)
{
    qsizetype width = 0;
    for (const auto &[keyword, value] : values) {
        if (keyword.size() <= widestAlignedKeyword)
            width = std::max(width, keyword.size());
    }
    QStringList lines;
    for (const auto &[keyword, value] : values)
        lines.append(keyword.leftJustified(width) + QStringLiteral(" = ") + text(value));
    return lines;
}
