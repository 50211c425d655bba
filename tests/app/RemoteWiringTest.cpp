#include <gtest/gtest.h>

#include <QAction>

#include "AppRig.h"
#include "control/OSCMessage.h"
#include "control/RemoteControl.h"
#include "platform/LoopbackMidiSystem.h"

namespace ostinel {
namespace {

class RemoteWiring : public ::testing::Test {
protected:
    test::AppRig rig;
    RemoteControl& remote = rig.app->remote();
    AppState& state = rig.app->state();
    PlaybackEngine& engine = rig.app->engine();

    void SetUp() override {
        rig.app->start();
        state.loadShow(FileUrl::fromPath(rig.writeShow("Show", 3)));
        ASSERT_EQ(state.show().tracks.size(), 3u);
        rig.run(0.5); // the opened show settles in the transport
    }
    Uuid track(int i) const { return state.show().tracks[std::size_t(i)].id; }
    void osc(const OSCMessage& message) { remote.osc().handleDatagram(message.encoded()); }
    void midi(const std::vector<std::uint8_t>& bytes) {
        dynamic_cast<LoopbackMidiSystem&>(rig.app->midi()).receive(bytes);
        rig.loop.runPosted();
    }
};

TEST_F(RemoteWiring, OscIndexesCountFromOneAndModeIsShowOnlyByName) {
    osc({"/ostinel/track/select", {std::int64_t(3)}});
    EXPECT_EQ(state.selectedTrackID(), track(2));
    osc({"/ostinel/track/select", {std::int64_t(4)}});
    osc({"/ostinel/track/select", {std::int64_t(0)}});
    EXPECT_EQ(state.selectedTrackID(), track(2)) << "outside 1 to 3: no effect";
    osc({"/ostinel/track/go", {std::int64_t(2)}});
    rig.run(0.5);
    EXPECT_EQ(state.selectedTrackID(), track(1));
    EXPECT_TRUE(engine.isPlaying());
    osc({"/ostinel/mode", {std::string("show")}});
    EXPECT_EQ(state.mode(), AppMode::show);
    osc({"/ostinel/mode", {std::string("Show")}});
    EXPECT_EQ(state.mode(), AppMode::edit);
}

TEST_F(RemoteWiring, TrackKeyRestartsTheRunningCueWhereOscGoAsksItsLoopToLeave) {
    osc({"/ostinel/track/go", {std::int64_t(1)}});
    rig.run(1.5);
    ASSERT_TRUE(engine.isPlaying());
    const double before = engine.currentTime();
    ASSERT_GT(before, 1.0);
    osc({"/ostinel/track/go", {std::int64_t(1)}});
    rig.run(0.2);
    EXPECT_GT(engine.currentTime(), before) << "no loop to leave: it plays on";

    remote.midi().beginLearningTrack(track(0));
    midi({0x90, 60, 100});
    midi({0x90, 60, 100});
    rig.run(0.1);
    EXPECT_TRUE(engine.isPlaying());
    EXPECT_LT(engine.currentTime(), 0.5) << "restarted from its in-point";

    ASSERT_TRUE(rig.app->cues().numbers.received);
    remote.numbers().beginLearningTrack(track(2));
    EXPECT_TRUE(rig.app->cues().numbers.received(3));
    EXPECT_TRUE(rig.app->cues().numbers.received(3));
    rig.run(0.5);
    EXPECT_EQ(state.selectedTrackID(), track(2));
    EXPECT_TRUE(engine.isPlaying());
}

TEST_F(RemoteWiring, LearntTrackKeysAreTheShowsAndFollowUndo) {
    remote.midi().beginLearningTrack(track(1));
    midi({0xB4, 20, 127});
    EXPECT_EQ(state.midiTrackMappings().at(track(1)), (MidiKey{MidiKey::Kind::cc, 4, 20}));
    EXPECT_TRUE(state.isDirty());
    state.undo();
    EXPECT_TRUE(remote.midi().trackMappings().empty()) << "the controller follows the show back";
    midi({0xB4, 20, 127});
    EXPECT_FALSE(engine.isPlaying());
}

TEST_F(RemoteWiring, GoButtonLearnsInMapModeInsteadOfPlaying) {
    auto* mapMode = rig.app->window().findChild<QAction*>("midiMapMode");
    ASSERT_NE(mapMode, nullptr);
    mapMode->trigger();
    EXPECT_TRUE(remote.midi().mapMode());
    ShowModeKeys::goButton(rig.app->cues());
    EXPECT_EQ(remote.midi().learning(), MidiAction::go);
    midi({0x90, 36, 1});
    remote.midi().setMapMode(false);
    EXPECT_FALSE(mapMode->isChecked()) << "the menu follows the controller";
    state.setSelectedTrackID(track(0));
    midi({0x90, 36, 1});
    rig.run(0.5);
    EXPECT_TRUE(engine.isPlaying()) << "the learnt key is GO";
}

} // namespace
} // namespace ostinel
