#pragma once

#include <QObject>

#include <functional>
#include <iosfwd>
#include <map>
#include <string>

#include <nlohmann/json.hpp>

namespace ostinel {
class AppState;
class MainLoop;
class OSCController;
class PlaybackEngine;
}

namespace ostinel::cli {

// What a headless server tells its supervisor, one JSON line per event on
// standard output: "ready" once the configured sockets have opened (or
// failed, each failure an "error" first), then a "state" line whenever the
// selected cue, playing or the mode changes, an "error" line when an OSC
// socket goes down, and the engine's notices.
class ServeEvents : public QObject {
    Q_OBJECT
public:
    // How long "ready" waits for a host name to resolve before it is said anyway.
    static constexpr double readyTimeoutSeconds = 5.0;

    ServeEvents(MainLoop& loop, AppState& state, PlaybackEngine& engine, OSCController& osc, std::ostream& out);

    void print(const nlohmann::ordered_json& line);
    void error(const std::string& message) { print({{"event", "error"}, {"message", message}}); }
    // Says "ready" with `details` once every wanted socket has settled.
    void announceReady(nlohmann::ordered_json details);

private:
    void stateChanged();
    void socketsChanged();
    bool socketsSettled() const;

    MainLoop& loop_;
    AppState& state_;
    PlaybackEngine& engine_;
    OSCController& osc_;
    std::ostream& out_;
    bool ready_ = false;
    std::string lastState_;
    std::map<std::string, std::string> lastSocketError_;
};

} // namespace ostinel::cli
