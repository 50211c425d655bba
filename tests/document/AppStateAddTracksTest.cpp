#include "AppStateFixture.h"

#include <algorithm>

#include "support/AudioFixtures.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {
struct AppStateAddTracks : test::AppStateFixture {
    test::TempDir dir;
    FileUrl tone(const std::string& name, double seconds) {
        return FileUrl::fromPath(test::writeTone(dir.file(name), seconds));
    }
    std::vector<std::string> names() const {
        std::vector<std::string> n;
        for (const Track& t : state.show().tracks) n.push_back(t.name);
        return n;
    }
};
} // namespace

TEST_F(AppStateAddTracks, ReadableFilesGoInTogetherAndTheOthersAreNamed) {
    openShow({"one", "two"});
    FileUrl a = tone("a.wav", 1.5), b = tone("b.flac", 2.0);
    FileUrl empty = tone("empty.wav", 0), missing = FileUrl::fromPath(dir.file("gone.wav"));
    state.addTracks({a, empty, b, missing}, 1);

    EXPECT_EQ(names(), (std::vector<std::string>{"one", "a", "b", "two"}));
    const Track& added = state.show().tracks[1];
    EXPECT_EQ(added.url, a);
    EXPECT_DOUBLE_EQ(added.duration, 1.5);
    EXPECT_EQ(added.endSeconds, added.duration);
    EXPECT_EQ(added.startSeconds, 0);
    EXPECT_EQ(state.selectedTrackID(), added.id);
    EXPECT_TRUE(state.canUndo());

    ASSERT_EQ(dialogs.alerts.size(), 1u);
    EXPECT_EQ(dialogs.alerts[0].message, "Files not added");
    EXPECT_EQ(dialogs.alerts[0].informativeText,
              "Could not read audio from:\nempty.wav\ngone.wav\n\n"
              "The file may be empty, corrupted, or in an unsupported format.");
    EXPECT_EQ(dialogs.alerts[0].buttons, std::vector<std::string>{"OK"});
}

TEST_F(AppStateAddTracks, ThePanelOffersAudioFilesAndReportsWhetherTracksCameIn) {
    EXPECT_FALSE(state.addTracksPanel()); // cancelled
    ASSERT_EQ(dialogs.openPanels.size(), 1u);
    const OpenPanelRequest& panel = dialogs.openPanels[0];
    EXPECT_EQ(panel.message, "Choose audio files to add to the show");
    EXPECT_TRUE(panel.allowsMultipleSelection);
    EXPECT_NE(std::find(panel.extensions.begin(), panel.extensions.end(), "flac"), panel.extensions.end());

    dialogs.openAnswers.push_back({dir.write("notes.wav", "not audio")});
    EXPECT_FALSE(state.addTracksPanel());
    EXPECT_EQ(dialogs.alerts.at(0).message, "File not added");
    dialogs.openAnswers.push_back({tone("x.wav", 1).path()});
    EXPECT_TRUE(state.addTracksPanel());
    state.addTracks({tone("late.wav", 1)}, 7); // past the end: appended
    EXPECT_EQ(names(), (std::vector<std::string>{"x", "late"}));
    EXPECT_EQ(state.selectedTrack()->name, "x");
}
