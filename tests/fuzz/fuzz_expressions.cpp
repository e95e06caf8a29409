// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

// Expressions that are set step by step, with a proxy bound to each. The first byte of a line
// determines the meaning of the rest: v a value, p a postfix, a another value of the list, c an
// empty list, m an aggregation, and a number the expression that the proxy shows.

#include "binding/keywordexpression.h"
#include "binding/keywordproxy.h"
#include "tests/fuzz/fuzz.h"
#include "tests/support/recordingclient.h"

#include <QtCore/QCryptographicHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>

using namespace pellix::client;

namespace {

QString withPostfix(const QString &value, const QString &postfix)
{
    return value + (postfix.isEmpty() ? QString() : QLatin1Char('/') + postfix);
}

struct Watched
{
    explicit Watched(const PAbstractKeywordExpression *expression) : expression(expression)
    {
        QObject::connect(expression, &PAbstractKeywordExpression::keywordChanged, expression,
                         [this] { ++keywordChanges; });
        QObject::connect(expression, &PAbstractKeywordExpression::keywordChildrenChanged,
                         expression, [this] { ++childrenChanges; });
    }

    void check(const QString &expectedKeyword, const QStringList &expectedChildren = {})
    {
        expectedKeywordChanges += expectedKeyword != keyword;
        expectedChildrenChanges += expectedChildren != children;
        keyword = expectedKeyword;
        children = expectedChildren;
        FUZZ_CHECK(expression->keyword() == keyword);
        FUZZ_CHECK(expression->keywordChildren() == children);
        FUZZ_CHECK(expression->valid() == !keyword.isEmpty());
        FUZZ_CHECK(keywordChanges == expectedKeywordChanges);
        FUZZ_CHECK(childrenChanges == expectedChildrenChanges);
    }

    const PAbstractKeywordExpression *const expression;
    QString keyword;
    QStringList children;
    int keywordChanges = 0;
    int childrenChanges = 0;
    int expectedKeywordChanges = 0;
    int expectedChildrenChanges = 0;
};

} // namespace

void runInput(const QByteArray &input)
{
    RecordingClient client;
    PKeywordExpression plain;
    PPostfixKeywordExpression suffixed;
    PListPostfixKeywordExpression list;
    Watched watchedPlain(&plain);
    Watched watchedSuffixed(&suffixed);
    Watched watchedList(&list);
    PKeywordProxy proxy;
    proxy.setClient(&client);
    PAbstractKeywordExpression *shown = nullptr;

    QString value;
    QString postfix;
    QStringList values;
    int aggregation = 0;

    Lines lines(input);
    while (!lines.atEnd()) {
        const QString line = lines.text();
        const QString rest = line.mid(1);
        client.sent.clear();
        switch (line.isEmpty() ? '\0' : line.at(0).toLatin1()) {
        case 'v':
            value = rest;
            break;
        case 'p':
            postfix = rest;
            break;
        case 'a':
            if (values.size() == 32)
                continue;
            values.append(rest);
            break;
        case 'c':
            values.clear();
            break;
        case 'm':
            aggregation = rest.toInt();
            break;
        case '0':
            shown = nullptr;
            break;
        case '1':
            shown = &plain;
            break;
        case '2':
            shown = &suffixed;
            break;
        case '3':
            shown = &list;
            break;
        default:
            continue;
        }
        plain.setValue(value);
        watchedPlain.check(value);

        suffixed.setValue(value);
        watchedSuffixed.check(value.isEmpty() || suffixed.postfix().isEmpty()
                                  ? value + suffixed.postfix()
                                  : value + QLatin1Char('/') + suffixed.postfix());
        suffixed.setPostfix(postfix);
        watchedSuffixed.check(value.isEmpty() ? postfix : withPostfix(value, postfix));

        // The list is checked after each setter.
        const auto checkList = [&] {
            QStringList children;
            const QStringList current = list.values();
            for (const QString &one : current)
                children += withPostfix(one, list.postfix());
            if (children.size() < 2) {
                watchedList.check(children.isEmpty() ? QString() : children.constFirst());
                return;
            }
            const QString text = children.join(QString()) + QLatin1Char('/')
                + QString::number(int(list.aggregation()));
            const QByteArray digest =
                QCryptographicHash::hash(text.toUtf8(), QCryptographicHash::Sha256).toHex();
            watchedList.check(QLatin1String("/store/aggregated/") + QString::fromLatin1(digest),
                              children);
        };
        list.setValues(values);
        checkList();
        list.setPostfix(postfix);
        checkList();
        list.setAggregation(PKeywordAggregation(aggregation));
        checkList();
        FUZZ_CHECK(list.values() == values);
        FUZZ_CHECK(list.postfix() == postfix);
        FUZZ_CHECK(int(list.aggregation()) == aggregation);

        proxy.setKeywordExpression(shown);
        FUZZ_CHECK(proxy.keyword() == (shown ? shown->keyword() : QString()));
        for (const QString &command : std::as_const(client.sent))
            FUZZ_CHECK(!command.contains(QLatin1String(R"("keyword":"")")));
        if (shown && shown->valid()) {
            client.sent.clear();
            proxy.setClient(nullptr);
            proxy.setClient(&client); // subscribes again, with everything in the expression
            bool asked = false;
            for (const QString &command : std::as_const(client.sent)) {
                const QJsonObject message = QJsonDocument::fromJson(command.toUtf8()).object();
                const QJsonObject payload = message.value(QLatin1String("payload")).toObject();
                if (message.value(QLatin1String("cmd")).toString()
                    != QLatin1String("keyCreateOrUpdate"))
                    continue;
                asked = true;
                FUZZ_CHECK(payload.value(QLatin1String("keyword")).toString()
                           == reread(shown->keyword()));
                FUZZ_CHECK(payload.value(QLatin1String("children")).toArray().size()
                           == shown->keywordChildren().size());
                FUZZ_CHECK(payload.contains(QLatin1String("aggregation"))
                           == (shown == &list && (aggregation != 0 || values.size() > 1)));
            }
            FUZZ_CHECK(asked);
        }
    }
}
