// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/history/keywordhistory.h"

#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtGui/QColor>
#include <QtQml/qqmlregistration.h>
#include <QtQuick/QQuickPaintedItem>

QT_BEGIN_NAMESPACE
class QFontMetricsF;
QT_END_NAMESPACE

// Draws the samples of a history over the time, the newest at the right edge: a line for numbers,
// steps for a bool. It is drawn 30 times a second at the most, however often the keyword changes.
class HistoryPlot : public QQuickPaintedItem
{
    Q_OBJECT
    Q_PROPERTY(pellix::extras::PKeywordHistory *history READ history WRITE setHistory NOTIFY
                   historyChanged)
    Q_PROPERTY(int span READ span WRITE setSpan NOTIFY spanChanged)
    Q_PROPERTY(bool steps READ steps WRITE setSteps NOTIFY stepsChanged)
    Q_PROPERTY(QColor lineColor MEMBER lineColor NOTIFY styleChanged)
    Q_PROPERTY(QColor gridColor MEMBER gridColor NOTIFY styleChanged)
    Q_PROPERTY(QColor textColor MEMBER textColor NOTIFY styleChanged)
    Q_PROPERTY(int fontSize MEMBER fontSize NOTIFY styleChanged)
    QML_ELEMENT

public:
    explicit HistoryPlot(QQuickItem *parent = nullptr);

    pellix::extras::PKeywordHistory *history() const;
    void setHistory(pellix::extras::PKeywordHistory *history);
    int span() const; // seconds from the left edge to the right one
    void setSpan(int span);
    bool steps() const;
    void setSteps(bool steps);

    void paint(QPainter *painter) override;

Q_SIGNALS:
    void historyChanged();
    void spanChanged();
    void stepsChanged();
    void styleChanged();
    void redrawn(); // a new picture was asked for

protected:
    void itemChange(ItemChange change, const ItemChangeData &data) override;

private:
    struct Axes;

    void redraw();
    void updateClock();
    Axes axes(const QFontMetricsF &metrics) const;
    void paintAxes(QPainter *painter, const Axes &axes, const QFontMetricsF &metrics) const;
    void paintSamples(QPainter *painter, const Axes &axes) const;

    QPointer<pellix::extras::PKeywordHistory> source;
    QTimer clock;
    int seconds = 60;
    bool stepped = false;
    QColor lineColor = Qt::darkCyan;
    QColor gridColor = Qt::gray;
    QColor textColor = Qt::black;
    int fontSize = 11; // pixels
};
