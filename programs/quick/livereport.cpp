// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/quick/livereport.h"

#include "binding/keywordproxy.h"

#include <QtQuick/QQuickItem>
#include <QtQuick/QQuickWindow>

#include <algorithm>

using pellix::client::PKeywordProxy;

namespace {

// Longer keywords (aggregated ones carry a digest) do not push the others apart.
constexpr qsizetype widestAlignedKeyword = 40;

void collectProxies(const QObject &parent, LiveValues &values)
{
    const auto proxies = parent.findChildren<PKeywordProxy *>();
    for (const PKeywordProxy *proxy : proxies) {
        if (proxy->value().isValid() && !proxy->value().isNull())
            values.insert_or_assign(proxy->keyword(), proxy->value());
    }
}

// Delegates are no QObject children of the item they are shown in, so both trees are walked.
void collectProxies(const QQuickItem &item, LiveValues &values)
{
    collectProxies(static_cast<const QObject &>(item), values);
    const auto children = item.childItems();
    for (const QQuickItem *child : children)
        collectProxies(*child, values);
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
    collectProxies(static_cast<const QObject &>(window), values);
    collectProxies(*window.contentItem(), values);
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
