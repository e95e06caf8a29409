// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "extras/writing/writtenvalue_p.h"

#include "extras/shared/numberlocale_p.h"

#include <QtCore/QCoreApplication>
#include <QtCore/QDateTime>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLocale>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtCore/QUuid>
#include <QtQml/QJSValue>
#include <QtQml/QJSValueIterator>

#include <cmath>
#include <limits>

using pellix::client::PKeywordValueType;

namespace pellix::extras {

namespace {

constexpr int greatestDepth = 64; // of nested lists and maps; a recursive one ends here
constexpr qsizetype longestShown = 40;

struct Text
{
    Q_DECLARE_TR_FUNCTIONS(pellix::extras::PKeywordWrite)
};

WrittenValue problem(const QString &text)
{
    return {{}, text};
}

bool isNull(const QVariant &value)
{
    return !value.isValid() || value.typeId() == QMetaType::Nullptr;
}

bool isWhole(const QVariant &value)
{
    return value.typeId() == QMetaType::LongLong || value.typeId() == QMetaType::Int;
}

bool isNumber(const QVariant &value)
{
    return isWhole(value) || value.typeId() == QMetaType::Double;
}

bool isCompound(const QVariant &value)
{
    return value.typeId() == QMetaType::QVariantList || value.typeId() == QMetaType::QVariantMap;
}

QString shortened(const QString &text)
{
    return text.size() > longestShown ? text.left(longestShown) + QChar(u'…') : text;
}

// As a user reads it, in a message.
QString shown(const QVariant &value)
{
    QString text;
    if (isWhole(value))
        return numberLocale().toString(value.toLongLong());
    if (value.typeId() == QMetaType::Double)
        return numberLocale().toString(value.toDouble(), 'g', QLocale::FloatingPointShortest);
    if (value.typeId() == QMetaType::Bool)
        return value.toBool() ? Text::tr("true") : Text::tr("false");
    if (isNull(value))
        return Text::tr("nothing");
    if (isCompound(value))
        text = QString::fromUtf8(QJsonDocument::fromVariant(value).toJson(QJsonDocument::Compact));
    else
        text = value.toString();
    text = shortened(text);
    return isCompound(value) ? text : QLatin1Char('"') + text + QLatin1Char('"');
}

// The integer value of a double; invalid, but without a problem, if it is not an integer.
WrittenValue wholeOf(double number)
{
    if (std::trunc(number) != number)
        return {};
    constexpr double limit = 9223372036854775808.0; // 2^63, the first one that does not fit
    if (number < -limit || number >= limit)
        return problem(Text::tr("%1 does not fit into 64 bits").arg(shown(number)));
    return {qlonglong(number), {}};
}

bool isExactDouble(qlonglong number)
{
    const auto rounded = double(number);
    return wholeOf(rounded).value == QVariant(number);
}

WrittenValue notANumber()
{
    return problem(Text::tr("NaN and infinity cannot be written"));
}

WrittenValue tooDeep()
{
    return problem(Text::tr("a list or an object that contains itself cannot be written"));
}

WrittenValue plainOf(const QVariant &given, int depth);

WrittenValue plainListOf(const QVariantList &list, int depth)
{
    QVariantList plain;
    plain.reserve(list.size());
    for (const QVariant &entry : list) {
        WrittenValue element = plainOf(entry, depth + 1);
        if (!element.isGood())
            return element;
        plain.append(element.value);
    }
    return {plain, {}};
}

WrittenValue plainMapOf(const QVariantMap &map, int depth)
{
    QVariantMap plain;
    for (auto member = map.cbegin(); member != map.cend(); ++member) {
        WrittenValue element = plainOf(member.value(), depth + 1);
        if (!element.isGood())
            return element;
        plain.insert(member.key(), element.value);
    }
    return {plain, {}};
}

// Values that JSON.stringify() would omit or convert to null are a problem here: nothing changes
// silently.
WrittenValue plainScriptOf(const QJSValue &value, int depth)
{
    if (depth > greatestDepth)
        return tooDeep();
    if (value.isUndefined())
        return plainOf({}, depth);
    if (value.isNull())
        return {QVariant::fromValue(nullptr), {}};
    if (value.isCallable())
        return problem(Text::tr("a function cannot be written"));
    if (value.isArray()) {
        QVariantList list;
        const quint32 length = value.property(QStringLiteral("length")).toUInt();
        for (quint32 i = 0; i < length; ++i) {
            WrittenValue element = plainScriptOf(value.property(i), depth + 1);
            if (!element.isGood())
                return element;
            list.append(element.value);
        }
        return {list, {}};
    }
    // A C++ value, such as a color, is extracted from the script value; a script object is not.
    const auto isOfScript = [&value] {
        return value.toVariant(QJSValue::RetainJSObjects).metaType()
            == QMetaType::fromType<QJSValue>();
    };
    const bool isPlainObject = value.isObject() && !value.isDate() && !value.isRegExp()
        && !value.isError() && !value.isQObject() && isOfScript();
    if (!isPlainObject)
        return plainOf(value.toVariant(), depth);
    QVariantMap map;
    QJSValueIterator members(value);
    while (members.hasNext()) {
        members.next();
        WrittenValue element = plainScriptOf(members.value(), depth + 1);
        if (!element.isGood())
            return element;
        map.insert(members.name(), element.value);
    }
    return {map, {}};
}

WrittenValue plainTextOf(const QVariant &given)
{
    if (given.typeId() == QMetaType::QDateTime) {
        // As JSON.stringify() writes a Date.
        const QDateTime time = given.toDateTime();
        return time.isValid() ? WrittenValue {time.toUTC().toString(Qt::ISODateWithMs), {}}
                              : problem(Text::tr("an invalid date cannot be written"));
    }
    if (given.metaType().flags() & QMetaType::PointerToQObject || !given.canConvert<QString>())
        return problem(
            Text::tr("a %1 cannot be written").arg(QString::fromLatin1(given.typeName())));
    return {given.toString(), {}};
}

WrittenValue plainOf(const QVariant &given, int depth)
{
    if (depth > greatestDepth)
        return tooDeep();
    if (given.metaType() == QMetaType::fromType<QJSValue>())
        return plainScriptOf(given.value<QJSValue>(), depth);
    if (given.metaType().flags() & QMetaType::IsEnumeration)
        return {given.toLongLong(), {}};
    switch (given.typeId()) {
    case QMetaType::UnknownType:
        return problem(Text::tr("undefined cannot be written"));
    case QMetaType::Nullptr:
    case QMetaType::Bool:
    case QMetaType::QString:
    case QMetaType::LongLong:
        return {given, {}};
    case QMetaType::Int:
    case QMetaType::UInt:
    case QMetaType::Short:
    case QMetaType::UShort:
    case QMetaType::SChar:
    case QMetaType::UChar:
    case QMetaType::Char:
    case QMetaType::Long:
        return {given.toLongLong(), {}};
    case QMetaType::ULong:
    case QMetaType::ULongLong: {
        const quint64 number = given.toULongLong();
        return number <= quint64(std::numeric_limits<qint64>::max())
            ? WrittenValue {qlonglong(number), {}}
            : problem(
                Text::tr("%1 does not fit into 64 bits").arg(numberLocale().toString(number)));
    }
    case QMetaType::Float:
    case QMetaType::Double:
        return std::isfinite(given.toDouble()) ? WrittenValue {given.toDouble(), {}} : notANumber();
    case QMetaType::QStringList:
    case QMetaType::QVariantList:
        return plainListOf(given.toList(), depth);
    case QMetaType::QVariantHash:
    case QMetaType::QVariantMap:
        return plainMapOf(given.toMap(), depth);
    case QMetaType::QJsonValue: {
        const QJsonValue json = given.toJsonValue();
        return json.isNull() ? WrittenValue {QVariant::fromValue(nullptr), {}}
                             : plainOf(json.toVariant(), depth);
    }
    case QMetaType::QJsonArray:
        return plainListOf(given.toJsonArray().toVariantList(), depth);
    case QMetaType::QJsonObject:
        return plainMapOf(given.toJsonObject().toVariantMap(), depth);
    default:
        // Such as QList<int>, which QML has for a property of that type
        if (given.canConvert<QVariantList>() && !given.canConvert<QString>())
            return plainListOf(given.toList(), depth);
        return plainTextOf(given);
    }
}

// Direction marks, which some locales put around signs, do not affect a number.
QString withoutMarks(QString text)
{
    static const QRegularExpression marks(QStringLiteral("[\\x{061C}\\x{200E}\\x{200F}]"));
    return text.remove(marks);
}

QString withPlainDigits(const QString &text)
{
    QString plain;
    for (const char32_t character : text.toUcs4()) {
        if (QChar::category(character) == QChar::Number_DecimalDigit)
            plain += QString::number(QChar::digitValue(character));
        else
            plain += QChar::fromUcs4(character);
    }
    return plain;
}

// Converts a number in the user's locale to the C locale. Numbers in the C locale do not change.
QString plainNumberText(const QString &given)
{
    const QLocale locale;
    QString text = withoutMarks(given).trimmed();
    // First, since it contains digits in some locales. QString ignores the case of letters beyond
    // the first 65,536 characters only in some versions.
    const QString exponential = withoutMarks(locale.exponential());
    for (const QString &spelling : {exponential, exponential.toLower(), exponential.toUpper()})
        text.replace(spelling, QLatin1String("e"));
    const QString point = locale.decimalPoint();
    if (text.count(point) == 1 && !text.contains(QLatin1Char('.')))
        text.replace(point, QLatin1String("."));
    text.replace(withoutMarks(locale.negativeSign()), QLatin1String("-"));
    text.replace(withoutMarks(locale.positiveSign()), QLatin1String("+"));
    text.replace(QChar(u'\u2212'), QLatin1Char('-')); // which is used in typesetting in any locale
    return withPlainDigits(text);
}

// A number in the C locale or in the user's locale, but without group separators.
WrittenValue numberOf(const QString &given)
{
    static const QRegularExpression whole(QStringLiteral("^[+-]?[0-9]+$"));
    static const QRegularExpression any(
        QStringLiteral("^[+-]?([0-9]+\\.?[0-9]*|\\.[0-9]+)([eE][+-]?[0-9]+)?$"));
    const QString text = plainNumberText(given);
    if (!any.match(text).hasMatch())
        return {};
    if (whole.match(text).hasMatch()) {
        bool fits = false;
        const qlonglong number = text.toLongLong(&fits);
        return fits ? WrittenValue {number, {}}
                    : problem(Text::tr("%1 does not fit into 64 bits").arg(text));
    }
    const double number = text.toDouble();
    return std::isfinite(number) ? WrittenValue {number, {}}
                                 : problem(Text::tr("%1 is too large").arg(text));
}

// A plain value as a number; invalid, but without a problem, if it is not a number.
WrittenValue numberOf(const QVariant &plain)
{
    if (isNumber(plain))
        return {plain, {}};
    if (plain.typeId() == QMetaType::Bool)
        return {qlonglong(plain.toBool()), {}};
    return plain.typeId() == QMetaType::QString ? numberOf(plain.toString()) : WrittenValue {};
}

WrittenValue intOf(const QVariant &plain)
{
    WrittenValue number = numberOf(plain);
    if (number.value.typeId() == QMetaType::Double)
        number = wholeOf(number.value.toDouble());
    if (number.isGood() && !number.value.isValid())
        return problem(Text::tr("%1 is not an integer").arg(shown(plain)));
    return number;
}

WrittenValue doubleOf(const QVariant &plain)
{
    WrittenValue number = numberOf(plain);
    if (number.isGood() && !number.value.isValid())
        return problem(Text::tr("%1 is not a number").arg(shown(plain)));
    if (isWhole(number.value) && !isExactDouble(number.value.toLongLong()))
        return problem(Text::tr("%1 cannot be represented exactly as a floating-point number")
                           .arg(shown(number.value)));
    return number;
}

WrittenValue boolOf(const QVariant &plain)
{
    if (plain.typeId() == QMetaType::Bool)
        return {plain, {}};
    if (isNumber(plain) && (plain.toDouble() == 0 || plain.toDouble() == 1))
        return {plain.toDouble() == 1, {}};
    const QString text =
        plain.typeId() == QMetaType::QString ? plain.toString().trimmed() : QString();
    if (text == QLatin1String("true") || text == QLatin1String("1"))
        return {true, {}};
    if (text == QLatin1String("false") || text == QLatin1String("0"))
        return {false, {}};
    return problem(Text::tr("%1 is neither true nor false").arg(shown(plain)));
}

// Like String() in JavaScript.
WrittenValue textOf(const QVariant &plain)
{
    if (plain.typeId() == QMetaType::QString)
        return {plain, {}};
    if (isWhole(plain))
        return {QString::number(plain.toLongLong()), {}};
    if (plain.typeId() == QMetaType::Double)
        return {QString::number(plain.toDouble(), 'g', QLocale::FloatingPointShortest), {}};
    if (plain.typeId() == QMetaType::Bool)
        return {plain.toBool() ? QStringLiteral("true") : QStringLiteral("false"), {}};
    return problem(Text::tr("%1 is not a string").arg(shown(plain)));
}

// The first integer of a valid JSON text that does not fit into 64 bits. QJsonDocument would round
// it.
QString integerBeyond64Bits(const QString &json)
{
    static const QRegularExpression stringOrNumber(
        QStringLiteral(R"("(?:[^"\\]++|\\.)*+"|-?[0-9]+([.eE][0-9.eE+-]*)?)"));
    for (auto found = stringOrNumber.globalMatch(json); found.hasNext();) {
        const QRegularExpressionMatch match = found.next();
        const QString text = match.captured();
        if (match.hasCaptured(1) || text.startsWith(QLatin1Char('"')))
            continue; // a number with a fraction or an exponent, or a string
        bool fits = false;
        static_cast<void>(text.toLongLong(&fits));
        if (!fits)
            return text;
    }
    return {};
}

// The JSON text of a list, a map, or null. Invalid, but without a problem, if it is none of these.
WrittenValue jsonOf(const QString &text)
{
    const QString json = text.trimmed();
    if (json == QLatin1String("null"))
        return {QVariant::fromValue(nullptr), {}};
    if (!json.startsWith(QLatin1Char('{')) && !json.startsWith(QLatin1Char('[')))
        return {};
    const QByteArray utf8 = json.toUtf8();
    QJsonParseError error;
    const auto document = QJsonDocument::fromJson(utf8, &error);
    if (error.error == QJsonParseError::NoError) {
        const QString integer = integerBeyond64Bits(json);
        if (!integer.isEmpty())
            return problem(Text::tr("%1 does not fit into 64 bits").arg(shortened(integer)));
        return {document.toVariant(), {}};
    }
    const auto character = QString::fromUtf8(utf8.left(error.offset)).size(); // the last one read
    return problem(
        Text::tr("not valid JSON at character %1: %2").arg(character).arg(error.errorString()));
}

WrittenValue objectOf(const QVariant &plain)
{
    if (isCompound(plain) || isNull(plain))
        return {plain, {}};
    WrittenValue json =
        plain.typeId() == QMetaType::QString ? jsonOf(plain.toString()) : WrittenValue {};
    if (json.value.isValid() || !json.isGood())
        return json;
    return problem(Text::tr("%1 is neither an object nor a list").arg(shown(plain)));
}

} // namespace

WrittenValue plainValue(const QVariant &given)
{
    return plainOf(given, 0);
}

WrittenValue valueForType(const QVariant &plain, PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_INT:
        return intOf(plain);
    case PKeywordValueType::KVT_DOUBLE:
        return doubleOf(plain);
    case PKeywordValueType::KVT_BOOL:
        return boolOf(plain);
    case PKeywordValueType::KVT_STRING:
        return textOf(plain);
    case PKeywordValueType::KVT_OBJECT:
        return objectOf(plain);
    case PKeywordValueType::KVT_NOPROP:
        break;
    }
    return {plain, {}};
}

WrittenValue amountForType(const QVariant &plain, PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_STRING:
        return problem(Text::tr("nothing can be added to a string"));
    case PKeywordValueType::KVT_OBJECT:
        return problem(Text::tr("nothing can be added to an object"));
    default:
        return valueForType(plain, type);
    }
}

WrittenValue sumOf(const QVariant &value, const QVariant &amount)
{
    if (value.typeId() == QMetaType::Bool)
        return {value.toBool() != amount.toBool(), {}};
    if (!isNumber(value) || !isNumber(amount))
        return {};
    if (!isWhole(value) || !isWhole(amount))
        return {value.toDouble() + amount.toDouble(), {}};
    qlonglong sum = 0;
    if (qAddOverflow(value.toLongLong(), amount.toLongLong(), &sum))
        return problem(Text::tr("the sum does not fit into 64 bits"));
    return {sum, {}};
}

bool isSameValue(const QVariant &sent, const QVariant &came)
{
    if (isNull(sent) || isNull(came))
        return isNull(sent) && isNull(came);
    if (isNumber(sent) && isNumber(came)) {
        if (isWhole(sent) && isWhole(came))
            return sent.toLongLong() == came.toLongLong();
        const double number = sent.toDouble();
        // A machine may store a number in single precision.
        return number == came.toDouble()
            || (std::abs(number) <= double(std::numeric_limits<float>::max())
                && double(float(number)) == came.toDouble());
    }
    return QJsonValue::fromVariant(sent) == QJsonValue::fromVariant(came);
}

} // namespace pellix::extras
