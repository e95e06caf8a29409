// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "extras/extrasglobal.h"
#include "extras/history/keywordhistories.h"

#include <QtCore/QAbstractItemModel>
#include <QtCore/QDateTime>
#include <QtGui/QColor>
#include <QtGui/QFont>
#include <QtQml/qqmlregistration.h>
#include <QtQuick/QQuickItem>

#include <memory>

namespace pellix::extras {

class PELLIXCLIENT_EXTRAS_QUICK_EXPORT PKeywordPlotArea : public QQuickItem
{
    Q_OBJECT
    Q_PROPERTY(pellix::extras::PKeywordHistories *histories READ histories WRITE setHistories NOTIFY
                   historiesChanged)
    Q_PROPERTY(double span READ span WRITE setSpan NOTIFY spanChanged)
    Q_PROPERTY(bool following READ following WRITE setFollowing NOTIFY followingChanged)
    Q_PROPERTY(bool steps READ steps WRITE setSteps NOTIFY stepsChanged)
    Q_PROPERTY(double minimum READ minimum WRITE setMinimum NOTIFY minimumChanged)
    Q_PROPERTY(double maximum READ maximum WRITE setMaximum NOTIFY maximumChanged)
    Q_PROPERTY(QVariantList colors READ colors WRITE setColors NOTIFY styleChanged)
    Q_PROPERTY(QColor gridColor READ gridColor WRITE setGridColor NOTIFY styleChanged)
    Q_PROPERTY(QFont labelFont READ labelFont WRITE setLabelFont NOTIFY styleChanged)
    Q_PROPERTY(double lineWidth READ lineWidth WRITE setLineWidth NOTIFY styleChanged)
    Q_PROPERTY(double fillOpacity READ fillOpacity WRITE setFillOpacity NOTIFY styleChanged)
    Q_PROPERTY(double cursorX READ cursorX WRITE setCursorX RESET resetCursor NOTIFY cursorChanged)
    Q_PROPERTY(bool cursorShown READ cursorShown NOTIFY cursorChanged)
    Q_PROPERTY(QString cursorText READ cursorText NOTIFY frameChanged)
    Q_PROPERTY(QString cursorSummary READ cursorSummary NOTIFY frameChanged)
    Q_PROPERTY(QDateTime from READ from NOTIFY frameChanged)
    Q_PROPERTY(QDateTime to READ to NOTIFY frameChanged)
    Q_PROPERTY(QString summary READ summary NOTIFY summaryChanged)
    Q_PROPERTY(double valueLabelWidth READ valueLabelWidth NOTIFY valueLabelWidthChanged)
    Q_PROPERTY(QAbstractItemModel *series READ series CONSTANT)
    Q_PROPERTY(QAbstractItemModel *valueTicks READ valueTicks CONSTANT)
    Q_PROPERTY(QAbstractItemModel *timeTicks READ timeTicks CONSTANT)
    QML_ELEMENT

public:
    explicit PKeywordPlotArea(QQuickItem *parent = nullptr);
    ~PKeywordPlotArea() override;

    PKeywordHistories *histories() const;
    void setHistories(PKeywordHistories *histories);
    double span() const;
    void setSpan(double span);
    bool following() const;
    void setFollowing(bool following);
    bool steps() const;
    void setSteps(bool steps);
    double minimum() const;
    void setMinimum(double minimum);
    double maximum() const;
    void setMaximum(double maximum);

    QVariantList colors() const;
    void setColors(const QVariantList &colors);
    QColor gridColor() const;
    void setGridColor(const QColor &color);
    QFont labelFont() const;
    void setLabelFont(const QFont &font);
    double lineWidth() const;
    void setLineWidth(double width);
    double fillOpacity() const;
    void setFillOpacity(double opacity);

    double cursorX() const;
    void setCursorX(double x);
    void resetCursor();
    bool cursorShown() const;
    QString cursorText() const;
    QString cursorSummary() const;

    QDateTime from() const;
    QDateTime to() const;
    QString summary() const;
    double valueLabelWidth() const;
    QAbstractItemModel *series() const;
    QAbstractItemModel *valueTicks() const;
    QAbstractItemModel *timeTicks() const;

    Q_INVOKABLE void pan(double pixels);
    Q_INVOKABLE void zoom(double factor, double x);
    Q_INVOKABLE void showOldest();
    Q_INVOKABLE void setShown(int row, bool shown);

Q_SIGNALS:
    void historiesChanged();
    void spanChanged();
    void followingChanged();
    void stepsChanged();
    void minimumChanged();
    void maximumChanged();
    void styleChanged();
    void cursorChanged();
    void frameChanged();
    void summaryChanged();
    void valueLabelWidthChanged();

protected:
    void itemChange(ItemChange change, const ItemChangeData &data) override;
    void geometryChange(const QRectF &newGeometry, const QRectF &oldGeometry) override;
    void updatePolish() override;
    QSGNode *updatePaintNode(QSGNode *last, UpdatePaintNodeData *data) override;

private:
    void onSampled();
    void onTick();
    void runClock();
    void moveTo(double to);

    class Private;
    const std::unique_ptr<Private> d;
};

} // namespace pellix::extras
