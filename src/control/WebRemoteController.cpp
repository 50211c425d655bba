#include "control/WebRemoteController.h"

#include <QHostAddress>
#include <QLoggingCategory>
#include <QTcpServer>
#include <QTcpSocket>

#include <nlohmann/json.hpp>

#include <cstdio>
#include <random>

#include "control/RemoteCommand.h"
#include "control/RemoteStatus.h"
#include "control/WebSocketAccept.h"
#include "control/WebSocketCodec.h"
#include "document/AppState.h"
#include "platform/Preferences.h"
#include "playback/PlaybackEngine.h"

namespace ostinel {

namespace {
Q_LOGGING_CATEGORY(remoteLog, "com.ostinel.remote")

namespace ws = WebSocketCodec;

constexpr qint64 readChunk = 65536;

bool validPort(int port) { return port >= 1 && port <= 65535; }
} // namespace

WebRemoteController::WebRemoteController(MainLoop& loop, Preferences& preferences, std::string page,
                                         std::string appVersion, QObject* parent)
    : QObject(parent), loop_(loop), preferences_(preferences), page_(std::move(page)),
      appVersion_(std::move(appVersion)), self_(std::make_shared<WebRemoteController*>(this)) {
    enabled_ = preferences_.boolValue("remoteEnabled").value_or(false);
    port_ = int(preferences_.intValue("remotePort").value_or(8765));
    directConnection_ = preferences_.boolValue("remoteDirect").value_or(true);
    const auto stored = preferences_.stringValue("remotePIN");
    if (stored && stored->size() == 4) {
        pin_ = *stored;
    } else {
        pin_ = newPIN();
        preferences_.setValue("remotePIN", pin_);
    }
}

WebRemoteController::~WebRemoteController() {
    if (positionTimer_) loop_.cancel(*positionTimer_);
    for (auto& [socket, client] : clients_) {
        socket->disconnect(this);
        socket->abort();
        delete socket;
    }
}

std::string WebRemoteController::newPIN() {
    std::random_device random;
    char text[8];
    std::snprintf(text, sizeof text, "%04u", unsigned(random() % 10000));
    return text;
}

int WebRemoteController::boundPort() const {
    return listener_ && listener_->isListening() ? int(listener_->serverPort()) : 0;
}

// --- Settings ---------------------------------------------------------------------------

void WebRemoteController::setEnabled(bool on) {
    if (enabled_ == on) return;
    enabled_ = on;
    preferences_.setValue("remoteEnabled", on);
    emit settingsChanged();
    restart();
}

void WebRemoteController::setPort(int port) {
    if (port_ == port) return;
    port_ = port;
    preferences_.setValue("remotePort", std::int64_t(port));
    emit settingsChanged();
    restart();
}

void WebRemoteController::setDirectConnection(bool on) {
    if (directConnection_ == on) return;
    directConnection_ = on;
    preferences_.setValue("remoteDirect", on);
    emit settingsChanged();
    restart();
}

void WebRemoteController::regeneratePIN() {
    pin_ = newPIN();
    preferences_.setValue("remotePIN", pin_);
    std::vector<QTcpSocket*> signedIn;
    for (auto& [socket, client] : clients_)
        if (client.authed) signedIn.push_back(socket);
    for (QTcpSocket* socket : signedIn) drop(socket);
    emit settingsChanged();
}

// --- Listener ---------------------------------------------------------------------------

void WebRemoteController::start(PlaybackEngine& engine, AppState& state) {
    engine_ = &engine;
    state_ = &state;
    for (auto signal : {&PlaybackEngine::isPlayingChanged, &PlaybackEngine::activeLoopIDChanged,
                        &PlaybackEngine::loopExitingChanged, &PlaybackEngine::cueLoopExitingChanged})
        connect(&engine, signal, this, &WebRemoteController::pushState, Qt::QueuedConnection);
    for (auto signal : {&AppState::showChanged, &AppState::selectedTrackIDChanged,
                        &AppState::preselectedTrackIDChanged, &AppState::modeChanged})
        connect(&state, signal, this, &WebRemoteController::pushState, Qt::QueuedConnection);
    restart();
}

void WebRemoteController::restart() {
    listener_.reset();
    std::vector<QTcpSocket*> all;
    for (auto& [socket, client] : clients_) all.push_back(socket);
    for (QTcpSocket* socket : all) drop(socket);
    updateCounts();
    listenerGeneration_ += 1;
    bindRetries_ = 0;
    if (isListening_) {
        isListening_ = false;
        emit statusChanged();
    }
    if (enabled_) openListener();
    else setProblem(std::nullopt);
}

void WebRemoteController::openListener() {
    if (!validPort(port_)) {
        setProblem("Choose a port between 1 and 65535.");
        return;
    }
    listener_ = std::make_unique<QTcpServer>();
    connect(listener_.get(), &QTcpServer::newConnection, this, &WebRemoteController::accept);
    if (listener_->listen(QHostAddress::Any, quint16(port_))) {
        isListening_ = true;
        bindRetries_ = 0;
        setProblem(std::nullopt);
        emit statusChanged();
        return;
    }
    const auto error = listener_->serverError();
    qCWarning(remoteLog, "Web remote listener failed: %s", qPrintable(listener_->errorString()));
    listener_.reset();
    isListening_ = false;
    if (error == QAbstractSocket::AddressInUseError && bindRetries_ < maxBindRetries) {
        // Just after a restart the old socket can hold the port a moment.
        bindRetries_ += 1;
        std::weak_ptr<WebRemoteController*> weak = self_;
        loop_.after(bindRetrySeconds, [weak, generation = listenerGeneration_] {
            auto self = weak.lock();
            if (self && (*self)->listenerGeneration_ == generation && (*self)->enabled_) (*self)->openListener();
        });
        return;
    }
    setProblem(error == QAbstractSocket::AddressInUseError
                   ? "The remote could not listen on port " + std::to_string(port_)
                   : "The remote could not open port " + std::to_string(port_));
}

void WebRemoteController::setProblem(std::optional<std::string> problem) {
    if (problem_ == problem) return;
    problem_ = std::move(problem);
    emit statusChanged();
}

// --- Connections ------------------------------------------------------------------------

void WebRemoteController::accept() {
    while (listener_ && listener_->hasPendingConnections()) {
        QTcpSocket* socket = listener_->nextPendingConnection();
        if (!socket) return;
        // Owned by the table from here, not by the listener, which may go first.
        socket->setParent(nullptr);
        if (int(clients_.size()) >= maxClients) {
            socket->abort();
            socket->deleteLater();
            continue;
        }
        socket->setSocketOption(QAbstractSocket::LowDelayOption, 1);
        Client& client = clients_[socket];
        client.socket = socket;
        client.address = socket->peerAddress().toString().toStdString();
        connect(socket, &QTcpSocket::readyRead, this, [this, socket] { readFrom(socket); });
        connect(socket, &QTcpSocket::disconnected, this, [this, socket] { drop(socket); });
        connect(socket, &QTcpSocket::errorOccurred, this, [this, socket] { drop(socket); });
        // A page that never signs in does not keep a slot.
        std::weak_ptr<WebRemoteController*> weak = self_;
        QPointer<QTcpSocket> guard(socket);
        loop_.after(signInSeconds, [weak, guard] {
            auto self = weak.lock();
            if (!self || !guard) return;
            auto it = (*self)->clients_.find(guard.data());
            if (it != (*self)->clients_.end() && !it->second.authed) (*self)->drop(guard.data());
        });
    }
}

void WebRemoteController::drop(QTcpSocket* socket) {
    auto it = clients_.find(socket);
    if (it == clients_.end()) return;
    const bool wasAuthed = it->second.authed;
    clients_.erase(it);
    socket->disconnect(this);
    socket->abort();
    socket->deleteLater();
    if (wasAuthed) updateCounts();
}

void WebRemoteController::readFrom(QTcpSocket* socket) {
    while (clients_.contains(socket) && socket->bytesAvailable() > 0) {
        const QByteArray chunk = socket->read(readChunk);
        if (chunk.isEmpty()) return;
        Client& client = clients_.at(socket);
        client.buffer.insert(client.buffer.end(), chunk.begin(), chunk.end());
        process(client);
    }
}

void WebRemoteController::process(Client& client) {
    if (client.isWebSocket) return processFrames(client);
    QTcpSocket* socket = client.socket;
    const auto request = ws::parseRequest(client.buffer);
    if (!request) {
        if (client.buffer.size() > ws::maxRequestHead) drop(socket);
        return;
    }
    client.buffer.erase(client.buffer.begin(), client.buffer.begin() + std::ptrdiff_t(request->consumed));
    const auto& r = request->value;
    auto answerAndClose = [&](const std::string& response) {
        socket->write(response.data(), qint64(response.size()));
        clients_.erase(socket);
        socket->disconnect(this);
        connect(socket, &QTcpSocket::disconnected, socket, &QObject::deleteLater);
        socket->disconnectFromHost();
    };
    if (r.isWebSocketUpgrade() && r.path.starts_with("/ws")) {
        if (!RemoteGate::originAllowed(r.header("origin"), r.header("host")))
            return answerAndClose(ws::httpResponse("403 Forbidden", "text/plain", "Forbidden"));
        client.isWebSocket = true;
        const std::string response = "HTTP/1.1 101 Switching Protocols\r\nUpgrade: websocket\r\nConnection: Upgrade\r\n"
                                     "Sec-WebSocket-Accept: " +
                                     webSocketAccept(r.header("sec-websocket-key")) + "\r\n\r\n";
        socket->write(response.data(), qint64(response.size()));
        return processFrames(client);
    }
    if (r.path == "/" || r.path == "/index.html")
        return answerAndClose(ws::httpResponse("200 OK", "text/html; charset=utf-8", page_));
    answerAndClose(ws::httpResponse("404 Not Found", "text/plain", "Not found"));
}

void WebRemoteController::processFrames(Client& client) {
    QTcpSocket* socket = client.socket;
    for (;;) {
        auto& buffer = clients_.at(socket).buffer;
        auto frame = ws::parseFrame(buffer);
        if (!frame) break;
        buffer.erase(buffer.begin(), buffer.begin() + std::ptrdiff_t(frame->consumed));
        const auto& payload = frame->value.payload;
        switch (ws::Opcode(frame->value.opcode)) {
        case ws::Opcode::text:
            message(client, std::string_view(reinterpret_cast<const char*>(payload.data()), payload.size()));
            break;
        case ws::Opcode::ping:
            if (client.authed) {
                const auto pong = ws::encodeFrame(ws::Opcode::pong, payload);
                socket->write(reinterpret_cast<const char*>(pong.data()), qint64(pong.size()));
            }
            break;
        case ws::Opcode::close: {
            const auto close = ws::encodeFrame(ws::Opcode::close, std::string_view());
            socket->write(reinterpret_cast<const char*>(close.data()), qint64(close.size()));
            socket->flush();
            drop(socket);
            return;
        }
        default: break;
        }
        // A handler may have let this client go (a new PIN, a restart).
        if (!clients_.contains(socket)) return;
    }
    if (ws::isUnparseable(clients_.at(socket).buffer)) drop(socket);
}

void WebRemoteController::message(Client& client, std::string_view text) {
    const auto command = RemoteCommand::parse(text);
    if (!command) return;
    if (const auto* auth = std::get_if<RemoteCommand::Auth>(&command->what)) return authenticate(client, auth->pin);
    if (!client.authed || !state_) return;
    if (const auto* action = std::get_if<MidiAction>(&command->what)) {
        if (actionHandler) actionHandler(*action);
    } else if (std::holds_alternative<RemoteCommand::Panic>(command->what)) {
        if (panicHandler) panicHandler();
    } else if (const auto* indexed = std::get_if<RemoteCommand::Indexed>(&command->what)) {
        const auto& handler = indexed->kind == RemoteCommand::Index::cue      ? goIndexHandler
                              : indexed->kind == RemoteCommand::Index::select ? selectIndexHandler
                                                                              : sectionJumpHandler;
        if (handler) handler(indexed->i);
    }
}

void WebRemoteController::authenticate(Client& client, const std::string& attempt) {
    const auto verdict = gate_.check(attempt, pin_, client.address, loop_.now());
    if (verdict != RemoteGate::Verdict::accepted) {
        const char* why = verdict == RemoteGate::Verdict::lockedOut ? "Too many wrong PINs — wait a minute."
                                                                     : "Wrong PIN.";
        send(client, nlohmann::json{{"t", "auth"}, {"ok", false}, {"msg", why}}.dump());
        return;
    }
    client.authed = true;
    updateCounts();
    send(client, nlohmann::ordered_json{{"t", "auth"}, {"ok", true}, {"proto", 1}, {"app", appVersion_}}.dump());
    if (state_ && engine_) {
        send(client, remoteStateMessage(*state_, *engine_));
        send(client, remotePositionMessage(*state_, *engine_, loop_.now()));
    }
}

void WebRemoteController::send(Client& client, std::string_view text) {
    const auto frame = ws::encodeFrame(ws::Opcode::text, text);
    client.socket->write(reinterpret_cast<const char*>(frame.data()), qint64(frame.size()));
}

void WebRemoteController::sendToSignedIn(std::string_view text) {
    // One frame for everyone: a push to sixteen phones is encoded once.
    const auto frame = ws::encodeFrame(ws::Opcode::text, text);
    for (auto& [socket, client] : clients_)
        if (client.authed) socket->write(reinterpret_cast<const char*>(frame.data()), qint64(frame.size()));
}

// --- Pushes -----------------------------------------------------------------------------

void WebRemoteController::updateCounts() {
    int count = 0;
    for (const auto& [socket, client] : clients_) count += client.authed ? 1 : 0;
    if (count > 0 && !positionTimer_) {
        positionTimer_ = loop_.every(positionSeconds, [this] { pushPosition(); });
    } else if (count == 0 && positionTimer_) {
        loop_.cancel(*positionTimer_);
        positionTimer_.reset();
        lastPosition_.reset();
    }
    if (count == clientCount_) return;
    clientCount_ = count;
    emit statusChanged();
}

void WebRemoteController::pushState() {
    if (!state_ || !engine_) return;
    if (advertisedShow_ != state_->show().name) {
        advertisedShow_ = state_->show().name;
        if (onShowNameChanged) onShowNameChanged(*advertisedShow_);
    }
    std::string state = remoteStateMessage(*state_, *engine_);
    if (lastState_ == state) return;
    lastState_ = state;
    sendToSignedIn(state);
}

void WebRemoteController::pushPosition() {
    if (!state_ || !engine_) return;
    std::string position = remotePositionMessage(*state_, *engine_, loop_.now());
    if (lastPosition_ == position) return;
    lastPosition_ = position;
    sendToSignedIn(position);
}

} // namespace ostinel
