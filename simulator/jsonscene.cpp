// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "simulator/jsonscene.h"

#include "server/keywordserver.h"
#include "simulator/animator_p.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QFile>
#include <QtCore/QHash>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>
#include <QtCore/QJsonObject>
#include <QtCore/QPointer>
#include <QtCore/QTimer>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace pellix::simulator {

using server::KeywordServer;

namespace {

constexpr double defaultRate = 10.0; // Hz, for the animators
constexpr int greatestCount = 1000000; // of generated keywords
constexpr quint32 greatestSeed = std::numeric_limits<quint32>::max();
constexpr double shortestPeriod = 0.001; // s
constexpr double greatestNumber = 1e15; // for animators; every int up to it is exact as a double

// No exceptions: the first problem is stored with its location, and the rest is skipped.
class Problem
{
public:
    bool found() const { return !text.isEmpty(); }
    QString message() const { return text; }

    void report(const QString &where, const QString &what)
    {
        if (!found())
            text = where + QLatin1String(": ") + what;
    }

private:
    QString text;
};

void checkMembers(const QJsonObject &object, const QStringList &known, const QString &where,
                  Problem &problem)
{
    for (auto member = object.constBegin(); member != object.constEnd(); ++member) {
        if (!known.contains(member.key()))
            problem.report(where, QStringLiteral("unknown member \"%1\"").arg(member.key()));
    }
}

QString textOf(const QJsonObject &object, const char *name, const QString &otherwise,
               const QString &where, Problem &problem)
{
    const QJsonValue value = object.value(QLatin1String(name));
    if (value.isUndefined())
        return otherwise;
    if (!value.isString())
        problem.report(where + QLatin1Char('.') + QLatin1String(name),
                       QStringLiteral("must be a text"));
    return value.toString();
}

double numberOf(const QJsonObject &object, const char *name, double otherwise, const QString &where,
                Problem &problem)
{
    const QJsonValue value = object.value(QLatin1String(name));
    if (value.isUndefined())
        return otherwise;
    if (!value.isDouble())
        problem.report(where + QLatin1Char('.') + QLatin1String(name),
                       QStringLiteral("must be a number"));
    return value.toDouble();
}

// The words as text, such as "a", "b" or "c".
QString listed(const QStringList &words)
{
    return QLatin1Char('"') + words.mid(0, words.size() - 1).join(QLatin1String("\", \""))
        + QLatin1String("\" or \"") + words.constLast() + QLatin1Char('"');
}

void checkKnown(const QString &text, const QStringList &known, const QString &where,
                Problem &problem)
{
    if (text.isEmpty())
        problem.report(where, QStringLiteral("is missing or empty"));
    else if (!known.contains(text))
        problem.report(where,
                       QStringLiteral("\"%1\" is not known; must be %2").arg(text, listed(known)));
}

QVariant initialValue(const QString &type)
{
    if (type == QLatin1String("bool"))
        return false;
    if (type == QLatin1String("int"))
        return 0;
    if (type == QLatin1String("double"))
        return 0.0;
    if (type == QLatin1String("object"))
        return QVariantMap();
    return QStringLiteral("");
}

Animator animatorOf(const QJsonObject &object, const KeywordServer::Keyword &keyword,
                    const QString &where, Problem &problem)
{
    checkMembers(object,
                 {QStringLiteral("kind"), QStringLiteral("min"), QStringLiteral("max"),
                  QStringLiteral("period"), QStringLiteral("step"), QStringLiteral("seed"),
                  QStringLiteral("phase")},
                 where, problem);
    Animator animator;
    animator.path = keyword.path;
    animator.type = keyword.type;
    const QString kind = textOf(object, "kind", QString(), where, problem);
    if (kind == QLatin1String("ramp"))
        animator.kind = Animator::Kind::Ramp;
    else if (kind == QLatin1String("sine"))
        animator.kind = Animator::Kind::Sine;
    else if (kind == QLatin1String("randomWalk"))
        animator.kind = Animator::Kind::RandomWalk;
    else if (kind == QLatin1String("toggle"))
        animator.kind = Animator::Kind::Toggle;
    else
        problem.report(where + QLatin1String(".kind"),
                       QStringLiteral("must be \"ramp\", \"sine\", \"randomWalk\" or \"toggle\""));

    const bool isNumber =
        keyword.type == QLatin1String("int") || keyword.type == QLatin1String("double");
    if (animator.kind == Animator::Kind::Toggle ? keyword.type != QLatin1String("bool") : !isNumber)
        problem.report(where,
                       QStringLiteral("a %1 does not fit the type \"%2\"").arg(kind, keyword.type));

    animator.minimum = numberOf(object, "min", 0, where, problem);
    animator.maximum = numberOf(object, "max", 100, where, problem);
    animator.period = numberOf(object, "period", 10, where, problem);
    animator.phase = numberOf(object, "phase", 0, where, problem);
    animator.step =
        numberOf(object, "step", (animator.maximum - animator.minimum) / 50, where, problem);
    const double seed = numberOf(object, "seed", 1, where, problem);
    if (seed >= 0 && seed <= greatestSeed)
        animator.random.seed(unsigned(seed));
    else
        problem.report(where + QLatin1String(".seed"),
                       QStringLiteral("must be a number from 0 to %1").arg(greatestSeed));
    animator.position = keyword.value.isValid() ? keyword.value.toDouble()
                                                : (animator.minimum + animator.maximum) / 2;
    if (!(animator.period >= shortestPeriod))
        problem.report(where + QLatin1String(".period"),
                       QStringLiteral("must be at least %1").arg(shortestPeriod));
    if (std::max(std::abs(animator.minimum), std::abs(animator.maximum)) > greatestNumber)
        problem.report(
            where, QStringLiteral("min and max must not be beyond %1 or -%1").arg(greatestNumber));
    if (!(animator.minimum <= animator.maximum))
        problem.report(where + QLatin1String(".min"), QStringLiteral("must not be above max"));
    return animator;
}

} // namespace

class Q_DECL_HIDDEN JsonScene::Private
{
public:
    void readKeyword(const QJsonValue &value, const QString &where, Problem &problem);
    void claim(const QString &path, const QString &where, Problem &problem);
    void readGenerator(const QJsonObject &object, const QString &where, Problem &problem);
    void declareAll();

    QPointer<KeywordServer> server;
    std::vector<KeywordServer::Keyword> keywords;
    std::vector<std::pair<QString, QString>> labels;
    std::vector<Animator> animators;
    QHash<QString, QString> places; // the location of each declaration, while the file is read
    double rate = defaultRate;
    QTimer timer;
    QElapsedTimer elapsed;
};

void JsonScene::Private::readKeyword(const QJsonValue &value, const QString &where,
                                     Problem &problem)
{
    if (!value.isObject()) {
        problem.report(where, QStringLiteral("must be an object"));
        return;
    }
    const QJsonObject object = value.toObject();
    checkMembers(object,
                 {QStringLiteral("path"), QStringLiteral("type"), QStringLiteral("access"),
                  QStringLiteral("label"), QStringLiteral("value"), QStringLiteral("animator")},
                 where, problem);
    KeywordServer::Keyword keyword;
    keyword.path = textOf(object, "path", QString(), where, problem);
    keyword.type = textOf(object, "type", QString(), where, problem);
    keyword.access = textOf(object, "access", QStringLiteral("R"), where, problem);
    keyword.label = textOf(object, "label", QString(), where, problem);
    claim(keyword.path, where + QLatin1String(".path"), problem);

    if (keyword.type.isEmpty() && !object.contains(QLatin1String("value"))) {
        // The entry only labels a level.
        labels.emplace_back(keyword.path, keyword.label);
        return;
    }
    keyword.value = object.contains(QLatin1String("value"))
        ? object.value(QLatin1String("value")).toVariant()
        : initialValue(keyword.type);
    checkKnown(keyword.type, KeywordServer::types(), where + QLatin1String(".type"), problem);
    checkKnown(keyword.access, KeywordServer::accesses(), where + QLatin1String(".access"),
               problem);
    if (!KeywordServer::fits(keyword.value, keyword.type)) {
        problem.report(where + QLatin1String(".value"),
                       QStringLiteral("does not fit the type \"%1\"").arg(keyword.type));
    }
    const QJsonValue animator = object.value(QLatin1String("animator"));
    if (animator.isObject()) {
        animators.push_back(
            animatorOf(animator.toObject(), keyword, where + QLatin1String(".animator"), problem));
    } else if (!animator.isUndefined()) {
        problem.report(where + QLatin1String(".animator"), QStringLiteral("must be an object"));
    }
    keywords.push_back(keyword);
}

// A path may occur only once, in any spelling: otherwise, the last one would take effect.
void JsonScene::Private::claim(const QString &path, const QString &where, Problem &problem)
{
    const QString normalized = KeywordServer::normalizedPath(path);
    const QString other = places.value(normalized);
    if (path.isEmpty())
        problem.report(where, QStringLiteral("is missing or empty"));
    else if (normalized.isEmpty())
        problem.report(where, QStringLiteral("contains only separators"));
    else if (!other.isEmpty())
        problem.report(where,
                       QStringLiteral("%1 is already declared at %2").arg(normalized, other));
    places.insert(normalized, where);
}

// N keywords below a prefix, a hundred per level, for load tests.
void JsonScene::Private::readGenerator(const QJsonObject &object, const QString &where,
                                       Problem &problem)
{
    checkMembers(object,
                 {QStringLiteral("count"), QStringLiteral("prefix"), QStringLiteral("type"),
                  QStringLiteral("access"), QStringLiteral("animator")},
                 where, problem);
    const double count = numberOf(object, "count", 0, where, problem);
    if (!(count >= 1 && count <= greatestCount)) {
        problem.report(where + QLatin1String(".count"),
                       QStringLiteral("must be a number from 1 to %1").arg(greatestCount));
        return;
    }
    const QString prefix = textOf(object, "prefix", QStringLiteral("/load"), where, problem);
    const QString type = textOf(object, "type", QStringLiteral("double"), where, problem);
    const QString access = textOf(object, "access", QStringLiteral("RW"), where, problem);
    checkKnown(type, KeywordServer::types(), where + QLatin1String(".type"), problem);
    checkKnown(access, KeywordServer::accesses(), where + QLatin1String(".access"), problem);
    const QJsonValue animator = object.value(QLatin1String("animator"));
    if (!animator.isUndefined() && !animator.isObject())
        problem.report(where + QLatin1String(".animator"), QStringLiteral("must be an object"));
    for (int i = 0; i < int(count) && !problem.found(); ++i) {
        KeywordServer::Keyword keyword;
        keyword.path = QStringLiteral("%1/group%2/value%3").arg(prefix).arg(i / 100).arg(i % 100);
        keyword.type = type;
        keyword.access = access;
        keyword.label = QStringLiteral("Value %1").arg(i);
        keyword.value = initialValue(type);
        claim(keyword.path, where + QLatin1String(".prefix"), problem);
        keywords.push_back(keyword);
        if (animator.isObject()) {
            animators.push_back(animatorOf(animator.toObject(), keyword,
                                           where + QLatin1String(".animator"), problem));
            animators.back().random.seed(unsigned(i + 1));
            animators.back().phase += double(i) / count;
        }
    }
}

void JsonScene::Private::declareAll()
{
    for (const KeywordServer::Keyword &keyword : keywords)
        server->declare(keyword);
    for (const auto &[path, label] : labels)
        server->setLabel(path, label);
}

/*!
    \class pellix::simulator::JsonScene
    \inmodule PellixClientSimulator
    \inheaderfile simulator/jsonscene.h
    \ingroup PellixClientSimulatorClasses
    \brief The JsonScene class declares keywords from a JSON file and animates them.

    \code
    {
        "rate": 10,
        "keywords": [
            { "path": "/plant", "label": "Works" },
            { "path": "/plant/tank1/level", "type": "double", "access": "RW", "label": "Level",
              "value": 41.5,
              "animator": { "kind": "sine", "min": 20, "max": 80, "period": 60 } }
        ],
        "generate": { "count": 10000, "prefix": "/load", "type": "double" }
    }
    \endcode

    A keyword has a path, a type ("bool", "int", "double", "string", or "object"), an access ("N",
    "R", "RM", "W", or "RW"; the default is "R"), a label, and a value. Without a type and a value,
    it only gives a label to a level. The animators are "ramp", "sine", and "randomWalk" for
    numbers, between min and max, with a period in seconds or a step and a seed, and "toggle" for a
    Boolean value. They change values at the rate of the scene, in Hz, and continue after a client
    has written. generate adds count keywords below a prefix, a hundred per level. A path that
    occurs twice, in any spelling, is an error.
*/

/*!
    Constructs a scene on \a server, which is not owned. If \a parent is given, it owns the scene.
*/
JsonScene::JsonScene(KeywordServer *server, QObject *parent)
    : QObject(parent), d(std::make_unique<Private>())
{
    d->server = server;
    connect(&d->timer, &QTimer::timeout, this, [this] {
        if (!d->server)
            return;
        const double seconds = double(d->elapsed.nsecsElapsed()) / 1e9;
        for (Animator &animator : d->animators)
            d->server->setValue(animator.path, animator.valueAt(seconds));
    });
}

/*!
    Destroys the scene. Its keywords remain, but no longer change.
*/
JsonScene::~JsonScene() = default;

/*!
    Loads the scene in the file \a fileName and declares its keywords.

    Returns \c false and declares nothing if the file cannot be read or does not contain a valid
    scene; \a error then contains the file, the location, and the reason.
*/
bool JsonScene::load(const QString &fileName, QString *error)
{
    QFile file(fileName);
    if (!file.open(QIODevice::ReadOnly)) {
        if (error)
            *error = fileName + QLatin1String(": ") + file.errorString();
        return false;
    }
    return loadData(file.readAll(), fileName, error);
}

/*!
    Loads the scene in \a json and declares its keywords. \a name is used in place of the file name
    in \a error. Otherwise, the function behaves like load() and has the same return value.
*/
bool JsonScene::loadData(const QByteArray &json, const QString &name, QString *error)
{
    Problem problem;
    QJsonParseError parseError;
    const QJsonDocument document = QJsonDocument::fromJson(json, &parseError);
    if (parseError.error != QJsonParseError::NoError) {
        const int line = 1 + int(json.left(parseError.offset).count('\n'));
        problem.report(QStringLiteral("line %1").arg(line), parseError.errorString());
    } else if (!document.isObject()) {
        problem.report(QStringLiteral("top level"), QStringLiteral("must be an object"));
    }

    Private read;
    const QJsonObject scene = document.object();
    checkMembers(scene,
                 {QStringLiteral("rate"), QStringLiteral("keywords"), QStringLiteral("generate")},
                 QStringLiteral("top level"), problem);
    read.rate = numberOf(scene, "rate", defaultRate, QStringLiteral("top level"), problem);
    if (!(read.rate > 0 && read.rate <= 1000))
        problem.report(QStringLiteral("rate"), QStringLiteral("must be above 0 and at most 1000"));

    const QJsonValue keywords = scene.value(QLatin1String("keywords"));
    if (!keywords.isUndefined() && !keywords.isArray())
        problem.report(QStringLiteral("keywords"), QStringLiteral("must be an array"));
    const QJsonArray list = keywords.toArray();
    for (int i = 0; i < list.size() && !problem.found(); ++i)
        read.readKeyword(list.at(i), QStringLiteral("keywords[%1]").arg(i), problem);

    const QJsonValue generate = scene.value(QLatin1String("generate"));
    if (generate.isObject())
        read.readGenerator(generate.toObject(), QStringLiteral("generate"), problem);
    else if (!generate.isUndefined())
        problem.report(QStringLiteral("generate"), QStringLiteral("must be an object"));

    if (problem.found()) {
        if (error)
            *error = name + QLatin1String(": ") + problem.message();
        return false;
    }
    d->keywords = std::move(read.keywords);
    d->labels = std::move(read.labels);
    d->animators = std::move(read.animators);
    d->rate = read.rate;
    if (d->server)
        d->declareAll();
    return true;
}

/*!
    Starts the animators from their beginning. Keywords that were removed from the server are
    declared again.
*/
void JsonScene::start()
{
    if (!d->server)
        return;
    for (const KeywordServer::Keyword &keyword : d->keywords) {
        if (!d->server->contains(keyword.path)) {
            d->declareAll();
            break;
        }
    }
    d->elapsed.start();
    if (!d->animators.empty())
        d->timer.start(qMax(1, qRound(1000.0 / d->rate)));
}

/*!
    Stops the animators.
*/
void JsonScene::stop()
{
    d->timer.stop();
}

} // namespace pellix::simulator
