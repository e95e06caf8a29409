// SPDX-FileCopyrightText: 2026 The pellixclient-keyword authors
// SPDX-License-Identifier: MIT

#pragma once

#include "server/commandqueue_p.h"
#include "server/limits.h"
#include "server/sendingbudget_p.h"

#include <QtCore/QElapsedTimer>
#include <QtCore/QObject>
#include <QtCore/QPointer>
#include <QtCore/QString>
#include <QtCore/QTimer>
#include <QtWebSockets/QWebSocketProtocol>

#include <deque>
#include <memory>
#include <optional>

class QSocketNotifier;
class QSslSocket;
class QTcpSocket;
class QWebSocket;

namespace pellix::server {

class KeywordSession;

// The WebSocket of one client and its connection, with limits on all data that the server stores
// for the client. The WebSocket owns it.
//
// To the client: its session is paused while more data waits than the limit, in this process and in
// the system's buffer together, and a long message is passed on in parts. So a pong is never
// delayed for long. Data that is sent nevertheless, such as a long reply, has a limit beyond which
// the connection is closed.
//
// From the client: its commands wait while it exceeds the permitted rate or does not read the
// replies; then its connection is not read any further. Commands are processed from the event loop,
// a few at a time, so that other clients are served in between. A handler of a command may delete
// anything. If a client closes the connection in the same packet, it gets the replies before the
// close frame.
class ClientSocket : public QObject
{
    Q_OBJECT

public:
    // The timer ticks so often in the time after which a client has stalled, for all who share it.
    static constexpr int ticksInStalledTime = 10;
    ClientSocket(QWebSocket *socket, QTcpSocket *connection, const Limits &limits,
                 const std::shared_ptr<SendingBudget> &budget,
                 const std::shared_ptr<QTimer> &progressTimer);
    ~ClientSocket() override;

    QWebSocket *webSocket() const { return socket; }
    // The connection has data, and the WebSocket has not read it yet.
    void aboutToRead(qint64 bytes) { bytesBefore = bytes; }
    void setSession(KeywordSession *session) { this->session = session; }
    bool hasUndecidedWrites() const;
    // Also after something was sent: it counts from then on.
    bool hasRoom();
    qint64 waitingBytes() const;
    // A message of the session, in UTF-8.
    void sendMessage(const QByteArray &message);
    void sendText(const QString &text);
    void sendBinary(const QByteArray &data);
    void flush();
    // Starts the closing handshake.
    void close(QWebSocketProtocol::CloseCode code, const QString &reason = QString());
    // The connection has ended. What the client has sent before still counts.
    void finish();

Q_SIGNALS:
    void received(const QByteArray &command);
    void drained(); // from the event loop: there is room again for a session that is paused
    void delayed(); // once for each pause of the client's commands
    void tooLong(); // a command, which ends the connection
    // Once, and from the event loop: nothing is being sent or received then. Nothing is sent
    // afterwards.
    void stalled(const QString &why);
    void finished(); // after finish(), once all commands are taken

private:
    // The rest of a message that is sent in several frames.
    struct Parts
    {
        char opcode;
        QByteArray text;
        qsizetype sent; // bytes
    };

    void send(char opcode, const QByteArray &message);
    void sendNow(char opcode, const QByteArray &message);
    void sendParts(bool all = false);
    bool hasRoomForPart() const;
    void takePart();
    void appendFrame(char first, QByteArrayView payload);
    qint64 bytesInConnection() const;
    qint64 countWaiting();
    void written(qint64 bytes);
    void resumeSoon();
    void onRead();
    void checkBacklog();
    void checkProgress();
    void giveUp(const QString &why);
    void limitNextFrame(qint64 bytes, bool isLast);
    void enqueue(const QString &text);
    void takeCloseFrame();
    void answerCloseFrame();
    void stopReading();
    void readBy(void (ClientSocket::*reader)());
    void discard();
    void skipFrames();
    bool hasReadAnswers() const;
    bool mayTakeCommand();
    bool isTakingLater() const { return takesSoon || commandTimer.isActive(); }
    void takeSoon();
    void takeCommands();
    void limitReading();
    void chargeOtherFrames();
    void gainCommands();
    void added(qint64 bytes);

    QWebSocket *const socket;
    const QPointer<QTcpSocket> connection;
    QSslSocket *const encrypted; // the same, under TLS
    QPointer<KeywordSession> session;
    const std::shared_ptr<SendingBudget> budget;
    const qint64 room;
    const qint64 totalRoom;
    qint64 counted = 0; // of the budget
    QByteArray frames; // for the end of this turn of the event loop
    std::deque<Parts> parts; // long messages, and those behind them
    qint64 partBytes = 0; // of them that are not sent
    const qint64 commandBytes;
    qint64 messageBytes = 0; // of a message whose last frame is missing
    const int commandsPerSecond;
    const std::chrono::milliseconds stalledTime;
    qint64 longMessage = 0; // bytes of one that waits besides the limit
    CommandQueue commands; // that wait
    double commandsLeft; // that the client may send at this moment; less than 0 for other frames
    qint64 bytesBefore = 0; // that the connection had when it was to be read
    qint64 textBytes = 0; // of frames that contained commands, since then
    QElapsedTimer sinceCommand;
    QElapsedTimer sinceWritten;
    QElapsedTimer sincePing; // the one that the client has not answered; invalid if there is none
    QElapsedTimer sinceChecked;
    const std::shared_ptr<QTimer> progressTimer;
    QTimer commandTimer; // for the end of a pause
    QPointer<QSocketNotifier> readNotifier;
    qint64 skippedBytes = 0; // that remain of a frame
    qint64 own = 0; // bytes that wait and are no pongs, at most
    bool sendingParts = false;
    bool takesSoon = false;
    bool resumesSoon = false;
    std::optional<int> closeCode; // that the client has sent, and that is to be answered
    bool closing = false; // this object is calling the WebSocket's close()
    bool closeFrameSent = false; // after which no other frame may be sent
    bool finishing = false;
    bool wasTooLong = false;
    bool isCharged = false; // it is paused for frames that are no commands
    bool full = false;
};

} // namespace pellix::server
