// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "programs/browser/childorder.h"

#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>
#include <QtQml/qqmlregistration.h>

// Has the rows sorted and filtered anew only when their source has come to rest. The labels of a
// long list arrive one by one, and moving a row for each of them would cost the square of their
// number, and make the rows dance.
class QuietSorting : public QObject
{
    Q_OBJECT
    Q_PROPERTY(ChildOrder *model READ model WRITE setModel NOTIFY modelChanged)
    QML_ELEMENT

public:
    explicit QuietSorting(QObject *parent = nullptr);

    ChildOrder *model() const;
    void setModel(ChildOrder *model);

Q_SIGNALS:
    void modelChanged();
    void settled(); // the order is right, as far as the source is known

private:
    void follow(QAbstractItemModel *source);
    void onSourceReset();
    void onDataChanged();
    void settle();

    QPointer<ChildOrder> sorted;
    QPointer<QAbstractItemModel> followed;
    QTimer rest;
    QTimer patience;
    bool unsettled = false;
};
