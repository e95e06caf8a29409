// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include <QtCore/QByteArray>
#include <QtCore/QByteArrayView>
#include <QtCore/QString>
#include <QtCore/QVariant>

#include <cstring>

namespace pellix::client {

class JsonNames;

/*
    Walks over a JSON text without building a document of it. Each function steps over what it takes
    and returns whether it could.

    A function returns false if the text is not JSON, or if JSON leaves its meaning open (a member
    that occurs twice, a string that is not UTF-8, a number beyond the range of a double). The whole
    text is then parsed by QJsonDocument. The result of a successful function is exactly that of
    QJsonDocument, including the type in the variant.
*/
class JsonScanner
{
public:
    // As it stands in the text, between its quotes.
    struct String
    {
        QByteArrayView raw;
        bool isPlain = true; // printable ASCII without escapes

        // Returns false if it is not valid.
        bool decode(QString *text) const;
    };

    JsonScanner(const QByteArray &text, JsonNames *names)
        : at(text.constData()), end(at + text.size()), names(names)
    { }

    bool take(char character)
    {
        if (next() != character)
            return false;
        ++at;
        return true;
    }
    // The next character that is not blank; 0 at the end.
    char next()
    {
        while (at != end && (*at == ' ' || *at == '\n' || *at == '\t' || *at == '\r'))
            ++at;
        return at == end ? '\0' : *at;
    }
    bool isAtEnd() { return next() == '\0' && at == end; }

    // Takes exactly these bytes, without white space before them.
    bool takeBytes(QByteArrayView bytes)
    {
        if (end - at < bytes.size() || std::memcmp(at, bytes.data(), size_t(bytes.size())) != 0)
            return false;
        at += bytes.size();
        return true;
    }
    bool takeString(String *string);
    bool takeValue(QVariant *value, int depth = 0);
    bool skipValue(int depth = 0);
    // Anything but true and false counts as false.
    bool takeFlag(bool *flag);

private:
    bool takeName(QString *name);
    bool takeNumber(QVariant *value);
    bool takeArray(QVariant *value, int depth);
    bool takeObject(QVariant *value, int depth);

    const char *at;
    const char *const end;
    JsonNames *const names;
};

} // namespace pellix::client
