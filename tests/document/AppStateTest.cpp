#include "AppStateFixture.h"

#include <cctype>

using namespace ostinel;

using AppStateSelection = test::AppStateFixture;
using AppStateUndo = test::AppStateFixture;

TEST_F(AppStateSelection, ANewTrackClearsItemsAndPreselectionAndOneTimelineItemAtATimeNoneInShowMode) {
    auto ids = openShow({"one", "two"});
    state.setSelectedTrackID(ids[0]);
    state.setSelectedTrackIDs({ids[0], ids[1]});
    int trackSignals = 0;
    QObject::connect(&state, &AppState::selectedTrackIDChanged, [&] { ++trackSignals; });
    state.setSelectedTrackID(ids[0]); // the same: the multi-selection stays
    EXPECT_EQ(state.selectedTrackIDs().size(), 2u);
    state.setSelectedNoteID(Uuid::random());
    state.setPreselectedTrackID(ids[1]);
    state.setSelectedTrackID(ids[1]);
    EXPECT_EQ(trackSignals, 1);
    EXPECT_FALSE(state.selectedNoteID());
    EXPECT_FALSE(state.preselectedTrackID());
    EXPECT_EQ(state.selectedTrackIDs(), std::set<Uuid>{ids[1]});
    state.setSelectedTrackID(std::nullopt);
    EXPECT_TRUE(state.selectedTrackIDs().empty());

    const Uuid loop = Uuid::random(), note = Uuid::random();
    state.setSelectedLoopID(loop);
    state.setSelectedNoteID(note);
    EXPECT_FALSE(state.selectedLoopID());
    state.setMode(AppMode::show);
    EXPECT_FALSE(state.selectedNoteID());
    state.setSelectedLoopID(loop);
    EXPECT_FALSE(state.selectedLoopID());
    state.setMode(AppMode::edit);
    state.setSelectedLoopID(loop);
    EXPECT_EQ(state.selectedLoopID(), loop);
}

TEST_F(AppStateSelection, BindingsReadPlaceholdersAndDropWritesToMissingItems) {
    auto ids = openShow({"one"});
    auto gone = state.trackBinding(Uuid::random());
    gone.set(gone.get());
    EXPECT_FALSE(state.canUndo());

    Uuid loopID = *state.addLoop(ids[0], 2, 4);
    auto loop = state.loopBinding(ids[0], loopID);
    Loop l = loop.get();
    l.name = "Vamp";
    loop.set(l);
    EXPECT_EQ(state.loop(ids[0], loopID)->name, "Vamp");
    state.loopEndBinding(ids[0], loopID).set(2.01); // through the clamping setter
    EXPECT_DOUBLE_EQ(state.loopEndBinding(ids[0], loopID).get(), 2.05);
    state.noteBinding(ids[0], loopID).set(Note{}); // not a note of the track
    EXPECT_TRUE(state.show().tracks[0].timelineNotes.empty());
}

TEST_F(AppStateSelection, MappingsReadOnlyLiveTracksAndWriteCanonicalKeys) {
    auto ids = openShow({"one", "two"});
    Show s = state.show();
    std::string lower = ids[1].toString();
    for (auto& c : lower) c = char(std::tolower(static_cast<unsigned char>(c)));
    s.numberMappings = std::map<std::string, std::int64_t>{
        {ids[0].toString(), 1}, {lower, 2}, {Uuid::random().toString(), 3}, {"not-a-uuid", 4}};
    state.setShow(s);
    EXPECT_EQ(state.numberMappings(), (std::map<Uuid, std::int64_t>{{ids[0], 1}, {ids[1], 2}}));
    state.setMidiTrackMappings({{ids[1], MidiKey{MidiKey::Kind::cc, 1, 7}}});
    EXPECT_EQ(state.show().midiTrackMappings->begin()->first, ids[1].toString());

    int shows = 0;
    QObject::connect(&state, &AppState::showChanged, [&] { ++shows; });
    state.setOSCTriggerRoute("", 53000);
    EXPECT_EQ(shows, 0);
    state.setOSCTriggerRoute("10.0.0.5", 9000); // host, then port
    EXPECT_EQ(shows, 2);
}

TEST_F(AppStateUndo, ABurstIsOneStepFromBeforeItsFirstChangeSpacedEditsAreStepsUpToAHundredAndNoChangeIsNone) {
    state.setShow(state.show());
    rename("Untitled Show");
    EXPECT_FALSE(state.isDirty() || state.canUndo());

    rename("a");
    loop.advance(0.4);
    rename("b");
    loop.advance(0.4);
    rename("c"); // 0.8 s after the first: every change restarts the window
    pause();
    rename("d");
    state.undo();
    EXPECT_EQ(state.show().name, "c");
    state.undo();
    EXPECT_EQ(state.show().name, "Untitled Show");
    EXPECT_FALSE(state.canUndo());

    for (int i = 1; i <= 101; ++i) {
        rename("edit " + std::to_string(i));
        pause();
    }
    int steps = 0;
    for (; state.canUndo(); ++steps) state.undo();
    EXPECT_EQ(steps, 100);
    EXPECT_EQ(state.show().name, "edit 1"); // the untitled state is gone
    state.redo();
    EXPECT_EQ(state.show().name, "edit 2");
}

TEST_F(AppStateUndo, UndoEndsTheBurstClearsNothingOfDirtAndANewEditClearsRedo) {
    int replaced = 0;
    state.onShowReplaced = [&](const Show& s) { replaced += &s == &state.show(); };
    rename("a");
    state.setDirty(false); // as after a save
    state.undo();          // inside the 0.5 s
    EXPECT_EQ(state.show().name, "Untitled Show");
    EXPECT_TRUE(state.isDirty()); // back at the saved state, still dirty
    EXPECT_TRUE(state.canRedo());
    rename("b");
    EXPECT_TRUE(state.canUndo()); // a step of its own, not part of the undone burst
    EXPECT_FALSE(state.canRedo());
    state.undo();
    EXPECT_EQ(state.show().name, "Untitled Show");
    EXPECT_EQ(replaced, 2);
}

TEST_F(AppStateUndo, UndoRepairsTheSelection) {
    auto ids = openShow({"one", "two", "three"});
    Uuid loopID = *state.addLoop(ids[1], 1, 2);
    pause();
    state.removeTracks({ids[0]});
    state.setSelectedTrackID(ids[1]);
    state.setSelectedLoopID(loopID);
    state.setSelectedTrackIDs({ids[0], ids[1]}); // one of them stale
    state.undo(); // the removed track returns; the selected one survived
    EXPECT_EQ(state.selectedTrackIDs(), (std::set<Uuid>{ids[0], ids[1]}));
    EXPECT_EQ(state.selectedLoopID(), loopID);
    state.redo();
    EXPECT_EQ(state.selectedTrackIDs(), std::set<Uuid>{ids[1]});
    state.undo();
    state.undo(); // the loop goes
    EXPECT_EQ(state.selectedTrackID(), ids[1]);
    EXPECT_FALSE(state.selectedLoopID());

    // Undoing the addition of the selected track selects the first, or nothing.
    state.duplicateTrack(ids[0]); // selects the copy
    state.undo();
    EXPECT_EQ(state.selectedTrackID(), ids[0]);
    openShow({});
    state.setSelectedTrackID(addTrack("new", {}));
    state.undo();
    EXPECT_FALSE(state.selectedTrackID());
}

TEST_F(AppStateUndo, EditingOneTrackLeavesTheOthersSharedWithTheSnapshot) {
    auto ids = openShow({"one", "two", "three"});
    const Track* untouched = &state.show().tracks[2];
    state.setLoopEnd(ids[0], *state.addLoop(ids[0], 1, 2), 3);
    EXPECT_EQ(&state.show().tracks[2], untouched);
    state.undo();
    EXPECT_EQ(&state.show().tracks[2], untouched);
    EXPECT_TRUE(state.show().tracks[0].loops.empty());
}
