// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/distinguishedname_p.h"

#include <QtCore/QDebug>
#include <QtCore/QStringDecoder>
#include <QtCore/QStringList>
#include <QtNetwork/QSslCertificate>

#include <algorithm>

namespace pellix::server {

namespace {

class Parser
{
public:
    explicit Parser(const QByteArray &text) : text(text) { }

    std::optional<DistinguishedName> parse()
    {
        DistinguishedName name;
        do {
            const QByteArray type = takeType();
            const QByteArray value = takeValue();
            QStringDecoder decode(QStringDecoder::Utf8);
            const QString decoded = decode(value);
            if (bad || type.isEmpty() || decoded.isEmpty() || decode.hasError())
                return std::nullopt;
            name.append({type, decoded});
        } while (takeSeparator());
        return bad ? std::nullopt : std::make_optional(name);
    }

private:
    bool atEnd() const { return at >= text.size(); }
    char current() const { return atEnd() ? '\0' : text.at(at); }
    bool isSeparator() const { return current() == ',' || current() == ';' || current() == '+'; }

    void skipBlanks()
    {
        while (current() == ' ')
            ++at;
    }

    QByteArray takeType()
    {
        skipBlanks();
        const qsizetype equals = text.indexOf('=', at);
        QByteArray type = text.mid(at, equals - at).trimmed().toUpper();
        bad = bad || equals < 0 || !std::all_of(type.cbegin(), type.cend(), [](char c) {
                  return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9') || c == '.' || c == '-';
              });
        at = bad ? text.size() : equals + 1;
        skipBlanks();
        return type;
    }

    QByteArray takeValue()
    {
        if (current() == '#') { // BER, for types that nobody maps to a role
            bad = true;
            return {};
        }
        return current() == '"' ? takeQuoted() : takePlain();
    }

    QByteArray takeQuoted()
    {
        QByteArray value;
        for (++at; !atEnd() && current() != '"';)
            value += takeCharacter();
        bad = bad || atEnd();
        ++at;
        skipBlanks();
        return value;
    }

    QByteArray takePlain()
    {
        QByteArray value;
        qsizetype significant = 0; // blanks at the end do not count, unless they are escaped
        while (!atEnd() && !isSeparator()) {
            const bool isBlank = current() == ' ';
            bad = bad || current() == '"';
            value += takeCharacter();
            if (!isBlank)
                significant = value.size();
        }
        return value.left(significant);
    }

    char takeCharacter()
    {
        if (current() != '\\')
            return text.at(at++);
        const QByteArray digits = text.mid(at + 1, 2);
        const QByteArray byte = QByteArray::fromHex(digits);
        if (byte.size() == 1 && byte.toHex() == digits.toLower()) {
            at += 3;
            return byte.front();
        }
        bad = bad || digits.isEmpty();
        at = qMin(at + 2, text.size());
        return digits.isEmpty() ? '\0' : digits.front();
    }

    bool takeSeparator()
    {
        if (bad || atEnd())
            return false;
        bad = !isSeparator();
        ++at;
        return !bad;
    }

    const QByteArray text;
    qsizetype at = 0;
    bool bad = false;
};

template <typename Values>
DistinguishedName collected(const QList<QByteArray> &types, const Values &values)
{
    DistinguishedName name;
    for (const QByteArray &type : types) {
        for (const QString &value : values(type))
            name.append({type.toUpper(), value});
    }
    return name;
}

QStringList valuesOf(const DistinguishedName &name, const QByteArray &type)
{
    QStringList values;
    for (const auto &[other, value] : name) {
        if (other == type)
            values.append(value);
    }
    values.sort();
    return values;
}

} // namespace

std::optional<DistinguishedName> parseDistinguishedName(const QByteArray &text)
{
    return Parser(text).parse();
}

DistinguishedName subjectOf(const QSslCertificate &certificate)
{
    return collected(certificate.subjectInfoAttributes(),
                     [&](const QByteArray &type) { return certificate.subjectInfo(type); });
}

DistinguishedName issuerOf(const QSslCertificate &certificate)
{
    return collected(certificate.issuerInfoAttributes(),
                     [&](const QByteArray &type) { return certificate.issuerInfo(type); });
}

bool fits(const DistinguishedName &subject, const DistinguishedName &pattern)
{
    return std::all_of(pattern.cbegin(), pattern.cend(), [&](const auto &attribute) {
        return valuesOf(subject, attribute.first) == valuesOf(pattern, attribute.first);
    });
}

QString toText(const DistinguishedName &name)
{
    QStringList attributes;
    for (const auto &[type, value] : name)
        attributes.append(QString::fromUtf8(type) + QLatin1Char('=') + value);
    QString text;
    QDebug(&text).nospace() << attributes.join(QLatin1String(", ")); // escapes control characters
    return text;
}

} // namespace pellix::server
