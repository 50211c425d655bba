#pragma once

#include <QObject>

#include <functional>
#include <map>
#include <memory>
#include <optional>

#include "base/Uuid.h"
#include "document/Show.h"
#include "playback/MidiAction.h"

namespace ostinel {

class MainLoop;
class MidiInput;
class MidiSystem;
class Preferences;

// Turns the notes and controllers of every MIDI source into cue commands:
// five transport actions (kept in the machine's preferences) and one key per
// track (kept in the show). Learn mode makes the next key the key of what
// the user picked; one key has one target, so a learnt key moves. Main
// thread; the MIDI thread only parses and hops.
class MidiController : public QObject {
    Q_OBJECT
public:
    static constexpr const char* mappingsKey = "midiMappings";

    MidiController(MidiSystem& midi, MainLoop& loop, Preferences& preferences, QObject* parent = nullptr);
    ~MidiController() override;

    // False when the MIDI server refused our input port.
    bool inputOpen() const { return input_ != nullptr; }

    bool mapMode() const { return mapMode_; }
    // Going off cancels a pending learn.
    void setMapMode(bool on);
    std::optional<MidiAction> learning() const { return learning_; }
    std::optional<Uuid> learningTrack() const { return learningTrack_; }
    const std::map<MidiAction, MidiKey>& mappings() const { return mappings_; }
    const std::map<Uuid, MidiKey>& trackMappings() const { return trackMappings_; }
    std::optional<MidiKey> mapping(MidiAction action) const;
    std::optional<MidiKey> trackMapping(const Uuid& id) const;

    // Asking again for the target already pending cancels it.
    void beginLearning(MidiAction action);
    void beginLearningTrack(const Uuid& id);
    void clearMapping(MidiAction action);
    void clearTrackMapping(const Uuid& id);
    void clearAllMappings();
    // The map of a show just opened; nothing is reported back.
    void replaceTrackMappings(std::map<Uuid, MidiKey> mappings);

    // A key pressed on some source: learnt, or fired.
    void received(const MidiKey& key);

    std::function<void(MidiAction)> actionHandler;
    std::function<void(const Uuid&)> trackActionHandler;
    // The show records its own map.
    std::function<void(const std::map<Uuid, MidiKey>&)> onTrackMappingsChanged;

signals:
    // Map mode, a pending learn or a mapping changed.
    void changed();

private:
    void removeKeyOwners(const MidiKey& key);
    void load();
    void save();
    void trackMappingsChanged();

    MainLoop& loop_;
    Preferences& preferences_;
    bool mapMode_ = false;
    std::optional<MidiAction> learning_;
    std::optional<Uuid> learningTrack_;
    std::map<MidiAction, MidiKey> mappings_;
    std::map<Uuid, MidiKey> trackMappings_;
    // Posted hops hold this weakly: a key may arrive after we are gone.
    std::shared_ptr<MidiController*> self_;
    std::unique_ptr<MidiInput> input_;
};

} // namespace ostinel
