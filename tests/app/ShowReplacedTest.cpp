#include <gtest/gtest.h>

#include <filesystem>

#include "AppRig.h"
#include "document/ShowFile.h"
#include "support/AudioFixtures.h"

namespace ostinel::test {
namespace {

namespace fs = std::filesystem;

// Whole shows swapped under the transport: after each, the engine holds the
// selected cue's file as the show now has it, and raised no notice on the way.
class ShowReplaced : public ::testing::Test {
protected:
    // A project moved away from where it was saved: the stored urls point at
    // the old place, the relative paths at the files beside the show.
    std::string writeMovedProject() {
        fs::create_directories(dir("moved/Media"));
        Show show;
        for (const char* name : {"intro", "outro"}) {
            Track t;
            t.name = name;
            t.relativePath = std::string("Media/") + name + ".wav";
            t.url = FileUrl::fromPath(dir("old/" + *t.relativePath));
            t.duration = 2.0;
            writeTone(dir("moved/" + *t.relativePath), 2.0);
            show.tracks.push_back(t);
        }
        const std::string path = dir("moved/Moved.ot");
        if (auto error = ShowFile::write(show, path, ShowFile::Flavour::pretty))
            throw std::runtime_error(error->message);
        return path;
    }
    std::string dir(const std::string& relative) const { return rig.dir.file(relative); }
    AppState& state() { return rig.app->state(); }
    PlaybackEngine& engine() { return rig.app->engine(); }
    void expectHolds(const std::string& path) {
        rig.run(0.1);
        EXPECT_TRUE(engine().hasFile());
        EXPECT_EQ(engine().currentURL(), FileUrl::fromPath(path));
        EXPECT_EQ(engine().notice(), std::nullopt);
    }

    AppRig rig;
};

TEST_F(ShowReplaced, OpeningAMovedProjectLoadsItsOwnMedia) {
    rig.app->start({QString::fromStdString(writeMovedProject())});
    expectHolds(dir("moved/Media/intro.wav"));
}

TEST_F(ShowReplaced, RestoringAMovedProjectLoadsItsOwnMedia) {
    const std::string path = writeMovedProject();
    rig.leaveRecoveryFile(path);
    rig.preferences.setValue("autosaveOriginalPath", path);
    rig.dialogs.alertAnswers = {"Restore"};
    rig.app->start();
    ASSERT_EQ(state().currentFileURL(), FileUrl::fromPath(path));
    expectHolds(dir("moved/Media/intro.wav"));
}

TEST_F(ShowReplaced, UndoAndRedoOfARelinkFollowTheFile) {
    const std::string show = rig.writeShow("Gig", 2);
    fs::create_directories(dir("found"));
    fs::rename(dir("Gig0.wav"), dir("found/Gig0.wav"));
    rig.app->start({QString::fromStdString(show)});
    rig.run(0.1);
    ASSERT_FALSE(engine().hasFile()) << "the first cue's file is missing";

    state().relinkAll(FileUrl::fromPath(dir("found")));
    engine().setNotice(std::nullopt);
    expectHolds(dir("found/Gig0.wav"));

    state().undo();
    rig.run(0.1);
    EXPECT_FALSE(engine().hasFile()) << "the show points at the missing file again";
    EXPECT_EQ(engine().currentURL(), std::nullopt);

    engine().setNotice(std::nullopt);
    state().redo();
    expectHolds(dir("found/Gig0.wav"));
}

TEST_F(ShowReplaced, AnEditOfTheSelectedCuesFileReloadsIt) {
    rig.app->start({QString::fromStdString(rig.writeShow("Gig", 2))});
    rig.run(0.1);
    const Uuid first = state().show().tracks[0].id;
    state().editTrack(first, [this](Track& t) { t.url = FileUrl::fromPath(dir("Gig1.wav")); });
    EXPECT_EQ(engine().currentURL(), FileUrl::fromPath(dir("Gig1.wav")));
}

TEST_F(ShowReplaced, UndoingAnEditWhileTheSameCuePlaysKeepsItPlayingWithTheUndoneFields) {
    rig.app->start({QString::fromStdString(rig.writeShow("Gig", 2))});
    rig.run(0.1);
    const Uuid first = state().show().tracks[0].id;
    engine().play();
    rig.run(0.2);
    state().editTrack(first, [](Track& t) { t.endSeconds = 1.5; });
    rig.run(0.1);
    ASSERT_DOUBLE_EQ(engine().endTime(), 1.5);

    state().undo();
    rig.run(0.1);
    EXPECT_TRUE(engine().isPlaying()) << "an undo in the middle of a cue must not stop it";
    EXPECT_GT(engine().endTime(), 1.5);
}

TEST_F(ShowReplaced, RemovingCuesLoadsTheNewSelectionOrStops) {
    rig.app->start({QString::fromStdString(rig.writeShow("Gig", 3))});
    rig.run(0.1);
    const auto ids = [this] {
        std::vector<Uuid> v;
        for (const Track& t : state().show().tracks) v.push_back(t.id);
        return v;
    }();
    state().setSelectedTrackID(ids[1]);
    engine().play();
    ASSERT_TRUE(engine().isPlaying());

    state().removeTracks({ids[0], ids[1]});
    expectHolds(dir("Gig2.wav"));
    EXPECT_FALSE(engine().isPlaying());

    engine().play();
    state().removeTracks({ids[2]});
    rig.run(0.1);
    EXPECT_FALSE(engine().isPlaying());
    EXPECT_EQ(engine().notice(), std::nullopt);
}

} // namespace
} // namespace ostinel::test
