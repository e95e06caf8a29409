// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#include "server/clientsocket_p.h"

#include "server/keywordsession.h"

#include <QtCore/QSocketNotifier>
#include <QtNetwork/QSslSocket>
#include <QtWebSockets/QWebSocket>

#include <algorithm>
#include <array>
#include <cstring>
#include <utility>

#ifdef Q_OS_UNIX
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <sys/socket.h>
#endif

namespace pellix::server {

using namespace std::chrono_literals;

namespace {

constexpr qint64 greatestBacklog = qint64(16) * 1024 * 1024; // bytes that wait to be sent
constexpr qint64 greatestPongs = qint64(256) * 1024; // bytes of them that wait to be sent
constexpr qint64 readAhead = qint64(256) * 1024; // bytes of commands that may wait to be processed
constexpr qint64 greatestEncrypted = qint64(64) * 1024; // bytes that wait to be decrypted
constexpr qint64 greatestAhead = qint64(8) * 1024 * 1024; // where reading cannot be stopped
constexpr char continuationFrame = 0x00;
constexpr char textFrame = 0x01;
constexpr char binaryFrame = 0x02;
constexpr char finalBit = char(0x80);
constexpr char longLength = 126; // says that the length stands in the two bytes behind it
constexpr char longestLength = 127; // in the eight bytes behind it
constexpr int maskBytes = 4;
constexpr qint64 shortestFrame = 2 + maskBytes; // bytes, of a client
constexpr qsizetype greatestPart = qsizetype(16) * 1024; // bytes of a message in one frame
constexpr qsizetype greatestKeptBuffer = qsizetype(32) * 1024; // bytes
constexpr char closeFrame = char(0x88);
constexpr qint64 greatestControlPayload = 125; // bytes
constexpr auto commandPause = 20ms;
constexpr int slice = 5; // ms for the commands of one client before the next client
constexpr qint64 greatestHeader = 14; // of a frame
constexpr int burstSeconds = 2; // worth of commands that may come at once

// The amount of unsent data that the system accepts. Data in transit does not count: a small send
// buffer would include it, so that each segment would wait for the previous one.
void limitUnsent(QTcpSocket *connection, int bytes)
{
#ifdef TCP_NOTSENT_LOWAT
    ::setsockopt(int(connection->socketDescriptor()), IPPROTO_TCP, TCP_NOTSENT_LOWAT, &bytes,
                 sizeof bytes);
#else
    connection->setSocketOption(QAbstractSocket::SendBufferSizeSocketOption, bytes);
#endif
}

// Returns the number of bytes that the system accepts directly. Writing through the connection
// costs more: a copy, and a check in the event loop each time.
qint64 sendAtOnce([[maybe_unused]] QTcpSocket *connection, [[maybe_unused]] const QByteArray &data)
{
#if defined(Q_OS_UNIX) && defined(MSG_NOSIGNAL)
    const auto sent = ::send(int(connection->socketDescriptor()), data.constData(),
                             size_t(data.size()), MSG_NOSIGNAL | MSG_DONTWAIT);
    return qMax<qint64>(0, sent); // the connection learns of an error, too
#else
    return 0;
#endif
}

// Whether a client may use this code to close a connection without an error.
bool isOrdinary(int closeCode)
{
    return closeCode == QWebSocketProtocol::CloseCodeNormal
        || closeCode == QWebSocketProtocol::CloseCodeGoingAway
        || (closeCode >= 3000 && closeCode < 5000); // of libraries and applications
}

// Other messages are not parsed: this only looks at the usual position.
bool asksForKeyword(QByteArrayView command)
{
    constexpr qsizetype wordsEnd = 64;
    return command.first(qMin(command.size(), wordsEnd)).indexOf("\"keyCreateOrUpdate\"") >= 0;
}

// Without converting it, as this is done for each command.
qint64 utf8Bytes(QStringView text)
{
    qint64 bytes = 0;
    for (const QChar character : text) {
        const char16_t code = character.unicode();
        bytes += code < 0x80 ? 1 : code < 0x800 || character.isSurrogate() ? 2 : 3;
    }
    return bytes;
}

// The size of a frame of a client. An empty one counts as a frame that is not a command.
qint64 frameBytes(qint64 payload)
{
    if (payload == 0)
        return 0;
    const int lengthBytes = payload < longLength ? 0 : payload > 0xffff ? 8 : 2;
    return shortestFrame + lengthBytes + payload;
}

} // namespace

ClientSocket::ClientSocket(QWebSocket *socket, QTcpSocket *connection, const Limits &limits,
                           const std::shared_ptr<SendingBudget> &budget,
                           const std::shared_ptr<QTimer> &progressTimer)
    : QObject(socket), socket(socket), connection(connection),
      encrypted(qobject_cast<QSslSocket *>(connection)), budget(budget),
      room(limits.sendingBytes / 2), totalRoom(limits.totalSendingBytes),
      commandBytes(limits.commandBytes), commandsPerSecond(limits.commandsPerSecond),
      stalledTime(limits.stalledTime),
      commandsLeft(double(limits.commandsPerSecond) * burstSeconds), progressTimer(progressTimer)
{
    sinceCommand.start();
    sinceWritten.start();
    sinceChecked.start();
    commandTimer.setSingleShot(true);
    connect(&commandTimer, &QTimer::timeout, this, &ClientSocket::takeCommands);
    connect(progressTimer.get(), &QTimer::timeout, this, &ClientSocket::checkProgress);
    connect(socket, &QWebSocket::textMessageReceived, this, &ClientSocket::enqueue);
    connect(socket, &QWebSocket::textFrameReceived, this, [this](const QString &text, bool isLast) {
        const qint64 bytes = utf8Bytes(text);
        textBytes += frameBytes(bytes);
        limitNextFrame(bytes, isLast);
    });
    connect(socket, &QWebSocket::binaryFrameReceived, this,
            [this](const QByteArray &data, bool isLast) { limitNextFrame(data.size(), isLast); });
    connect(socket, &QWebSocket::pong, this, [this] { sincePing.invalidate(); });
    if (!connection)
        return;
    connect(socket, &QWebSocket::aboutToClose, this, &ClientSocket::stopReading);
    // The maximum length of a command, since a WebSocket reads whole frames. Without a limit, all
    // buffered data of a flood would become commands at once.
    connection->setReadBufferSize(qint64(limits.commandBytes) + greatestHeader);
    connection->setSocketOption(QAbstractSocket::LowDelayOption, 1);
    limitUnsent(connection, int(limits.sendingBytes / 4));
    // Under TLS, what is written is only encrypted, even if the client reads nothing.
    if (encrypted)
        connect(encrypted, &QSslSocket::encryptedBytesWritten, this, &ClientSocket::written);
    else
        connect(connection, &QTcpSocket::bytesWritten, this, &ClientSocket::written);
    // A WebSocket answers pings by itself, as it reads them. It was connected before this object.
    connect(connection, &QTcpSocket::readyRead, this, &ClientSocket::onRead);
    // What is not decrypted yet waits in a connection of its own.
    if (auto *const bare = connection->findChild<QTcpSocket *>())
        bare->setReadBufferSize(greatestEncrypted);
}

ClientSocket::~ClientSocket()
{
    budget->waiting -= counted;
}

qint64 ClientSocket::countWaiting()
{
    const qint64 waiting = waitingBytes();
    if (counted == 0)
        sinceWritten.start(); // nothing has waited so far
    budget->waiting += waiting - counted;
    counted = waiting;
    return waiting;
}

bool ClientSocket::hasUndecidedWrites() const
{
    return session && session->hasUndecidedWrites();
}

// A client without waiting data may send: there would be no other signal that there is room again.
bool ClientSocket::hasRoom()
{
    const qint64 waiting = countWaiting();
    own = waiting;
    if (waiting == 0)
        return true;
    if (waiting >= room)
        return false;
    if (budget->waiting >= totalRoom)
        ++budget->pauses;
    return budget->waiting < totalRoom;
}

void ClientSocket::sendMessage(const QByteArray &message)
{
    if (full)
        return;
    send(textFrame, message);
    if (message.size() > greatestPart)
        added(message.size());
}

// All frames of one event loop iteration are sent together, which costs the system little more than
// one. A long message is sent in fragments, as there is room for them: pongs pass between them.
void ClientSocket::send(char opcode, const QByteArray &message)
{
    if (message.size() <= greatestPart && parts.empty()) {
        if (frames.isEmpty())
            QMetaObject::invokeMethod(this, &ClientSocket::flush, Qt::QueuedConnection);
        appendFrame(char(opcode | finalBit), message);
        return;
    }
    flush();
    parts.push_back({opcode, message, 0});
    partBytes += message.size();
    sendParts();
}

// The frames of a server are not masked: a frame only needs its length as a prefix.
void ClientSocket::appendFrame(char first, QByteArrayView payload)
{
    const bool isShort = payload.size() < longLength;
    const qsizetype start = frames.size();
    frames.resize(start + (isShort ? 2 : 4) + payload.size());
    char *out = frames.data() + start;
    *out++ = first;
    *out++ = isShort ? char(payload.size()) : longLength;
    if (!isShort) {
        *out++ = char(payload.size() >> 8);
        *out++ = char(payload.size());
    }
    std::memcpy(out, payload.data(), std::size_t(payload.size()));
}

// Several frames are written at once: many short segments would be slow.
void ClientSocket::sendParts(bool all)
{
    if (sendingParts || full)
        return;
    sendingParts = true;
    while (!parts.empty() && (all || hasRoomForPart())) {
        while (!parts.empty() && hasRoomForPart())
            takePart();
        if (all && !parts.empty())
            takePart();
        flush();
    }
    sendingParts = false;
}

bool ClientSocket::hasRoomForPart() const
{
    return frames.size() + bytesInConnection() < qMax(room, qint64(1));
}

void ClientSocket::takePart()
{
    Parts &message = parts.front();
    const qsizetype size = qMin(greatestPart, message.text.size() - message.sent);
    const bool isLast = message.sent + size == message.text.size();
    const char opcode = message.sent == 0 ? message.opcode : continuationFrame;
    appendFrame(char(opcode | (isLast ? finalBit : 0)),
                QByteArrayView(message.text).sliced(message.sent, size));
    message.sent += size;
    partBytes -= size;
    if (isLast)
        parts.pop_front();
}

// Before anything else that the WebSocket sends: it writes to the connection at once.
void ClientSocket::flush()
{
    if (frames.isEmpty())
        return;
    qint64 sent = 0;
    if (connection && socket->state() == QAbstractSocket::ConnectedState) {
        if (!encrypted && connection->bytesToWrite() == 0)
            sent = sendAtOnce(connection, frames);
        if (sent < frames.size())
            connection->write(frames.constData() + sent, frames.size() - sent);
    }
    if (frames.size() <= greatestKeptBuffer)
        frames.resize(0);
    else
        frames = {};
    if (sent > 0)
        written(sent);
}

void ClientSocket::sendText(const QString &text)
{
    sendNow(textFrame, text.toUtf8());
}

void ClientSocket::sendBinary(const QByteArray &data)
{
    sendNow(binaryFrame, data);
}

void ClientSocket::sendNow(char opcode, const QByteArray &message)
{
    if (full)
        return;
    send(opcode, message);
    flush();
    added(message.size());
}

qint64 ClientSocket::waitingBytes() const
{
    return partBytes + frames.size() + bytesInConnection();
}

// The WebSocket writes through to its connection. Under TLS, what is encrypted already waits in
// another buffer, and the connection does not count it.
qint64 ClientSocket::bytesInConnection() const
{
    if (!connection)
        return 0;
    return connection->bytesToWrite() + (encrypted ? encrypted->encryptedBytesToWrite() : 0);
}

// A single long message is no sign of a slow reader.
void ClientSocket::added(qint64 bytes)
{
    const qint64 waiting = countWaiting();
    own = waiting;
    if (waiting - bytes <= greatestBacklog)
        longMessage = bytes > greatestBacklog / 2 ? bytes : 0;
    checkBacklog();
}

void ClientSocket::written(qint64)
{
    sinceWritten.start();
    sendParts();
    const qint64 waiting = countWaiting();
    own = qMin(own, waiting);
    if (waiting == 0 || (waiting <= room / 2 && budget->waiting < totalRoom))
        resumeSoon();
    takeSoon();
}

// From the event loop: the connection is emitting a signal now, and receivers of the messages may
// delete it.
void ClientSocket::resumeSoon()
{
    if (resumesSoon || !session || !session->isPaused())
        return;
    resumesSoon = true;
    QMetaObject::invokeMethod(
        this,
        [this] {
            resumesSoon = false;
            const QPointer<ClientSocket> guard(this);
            Q_EMIT drained();
            if (guard)
                takeSoon();
        },
        Qt::QueuedConnection);
}

// The WebSocket has processed the data, and has answered pings.
void ClientSocket::onRead()
{
    chargeOtherFrames();
    limitReading();
    checkBacklog();
}

// Pings, pongs, and binary frames cost time, like commands. The WebSocket does not report pings, so
// everything that is not part of a command counts as the greatest number of frames that it can be.
void ClientSocket::chargeOtherFrames()
{
    const qint64 others = bytesBefore - connection->bytesAvailable() - textBytes;
    bytesBefore = connection->bytesAvailable();
    textBytes = 0;
    const qint64 mostFrames = others / shortestFrame;
    if (mostFrames > 0)
        commandsLeft -= double(mostFrames);
}

void ClientSocket::checkBacklog()
{
    if (full)
        return;
    const qint64 waiting = waitingBytes();
    if (waiting > greatestBacklog + longMessage || waiting - own > greatestPongs)
        giveUp(QStringLiteral("it does not read, and %1 bytes wait for it").arg(waiting));
    else if (commands.bytes() > greatestAhead)
        giveUp(QStringLiteral("it sends faster than it may, and %1 bytes of it wait")
                   .arg(commands.bytes()));
}

// A client that reads either accepts data or answers a ping. Only a pong answers a ping: commands
// do not show that the client reads. A client that accepts data may not have been pinged for some
// time: it is not judged before a ping has timed out.
void ClientSocket::checkProgress()
{
    if (full)
        return;
    const bool wasBusy = sinceChecked.hasExpired(stalledTime.count() / 2); // with something else
    const bool isDeaf = readNotifier && !readNotifier->isEnabled();
    if (wasBusy || isDeaf)
        sincePing.invalidate(); // whatever it has said was not heard
    if (wasBusy)
        sinceWritten.start();
    sinceChecked.start();
    const qint64 waiting = waitingBytes();
    if (waiting > 0) {
        if (sinceWritten.hasExpired(stalledTime.count()))
            giveUp(QStringLiteral("it has read nothing for %1 s, and %2 bytes wait for it")
                       .arg(double(stalledTime.count()) / 1000)
                       .arg(waiting));
        return;
    }
    if (sincePing.isValid() && sincePing.hasExpired(stalledTime.count())) {
        giveUp(QStringLiteral("it does not answer pings"));
        return;
    }
    if (sincePing.isValid() || closeFrameSent)
        return;
    sincePing.start();
    socket->ping();
}

void ClientSocket::giveUp(const QString &why)
{
    full = true;
    QMetaObject::invokeMethod(
        this,
        [this, why] {
            // One that is closing might wait indefinitely: its closing frame is not read, either.
            if (socket->state() != QAbstractSocket::UnconnectedState)
                Q_EMIT stalled(why);
        },
        Qt::QueuedConnection);
}

// A WebSocket has the same limit for each frame of a message, and counts characters in the message.
void ClientSocket::limitNextFrame(qint64 bytes, bool isLast)
{
    if (isLast && messageBytes == 0)
        return;
    messageBytes = isLast ? 0 : messageBytes + bytes;
    socket->setMaxAllowedIncomingFrameSize(
        quint64(qMax(greatestControlPayload, commandBytes - messageBytes)));
}

void ClientSocket::enqueue(const QString &text)
{
    if (closeCode)
        return; // it has said that this was all
    commands.enqueue(text.toUtf8());
    takeCloseFrame();
    takeSoon();
    checkBacklog();
}

// A WebSocket replies to a close frame when it reads it, and nothing may follow that reply. So a
// close frame that was read together with a command is held back until the command has been
// processed. Invalid frames are not: the WebSocket rejects them.
void ClientSocket::takeCloseFrame()
{
    constexpr qint64 header = 6; // with the mask
    std::array<char, header + 2> start {};
    if (!connection || connection->peek(start.data(), qint64(start.size())) < header
        || start[0] != closeFrame)
        return;
    const qint64 length = uchar(start[1]) - 0x80; // the upper bit says that there is a mask
    if (length < 0 || length == 1 || length > greatestControlPayload
        || connection->bytesAvailable() < header + length)
        return;
    const auto payload = [&start](int i) { return uchar(start[6 + i]) ^ uchar(start[2 + i]); };
    const int code =
        length == 0 ? QWebSocketProtocol::CloseCodeNormal : (payload(0) << 8) + payload(1);
    if (!isOrdinary(code))
        return;
    connection->skip(header + length);
    closeCode = code;
}

void ClientSocket::answerCloseFrame()
{
    close(QWebSocketProtocol::CloseCode(*closeCode));
    stopReading(); // the WebSocket of Qt 6.11 would wait for the frame that has been taken
}

void ClientSocket::close(QWebSocketProtocol::CloseCode code, const QString &reason)
{
    flush();
    sendParts(true); // nothing may follow the close frame
    closing = true;
    socket->close(code, reason);
    closing = false;
    closeFrameSent = true;
    readBy(&ClientSocket::skipFrames);
}

// After a close frame or an invalid one, no data is valid. A WebSocket would continue to parse it,
// and in Qt 6.11, it would start a timer for each invalid frame.
void ClientSocket::stopReading()
{
    if (closing || !connection)
        return;
    // This is called again when the connection ends.
    if (socket->closeCode() == QWebSocketProtocol::CloseCodeTooMuchData && !wasTooLong) {
        wasTooLong = true;
        Q_EMIT tooLong();
    }
    readBy(&ClientSocket::discard);
    // Once the close frame is sent
    QMetaObject::invokeMethod(connection, &QTcpSocket::disconnectFromHost, Qt::QueuedConnection);
}

// From now on, the WebSocket does not read the connection any more.
void ClientSocket::readBy(void (ClientSocket::*reader)())
{
    if (!connection)
        return;
    disconnect(connection, &QIODevice::readyRead, socket, nullptr);
    disconnect(connection, &QIODevice::readyRead, this, nullptr);
    connect(connection, &QIODevice::readyRead, this, reader);
    (this->*reader)();
}

void ClientSocket::discard()
{
    if (connection->isOpen())
        connection->skip(connection->bytesAvailable());
}

// What the client has sent before it received the close frame has no effect. It replies with a
// close frame.
void ClientSocket::skipFrames()
{
    while (connection->isOpen() && connection->bytesAvailable() > 0) {
        if (skippedBytes > 0) {
            skippedBytes -= connection->skip(qMin(skippedBytes, connection->bytesAvailable()));
            continue;
        }
        std::array<uchar, 10> start {};
        const qint64 available =
            connection->peek(reinterpret_cast<char *>(start.data()), qint64(start.size()));
        const int shortLength = start[1] & 0x7f;
        const int lengthBytes = shortLength == longLength ? 2
            : shortLength == longestLength                ? 8
                                                          : 0;
        if (available < 2 + lengthBytes)
            return;
        quint64 length = lengthBytes > 0 ? 0 : quint64(shortLength);
        for (int i = 0; i < lengthBytes; ++i)
            length = length << 8 | start[std::size_t(i) + 2];
        if (start[0] == uchar(closeFrame) || length > quint64(connection->readBufferSize())) {
            stopReading();
            return;
        }
        skippedBytes = 2 + lengthBytes + maskBytes + qint64(length);
    }
}

// Whether the client has read the replies to its previous requests. It may request more keywords
// while so many commands wait that it would not be read any further: its pings would have no reply
// then. The stored data is limited, because the values of its keywords wait like all changes.
bool ClientSocket::hasReadAnswers() const
{
    if (session && session->waitingBytes() > room)
        return false;
    // While the session is paused, the replies to several requests for a keyword would become one.
    const bool isPaused = session && session->isPaused();
    return (waitingBytes() <= room && !isPaused)
        || (session && commands.bytes() > readAhead / 2 && asksForKeyword(commands.first()));
}

// Whether the client has read the replies, and does not send too many requests.
bool ClientSocket::mayTakeCommand()
{
    if (!hasReadAnswers())
        return false;
    if (commandsLeft < 1)
        gainCommands();
    if (commandsLeft >= 1) {
        --commandsLeft;
        return true;
    }
    commandTimer.start(commandPause);
    Q_EMIT delayed();
    return false;
}

void ClientSocket::gainCommands()
{
    const double most = double(commandsPerSecond) * burstSeconds;
    const double gained = double(sinceCommand.nsecsElapsed()) * commandsPerSecond / 1e9;
    sinceCommand.start();
    commandsLeft = std::min(most, commandsLeft + gained);
}

// By an event: a timer of 0 ms would be sorted in before all others, of which there are many when
// many clients connect.
void ClientSocket::takeSoon()
{
    if (isTakingLater() || commands.isEmpty())
        return;
    takesSoon = true;
    QMetaObject::invokeMethod(this, &ClientSocket::takeCommands, Qt::QueuedConnection);
}

void ClientSocket::takeCommands()
{
    takesSoon = false;
    const QPointer<ClientSocket> guard(this);
    QElapsedTimer time;
    time.start();
    while (!commands.isEmpty() && (finishing || mayTakeCommand())) {
        Q_EMIT received(commands.dequeue());
        if (!guard)
            return;
        if (time.hasExpired(slice))
            takeSoon();
        if (isTakingLater())
            break;
    }
    limitReading();
    if (finishing && commands.isEmpty()) {
        Q_EMIT finished();
        return;
    }
    // The replies are sent before those to other clients are made: these can use the same memory.
    flush();
    if (!guard)
        return;
    if (frames.isEmpty())
        frames = {};
    if (closeCode && !finishing && !takesSoon)
        answerCloseFrame();
}

// Neither a WebSocket nor TLS can be paused: they process everything that the connection has read.
// So the connection must not be notified of new data. It is notified again automatically each time
// it has been read to the end.
void ClientSocket::limitReading()
{
    if (!connection || connection->state() != QAbstractSocket::ConnectedState)
        return;
    if (commandsLeft < 0)
        gainCommands();
    const bool reads = commands.bytes() <= readAhead && commandsLeft >= 0;
    if (commandsLeft < 0 && !commandTimer.isActive()) {
        commandTimer.start(commandPause);
        if (!std::exchange(isCharged, true))
            Q_EMIT delayed();
    } else if (commandsLeft >= 0) {
        isCharged = false;
    }
    if (!readNotifier && reads)
        return;
    const auto notifiers = connection->findChildren<QSocketNotifier *>();
    for (QSocketNotifier *notifier : notifiers) {
        if (notifier->type() == QSocketNotifier::Read)
            readNotifier = notifier;
    }
    if (readNotifier)
        readNotifier->setEnabled(reads);
}

// The replies cannot be delivered, but the writes take effect.
void ClientSocket::finish()
{
    finishing = true;
    full = true;
    commandTimer.stop();
    if (commands.isEmpty())
        Q_EMIT finished();
    else
        takeSoon();
}

} // namespace pellix::server
