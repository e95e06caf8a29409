// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "programs/keyword/writtenvalue.h"

#include "programs/keyword/eventprinter.h"

#include <QtCore/QJsonDocument>
#include <QtCore/QRegularExpression>

#include <cmath>

using namespace pellix::client;

namespace {

bool isWholeNumber(const QString &text)
{
    static const QRegularExpression whole(QStringLiteral("^[+-]?[0-9]+$"));
    return whole.match(text).hasMatch();
}

bool isNumber(const QString &text)
{
    static const QRegularExpression number(
        QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?$"));
    return number.match(text).hasMatch();
}

// Removes a plus sign and leading zeros.
QString plainDigits(QString number)
{
    static const QRegularExpression zeros(QStringLiteral("^0+(?=[0-9])"));
    const bool isNegative = number.startsWith(QLatin1Char('-'));
    if (isNegative || number.startsWith(QLatin1Char('+')))
        number.remove(0, 1);
    number.remove(zeros);
    return isNegative && number != QLatin1String("0") ? QLatin1Char('-') + number : number;
}

WrittenValue none()
{
    return {};
}

WrittenValue problem(const QString &text, const QString &reason)
{
    return {{}, QStringLiteral("'%1' %2").arg(text, reason)};
}

WrittenValue boolOf(const QString &text)
{
    if (text == QLatin1String("true"))
        return {true, {}};
    return text == QLatin1String("false") ? WrittenValue {false, {}} : none();
}

WrittenValue intOf(const QString &text)
{
    bool fits = false;
    const qlonglong number = text.toLongLong(&fits);
    if (fits)
        return {number, {}};
    return isWholeNumber(text) ? problem(text, QStringLiteral("does not fit into 64 bits"))
                               : none();
}

WrittenValue doubleOf(const QString &text)
{
    bool isDouble = false;
    const double number = text.toDouble(&isDouble);
    if (!isDouble || !std::isfinite(number)) // JSON has no other numbers
        return isNumber(text) ? problem(text, QStringLiteral("is too large for a double")) : none();
    if (!isWholeNumber(text))
        return {number, {}};
    const QString exact = QString::fromLatin1(QByteArray::number(number, 'f', 0));
    if (exact != plainDigits(text))
        return problem(
            text,
            QStringLiteral("cannot be represented exactly as a double; the nearest value is ")
                + exact);
    bool fits = false;
    const qlonglong whole = text.toLongLong(&fits);
    return {fits ? QVariant(whole) : QVariant(number), {}};
}

// The position of the quotation mark that closes the string.
qsizetype endOfString(const QString &json, qsizetype begin)
{
    qsizetype at = begin + 1;
    while (at < json.size() && json.at(at) != QLatin1Char('"'))
        at += json.at(at) == QLatin1Char('\\') ? 2 : 1;
    return at;
}

qsizetype endOfNumber(const QString &json, qsizetype begin)
{
    qsizetype at = begin + 1;
    while (at < json.size() && QStringView(u"0123456789.eE+-").contains(json.at(at)))
        ++at;
    return at;
}

// Qt's parser rounds integers that do not fit into 64 bits, and does not report it.
QString problemOfNumbers(const QString &json)
{
    QString problem;
    for (qsizetype at = 0; at < json.size() && problem.isEmpty(); ++at) {
        if (json.at(at) == QLatin1Char('"'))
            at = endOfString(json, at);
        if (!QStringView(u"-0123456789").contains(json.at(at)))
            continue;
        const QString number = json.mid(at, endOfNumber(json, at) - at);
        if (!intOf(number).value.isValid())
            problem = doubleOf(number).problem;
        at += number.size() - 1;
    }
    return problem;
}

WrittenValue objectOf(const QString &text)
{
    const QJsonDocument document = QJsonDocument::fromJson(text.toUtf8());
    if (document.isNull())
        return none();
    const QString problem = problemOfNumbers(text);
    return problem.isEmpty() ? WrittenValue {document.toVariant(), {}} : WrittenValue {{}, problem};
}

using Convert = WrittenValue (*)(const QString &);

bool decides(const WrittenValue &written)
{
    return written.value.isValid() || !written.problem.isEmpty();
}

WrittenValue asItLooks(const QString &text)
{
    for (const Convert convert : {boolOf, intOf, doubleOf, objectOf}) {
        WrittenValue written = convert(text);
        if (decides(written))
            return written;
    }
    return {text, {}};
}

// Returns null for strings, because every text is a valid string.
Convert converterTo(const QString &type)
{
    static const QHash<QString, Convert> converters = {
        {QStringLiteral("bool"), boolOf},
        {QStringLiteral("int"), intOf},
        {QStringLiteral("double"), doubleOf},
        {QStringLiteral("object"), objectOf},
    };
    return converters.value(type);
}

} // namespace

WrittenValue writtenValue(const QString &text, const QString &type)
{
    if (type.isEmpty())
        return asItLooks(text);
    const Convert convert = converterTo(type);
    WrittenValue written = convert ? convert(text) : WrittenValue {text, {}};
    return decides(written) ? written : problem(text, QStringLiteral("is not of type ") + type);
}

WrittenValue writtenValue(const QString &text, PKeywordValueType type)
{
    if (type == PKeywordValueType::KVT_STRING)
        return {text, {}};
    if (const Convert convert = converterTo(typeName(type))) {
        WrittenValue written = convert(text);
        if (decides(written))
            return written;
    }
    return asItLooks(text);
}
