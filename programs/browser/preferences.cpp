// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/browser/preferences.h"

#include "client/keywordtypes.h"

#include <QtCore/QDateTime>
#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QStandardPaths>

using pellix::client::PKeywordAggregation;

namespace {

constexpr QLatin1String pinnedKey("pinned");
constexpr QLatin1String aggregationKey("aggregation");
constexpr QLatin1String darkKey("dark");
constexpr QLatin1String windowSizeKey("windowSize");

constexpr int defaultAggregation = static_cast<int>(PKeywordAggregation::Max);
constexpr QSize defaultSize(1200, 800);
constexpr QSize smallestSize(800, 600);
constexpr QSize largestSize(16384, 16384);

} // namespace

Preferences::Preferences(const QString &fileName, QObject *parent)
    : QObject(parent),
      settings(fileName.isEmpty() ? std::make_unique<QSettings>()
                                  : std::make_unique<QSettings>(fileName, QSettings::IniFormat))
{ }

QStringList Preferences::pinned() const
{
    return settings->value(pinnedKey).toStringList();
}

void Preferences::setPinned(const QStringList &pinned)
{
    if (pinned == this->pinned())
        return;
    settings->setValue(pinnedKey, pinned);
    Q_EMIT pinnedChanged();
}

void Preferences::pin(const QString &keyword)
{
    QStringList list = pinned();
    if (keyword.isEmpty() || list.contains(keyword))
        return;
    list.append(keyword);
    setPinned(list);
}

void Preferences::unpin(const QString &keyword)
{
    QStringList list = pinned();
    list.removeAll(keyword);
    setPinned(list);
}

int Preferences::aggregation() const
{
    const int stored = settings->value(aggregationKey, defaultAggregation).toInt();
    const bool known = stored > static_cast<int>(PKeywordAggregation::No)
        && stored <= static_cast<int>(PKeywordAggregation::Or);
    return known ? stored : defaultAggregation; // the file may have been edited by hand
}

void Preferences::setAggregation(int aggregation)
{
    if (aggregation == this->aggregation())
        return;
    settings->setValue(aggregationKey, aggregation);
    Q_EMIT aggregationChanged();
}

bool Preferences::dark() const
{
    return settings->value(darkKey, true).toBool();
}

void Preferences::setDark(bool dark)
{
    if (dark == this->dark())
        return;
    settings->setValue(darkKey, dark);
    Q_EMIT darkChanged();
}

QSize Preferences::windowSize() const
{
    const QSize stored = settings->value(windowSizeKey, defaultSize).toSize();
    return stored.isValid() ? stored.expandedTo(smallestSize).boundedTo(largestSize) : defaultSize;
}

void Preferences::setWindowSize(const QSize &size)
{
    if (size == windowSize())
        return;
    settings->setValue(windowSizeKey, size);
    Q_EMIT windowSizeChanged();
}

QString Preferences::exportFile(const QString &baseName) const
{
    QString folder = QStandardPaths::writableLocation(QStandardPaths::DocumentsLocation);
    if (!QDir(folder).exists())
        folder = QDir::homePath();
    const QString time = QDateTime::currentDateTime().toString(QStringLiteral("yyyyMMdd-HHmmss"));
    return QDir(folder).filePath(
        QStringLiteral("%1-%2.csv")
            .arg(baseName.isEmpty() ? QStringLiteral("keyword") : baseName, time));
}

bool Preferences::fileExists(const QString &path) const
{
    return QFileInfo::exists(path);
}
