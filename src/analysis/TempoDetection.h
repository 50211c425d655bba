#pragma once

#include <QObject>

#include <functional>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "analysis/TempoEstimate.h"
#include "base/Uuid.h"

namespace ostinel {

class AppState;
class MainLoop;
class MainLoopMailbox;

// Detects a track's tempo off the main thread and lays its beat grid on the
// answer: tempo, downbeat and grid on, as one undo step. Main thread only;
// the state must outlive it.
class TempoDetection : public QObject {
    Q_OBJECT
public:
    using Detector = std::function<std::optional<TempoEstimate>(const std::string& path, std::optional<TempoRange>)>;
    // Runs a job off the main thread; the default is Qt's global pool.
    using Background = std::function<void(std::function<void()>)>;
    // The line for the operator, if there is one; on the main loop.
    using Done = std::function<void(std::optional<std::string> message)>;

    static constexpr const char* failedMessage = "Couldn't detect a stable tempo.";
    static constexpr const char* driftingMessage =
        "Tempo isn't quite constant \u2014 the grid drifts off the beat later in the track.";
    static constexpr double minBPM = 40.0;
    static constexpr double maxBPM = 300.0;

    TempoDetection(AppState& state, MainLoop& loop, Detector detector, Background background = {},
                   QObject* parent = nullptr);
    // A detection still running is dropped: its result never touches the show.
    ~TempoDetection() override;

    // range is in file time; none means the whole file. False, and done is
    // never called, for an unknown track or one already being detected;
    // otherwise done is called once, later, on the main loop.
    bool detect(const Uuid& trackID, std::optional<TempoRange> range, Done done);
    bool isRunning(const Uuid& trackID) const { return running_.count(trackID) > 0; }

signals:
    // A detection began or ended; the state's flag names only the latest.
    void runningChanged();

private:
    void finish(const Uuid& trackID, const std::optional<TempoEstimate>& estimate, const Done& done);
    void release(const Uuid& trackID);

    AppState& state_;
    Detector detector_;
    Background background_;
    // Where workers hand results back; closed by the destructor, so a late
    // result neither touches this object nor posts to a loop that may be gone.
    std::shared_ptr<MainLoopMailbox> mailbox_;
    std::set<Uuid> running_;
};

} // namespace ostinel
