#include "AppStateFixture.h"

#include <cctype>

using namespace ostinel;

namespace {
using AppStateSelection = test::AppStateFixture;
}

TEST_F(AppStateSelection, ChangingTheTrackClearsItemsAndPreselection) {
    auto ids = openShow({"one", "two"});
    state.setSelectedTrackID(ids[0]);
    state.setSelectedTrackIDs({ids[0], ids[1]});
    int trackSignals = 0;
    QObject::connect(&state, &AppState::selectedTrackIDChanged, [&] { ++trackSignals; });
    state.setSelectedTrackID(ids[0]); // the same: the multi-selection stays
    EXPECT_EQ(state.selectedTrackIDs().size(), 2u);
    EXPECT_EQ(trackSignals, 0);

    state.setSelectedNoteID(Uuid::random());
    state.setPreselectedTrackID(ids[1]);
    state.setSelectedTrackID(ids[1]);
    EXPECT_EQ(trackSignals, 1);
    EXPECT_FALSE(state.selectedNoteID());
    EXPECT_FALSE(state.preselectedTrackID());
    EXPECT_EQ(state.selectedTrackIDs(), std::set<Uuid>{ids[1]});
    state.setSelectedTrackID(std::nullopt);
    EXPECT_TRUE(state.selectedTrackIDs().empty());
}

TEST_F(AppStateSelection, OneTimelineItemAtATimeAndNoneInShowMode) {
    const Uuid loop = Uuid::random(), note = Uuid::random();
    state.setSelectedLoopID(loop);
    state.setSelectedNoteID(note);
    EXPECT_FALSE(state.selectedLoopID());
    state.setMode(AppMode::show);
    EXPECT_FALSE(state.selectedNoteID());
    int loopSignals = 0;
    QObject::connect(&state, &AppState::selectedLoopIDChanged, [&] { ++loopSignals; });
    state.setSelectedLoopID(loop);
    EXPECT_FALSE(state.selectedLoopID());
    EXPECT_EQ(loopSignals, 0);
    state.setMode(AppMode::edit);
    state.setSelectedLoopID(loop);
    EXPECT_EQ(loopSignals, 1);
}

TEST_F(AppStateSelection, BindingsReadPlaceholdersAndDropWritesToMissingItems) {
    auto ids = openShow({"one"});
    auto gone = state.trackBinding(Uuid::random());
    EXPECT_EQ(gone.get().url.path(), "/");
    gone.set(gone.get());
    EXPECT_EQ(state.show().tracks.size(), 1u);
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

TEST(AppStatePreferences, ReadAtStartWithDefaultsAndWrittenOnSet) {
    ManualMainLoop loop;
    MemoryPreferences preferences;
    test::ScriptedDialogs dialogs;
    preferences.setValue("helplineEnabled", false);
    AppState state(loop, preferences, dialogs, AppPaths::under("/nonexistent"));
    EXPECT_FALSE(state.helplineEnabled());
    EXPECT_TRUE(state.showCheckOnShowMode());
    EXPECT_TRUE(state.waveformFollowsVolume());
    EXPECT_FALSE(state.spectralColoringEnabled());
    state.setSpectralColoringEnabled(true);
    EXPECT_EQ(preferences.boolValue("spectralColoringEnabled"), true);
}
