#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

#include "control/IncomingMidiKey.h"
#include "control/MidiController.h"
#include "control/NumberMapController.h"
#include "platform/LoopbackMidiSystem.h"
#include "platform/ManualMainLoop.h"
#include "platform/MemoryPreferences.h"

using namespace ostinel;

namespace {

using Bytes = std::vector<std::uint8_t>;

MidiKey note(std::int64_t number, std::int64_t channel = 0) { return {MidiKey::Kind::note, channel, number}; }
MidiKey cc(std::int64_t number, std::int64_t channel = 0) { return {MidiKey::Kind::cc, channel, number}; }

std::optional<MidiKey> keyOf(const Bytes& bytes) { return incomingMidiKey(bytes.data(), bytes.size()); }

TEST(IncomingMidiKey, OnlyPressesOfNotesAndControllersAreKeys) {
    EXPECT_EQ(keyOf({0x90, 60, 100}), note(60));
    EXPECT_EQ(keyOf({0x9A, 61, 1}), note(61, 10));
    EXPECT_EQ(keyOf({0xB3, 7, 127}), cc(7, 3));
    EXPECT_EQ(keyOf({0xB0, 7, 1}), cc(7));
    EXPECT_EQ(keyOf({0x90, 60, 0}), std::nullopt) << "velocity 0 is a release";
    EXPECT_EQ(keyOf({0x80, 60, 100}), std::nullopt) << "Note Off";
    EXPECT_EQ(keyOf({0xB0, 7, 0}), std::nullopt) << "CC 0 is a release";
    EXPECT_EQ(keyOf({0xC0, 5}), std::nullopt);
    EXPECT_EQ(keyOf({0xE0, 0, 64}), std::nullopt);
    EXPECT_EQ(keyOf({0x90, 60}), std::nullopt) << "truncated";
    EXPECT_EQ(keyOf({0x90, 0x80, 100}), std::nullopt) << "a status byte where data belongs";
    EXPECT_EQ(keyOf({0xF0, 0x7F, 0x7F, 0xF7}), std::nullopt);
}

class MidiControllerTest : public ::testing::Test {
protected:
    ManualMainLoop loop;
    MemoryPreferences preferences;
    LoopbackMidiSystem midi;
    std::unique_ptr<MidiController> controller;
    std::vector<MidiAction> actions;
    std::vector<Uuid> tracks;
    std::vector<std::map<Uuid, MidiKey>> reported;
    Uuid a = Uuid::random(), b = Uuid::random();

    void SetUp() override { make(); }
    void make() {
        controller.reset();
        controller = std::make_unique<MidiController>(midi, loop, preferences);
        controller->actionHandler = [this](MidiAction action) { actions.push_back(action); };
        controller->trackActionHandler = [this](const Uuid& id) { tracks.push_back(id); };
        controller->onTrackMappingsChanged = [this](const auto& map) { reported.push_back(map); };
    }
    void play(const Bytes& bytes) {
        midi.receive(bytes);
        loop.runPosted();
    }
};

TEST_F(MidiControllerTest, KeysFromAnySourceFireTheirActionAndActionsWinOverTracks) {
    ASSERT_TRUE(controller->inputOpen());
    controller->beginLearning(MidiAction::go);
    play({0x90, 60, 90});
    EXPECT_TRUE(actions.empty()) << "the learnt key does not fire";
    EXPECT_EQ(controller->mapping(MidiAction::go), note(60));

    play({0x90, 60, 100});
    play({0x90, 60, 0});
    play({0x80, 60, 64});
    play({0x91, 60, 100});
    EXPECT_EQ(actions, std::vector{MidiAction::go}) << "releases and other channels do nothing";

    controller->replaceTrackMappings({{a, cc(7)}, {b, note(61)}});
    play({0xB0, 7, 127});
    play({0xB0, 7, 1});
    play({0xB0, 7, 0});
    EXPECT_EQ(tracks, (std::vector{a, a})) << "a fader fires once per step above 0";
    EXPECT_TRUE(reported.size() == 1) << "replacing the show's map reports nothing back";
}

TEST_F(MidiControllerTest, LearntKeyMovesToItsNewTarget) {
    controller->beginLearning(MidiAction::go);
    play({0x90, 60, 90});
    controller->beginLearningTrack(a);
    play({0x90, 60, 90});
    EXPECT_EQ(controller->mapping(MidiAction::go), std::nullopt) << "the action lost it";
    EXPECT_EQ(controller->trackMapping(a), note(60));
    ASSERT_FALSE(reported.empty());
    EXPECT_EQ(reported.back(), (std::map<Uuid, MidiKey>{{a, note(60)}}));

    controller->beginLearning(MidiAction::stop);
    play({0x90, 60, 90});
    EXPECT_EQ(controller->trackMapping(a), std::nullopt);
    EXPECT_TRUE(reported.back().empty()) << "the show hears that its track lost the key";
    play({0x90, 60, 90});
    EXPECT_EQ(actions, std::vector{MidiAction::stop});
}

TEST_F(MidiControllerTest, OnePendingTargetAndMapModeOffCancelsIt) {
    controller->setMapMode(true);
    controller->beginLearning(MidiAction::next);
    controller->beginLearningTrack(a);
    EXPECT_EQ(controller->learning(), std::nullopt);
    EXPECT_EQ(controller->learningTrack(), a);
    controller->beginLearningTrack(a);
    EXPECT_EQ(controller->learningTrack(), std::nullopt) << "asking again cancels";
    controller->beginLearning(MidiAction::next);
    controller->setMapMode(false);
    EXPECT_EQ(controller->learning(), std::nullopt);
    play({0x90, 1, 1});
    EXPECT_TRUE(controller->mappings().empty());
}

TEST_F(MidiControllerTest, ActionMapSurvivesARestartAndClearingForgetsIt) {
    controller->beginLearning(MidiAction::go);
    play({0x9F, 127, 1});
    controller->beginLearning(MidiAction::previous);
    play({0xB2, 0, 5});
    make();
    EXPECT_EQ(controller->mapping(MidiAction::go), note(127, 15));
    EXPECT_EQ(controller->mapping(MidiAction::previous), cc(0, 2));

    controller->beginLearning(MidiAction::go);
    controller->clearMapping(MidiAction::go);
    EXPECT_EQ(controller->learning(), std::nullopt);
    controller->replaceTrackMappings({{a, note(3)}});
    controller->clearAllMappings();
    EXPECT_TRUE(reported.back().empty());
    make();
    EXPECT_TRUE(controller->mappings().empty());
}

TEST_F(MidiControllerTest, StoredBlobIsReadLeniently) {
    auto store = [&](const std::string& text) {
        preferences.setValue(MidiController::mappingsKey, PreferenceBytes(text.begin(), text.end()));
        make();
    };
    store(R"({"go":{"kind":"cc","channel":1,"number":20},"panic":{"kind":"note","channel":0,"number":1}})");
    EXPECT_EQ(controller->mappings(), (std::map<MidiAction, MidiKey>{{MidiAction::go, cc(20, 1)}}))
        << "a key naming no action is dropped";
    store(R"({"go":{"kind":"cc","channel":1}})");
    EXPECT_TRUE(controller->mappings().empty());
    store("not json");
    EXPECT_TRUE(controller->mappings().empty());
}

TEST_F(MidiControllerTest, KeyArrivingAfterTheControllerWentIsDropped) {
    controller->beginLearning(MidiAction::go);
    midi.receive({0x90, 60, 90});
    controller.reset();
    loop.runPosted();
    make();
    EXPECT_TRUE(controller->mappings().empty()) << "the orphaned key was learnt by nobody";
}

TEST(NumberMapController, DigitsFireTracksAndLearnMovesADigit) {
    NumberMapController numbers;
    std::vector<Uuid> fired;
    std::vector<std::map<Uuid, std::int64_t>> reported;
    numbers.trackActionHandler = [&](const Uuid& id) { fired.push_back(id); };
    numbers.onMappingsChanged = [&](const auto& map) { reported.push_back(map); };
    const Uuid a = Uuid::random(), b = Uuid::random();

    EXPECT_FALSE(numbers.received(1)) << "an unmapped digit falls through";
    numbers.beginLearningTrack(a);
    EXPECT_TRUE(numbers.received(1));
    numbers.beginLearningTrack(b);
    EXPECT_TRUE(numbers.received(1));
    EXPECT_EQ(numbers.mappings(), (std::map<Uuid, std::int64_t>{{b, 1}}));
    EXPECT_EQ(reported.size(), 2u);

    EXPECT_TRUE(numbers.received(1));
    EXPECT_EQ(fired, std::vector{b});
    numbers.setMapMode(true);
    EXPECT_FALSE(numbers.received(1)) << "map mode fires nothing";
    numbers.beginLearningTrack(a);
    numbers.setMapMode(false);
    EXPECT_EQ(numbers.learningTrack(), std::nullopt);

    numbers.beginLearningTrack(b);
    numbers.clearMapping(b);
    EXPECT_EQ(numbers.learningTrack(), std::nullopt);
    EXPECT_EQ(numbers.track(1), std::nullopt);
    EXPECT_TRUE(reported.back().empty());
}

} // namespace
