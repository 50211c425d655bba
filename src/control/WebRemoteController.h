#pragma once

#include <QObject>
#include <QPointer>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "control/RemoteGate.h"
#include "platform/MainLoop.h"
#include "playback/MidiAction.h"

class QTcpServer;
class QTcpSocket;

namespace ostinel {

class AppState;
class PlaybackEngine;
class Preferences;

// A phone runs the show: one small HTTP server that hands out the remote's
// page and upgrades to a WebSocket on the same port, behind a four-digit
// PIN. Built to survive any client on the network: a bounded number of
// connections, a deadline to sign in, a bounded buffer, and frames that
// can never be are refused on sight. Main thread.
class WebRemoteController : public QObject {
    Q_OBJECT
public:
    static constexpr int maxClients = 16;
    static constexpr double signInSeconds = 120.0;
    static constexpr double positionSeconds = 0.25;
    static constexpr int maxBindRetries = 3;
    static constexpr double bindRetrySeconds = 0.4;

    // `page` is the document served at "/"; `appVersion` goes to signed-in clients.
    WebRemoteController(MainLoop& loop, Preferences& preferences, std::string page, std::string appVersion,
                        QObject* parent = nullptr);
    ~WebRemoteController() override;

    bool enabled() const { return enabled_; }
    int port() const { return port_; }
    bool directConnection() const { return directConnection_; }
    const std::string& pin() const { return pin_; }
    bool isListening() const { return isListening_; }
    int clientCount() const { return clientCount_; }
    const std::optional<std::string>& problem() const { return problem_; }
    // The port actually bound (for port 0 in tests... never: 0 is refused),
    // 0 while not listening.
    int boundPort() const;

    // Each stores the value and restarts the listener.
    void setEnabled(bool on);
    void setPort(int port);
    void setDirectConnection(bool on);
    // A new PIN; every signed-in client is let go and must sign in again.
    void regeneratePIN();

    void start(PlaybackEngine& engine, AppState& state);
    void restart();

    std::function<void(MidiAction)> actionHandler;
    std::function<void()> panicHandler;
    std::function<void(std::int64_t)> goIndexHandler;
    std::function<void(std::int64_t)> selectIndexHandler;
    std::function<void(std::int64_t)> sectionJumpHandler;
    // The show's name changed: the advertisement follows.
    std::function<void(const std::string& show)> onShowNameChanged;

signals:
    // Listening, the client count or the problem changed.
    void statusChanged();
    void settingsChanged();

private:
    struct Client {
        QTcpSocket* socket = nullptr;
        std::string address;
        std::vector<std::uint8_t> buffer;
        bool isWebSocket = false;
        bool authed = false;
    };

    void openListener();
    void accept();
    void readFrom(QTcpSocket* socket);
    void process(Client& client);
    void processFrames(Client& client);
    void message(Client& client, std::string_view text);
    void authenticate(Client& client, const std::string& attempt);
    void drop(QTcpSocket* socket);
    void send(Client& client, std::string_view text);
    void sendToSignedIn(std::string_view text);
    void updateCounts();
    void pushState();
    void pushPosition();
    void setProblem(std::optional<std::string> problem);
    static std::string newPIN();

    MainLoop& loop_;
    Preferences& preferences_;
    const std::string page_;
    const std::string appVersion_;
    bool enabled_ = false;
    int port_ = 8765;
    bool directConnection_ = true;
    std::string pin_;
    bool isListening_ = false;
    int clientCount_ = 0;
    std::optional<std::string> problem_;

    QPointer<PlaybackEngine> engine_;
    QPointer<AppState> state_;
    std::unique_ptr<QTcpServer> listener_;
    std::map<QTcpSocket*, Client> clients_;
    RemoteGate gate_;
    std::uint64_t listenerGeneration_ = 0;
    int bindRetries_ = 0;
    std::optional<std::string> lastState_;
    std::optional<std::string> lastPosition_;
    std::optional<std::string> advertisedShow_;
    std::optional<MainLoop::TimerId> positionTimer_;
    std::shared_ptr<WebRemoteController*> self_;
};

} // namespace ostinel
