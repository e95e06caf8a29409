// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "gateway/configuration.h"

#include "gateway/duplicatemembers.h"
#include "server/accesstokens.h"
#include "server/keywordserver.h"
#include "server/websocketkeywordserver.h"
#include "text/suggestion.h"

#include <QtCore/QDir>
#include <QtCore/QFile>
#include <QtCore/QFileInfo>
#include <QtCore/QJsonArray>
#include <QtCore/QJsonDocument>

#include <algorithm>
#include <chrono>

namespace pellix::gateway {

namespace {

using server::ClientIdentification;
using server::KeywordServer;

constexpr qint64 greatestFile = qint64(16) * 1024 * 1024; // bytes
constexpr int most = 1'000'000'000;

const QLatin1String viewer("viewer"); // the role of clients without a configured role

// The location of the error. The parser reports the offset after the unexpected character.
QString placeOf(const QByteArray &json, qsizetype offset)
{
    return placeInJson(json, qMax<qsizetype>(0, offset - 1));
}

std::optional<QHostAddress> toAddress(ConfigurationObject &object, const QString &name)
{
    const std::optional<QString> text = object.text(name);
    if (!text)
        return object.contains(name) ? std::nullopt
                                     : std::make_optional(QHostAddress(QHostAddress::LocalHost));
    QHostAddress address = *text == QLatin1String("localhost")
        ? QHostAddress(QHostAddress::LocalHost)
        : QHostAddress(*text);
    if (!address.isNull())
        return address;
    object.problem(name,
                   QStringLiteral("must be an IP address or localhost, not \"%1\"").arg(*text));
    return {};
}

QString wrongPath(const QString &path)
{
    if (!path.startsWith(QLatin1Char('/')))
        return QStringLiteral("must be a path such as /plant, not \"%1\"").arg(path);
    if (path.contains(QLatin1Char('#')) || path.contains(QLatin1Char('*')))
        return QStringLiteral("\"%1\" is not a valid path: # and * are reserved").arg(path);
    if (path.endsWith(QLatin1String("/Label")))
        return QStringLiteral("the level Label is reserved for labels");
    return {};
}

class Reader
{
public:
    Reader(const QString &folder, const SourceTypes &types, ConfigurationProblems *problems)
        : folder(folder), types(types), problems(problems)
    { }

    Configuration read(const QJsonObject &json);

private:
    void readRoles(ConfigurationObject &top);
    QStringList readPatterns(ConfigurationObject &role, const QString &name);
    QString readRole(ConfigurationObject &object);
    void readClients(ConfigurationObject &top);
    void readTokens(ConfigurationObject &client);
    void readCertificate(ConfigurationObject &client);
    void readListeners(ConfigurationObject &top);
    Configuration::Listener readListener(ConfigurationObject &object);
    void readTls(ConfigurationObject &listener, Configuration::Listener *read);
    void readProxy(ConfigurationObject &listener, ClientIdentification *identification);
    void checkAccess(ConfigurationObject &object, const Configuration::Listener &listener);
    void readLimits(ConfigurationObject &top);
    void readSources(ConfigurationObject &top);
    void readSource(ConfigurationObject &object);
    void readHealth(ConfigurationObject &top);
    void readSelf(ConfigurationObject &top);
    void readAudit(ConfigurationObject &top);

    const QString folder;
    const SourceTypes types;
    ConfigurationProblems *const problems;
    Configuration configuration;
    server::AccessTokens tokens;
    QList<ClientIdentification::Certificate> certificates;
};

Configuration Reader::read(const QJsonObject &json)
{
    ConfigurationObject top(json, QString(), problems, folder);
    (void)top.text(QStringLiteral("$schema")); // for editors
    readRoles(top);
    readClients(top);
    readListeners(top);
    readLimits(top);
    readSources(top);
    readHealth(top);
    readSelf(top);
    readAudit(top);
    top.finish();
    return configuration;
}

void Reader::readRoles(ConfigurationObject &top)
{
    configuration.roles.append({viewer, {QStringLiteral("/**")}, {}});
    std::optional<ConfigurationObject> roles = top.object(QStringLiteral("roles"));
    if (!roles)
        return;
    const QStringList names = roles->names();
    for (const QString &name : names) {
        std::optional<ConfigurationObject> role = roles->object(name);
        if (!role)
            continue;
        if (name.isEmpty() || name != name.simplified() || name.contains(QLatin1Char(' '))
            || name == ClientIdentification::fullRights) {
            role->problem(QStringLiteral("\"%1\" is not a valid role name").arg(name));
        }
        server::Role read {name, readPatterns(*role, QStringLiteral("read")),
                           readPatterns(*role, QStringLiteral("write"))};
        role->finish();
        if (name == viewer)
            configuration.roles.first() = read;
        else
            configuration.roles.append(read);
    }
}

QStringList Reader::readPatterns(ConfigurationObject &role, const QString &name)
{
    QStringList patterns = role.texts(name).value_or(QStringList());
    for (qsizetype i = 0; i < patterns.size(); ++i) {
        const QString &pattern = patterns.at(i);
        if (!server::Role::isPattern(pattern)) {
            role.problem(name, i,
                         QStringLiteral("\"%1\" is not a pattern such as /plant/**, where * "
                                        "matches one level and ** any number of levels")
                             .arg(pattern));
        }
    }
    return patterns;
}

QString Reader::readRole(ConfigurationObject &object)
{
    const auto name = QStringLiteral("role");
    QString role = object.text(name).value_or(QString());
    if (role.isEmpty() && object.contains(name) && object.object().value(name).isString())
        object.problem(name, QStringLiteral("must not be empty"));
    QStringList known {ClientIdentification::fullRights};
    for (const server::Role &one : configuration.roles)
        known.append(one.name);
    if (!role.isEmpty() && !known.contains(role)) {
        object.problem(
            name, QStringLiteral("there is no role \"%1\"%2").arg(role, suggestion(role, known)));
    }
    return role;
}

void Reader::readClients(ConfigurationObject &top)
{
    bool hasTokens = false;
    for (ConfigurationObject &client : top.objects(QStringLiteral("clients"))) {
        const bool isToken = client.contains(QStringLiteral("tokenFile"));
        if (isToken == client.contains(QStringLiteral("certificate"))) {
            client.problem(QStringLiteral("must have either \"certificate\" or \"tokenFile\""));
            continue;
        }
        if (isToken && hasTokens)
            client.problem(QStringLiteral("only one \"tokenFile\" is allowed"));
        else if (isToken)
            readTokens(client);
        else
            readCertificate(client);
        hasTokens |= isToken;
        client.finish();
    }
}

void Reader::readTokens(ConfigurationObject &client)
{
    const auto name = QStringLiteral("tokenFile");
    const std::optional<QString> file = client.file(name);
    const QString role = readRole(client);
    QString error;
    if (!file)
        return;
    if (!tokens.load(*file, &error)) {
        client.problem(name, error);
        return;
    }
    for (const server::AccessTokens::Holder &holder : tokens.holders()) {
        const bool isKnown = holder.role == ClientIdentification::fullRights
            || std::any_of(configuration.roles.cbegin(), configuration.roles.cend(),
                           [&](const server::Role &one) { return one.name == holder.role; });
        if (!isKnown) {
            client.problem(name,
                           QStringLiteral("%1: there is no role \"%2\", which %3 has")
                               .arg(*file, holder.role, holder.name));
        } else if (!role.isEmpty() && holder.role != role) {
            client.problem(QStringLiteral("role"),
                           QStringLiteral("%1 has the role %2 in %3, not %4")
                               .arg(holder.name, holder.role, *file, role));
        }
    }
}

void Reader::readCertificate(ConfigurationObject &client)
{
    const auto name = QStringLiteral("certificate");
    ClientIdentification::Certificate certificate;
    certificate.subject = client.text(name).value_or(QString());
    certificate.name = client.text(QStringLiteral("name")).value_or(certificate.subject);
    certificate.role = readRole(client);
    if (!client.contains(QStringLiteral("role"))) {
        client.problem(QStringLiteral("must have a \"role\""));
        return;
    }
    ClientIdentification alone;
    alone.proxy = {{{QHostAddress::LocalHost, 32}}, "Address", "Subject"};
    alone.certificates = {certificate};
    const QString problem = certificate.subject.isEmpty() ? QString() : alone.problem();
    if (!problem.isEmpty())
        client.problem(name, problem);
    certificates.append(certificate);
}

void Reader::readListeners(ConfigurationObject &top)
{
    const auto name = QStringLiteral("listen");
    const QList<ConfigurationObject> objects = top.objects(name);
    if (!top.contains(name) || top.object().value(name) == QJsonValue(QJsonArray()))
        top.problem(QStringLiteral("must have \"listen\" with at least one listener"));
    for (ConfigurationObject object : objects) {
        const Configuration::Listener listener = readListener(object);
        const bool isTwice = listener.port != 0
            && std::any_of(configuration.listeners.cbegin(), configuration.listeners.cend(),
                           [&](const Configuration::Listener &other) {
                               return other.port == listener.port
                                   && other.address == listener.address;
                           });
        if (isTwice) {
            object.problem(QStringLiteral("another listener has this address and port"));
        }
        configuration.listeners.append(listener);
    }
}

Configuration::Listener Reader::readListener(ConfigurationObject &object)
{
    const int before = object.problemCount();
    Configuration::Listener listener;
    listener.address =
        toAddress(object, QStringLiteral("address")).value_or(QHostAddress::LocalHost);
    const auto port = QStringLiteral("port");
    listener.port = quint16(object.integer(port, 0, 65535).value_or(0));
    if (!object.contains(port))
        object.problem(QStringLiteral("must have a \"port\""));
    listener.isUnencryptedAllowed = object.boolean(QStringLiteral("unencrypted")).value_or(false);
    listener.origins = object.texts(QStringLiteral("origins")).value_or(QStringList());
    for (qsizetype i = 0; i < listener.origins.size(); ++i) {
        const QString &origin = listener.origins.at(i);
        if (!server::WebSocketKeywordServer::isOrigin(origin)) {
            object.problem(
                QStringLiteral("origins"), i,
                QStringLiteral("\"%1\" is not an origin such as https://example.org").arg(origin));
        }
    }
    listener.identification.role = readRole(object);
    listener.identification.tokens = tokens;
    listener.identification.tokensInPath =
        object.boolean(QStringLiteral("tokensInPath")).value_or(false);
    readTls(object, &listener);
    readProxy(object, &listener.identification);
    object.finish();
    const bool isKnownByCertificate = !listener.identification.authorities.isEmpty()
        || !listener.identification.proxy.subjectHeader.isEmpty();
    if (isKnownByCertificate)
        listener.identification.certificates = certificates;
    const bool asksWho = isKnownByCertificate || !tokens.isEmpty();
    const bool isLocal = listener.address.isLoopback();
    if (listener.identification.role.isEmpty() && isLocal && !asksWho
        && listener.identification.proxy.addresses.isEmpty())
        listener.identification.role = viewer;
    if (object.problemCount() == before)
        checkAccess(object, listener);
    return listener;
}

void Reader::readTls(ConfigurationObject &listener, Configuration::Listener *read)
{
    std::optional<ConfigurationObject> tls = listener.object(QStringLiteral("tls"));
    if (!tls)
        return;
    const auto certificate = QStringLiteral("certificate");
    const auto key = QStringLiteral("key");
    const auto authority = QStringLiteral("clientAuthority");
    const int before = tls->problemCount();
    const std::optional<QString> certificateFile = tls->file(certificate);
    const std::optional<QString> keyFile = tls->file(key);
    const std::optional<QString> authorityFile = tls->file(authority);
    tls->finish();
    for (const QString &needed : {certificate, key}) {
        if (!tls->contains(needed))
            tls->problem(QStringLiteral("must have \"%1\"").arg(needed));
    }
    if (tls->problemCount() > before)
        return;

    read->chain = QSslCertificate::fromPath(*certificateFile);
    if (read->chain.isEmpty())
        tls->problem(certificate,
                     QStringLiteral("%1 contains no certificate").arg(*certificateFile));
    QFile file(*keyFile);
    const QByteArray pem = file.open(QIODevice::ReadOnly) ? file.readAll() : QByteArray();
    for (const QSsl::KeyAlgorithm algorithm : {QSsl::Rsa, QSsl::Ec}) {
        if (read->key.isNull())
            read->key = QSslKey(pem, algorithm);
    }
    if (read->key.isNull())
        tls->problem(
            key, QStringLiteral("%1 contains no private key, or an encrypted one").arg(*keyFile));
    if (authorityFile) {
        read->identification.authorities = QSslCertificate::fromPath(*authorityFile);
        if (read->identification.authorities.isEmpty())
            tls->problem(authority,
                         QStringLiteral("%1 contains no certificate").arg(*authorityFile));
    }
    if (tls->problemCount() > before)
        return;
    server::WebSocketKeywordServer trial(nullptr);
    if (!trial.setTls(read->chain, read->key))
        tls->problem(
            QStringLiteral("%1, %2: %3").arg(*certificateFile, *keyFile, trial.errorString()));
}

void Reader::readProxy(ConfigurationObject &listener, ClientIdentification *identification)
{
    std::optional<ConfigurationObject> proxies = listener.object(QStringLiteral("proxies"));
    if (!proxies)
        return;
    const auto addresses = QStringLiteral("addresses");
    const QStringList texts = proxies->texts(addresses).value_or(QStringList());
    for (qsizetype i = 0; i < texts.size(); ++i) {
        const QString &text = texts.at(i);
        const QPair<QHostAddress, int> address = text.contains(QLatin1Char('/'))
            ? QHostAddress::parseSubnet(text)
            : QPair<QHostAddress, int>(QHostAddress(text),
                                       text.contains(QLatin1Char(':')) ? 128 : 32);
        if (address.first.isNull())
            proxies->problem(
                addresses, i,
                QStringLiteral("\"%1\" is not an address such as 10.0.0.0/8").arg(text));
        identification->proxy.addresses.append(address);
    }
    identification->proxy.addressHeader =
        proxies->text(QStringLiteral("addressHeader")).value_or(QString()).toUtf8();
    identification->proxy.subjectHeader =
        proxies->text(QStringLiteral("subjectHeader")).value_or(QString()).toUtf8();
    proxies->finish();
}

// Unencrypted data, and clients without an identity, must be allowed explicitly on addresses that
// other machines can reach.
void Reader::checkAccess(ConfigurationObject &object, const Configuration::Listener &listener)
{
    if (!listener.address.isLoopback()) {
        if (listener.chain.isEmpty() && !listener.isUnencryptedAllowed) {
            object.problem(QStringLiteral("%1 can be reached by other machines: set \"tls\", or "
                                          "\"unencrypted\": true")
                               .arg(listener.address.toString()));
        }
        const bool asksWho = !listener.identification.certificates.isEmpty()
            || !listener.identification.tokens.isEmpty();
        if (listener.identification.role.isEmpty() && !asksWho) {
            object.problem(QStringLiteral("no client could use this listener: set \"clients\" with "
                                          "tokens, or with certificates and \"clientAuthority\", "
                                          "or set a \"role\" for all clients"));
        }
    }
    const QString problem = listener.identification.problem();
    if (!problem.isEmpty())
        object.problem(problem);
}

void Reader::readLimits(ConfigurationObject &top)
{
    // A write normally ends earlier, after the confirmation time of its keyword.
    configuration.limits.writeTime = std::chrono::minutes(1);
    std::optional<ConfigurationObject> given = top.object(QStringLiteral("limits"));
    if (!given)
        return;
    server::Limits &limits = configuration.limits;
    const auto read = [&given](const char *name, int least, auto *value) {
        const auto number = given->integer(QString::fromLatin1(name), least, most);
        if (number)
            *value = *number;
    };
    read("clients", 0, &configuration.clients);
    read("watchedPerClient", 1, &limits.watchedKeywords);
    read("commandsPerSecond", 1, &limits.commandsPerSecond);
    read("memoryPerClient", 64 * 1024, &limits.sessionBytes);
    read("messageBytes", 1024, &limits.commandBytes);
    read("valueBytes", 1, &limits.valueBytes);
    read("aggregatedKeywords", 1, &limits.aggregatedKeywords);
    read("listedKeywords", 1, &limits.listedKeywords);
    read("keywords", 1, &limits.keywords);
    read("sendingBytes", 1024, &limits.sendingBytes);
    read("totalSendingBytes", 1024, &limits.totalSendingBytes);
    if (const auto seconds = given->integer(QStringLiteral("stalledSeconds"), 1, 3600))
        limits.stalledTime = std::chrono::seconds(*seconds);
    given->finish();
}

void Reader::readSources(ConfigurationObject &top)
{
    for (ConfigurationObject &object : top.objects(QStringLiteral("sources")))
        readSource(object);
}

void Reader::readSource(ConfigurationObject &object)
{
    const auto nameMember = QStringLiteral("name");
    const auto mountMember = QStringLiteral("mount");
    Configuration::Source source;
    source.name = object.text(nameMember).value_or(QString());
    const bool isName = !source.name.isEmpty()
        && std::all_of(source.name.cbegin(), source.name.cend(), [](QChar c) {
               return (c.unicode() < 128 && c.isLetterOrNumber()) || c == QLatin1Char('-')
                   || c == QLatin1Char('_') || c == QLatin1Char('.');
           });
    if (!object.contains(nameMember))
        object.problem(QStringLiteral("must have a \"name\""));
    else if (!isName && object.object().value(nameMember).isString())
        object.problem(nameMember,
                       QStringLiteral("must contain only letters, digits, -, _, and ."));
    const auto hasName = [&](const Configuration::Source &other) {
        return other.name == source.name;
    };
    if (isName
        && std::any_of(configuration.sources.cbegin(), configuration.sources.cend(), hasName))
        object.problem(nameMember,
                       QStringLiteral("another source has the name %1").arg(source.name));

    source.mount = object.text(mountMember).value_or(QString());
    if (!object.contains(mountMember)) {
        object.problem(QStringLiteral("must have a \"mount\""));
    } else if (object.object().value(mountMember).isString()) {
        const QString problem = wrongPath(source.mount);
        if (!problem.isEmpty())
            object.problem(mountMember, problem);
    }
    source.mount = KeywordServer::normalizedPath(source.mount);

    QStringList kinds;
    const SourceType *chosen = nullptr;
    int count = 0;
    for (const SourceType *type : types) {
        kinds.append(type->name());
        if (!object.contains(type->name()))
            continue;
        chosen = type;
        ++count;
    }
    if (count == 1) {
        const int before = object.problemCount();
        source.settings = chosen->read(object);
        if (!source.settings && object.problemCount() == before)
            object.problem(QStringLiteral("cannot be used"));
        object.finish();
    } else {
        for (const QString &kind : kinds)
            (void)object.value(kind);
        object.problem(
            count == 0
                ? QStringLiteral("must have one of %1").arg(kinds.join(QLatin1String(", ")))
                : QStringLiteral("must have only one of %1").arg(kinds.join(QLatin1String(", "))));
        // Other members belong to a type of source. Report only misspelled type names.
        for (const QString &name : object.names()) {
            const QString near = nearest(name, kinds);
            if (!near.isEmpty() && !kinds.contains(name))
                object.problem(
                    name,
                    QStringLiteral("unknown member \"%1\"; did you mean %2?").arg(name, near));
        }
    }
    configuration.sources.append(source);
}

void Reader::readHealth(ConfigurationObject &top)
{
    std::optional<ConfigurationObject> object = top.object(QStringLiteral("health"));
    if (!object)
        return;
    const auto port = QStringLiteral("port");
    Configuration::Health health;
    health.address =
        toAddress(*object, QStringLiteral("address")).value_or(QHostAddress::LocalHost);
    health.port = quint16(object->integer(port, 0, 65535).value_or(0));
    if (!object->contains(port))
        object->problem(QStringLiteral("must have a \"port\""));
    object->finish();
    configuration.health = health;
}

void Reader::readSelf(ConfigurationObject &top)
{
    const auto name = QStringLiteral("self");
    const std::optional<QString> self = top.text(name);
    if (!self)
        return;
    const QString problem = wrongPath(*self);
    configuration.self = KeywordServer::normalizedPath(*self);
    if (!problem.isEmpty())
        top.problem(name, problem);
    else if (configuration.self.isEmpty())
        top.problem(name, QStringLiteral("must contain a level, such as /gateway"));
}

// The file is created when the gateway starts, not when the configuration is only checked.
void Reader::readAudit(ConfigurationObject &top)
{
    const auto name = QStringLiteral("audit");
    const std::optional<QString> given = top.text(name);
    if (!given)
        return;
    const QFileInfo file(QDir(folder), *given);
    const QString cannot = QStringLiteral("cannot write to %1: ").arg(file.filePath());
    if (given->isEmpty())
        top.problem(name, QStringLiteral("must be the name of a file"));
    else if (file.exists() && !file.isFile())
        top.problem(name, cannot + QStringLiteral("it is not a regular file"));
    else if (!file.dir().exists())
        top.problem(name, cannot + QStringLiteral("the folder %1 does not exist").arg(file.path()));
    configuration.audit = file.filePath();
}

} // namespace

bool Configuration::Listener::isSamePlace(const Listener &other) const
{
    return address == other.address && port == other.port
        && isUnencryptedAllowed == other.isUnencryptedAllowed
        && chain.isEmpty() == other.chain.isEmpty();
}

std::optional<Configuration> Configuration::read(const QString &fileName, const SourceTypes &types,
                                                 ConfigurationProblems *problems)
{
    QFile file(fileName);
    if (QFileInfo(fileName).isDir()) {
        problems->append({{}, QStringLiteral("cannot open %1: it is a folder").arg(fileName)});
        return {};
    }
    if (!file.open(QIODevice::ReadOnly)) {
        problems->append(
            {{}, QStringLiteral("cannot open %1: %2").arg(fileName, file.errorString())});
        return {};
    }
    const QByteArray json = file.read(greatestFile + 1);
    if (json.size() > greatestFile) {
        problems->append({{}, QStringLiteral("the file is longer than 16 MiB")});
        return {};
    }
    return parse(json, QFileInfo(fileName).absolutePath(), types, problems);
}

std::optional<Configuration> Configuration::parse(const QByteArray &json, const QString &folder,
                                                  const SourceTypes &types,
                                                  ConfigurationProblems *problems)
{
    QJsonParseError error;
    const QJsonDocument document = QJsonDocument::fromJson(json, &error);
    if (error.error != QJsonParseError::NoError) {
        problems->append(
            {{}, QStringLiteral("%1: %2").arg(placeOf(json, error.offset), error.errorString())});
        return {};
    }
    if (!document.isObject()) {
        problems->append({{}, QStringLiteral("must be an object, not a list")});
        return {};
    }
    *problems += duplicateMembers(json);
    Configuration configuration = Reader(folder, types, problems).read(document.object());
    if (!problems->isEmpty())
        return {};
    return configuration;
}

} // namespace pellix::gateway
