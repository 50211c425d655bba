#pragma once

#include <QObject>

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <vector>

#include "base/Uuid.h"
#include "document/LoudnessMeasurement.h"

namespace ostinel {

class AppState;
class WaveformStore;

// Measures the loudness of a show's cues, several files at once, and counts
// them on AppState's loudnessProgress. Main thread only.
class LoudnessBatch : public QObject {
    Q_OBJECT
public:
    using Measurements = std::map<Uuid, LoudnessMeasurement>;
    using Done = std::function<void(Measurements)>;

    // At most `parallel` files are measured at a time; 0 means one per core.
    LoudnessBatch(AppState& state, WaveformStore& store, int parallel = 0, QObject* parent = nullptr);
    ~LoudnessBatch() override;

    // The tracks whose file is there, in show order; a track that cannot be
    // measured is left out of the answer. Ignored while a batch runs.
    void measure(const std::vector<Uuid>& trackIDs, Done done);
    // Stops handing out files and answers at once with what was measured;
    // files already being read finish in the background unheard.
    void cancel();
    bool isRunning() const { return run_ != nullptr; }

private:
    struct Run;
    void feed();
    void finishTrack(const Uuid& id, std::optional<LoudnessMeasurement> m);
    void end();

    AppState& state_;
    WaveformStore& store_;
    int parallel_;
    std::shared_ptr<Run> run_;
};

} // namespace ostinel
