#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "EngineRig.h"
#include "document/AppState.h"
#include "playback/ShowModeKeys.h"
#include "support/ScriptedDialogs.h"
#include "workspace/WaveformController.h"

using namespace ostinel;
using Key = KeyPress::Key;
using Strip = WaveformController::Strip;

namespace {

// Four one-second probe cues, wired the way the main view wires them.
struct CueCommands : ::testing::Test {
    test::EngineRig rig;
    PlaybackEngine& engine = rig.make();
    test::ScriptedDialogs dialogs;
    AppState state{rig.loop, rig.preferences, dialogs, AppPaths::under(rig.dir.file("app"))};
    WaveformController marks;
    CueContext context{state, engine, marks, {}, {}};
    std::vector<Uuid> ids;
    ShowModeKeys::TransportConnections transport;

    CueCommands() {
        Show show;
        for (int i = 0; i < 4; ++i) {
            Track t;
            t.url = FileUrl::fromPath(
                test::EngineRig::writeProbe(rig.dir.file(std::to_string(i) + ".wav"), 48000));
            t.duration = 1.0;
            ids.push_back(t.id);
            show.tracks.push_back(t);
        }
        state.setShow(show);
        transport = ShowModeKeys::connectTransport(state, engine);
    }
    void edit(std::size_t i, const std::function<void(Track&)>& change) { state.editTrack(ids[i], change); }
    const Track& track(std::size_t i) const { return state.show().tracks[i]; }
    void select(std::size_t i) { state.setSelectedTrackID(ids[i]); }
    void showModeOn(std::size_t i) {
        state.setMode(AppMode::show);
        select(i);
    }
    bool press(KeyPress key) { return ShowModeKeys::handle(key, context); }
    bool press(Key key) { return press(KeyPress{.key = key}); }
    bool command(const char* letter) {
        return press({.key = Key::character, .characters = letter, .command = true});
    }
    bool loaded(std::size_t i) const { return engine.currentURL() == track(i).url; }
};

TEST_F(CueCommands, SpaceStartsAtTheMarkThenLeavesTheLoopOrInEditModeReturnsToThePlayStart) {
    edit(0, [](Track& t) { t.loops.push_back(test::EngineRig::loopOf(0.2, 0.4, std::nullopt)); });
    showModeOn(0);
    marks.setMark(Strip::waveform, GroupDrag::Sel{0.3, 0.1});
    EXPECT_TRUE(press(Key::space));
    EXPECT_DOUBLE_EQ(engine.playStartPosition(), 0.1);
    rig.run(0.5);
    const double before = engine.currentTime();
    press(Key::space);
    EXPECT_TRUE(engine.isPlaying() && engine.loopExiting());
    EXPECT_GE(engine.currentTime(), before) << "GO! neither restarts nor stops";

    state.setMode(AppMode::edit);
    press(Key::space);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_DOUBLE_EQ(engine.currentTime(), 0.1);
}

// The second cue skipped, the third starting at 0.3 s, a short stop fade.
struct ReturnAndEscape : CueCommands {
    ReturnAndEscape() {
        engine.setStopFadeSeconds(0.2);
        edit(1, [](Track& t) { t.skip = true; });
        edit(2, [](Track& t) { t.startSeconds = 0.3; });
        state.setMode(AppMode::show);
    }
};

TEST_F(ReturnAndEscape, ReturnWhilePlayingInShowModeFadesThenAdvances) {
    select(0);
    press(Key::space);
    rig.run(0.1);
    EXPECT_TRUE(press(Key::returnKey));
    EXPECT_EQ(state.selectedTrackID(), ids[0]) << "the fade runs first";
    rig.run(0.4);
    EXPECT_EQ(state.selectedTrackID(), ids[2]) << "then advances past the skipped cue";
    EXPECT_TRUE(loaded(2) && !engine.isPlaying());
}

TEST_F(ReturnAndEscape, EnterWhenStoppedInShowModeGoesBackToTheInPoint) {
    select(2);
    engine.seek(0.8);
    press(Key::keypadEnter);
    EXPECT_DOUBLE_EQ(engine.currentTime(), 0.3);
}

TEST_F(ReturnAndEscape, EscapeFadesAndGoesNowhere) {
    select(2);
    press(Key::space);
    rig.run(0.1);
    EXPECT_TRUE(press(Key::escape));
    rig.run(0.4);
    EXPECT_FALSE(engine.isPlaying());
    EXPECT_EQ(state.selectedTrackID(), ids[2]);
}

TEST_F(ReturnAndEscape, ReturnInEditModeStopsToTheInPointOrLoadsTheSelectedCue) {
    state.setMode(AppMode::edit);
    select(2);
    engine.play();
    rig.run(0.1);
    press(Key::returnKey);
    EXPECT_TRUE(!engine.isPlaying() && engine.currentTime() == 0.3);
    engine.load(track(0));
    press(Key::returnKey);
    EXPECT_TRUE(loaded(2));
}

TEST_F(CueCommands, ArrowsSelectOrWhilePlayingInShowModePreselect) {
    edit(1, [](Track& t) { t.skip = true; });
    press(Key::down);
    EXPECT_EQ(state.selectedTrackID(), ids[0]) << "nothing selected: the first";
    press(Key::down);
    EXPECT_TRUE(loaded(1)) << "skip plays no part in selection";
    press(Key::up);
    press(Key::up);
    EXPECT_EQ(state.selectedTrackID(), ids[0]) << "no wrap-around";

    state.setMode(AppMode::show);
    press(Key::space);
    for (int i = 0; i < 4; ++i)
        press(Key::down);
    EXPECT_EQ(state.preselectedTrackID(), ids[3]) << "walks on from the mark, stops at the end";
    press(Key::up);
    EXPECT_EQ(state.preselectedTrackID(), ids[2]);
    EXPECT_TRUE(engine.isPlaying() && loaded(0));
}

TEST_F(CueCommands, TheEndOfACueAdvancesInShowModeHonouringSkipAutoplayAndTheMark) {
    edit(1, [](Track& t) { t.skip = true; });
    edit(2, [](Track& t) { t.autoplay = true; });
    edit(3, [](Track& t) { t.skip = true; });
    showModeOn(0);
    press(Key::space);
    rig.run(1.2);
    EXPECT_TRUE(engine.isPlaying() && loaded(2)) << "autoplay";
    rig.run(1.2);
    EXPECT_EQ(state.selectedTrackID(), ids[2]) << "the rest is skipped: nothing follows";
    EXPECT_FALSE(engine.isPlaying());

    press(Key::space);
    ShowModeKeys::pickCue(ids[1], state, engine);
    rig.run(1.2);
    EXPECT_EQ(state.selectedTrackID(), ids[1]) << "the mark wins over order and skip";
    EXPECT_FALSE(state.preselectedTrackID());
    EXPECT_FALSE(engine.isPlaying()) << "no autoplay: waits for GO!";

    state.setMode(AppMode::edit);
    press(Key::space);
    rig.run(1.2);
    EXPECT_EQ(state.selectedTrackID(), ids[1]) << "Edit mode stays";
}

TEST_F(CueCommands, LettersAreSwallowedMenuKeysPassAndCommandCAndVCopyAndPasteInEditMode) {
    EXPECT_TRUE(press({.key = Key::character, .characters = "x"}));
    EXPECT_FALSE(command("q"));
    select(1);
    EXPECT_FALSE(command("c")) << "nothing to copy";
    EXPECT_TRUE(command("v")) << "nothing to paste, still taken";
    ASSERT_TRUE(state.addMidiTrigger(ids[1], 0.25));
    marks.setMark(Strip::midiTriggers, GroupDrag::Sel{0.2, 0.3});
    EXPECT_TRUE(command("c"));
    engine.seek(0.6);
    command("v");
    ASSERT_EQ(track(1).midiTriggers.size(), 2u);
    EXPECT_DOUBLE_EQ(track(1).midiTriggers[1].timeSeconds, 0.6) << "pasted at the playhead";
    state.setMode(AppMode::show);
    EXPECT_FALSE(command("v"));
}

TEST_F(CueCommands, DeleteTakesMarkedRangesFirstThenTheSelectedObjectAndOnlyInEditMode) {
    select(0);
    const auto first = state.addLoop(ids[0], 0.1, 0.2);
    const auto second = state.addLoop(ids[0], 0.5, 0.7);
    state.setSelectedLoopID(second);
    marks.setMark(Strip::waveform, GroupDrag::Sel{0.3, 0.05});
    EXPECT_TRUE(press(Key::deleteBackward));
    ASSERT_EQ(track(0).loops.size(), 1u);
    EXPECT_EQ(track(0).loops[0].id, second);
    EXPECT_FALSE(marks.mark(Strip::waveform)) << "applied and cleared";

    state.setMode(AppMode::show);
    EXPECT_TRUE(press(Key::deleteForward));
    state.setMode(AppMode::edit);
    EXPECT_EQ(track(0).loops.size(), 1u);
    state.setSelectedLoopID(second);
    press(Key::deleteForward);
    EXPECT_TRUE(track(0).loops.empty() && first);

    std::optional<Uuid> cleared;
    context.numbers.mapMode = [] { return true; };
    context.numbers.learningTrack = [this] { return std::optional(ids[2]); };
    context.numbers.clearMapping = [&](const Uuid& id) { cleared = id; };
    press(Key::deleteBackward);
    EXPECT_EQ(cleared, ids[2]);
}

TEST_F(CueCommands, MidiActionsSwitchPlayPauseAndPickInShowMode) {
    showModeOn(0);
    ShowModeKeys::perform(MidiAction::go, state, engine, marks);
    ShowModeKeys::perform(MidiAction::next, state, engine, marks);
    EXPECT_EQ(state.selectedTrackID(), ids[1]) << "MIDI next switches even in Show mode";
    EXPECT_FALSE(engine.isPlaying());
    ShowModeKeys::perform(MidiAction::playPause, state, engine, marks);
    EXPECT_TRUE(engine.isPlaying() && loaded(1));
    ShowModeKeys::pickCue(ids[2], state, engine);
    ShowModeKeys::pickCue(ids[2], state, engine);
    EXPECT_FALSE(state.preselectedTrackID()) << "a second pick removes the mark";
    ShowModeKeys::playPauseButton(context);
    EXPECT_FALSE(engine.isPlaying());
}

TEST_F(CueCommands, ANumberKeyRestartsThePlayingCueWhileGoByIndexAsksItsLoopToLeave) {
    showModeOn(0);
    ShowModeKeys::goToTrack(ids[3], state, engine, false);
    EXPECT_TRUE(engine.isPlaying() && loaded(3));
    rig.run(0.3);
    ShowModeKeys::goToTrack(ids[3], state, engine, true);
    EXPECT_NEAR(engine.currentTime(), 0.0, 1e-9);
    rig.run(0.3);
    ShowModeKeys::goToTrack(ids[3], state, engine, false);
    EXPECT_GT(engine.currentTime(), 0.2);
}

TEST_F(CueCommands, GoWhileLearningIsLearnedAndStopFades) {
    select(0);
    engine.play();
    std::vector<MidiAction> learned;
    context.learnAction = [&](MidiAction a) {
        learned.push_back(a);
        return true;
    };
    ShowModeKeys::goButton(context);
    EXPECT_EQ(learned, std::vector<MidiAction>{MidiAction::go});
    EXPECT_FALSE(engine.loopExiting() || engine.isEscFading());
    ShowModeKeys::stopButton(context);
    EXPECT_TRUE(engine.isEscFading());
}

TEST_F(CueCommands, AnEditOfTheSelectedCueReachesTheEngineWithoutAReload) {
    edit(0, [](Track& t) { t.loops.push_back(test::EngineRig::loopOf(0.1, 0.2, std::nullopt)); });
    select(0);
    engine.play();
    rig.run(0.3);
    int playingChanges = 0;
    QObject::connect(&engine, &PlaybackEngine::isPlayingChanged, [&] { ++playingChanges; });
    engine.setBounds(0.0, 0.7);
    edit(1, [](Track& t) { t.endSeconds = 0.3; });
    EXPECT_DOUBLE_EQ(engine.endTime(), 0.7) << "an edit of another cue pushes nothing";
    edit(0, [](Track& t) { t.endSeconds = 0.5; });
    engine.requestLoopExit();
    rig.run(1.0);
    EXPECT_EQ(playingChanges, 1) << "stopped once, at the end";
    const auto first = rig.firstSound();
    auto last = rig.right.size() - 1;
    while (rig.right[last] == 0.0f)
        --last;
    EXPECT_EQ(rig.fileFrame(last), 23999) << "ends at the new out-point";
    for (auto k = first; k <= last; ++k)
        ASSERT_NE(rig.right[k], 0.0f) << "a gap at output frame " << k;

    transport.disconnect();
    select(2);
    EXPECT_TRUE(loaded(0)) << "disconnected";
}

} // namespace
