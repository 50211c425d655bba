#pragma once

#include <gtest/gtest.h>

#include <memory>

#include "platform/AudioSystem.h"
#include "platform/MidiSystem.h"

namespace ostinel::test {

// The audio and MIDI systems as the application opens them, here on the
// test's own server; a failure says why.
inline ::testing::AssertionResult openSystems(std::unique_ptr<AudioSystem>& audio, std::unique_ptr<MidiSystem>& midi) {
    auto createdAudio = AudioSystem::create();
    if (!createdAudio) return ::testing::AssertionFailure() << createdAudio.error().message;
    audio = std::move(*createdAudio);
    auto createdMidi = MidiSystem::create(*audio);
    if (!createdMidi) return ::testing::AssertionFailure() << createdMidi.error().message;
    midi = std::move(*createdMidi);
    return ::testing::AssertionSuccess();
}

} // namespace ostinel::test
