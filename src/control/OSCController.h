#pragma once

#include <QObject>
#include <QPointer>

#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>

#include "base/Uuid.h"
#include "document/Show.h"
#include "document/TimelineItems.h"
#include "platform/MainLoop.h"
#include "platform/UdpSocket.h"
#include "playback/MidiAction.h"

namespace ostinel {

class AppState;
class OSCDiagnostics;
class OSCMessage;
class PlaybackEngine;
class Preferences;

// The OSC front: a listener for commands, status feedback to a control
// surface, and the timeline's triggers to show gear; three sockets, each up
// only while its own switch wants it. It distrusts the network: a socket
// not ready on two health checks in a row is rebuilt, and every change of
// a socket goes to the diagnostics file. Main thread.
class OSCController : public QObject {
    Q_OBJECT
public:
    static constexpr double healthCheckSeconds = 10.0;
    static constexpr int stallsBeforeRebuild = 2;

    // `logPath` is the diagnostics file; empty logs only.
    OSCController(MainLoop& loop, Preferences& preferences, const std::string& logPath, QObject* parent = nullptr);
    ~OSCController() override;

    bool enabled() const { return enabled_; }
    int port() const { return port_; }
    bool feedbackEnabled() const { return feedbackEnabled_; }
    const std::string& feedbackHost() const { return feedbackHost_; }
    int feedbackPort() const { return feedbackPort_; }
    bool triggerOutputEnabled() const { return triggerOutputEnabled_; }
    const std::string& triggerHost() const { return triggerHost_; }
    int triggerPort() const { return triggerPort_; }
    // Each stores the value and restarts the sockets.
    void setEnabled(bool on);
    void setPort(int port);
    void setFeedbackEnabled(bool on);
    void setFeedbackHost(const std::string& host);
    void setFeedbackPort(int port);
    void setTriggerOutputEnabled(bool on);
    // The route is the show's too: an edit is reported by onTriggerRouteChanged.
    void setTriggerHost(const std::string& host);
    void setTriggerPort(int port);

    // Starts the sockets and follows the engine and the state for feedback.
    void start(PlaybackEngine& engine, AppState& state);
    void restart();
    // A timeline trigger; nothing while trigger output is off or down.
    void send(const OSCTrigger& trigger);
    // The route stored in a show just opened: taken up without being
    // reported back as an edit.
    void applyTriggerRoute(const std::string& host, std::int64_t port);

    // A datagram as the listener received it.
    void handleDatagram(std::span<const std::uint8_t> datagram);
    void healthCheck();
    void sendFeedbackIfChanged();

    // Nothing while a socket is not wanted or is down.
    std::optional<SocketState> listenerState() const;
    std::optional<SocketState> feedbackState() const;
    std::optional<SocketState> triggerOutputState() const;
    bool wantsFeedback() const { return feedbackEnabled_ && !feedbackHost_.empty(); }
    bool wantsTriggerOutput() const { return triggerOutputEnabled_ && !triggerHost_.empty(); }
    // The port the listener is bound to (for port 0 in tests), 0 without one.
    int boundPort() const;
    // A line per socket for the settings: its state, and why when it is down.
    std::string listenerStatus() const;
    std::string feedbackStatus() const;
    std::string triggerOutputStatus() const;
    OSCDiagnostics& diagnostics() { return *diagnostics_; }

    std::function<void(MidiAction)> actionHandler;
    std::function<void(std::int64_t)> selectIndexHandler;
    std::function<void(std::int64_t)> goIndexHandler;
    std::function<void(const std::string&)> modeHandler;
    std::function<void(const std::string& host, std::int64_t port)> onTriggerRouteChanged;

signals:
    void settingsChanged();
    // A socket came, went or changed state.
    void socketsChanged();

private:
    struct Socket {
        std::unique_ptr<UdpSocket> socket;
        int stalledChecks = 0;
        std::string lastError;
    };
    enum class Which { listener, feedback, trigger };

    void load();
    // Stores a setting (with its preference key; none for the trigger
    // route, which is written as a pair) and restarts.
    template <class T>
    void change(T& field, T value, const char* key);
    void openListener();
    void openFeedbackConnection();
    void openTriggerConnection();
    std::unique_ptr<UdpSocket> openConnection(Which which, const std::string& host, int port);
    void onSocketState(Which which, const UdpSocket* socket, SocketState state, const std::string& error);
    void checkSocket(Which which, bool wanted);
    void startHealthTimer();
    void persistTriggerRoute();
    void transmit(Which which, const OSCMessage& message);
    Socket& slot(Which which);
    const Socket& slot(Which which) const;
    std::string status(Which which, bool wanted, const std::string& off) const;
    void record(const std::string& text);

    MainLoop& loop_;
    Preferences& preferences_;
    std::unique_ptr<OSCDiagnostics> diagnostics_;
    bool enabled_ = false;
    int port_ = 53000;
    bool feedbackEnabled_ = false;
    std::string feedbackHost_;
    int feedbackPort_ = 53001;
    bool triggerOutputEnabled_ = false;
    std::string triggerHost_;
    int triggerPort_ = 53000;
    bool suppressRouteWriteback_ = false;
    bool started_ = false;

    Socket listener_, feedback_, trigger_;
    std::optional<MainLoop::TimerId> healthTimer_;

    QPointer<PlaybackEngine> engine_;
    QPointer<AppState> state_;
    std::optional<bool> lastSentPlaying_;
    // Unset until sent; then the track sent, or none for "no track".
    std::optional<std::optional<Uuid>> lastSentTrackID_;
    std::optional<std::string> lastSentTrackName_;
    std::optional<AppMode> lastSentMode_;
    std::optional<std::int64_t> lastSentTrackCount_;
};

} // namespace ostinel
