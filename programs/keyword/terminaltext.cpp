// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/terminaltext.h"

#include "programs/keyword/output.h"

#include <algorithm>
#include <iterator>

namespace {

struct Range
{
    char32_t first;
    char32_t last;
};

// The characters that Unicode calls wide or full-width.
constexpr Range wideCharacters[] = {
    {0x1100, 0x115F},   {0x231A, 0x231B},   {0x2329, 0x232A},   {0x23E9, 0x23EC},
    {0x23F0, 0x23F0},   {0x23F3, 0x23F3},   {0x25FD, 0x25FE},   {0x2614, 0x2615},
    {0x2648, 0x2653},   {0x267F, 0x267F},   {0x2693, 0x2693},   {0x26A1, 0x26A1},
    {0x26AA, 0x26AB},   {0x26BD, 0x26BE},   {0x26C4, 0x26C5},   {0x26CE, 0x26CE},
    {0x26D4, 0x26D4},   {0x26EA, 0x26EA},   {0x26F2, 0x26F3},   {0x26F5, 0x26F5},
    {0x26FA, 0x26FA},   {0x26FD, 0x26FD},   {0x2705, 0x2705},   {0x270A, 0x270B},
    {0x2728, 0x2728},   {0x274C, 0x274C},   {0x274E, 0x274E},   {0x2753, 0x2755},
    {0x2757, 0x2757},   {0x2795, 0x2797},   {0x27B0, 0x27B0},   {0x27BF, 0x27BF},
    {0x2B1B, 0x2B1C},   {0x2B50, 0x2B50},   {0x2B55, 0x2B55},   {0x2E80, 0x303E},
    {0x3041, 0xA4CF},   {0xA960, 0xA97F},   {0xAC00, 0xD7A3},   {0xF900, 0xFAFF},
    {0xFE10, 0xFE19},   {0xFE30, 0xFE6F},   {0xFF01, 0xFF60},   {0xFFE0, 0xFFE6},
    {0x16FE0, 0x18D08}, {0x1AFF0, 0x1B2FB}, {0x1F004, 0x1F004}, {0x1F0CF, 0x1F0CF},
    {0x1F18E, 0x1F18E}, {0x1F191, 0x1F19A}, {0x1F200, 0x1F320}, {0x1F32D, 0x1F335},
    {0x1F337, 0x1F37C}, {0x1F37E, 0x1F393}, {0x1F3A0, 0x1F3CA}, {0x1F3CF, 0x1F3D3},
    {0x1F3E0, 0x1F3F0}, {0x1F3F4, 0x1F3F4}, {0x1F3F8, 0x1F43E}, {0x1F440, 0x1F440},
    {0x1F442, 0x1F4FC}, {0x1F4FF, 0x1F53D}, {0x1F54B, 0x1F54E}, {0x1F550, 0x1F567},
    {0x1F57A, 0x1F57A}, {0x1F595, 0x1F596}, {0x1F5A4, 0x1F5A4}, {0x1F5FB, 0x1F64F},
    {0x1F680, 0x1F6C5}, {0x1F6CC, 0x1F6CC}, {0x1F6D0, 0x1F6D2}, {0x1F6D5, 0x1F6DF},
    {0x1F6EB, 0x1F6EC}, {0x1F6F4, 0x1F6FC}, {0x1F7E0, 0x1F7EB}, {0x1F7F0, 0x1F7F0},
    {0x1F90C, 0x1F93A}, {0x1F93C, 0x1F945}, {0x1F947, 0x1F9FF}, {0x1FA70, 0x1FAFF},
    {0x20000, 0x3FFFD},
};

bool isWide(char32_t character)
{
    const Range *const range =
        std::lower_bound(std::begin(wideCharacters), std::end(wideCharacters), character,
                         [](const Range &range, char32_t code) { return range.last < code; });
    return range != std::end(wideCharacters) && range->first <= character;
}

bool joinsTheOneBefore(char32_t character)
{
    constexpr char32_t softHyphen = 0xAD; // shown by terminals
    constexpr Range laterJamos = {0x1160, 0x11FF}; // parts of a Korean syllable
    switch (QChar::category(character)) {
    case QChar::Mark_NonSpacing:
    case QChar::Mark_Enclosing:
        return true;
    case QChar::Other_Format:
        return character != softHyphen;
    default:
        return character >= laterJamos.first && character <= laterJamos.last;
    }
}

// Characters that set the direction of the text around them.
bool turnsDirection(char16_t character)
{
    return character == 0x061C || character == 0x200E || character == 0x200F
        || (character >= 0x202A && character <= 0x202E)
        || (character >= 0x2066 && character <= 0x2069);
}

bool isHalfCharacter(const QString &text, qsizetype position)
{
    const QChar character = text.at(position);
    if (character.isHighSurrogate())
        return position + 1 == text.size() || !text.at(position + 1).isLowSurrogate();
    return character.isLowSurrogate()
        && (position == 0 || !text.at(position - 1).isHighSurrogate());
}

} // namespace

bool isHarmful(const QString &text, qsizetype position)
{
    const QChar character = text.at(position);
    const char16_t code = character.unicode();
    if (code < 0xA0)
        return code < 0x20 || code >= 0x7F;
    const QChar::Category category = character.category();
    return category == QChar::Separator_Line || category == QChar::Separator_Paragraph
        || turnsDirection(code) || isHalfCharacter(text, position);
}

QString withoutHarm(const QString &text, LineEnds lineEnds)
{
    QString result;
    result.reserve(text.size());
    for (qsizetype i = 0; i < text.size(); ++i) {
        const QChar character = text.at(i);
        const bool isKept = lineEnds == LineEnds::Kept
            && (character == QLatin1Char('\n') || character == QLatin1Char('\t'));
        if (isKept || !isHarmful(text, i))
            result += character;
        else
            result +=
                QStringLiteral("\\u%1").arg(uint(character.unicode()), 4, 16, QLatin1Char('0'));
    }
    return result;
}

QString shownText(const QString &text)
{
    for (qsizetype i = 0; i < text.size(); ++i) {
        if (!isHarmful(text, i))
            continue;
        QByteArray quoted;
        appendJson(quoted, text);
        return QString::fromUtf8(quoted);
    }
    return text;
}

qsizetype columnsOf(const QString &text)
{
    constexpr char16_t firstAccent = 0x300; // all characters before it take one column
    if (std::all_of(text.cbegin(), text.cend(),
                    [](QChar character) { return character.unicode() < firstAccent; }))
        return text.size();
    qsizetype columns = 0;
    const auto characters = text.toUcs4();
    for (const auto character : characters) {
        if (!joinsTheOneBefore(character))
            columns += isWide(character) ? 2 : 1;
    }
    return columns;
}

QByteArray padded(const QString &text, qsizetype columns)
{
    return text.toUtf8() + QByteArray(qMax(qsizetype(0), columns - columnsOf(text)), ' ');
}
