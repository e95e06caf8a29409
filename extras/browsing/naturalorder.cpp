// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/browsing/naturalorder.h"

namespace pellix::extras {

namespace {

// Only ASCII digits. They are adjacent in Unicode, so any other character is before or after all of
// them.
bool isDigit(QChar character)
{
    return character >= QLatin1Char('0') && character <= QLatin1Char('9');
}

// The number at the position, without leading zeros; moves the position past it.
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

    Compares two strings in natural order: sequences of digits of any length as numbers, and all
    other characters case-insensitively. "item 9" comes before "Item 10".

    Returns a negative number if \a a comes first, a positive number if \a b comes first, and 0 only
    for equal strings: strings that differ only in case or leading zeros are ordered, too. The order
    is strict, so it can be used for sorting, and it does not depend on the locale.
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
