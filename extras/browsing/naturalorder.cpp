// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/naturalorder.h"

namespace pellix::extras {

namespace {

// Of the digits that keywords have. Next to one another in Unicode, they are all before or all
// after any other character.
bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// The number at the position, without leading zeros; the position moves behind it.
QStringView takeNumber(QStringView text, qsizetype &position)
{
    while (position < text.size() && text.at(position) == QLatin1Char('0'))
        ++position;
    const qsizetype start = position;
    while (position < text.size() && isDigit(text.at(position)))
        ++position;
    return text.mid(start, position - start);
}

int compareNumbers(QStringView a, QStringView b)
{
    if (a.size() != b.size())
        return a.size() < b.size() ? -1 : 1;
    return a.compare(b);
}

} // namespace

/*!
    \fn int pellix::extras::compareNaturally(QStringView a, QStringView b)
    \relates pellix::extras::PKeywordChildren

    Compares two texts as people order them: runs of digits by the number that they are, however
    long, and the rest without regard to case. "item 9" comes before "Item 10".

    Returns a negative number if \a a comes first, a positive one if \a b does, and 0 only for equal
    texts: those that differ in case or leading zeros alone have an order, too. It is the same in
    every locale, and a strict order, so it can be sorted by.
*/
int compareNaturally(QStringView a, QStringView b)
{
    qsizetype i = 0;
    qsizetype j = 0;
    while (i < a.size() && j < b.size()) {
        if (isDigit(a.at(i)) && isDigit(b.at(j))) {
            const QStringView number = takeNumber(a, i);
            if (const int order = compareNumbers(number, takeNumber(b, j)))
                return order;
            continue;
        }
        const QChar left = a.at(i++).toCaseFolded();
        const QChar right = b.at(j++).toCaseFolded();
        if (left != right)
            return left < right ? -1 : 1;
    }
    if (i < a.size() || j < b.size())
        return i < a.size() ? 1 : -1;
    return a.compare(b);
}

} // namespace pellix::extras
