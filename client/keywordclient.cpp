// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "client/keywordclient.h"

#include "client/eventreader_p.h"
#include "client/jsonnames_p.h"

#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QLoggingCategory>

#include <algorithm>
#include <initializer_list>

namespace pellix::client {

namespace {

Q_LOGGING_CATEGORY(lcKeywordClient, "pellixclient.keyword.keywordclient", QtWarningMsg)

QString aggregationToString(PKeywordAggregation aggregation)
{
    switch (aggregation) {
    case PKeywordAggregation::No:
        break;
    case PKeywordAggregation::Min:
        return QStringLiteral("min");
    case PKeywordAggregation::Max:
        return QStringLiteral("max");
    case PKeywordAggregation::Equal:
        return QStringLiteral("eql");
    case PKeywordAggregation::Sum:
        return QStringLiteral("sum");
    case PKeywordAggregation::And:
        return QStringLiteral("bool_and");
    case PKeywordAggregation::Or:
        return QStringLiteral("bool_or");
    }
    return QString();
}

// A null text means that the filter is not sent.
QString accessFilterToString(PKeywordValueAccess access)
{
    switch (access) {
    case PKeywordValueAccess::KVA_NONE:
        return QStringLiteral("N");
    case PKeywordValueAccess::KVA_READ:
        return QStringLiteral("R");
    case PKeywordValueAccess::KVA_READ_META:
        return QStringLiteral("RM");
    case PKeywordValueAccess::KVA_WRITE:
        return QStringLiteral("W");
    case PKeywordValueAccess::KVA_READWRITE:
        return QStringLiteral("RW");
    }
    return QString();
}

// Required: "object" is understood in events but never sent as a filter. Null means that the filter
// is not sent.
QString typeFilterToString(PKeywordValueType type)
{
    switch (type) {
    case PKeywordValueType::KVT_NOPROP:
    case PKeywordValueType::KVT_OBJECT:
        break;
    case PKeywordValueType::KVT_BOOL:
        return QStringLiteral("bool");
    case PKeywordValueType::KVT_STRING:
        return QStringLiteral("string");
    case PKeywordValueType::KVT_DOUBLE:
        return QStringLiteral("double");
    case PKeywordValueType::KVT_INT:
        return QStringLiteral("int");
    }
    return QString();
}

/*
    Builds the text of a command: compact JSON, with the members in the order of their names. The
    result is byte for byte that of QJsonDocument, but written directly: a document would cost
    thirty times as much, and each bound keyword sends several commands.

    The fields have to be added in the order of their names, which are plain texts. As in a
    QJsonObject, a field with an undefined value is left out.
*/
class Command
{
public:
    explicit Command(QLatin1String name)
    {
        text.reserve(128);
        append({QLatin1String("{\"cmd\":\""), name, QLatin1String("\",\"payload\":{")});
    }

    void add(QLatin1String field, const QString &value)
    {
        addName(field);
        const qsizetype size = text.size();
        char *to = grow(value.size() + 2);
        *to++ = '"';
        for (const QChar character : value) {
            if (!isPlain(character)) {
                text.truncate(size);
                addValue(value);
                return;
            }
            *to++ = char(character.unicode());
        }
        *to = '"';
    }
    void add(QLatin1String field, const QJsonValue &value)
    {
        if (value.isUndefined())
            return;
        addName(field);
        addValue(value);
    }

    QByteArray finished() { return text.append("}}"); }

    // Whether the character needs no escape in JSON. Those of keywords need none.
    static bool isPlain(QChar character)
    {
        const char16_t code = character.unicode();
        return code >= 0x20 && code < 0x7f && code != u'"' && code != u'\\';
    }

private:
    // Adds room at the end of the text and returns its address.
    char *grow(qsizetype size)
    {
        const qsizetype before = text.size();
        text.resize(before + size);
        return text.data() + before;
    }
    void append(std::initializer_list<QLatin1String> parts)
    {
        qsizetype size = 0;
        for (const QLatin1String part : parts)
            size += part.size();
        char *to = grow(size);
        for (const QLatin1String part : parts)
            to = std::copy(part.begin(), part.end(), to);
    }

    void addName(QLatin1String field)
    {
        Q_ASSERT(lastField.isEmpty() || lastField < field);
        lastField = field;
        append({QLatin1String(text.endsWith('{') ? "\"" : ",\""), field, QLatin1String("\":")});
    }

    // What QJsonDocument writes within the brackets of an array.
    void addValue(const QJsonValue &value)
    {
        const QByteArray array = QJsonDocument(QJsonArray {value}).toJson(QJsonDocument::Compact);
        text.append(array.constData() + 1, array.size() - 2);
    }

    QByteArray text;
    QLatin1String lastField;
};

// The command whose only field is a keyword. Each bound keyword sends several of them: if no
// character needs an escape, the text is written at once.
QByteArray keywordCommand(QLatin1String name, const QString &keyword)
{
    const QStringView characters(keyword);
    if (!std::all_of(characters.begin(), characters.end(), Command::isPlain)) {
        Command command(name);
        command.add(QLatin1String("keyword"), keyword);
        return command.finished();
    }
    constexpr QLatin1String begin("{\"cmd\":\"");
    constexpr QLatin1String middle("\",\"payload\":{\"keyword\":\"");
    constexpr QLatin1String end("\"}}");
    QByteArray text(begin.size() + name.size() + middle.size() + keyword.size() + end.size(),
                    Qt::Uninitialized);
    char *to = text.data();
    for (const QLatin1String part : {begin, name, middle})
        to = std::copy(part.begin(), part.end(), to);
    to = std::transform(characters.begin(), characters.end(), to,
                        [](QChar character) { return char(character.unicode()); });
    std::copy(end.begin(), end.end(), to);
    return text;
}

} // namespace

class Q_DECL_HIDDEN PKeywordClient::Private
{
public:
    JsonNames names;
    // Not a smart pointer: it must remain readable while the publisher is being destroyed, since
    // subscribers emit signals then and their owners may read it.
    PPublisher *publisher = new PPublisher;
};

/*!
    \class pellix::client::PKeywordClient
    \inmodule PellixClientKeyword
    \inheaderfile client/keywordclient.h
    \ingroup PellixClientKeywordClasses
    \brief The PKeywordClient class encodes commands to a keyword server and decodes its messages.

    It is the base class of the transports, PInProcessKeywordClient and PWebSocketKeywordClient. It
    has no transport itself: a plain PKeywordClient cannot send anything. In QML, it is the type of
    properties that accept any client; it cannot be created there.

    The client publishes the values that the server sends on publisher(), with the keyword as the
    topic and a PKeywordValue in the variant. The usual receiver is PKeywordProxy. When the last
    subscriber of a keyword unsubscribes, the client sends a destroy command for it.

    The client does not queue, repeat, or wait for anything: a send function returns whether the
    transport accepted the command. Messages that the client cannot decode are silently discarded.
*/

/*!
    Constructs a client and its publisher. If \a parent is given, it owns the client.
*/
PKeywordClient::PKeywordClient(QObject *parent) : QObject(parent), d(std::make_unique<Private>())
{
    connect(
        d->publisher, &PPublisher::topicRemoved, d->publisher,
        [this](const QString &topic) { sendKeyDestroy(topic); }, Qt::DirectConnection);
}

/*!
    Destroys the client and its publisher. The subscribers are detached and emit their change
    signals.
*/
PKeywordClient::~PKeywordClient()
{
    delete d->publisher;
}

/*!
    Returns the publisher on which the client publishes the values that it receives. The client owns
    the publisher. Its active flag is set while the server can be reached.
*/
PPublisher *PKeywordClient::publisher() const
{
    return d->publisher;
}

/*!
    Subscribes to \a keyword: the server sends its value, and every change from now on. With
    \a children, the server computes the value from these keywords, as defined by \a aggregation;
    PKeywordAggregation::No then means PKeywordAggregation::Equal.

    Returns whether the transport took the command; \c false when \a keyword is empty.
*/
bool PKeywordClient::sendKeyCreate(const QString &keyword, const QStringList &children,
                                   PKeywordAggregation aggregation)
{
    if (keyword.isEmpty())
        return false;

    // Required: a create with children always names an aggregation.
    if (aggregation == PKeywordAggregation::No && !children.isEmpty())
        aggregation = PKeywordAggregation::Equal;
    if (aggregation == PKeywordAggregation::No && children.isEmpty())
        return sendCommand(keywordCommand(QLatin1String("keyCreateOrUpdate"), keyword));
    Command command(QLatin1String("keyCreateOrUpdate"));
    if (aggregation != PKeywordAggregation::No)
        command.add(QLatin1String("aggregation"), aggregationToString(aggregation));
    if (!children.isEmpty())
        command.add(QLatin1String("children"), QJsonArray::fromStringList(children));
    command.add(QLatin1String("keyword"), keyword);
    return sendCommand(command.finished());
}

/*!
    Requests that the server set \a keyword to \a value.

    The value is converted to JSON with QJsonValue::fromVariant(); an invalid variant becomes null.
    An undefined QJsonValue is omitted from the command. The event that the server sends shows
    whether it accepted the value.

    Returns whether the transport took the command; \c false when \a keyword is empty.
*/
bool PKeywordClient::sendKeyUpdate(const QString &keyword, const QVariant &value)
{
    if (keyword.isEmpty())
        return false;

    Command command(QLatin1String("keyUpdate"));
    command.add(QLatin1String("keyword"), keyword);
    command.add(QLatin1String("value"), QJsonValue::fromVariant(value));
    return sendCommand(command.finished());
}

/*!
    Requests a relative write of \a keyword: the server adds \a value to a number, and toggles a
    Boolean value if \a value is \c true. Otherwise, the function behaves like sendKeyUpdate() and
    has the same return value.
*/
bool PKeywordClient::sendKeyUpdateRelative(const QString &keyword, const QVariant &value)
{
    if (keyword.isEmpty())
        return false;

    Command command(QLatin1String("keyUpdate"));
    command.add(QLatin1String("keyword"), keyword);
    command.add(QLatin1String("value"), QJsonValue::fromVariant(value));
    command.add(QLatin1String("valueChangeMode"), QStringLiteral("relative"));
    return sendCommand(command.finished());
}

/*!
    Unsubscribes from \a keyword. The client does this automatically when the last subscriber of a
    keyword unsubscribes.

    Returns whether the transport took the command; \c false when \a keyword is empty.
*/
bool PKeywordClient::sendKeyDestroy(const QString &keyword)
{
    if (keyword.isEmpty())
        return false;

    return sendCommand(keywordCommand(QLatin1String("keyDestroy"), keyword));
}

/*!
    Queries the children of \a query, a keyword path; an empty path stands for the top level.
    \a filterType restricts the reply to one type, where KVT_NOPROP and KVT_OBJECT mean any type.
    \a filterAccess restricts it to one access, and is always sent.

    Returns the identifier of the request, which keyIndexResponse() passes with the reply, or a null
    identifier if the transport did not accept the command.
*/
QUuid PKeywordClient::sendKeyIndex(const QString &query, PKeywordValueType filterType,
                                   PKeywordValueAccess filterAccess)
{
    const QUuid id = QUuid::createUuid();
    const QStringList parts = QString(query)
                                  .replace(QLatin1Char('#'), QLatin1Char('/'))
                                  .split(QLatin1Char('/'), Qt::SkipEmptyParts);

    Command command(QLatin1String("keyIndex"));
    if (const QString access = accessFilterToString(filterAccess); !access.isNull())
        command.add(QLatin1String("access"), access);
    if (!parts.isEmpty())
        command.add(QLatin1String("factory"), parts.at(0));
    if (parts.size() > 1)
        command.add(QLatin1String("instance"), parts.at(1));
    if (parts.size() > 2)
        command.add(QLatin1String("keyQuery"), QJsonArray::fromStringList(parts.mid(2)));
    if (const QString type = typeFilterToString(filterType); !type.isNull())
        command.add(QLatin1String("type"), type);
    command.add(QLatin1String("uuid"), id.toString());
    return sendCommand(command.finished()) ? id : QUuid();
}

/*!
    \fn void PKeywordClient::keyIndexResponse(QUuid id, const QVariant &data)

    This signal is emitted when the reply to the query with the identifier \a id arrives. \a data is
    the complete message of the server as a QJsonObject, with its members "cmd" and "payload".
*/

/*!
    Decodes one message of the server, \a data, and publishes the event or emits the reply that it
    contains. Transports call this function for each message that they receive.

    Returns whether the message was valid. Nothing is logged for an invalid message.
*/
bool PKeywordClient::receiveCommand(const QByteArray &data)
{
    qCDebug(lcKeywordClient) << "receive" << data;

    QString keyword;
    PKeywordValue event;
    if (readEvent(data, &d->names, &keyword, &event)) {
        d->publisher->publish(keyword, QVariant::fromValue(event));
        return true;
    }

    const QJsonObject message = QJsonDocument::fromJson(data).object();
    const auto command = message.constFind(QLatin1String("cmd"));
    const auto payloadValue = message.constFind(QLatin1String("payload"));
    if (command == message.constEnd() || payloadValue == message.constEnd())
        return false;

    const QString name = command->toString(); // empty unless it is a string
    const QJsonObject payload = payloadValue->toObject();
    if (name == QLatin1String("keyEvent")) {
        keyword = payload.value(QLatin1String("keyword")).toString();
        event.value = payload.value(QLatin1String("value")).toVariant();
        event.type = valueTypeFromString(payload.value(QLatin1String("type")).toString());
        event.connected = payload.value(QLatin1String("connected")).toBool();
        event.online = payload.value(QLatin1String("online")).toBool();
        event.consistent = payload.value(QLatin1String("consistent")).toBool();
        event.error = payload.value(QLatin1String("error")).toBool();
        d->publisher->publish(keyword, QVariant::fromValue(event));
        return true;
    }
    if (name == QLatin1String("keyIndex")) {
        const QJsonObject request = payload.value(QLatin1String("request")).toObject();
        const QUuid id(request.value(QLatin1String("uuid")).toString());
        if (id.isNull())
            return false;
        Q_EMIT keyIndexResponse(id, QVariant::fromValue(message));
        return true;
    }
    return false;
}

/*!
    Sends one command, \a data, to the server, and returns whether the transport accepted it.
    Transports override this function. The base class has no transport and returns \c false.
*/
bool PKeywordClient::sendCommand(const QByteArray &data)
{
    Q_UNUSED(data)
    return false;
}

} // namespace pellix::client
