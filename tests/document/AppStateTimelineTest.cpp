#include "AppStateFixture.h"

#include <algorithm>

using namespace ostinel;

namespace {
struct AppStateTimeline : test::AppStateFixture {
    std::vector<Uuid> ids;
    Uuid track;
    void SetUp() override {
        ids = openShow({"one", "two", "three"});
        track = ids[0];
        state.setSelectedTrackID(track);
    }
    const Track& at(std::size_t i) const { return state.show().tracks[i]; }
};
} // namespace

TEST_F(AppStateTimeline, DeletingClearsTheSelectionOnlyForTheSelectedItemAndUnknownTracksChangeNothing) {
    const Uuid unknown = Uuid::random();
    EXPECT_FALSE(state.addLoop(unknown, 1, 2));
    EXPECT_FALSE(state.addNote(unknown, 1));
    state.deleteInRange(unknown, 0, 60);
    EXPECT_FALSE(state.isDirty());

    Uuid a = *state.addLoop(track, 1, 2);
    Uuid b = *state.addLoop(track, 3, 4);
    Uuid c = *state.addLoop(track, 5, 9);
    state.addLoop(track, 9, 12); // partly outside the range below
    state.setSelectedLoopID(a);
    state.deleteLoop(track, b);
    EXPECT_EQ(state.selectedLoopID(), a);
    state.deleteLoop(track, a);
    EXPECT_FALSE(state.selectedLoopID());

    state.addAutomationPoint(track, 6);
    state.setSelectedLoopID(c);
    pause();
    state.deleteInRange(track, 10, 4);
    EXPECT_FALSE(state.selectedLoopID());
    EXPECT_EQ(at(0).loops.size(), 1u);
    EXPECT_TRUE(at(0).volumeAutomation.empty());
    state.undo(); // both removals were one step
    EXPECT_EQ(at(0).loops.size(), 2u);
    EXPECT_EQ(at(0).volumeAutomation.size(), 1u);
}

TEST_F(AppStateTimeline, CopiesTheSelectedItemOrRangesAndPastesSelectingOnlyASingleItem) {
    Uuid loop = *state.addLoop(track, 10, 14);
    EXPECT_FALSE(state.copyTimelineSelection(track, std::nullopt, std::nullopt, std::nullopt, std::nullopt));
    EXPECT_FALSE(state.timelineClipboard());
    state.setSelectedLoopID(loop);
    EXPECT_TRUE(state.copyTimelineSelection(track, std::nullopt, std::nullopt, std::nullopt, std::nullopt));
    state.pasteAtTime(ids[1], 58); // its end lands on the track's end
    ASSERT_EQ(at(1).loops.size(), 1u);
    EXPECT_EQ(at(1).loops[0].startSeconds, 56);
    EXPECT_EQ(state.selectedLoopID(), at(1).loops[0].id);
    state.setSelectedLoopID(std::nullopt);
    state.pasteLoop(track, 11); // on top of the original: nothing added, nothing selected
    EXPECT_EQ(at(0).loops.size(), 1u);
    EXPECT_FALSE(state.selectedLoopID());

    state.addLoop(track, 2, 4);
    state.addNote(track, 3);
    state.addMidiTrigger(track, 20);
    EXPECT_FALSE(state.copyTimelineSelection(track, TimeRange{30, 40}, std::nullopt, std::nullopt, std::nullopt));
    EXPECT_TRUE(state.copyTimelineSelection(track, TimeRange{0, 10}, TimeRange{0, 10}, TimeRange{0, 30}, std::nullopt));
    state.pasteAtTime(ids[2], 30);
    EXPECT_EQ(at(2).loops[0].startSeconds, 30);
    EXPECT_EQ(at(2).midiTriggers[0].timeSeconds, 48);
    EXPECT_FALSE(state.selectedLoopID()); // a group is left unselected
    state.pasteNote(ids[1], 7);         // a single kind of the group, placed as if it were all of it
    EXPECT_EQ(at(1).loops.size(), 1u);
    ASSERT_EQ(at(1).timelineNotes.size(), 1u);
    EXPECT_EQ(at(1).timelineNotes[0].timeSeconds, 7);
    EXPECT_EQ(state.selectedNoteID(), at(1).timelineNotes[0].id);
}

TEST_F(AppStateTimeline, DuplicateInsertsAfterTheSourceWithoutItsMapping) {
    state.addNote(ids[1], 5);
    state.setNumberMappings({{ids[1], 2}});
    state.duplicateTrack(ids[1]);
    ASSERT_EQ(state.show().tracks.size(), 4u);
    EXPECT_EQ(at(2).name, "two Copy");
    EXPECT_EQ(state.selectedTrackID(), at(2).id);
    EXPECT_EQ(at(2).timelineNotes[0].id, at(1).timelineNotes[0].id);
    EXPECT_EQ(state.numberMappings().size(), 1u);
}

TEST_F(AppStateTimeline, RemovingTracksCleansMappingsAndMovesTheSelection) {
    Uuid stale = Uuid::random();
    state.setNumberMappings({{ids[0], 1}, {ids[2], 3}});
    Show s = state.show();
    s.numberMappings.edit()[stale.toString()] = 9; // unknown key, kept on disk
    state.setShow(s);
    int replaced = 0;
    state.onShowReplaced = [&](const Show&) { ++replaced; };

    state.setSelectedTrackIDs({ids[0], ids[1]});
    state.removeTracks({ids[1]});
    EXPECT_EQ(state.selectedTrackIDs(), std::set<Uuid>{ids[0]});
    state.removeTracks({ids[0]});
    EXPECT_EQ(state.selectedTrackID(), ids[2]);
    EXPECT_EQ(replaced, 2);
    EXPECT_EQ(*state.show().numberMappings,
              (std::map<std::string, std::int64_t>{{ids[2].toString(), 3}, {stale.toString(), 9}}));
    state.removeTracks({ids[2]});
    EXPECT_FALSE(state.selectedTrackID());
}

TEST_F(AppStateTimeline, ReadableFilesGoInTogetherAndTheOthersAreNamed) {
    auto names = [&] {
        std::vector<std::string> n;
        for (const Track& t : state.show().tracks) n.push_back(t.name);
        return n;
    };
    FileUrl a = tone("a.wav", 1.5), b = tone("b.flac", 2.0);
    state.addTracks({a, tone("empty.wav", 0), b, file("gone.wav")}, 1);
    EXPECT_EQ(names(), (std::vector<std::string>{"one", "a", "b", "two", "three"}));
    const Track& added = at(1);
    EXPECT_EQ(added.url, a);
    EXPECT_DOUBLE_EQ(added.duration, 1.5);
    EXPECT_EQ(added.endSeconds, added.duration);
    EXPECT_EQ(state.selectedTrackID(), track) << "a selection stays";
    ASSERT_EQ(dialogs.alerts.size(), 1u);
    EXPECT_EQ(dialogs.alerts[0].message, "Files not added");
    EXPECT_EQ(dialogs.alerts[0].informativeText, "Could not read audio from:\nempty.wav\ngone.wav\n\n"
                                                 "The file may be empty, corrupted, or in an unsupported format.");

    openShow({});
    state.setSelectedTrackID(std::nullopt);
    EXPECT_FALSE(state.addTracksPanel()); // cancelled
    ASSERT_EQ(dialogs.openPanels.size(), 1u);
    const OpenPanelRequest& panel = dialogs.openPanels[0];
    EXPECT_EQ(panel.message, "Choose audio files to add to the show");
    EXPECT_TRUE(panel.allowsMultipleSelection);
    EXPECT_NE(std::find(panel.extensions.begin(), panel.extensions.end(), "flac"), panel.extensions.end());
    dialogs.openAnswers.push_back({dir.write("notes.wav", "not audio")});
    EXPECT_FALSE(state.addTracksPanel());
    EXPECT_EQ(lastAlert().message, "File not added");
    dialogs.openAnswers.push_back({tone("x.wav", 1).path()});
    EXPECT_TRUE(state.addTracksPanel());
    state.addTracks({tone("late.wav", 1)}, 7); // past the end: appended
    EXPECT_EQ(names(), (std::vector<std::string>{"x", "late"}));
    EXPECT_EQ(state.selectedTrackID(), at(0).id) << "with none selected, the first added";
}

TEST_F(AppStateTimeline, InShowModeTheRunningOrderIsRefusedWithANoticeAndNoPanel) {
    state.setMode(AppMode::show);
    const Show before = state.show();
    dialogs.openAnswers.push_back({tone("x.wav", 1).path()});
    EXPECT_FALSE(state.addTracksPanel());
    EXPECT_TRUE(dialogs.openPanels.empty());
    state.addTracks({tone("dropped.wav", 1)}, 1);
    state.duplicateTrack(ids[1]);
    state.removeTracks({ids[2]});
    EXPECT_EQ(state.show(), before);
    EXPECT_FALSE(state.isDirty());
    EXPECT_EQ(notices, (std::vector<std::string>{"Can't add cues in Show mode — switch to Edit mode first.",
                                                 "Can't add cues in Show mode — switch to Edit mode first.",
                                                 "Can't duplicate cues in Show mode — switch to Edit mode first.",
                                                 "Can't remove cues in Show mode — switch to Edit mode first."}));

    state.setMode(AppMode::edit);
    EXPECT_TRUE(state.addTracksPanel());
    EXPECT_EQ(state.show().tracks.size(), 4u);
}
