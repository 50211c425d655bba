#pragma once

#include <cstdint>
#include <string>

#include "base/Uuid.h"

namespace ostinel {

struct FadeSettings {
    double fadeInSeconds = 0.0;
    double fadeOutSeconds = 0.0;
    friend bool operator==(const FadeSettings&, const FadeSettings&) = default;
};

// One node of the drawn volume curve; db is relative to the track's level.
struct AutomationPoint {
    Uuid id = Uuid::random();
    double timeSeconds = 0.0;
    double db = 0.0;
    friend bool operator==(const AutomationPoint&, const AutomationPoint&) = default;
};

struct Loop {
    // The synthetic loop that stands for a cue-looped track; never stored.
    static const Uuid cueLoopID;

    Uuid id = Uuid::random();
    std::string name;
    bool enabled = true;
    double startSeconds = 0.0;
    double endSeconds = 0.0;
    bool playCountEnabled = false;
    std::int64_t playCount = 2;
    bool reduceVolumeEnabled = false;
    double reduceVolumeDb = 6.0;
    double fadeInSeconds = 1.0;
    double fadeOutSeconds = 1.0;
    friend bool operator==(const Loop&, const Loop&) = default;
};

struct Note {
    Uuid id = Uuid::random();
    std::string name;
    std::string body;
    double timeSeconds = 0.0;
    friend bool operator==(const Note&, const Note&) = default;
};

enum class MidiTriggerType { noteOn, cc };

struct MidiTrigger {
    Uuid id = Uuid::random();
    std::string name;
    double timeSeconds = 0.0;
    // cc by default although the number defaults to a note's 60: kept as it always was.
    MidiTriggerType type = MidiTriggerType::cc;
    std::int64_t channel = 1;
    std::int64_t number = 60;
    std::int64_t value = 127;
    double durationSeconds = 0.1;
    friend bool operator==(const MidiTrigger&, const MidiTrigger&) = default;
};

enum class OSCArgumentKind { none, int_, float_, string };

struct OSCTrigger {
    Uuid id = Uuid::random();
    std::string name;
    double timeSeconds = 0.0;
    std::string address = "/cue/1/go";
    OSCArgumentKind argumentKind = OSCArgumentKind::none;
    std::string argumentText;
    friend bool operator==(const OSCTrigger&, const OSCTrigger&) = default;
};

} // namespace ostinel
