#include "AppStateFixture.h"

using namespace ostinel;

namespace {
using AppStateUndo = test::AppStateFixture;
}

TEST_F(AppStateUndo, SpacedEditsAreStepsUpToAHundred) {
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

TEST_F(AppStateUndo, ABurstIsOneStepFromBeforeItsFirstChange) {
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
}

TEST_F(AppStateUndo, AWriteOfTheSameValueIsNeitherDirtyNorUndoable) {
    int shows = 0;
    QObject::connect(&state, &AppState::showChanged, [&] { ++shows; });
    state.setShow(state.show());
    rename("Untitled Show");
    EXPECT_EQ(shows, 0);
    EXPECT_FALSE(state.isDirty());
    EXPECT_FALSE(state.canUndo());
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
}

TEST_F(AppStateUndo, UndoingTheAdditionOfTheSelectedTrackSelectsTheFirstOrNothing) {
    auto ids = openShow({"one"});
    state.duplicateTrack(ids[0]); // selects the copy
    state.undo();
    EXPECT_EQ(state.selectedTrackID(), ids[0]);
    openShow({});
    Show one;
    one.tracks.push_back(Track{});
    state.setShow(one);
    state.setSelectedTrackID(one.tracks[0].id);
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
