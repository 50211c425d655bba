#include "AppStateFixture.h"

#include "document/ProjectMedia.h"
#include "document/ShowFile.h"

using namespace ostinel;
namespace fs = std::filesystem;

using ShowLifecycle = test::AppStateFixture;

TEST_F(ShowLifecycle, SaveThenOpenRoundTripsWithoutTouchingHistory) {
    Uuid first = addTrack("Intro", file("intro.wav"));
    addTrack("Bows", file("bows.wav"));
    rename("");
    state.setMode(AppMode::show);
    const Show before = state.show();
    ASSERT_TRUE(saveAs("gig.ot"));
    EXPECT_EQ(dialogs.savePanels.at(0).suggestedName, "Untitled Show");
    EXPECT_EQ(state.currentFileURL(), file("gig.ot"));
    EXPECT_FALSE(state.isDirty());
    EXPECT_EQ(state.show(), before) << "lastMode goes to the file, not into the show";
    state.undo();
    EXPECT_TRUE(state.show().tracks.empty()) << "saving added no undo step";

    dialogs.alertAnswers = {"Don't Save"}; // an undone show counts as changed
    ASSERT_TRUE(state.newShow());
    EXPECT_FALSE(state.currentFileURL());
    ASSERT_TRUE(state.loadShow(file("gig.ot")));
    Show expected = before;
    expected.lastMode = AppMode::show;
    EXPECT_EQ(state.show(), expected);
    EXPECT_EQ(state.mode(), AppMode::show);
    EXPECT_EQ(state.selectedTrackID(), first);
    EXPECT_FALSE(state.isDirty() || state.canUndo() || state.projectFolderURL());
    EXPECT_EQ(prerendered.back(), (std::vector<FileUrl>{file("intro.wav"), file("bows.wav")}));
}

TEST_F(ShowLifecycle, ADirtyShowAsksFirstEachAnswerDoesWhatItSaysAndFailuresKeepTheShow) {
    addTrack("Intro", file("intro.wav"));
    const Show dirty = state.show();
    EXPECT_FALSE(state.newShow()); // unanswered: Cancel
    EXPECT_EQ(lastAlert().message, "Save Show?");
    EXPECT_EQ(lastAlert().informativeText, "Do you want to save the current show before starting a new one?");
    EXPECT_EQ(lastAlert().buttons, (std::vector<std::string>{"Save", "Don't Save", "Cancel"}));
    dialogs.alertAnswers = {"Save"}; // and the save panel is cancelled
    EXPECT_FALSE(state.newShow());
    EXPECT_EQ(state.show(), dirty);

    dialogs.alertAnswers = {"Save"};
    dialogs.saveAnswers = {dir.file("kept.ot")};
    preferences.setValue("oscTriggerHost", std::string("10.0.0.9"));
    appFolder.write(recoveryName, "{}");
    EXPECT_TRUE(state.newShow());
    EXPECT_EQ(ShowFile::read(dir.file("kept.ot"))->tracks.size(), 1u);
    EXPECT_TRUE(state.show().tracks.empty());
    EXPECT_EQ(state.show().oscTriggerHost, "10.0.0.9") << "the legacy destination moves in";
    EXPECT_FALSE(fs::exists(recovery()));

    addTrack("Other", file("other.wav"));
    dialogs.alertAnswers = {"Don't Save"};
    EXPECT_TRUE(state.loadShow(file("kept.ot")));
    EXPECT_EQ(lastAlert().informativeText, "Do you want to save the current show before opening another one?");
    EXPECT_EQ(state.show().tracks[0].name, "Intro");

    // Failures alert with the reason and keep the show.
    addTrack("Other", file("other.wav"));
    const Show show = state.show();
    dialogs.alertAnswers = {"Don't Save"};
    EXPECT_FALSE(state.loadShow(FileUrl::fromPath(dir.write("bad.ot", R"({"tracks":"no"})"))));
    EXPECT_EQ(lastAlert().message, "Could not open the show.");
    EXPECT_NE(lastAlert().informativeText, "");
    EXPECT_EQ(state.show(), show);

    EXPECT_FALSE(saveAs("no/such/folder/x.ot"));
    EXPECT_EQ(lastAlert().message, "Could not save the show.");
    EXPECT_EQ(lastAlert().informativeText, "No such file or directory");
    EXPECT_TRUE(state.isDirty());

    dir.write("taken", "a file where the folder should go");
    dialogs.saveAnswers = {dir.file("taken/Gig")};
    EXPECT_FALSE(state.saveShowAsProject());
    EXPECT_EQ(lastAlert().message, "Could not create the project folder.");
    EXPECT_FALSE(state.projectFolderURL());
}

TEST_F(ShowLifecycle, AProjectCopiesEachFileOnceNamesClashesApartAndFindsItsOwnMediaWhenMoved) {
    EXPECT_EQ(ProjectMedia::availableName("kick.wav", {"kick.wav", "kick 2.wav"}), "kick 3.wav");
    const FileUrl kick = tone("a/kick.wav");
    addTrack("Kick A", kick);
    addTrack("Kick A again", kick);
    addTrack("Kick B", tone("b/kick.wav"));
    addTrack("Bare", tone("c/kick"));
    addTrack("Bare too", tone("d/kick"));
    addTrack("Gone", file("gone.wav"));
    rename("Gig");
    dialogs.saveAnswers = {dir.file("Projects/Gig")};
    ASSERT_TRUE(state.saveShowAsProject());

    EXPECT_EQ(dialogs.savePanels.at(0).message,
              "Choose a location for the project folder. A folder with this name will be created.");
    EXPECT_EQ(dialogs.savePanels[0].nameFieldLabel, "Project name:");
    const std::string project = dir.file("Projects/Gig");
    EXPECT_EQ(state.projectFolderURL(), FileUrl::fromPath(project));
    EXPECT_EQ(state.currentFileURL(), FileUrl::fromPath(project + "/Gig.ot"));
    std::vector<std::string> relative;
    for (const Track& t : state.show().tracks) relative.push_back(t.relativePath.value_or("-"));
    EXPECT_EQ(relative, (std::vector<std::string>{"Media/kick.wav", "Media/kick.wav", "Media/kick 2.wav",
                                                  "Media/kick", "Media/kick 2", "-"}));
    EXPECT_EQ(state.show().tracks[1].url, FileUrl::fromPath(project + "/Media/kick.wav"));
    EXPECT_TRUE(fs::exists(kick.path())) << "copied, never moved";
    EXPECT_EQ(std::distance(fs::directory_iterator(project + "/Media"), fs::directory_iterator()), 4);
    EXPECT_EQ(lastAlert().message, "Some files could not be copied");
    EXPECT_EQ(lastAlert().informativeText, "The following tracks were not copied into the project Media "
                                           "folder (file missing or unreadable):\n\nGone");

    addTrack("Late", tone("late.wav"));
    ASSERT_TRUE(state.saveShow());
    EXPECT_EQ(state.show().tracks[6].relativePath, "Media/late.wav") << "a plain save copies new files in";

    // A moved project finds its own media.
    state.editTrack(state.show().tracks[5].id, [](Track& t) { t.relativePath = "Media/gone.wav"; });
    ASSERT_TRUE(state.saveShow());
    fs::rename(project, dir.file("Moved"));
    ASSERT_TRUE(state.loadShow(file("Moved/Gig.ot")));
    EXPECT_EQ(state.projectFolderURL(), file("Moved"));
    EXPECT_EQ(state.show().tracks[0].url, file("Moved/Media/kick.wav"));
    EXPECT_EQ(state.show().tracks[5].url, file("gone.wav")) << "kept for relinking";
    EXPECT_FALSE(state.isDirty() || state.canUndo());
    EXPECT_EQ(test::readText(dir.file("Moved/.directory")),
              "[Desktop Entry]\nIcon=" + dir.file("Moved/.ostinel-project.svg") + "\n");
    EXPECT_TRUE(fs::exists(dir.file("Moved/.ostinel-project.svg")));
}

TEST_F(ShowLifecycle, AutosaveWritesOnlyADirtyShowWithTracksOnATimerThatRestartsOnlyForANewInterval) {
    state.setMode(AppMode::show);
    rename("Empty but dirty");
    loop.advance(30);
    openShow({"a"}); // clean
    loop.advance(30);
    EXPECT_FALSE(fs::exists(recovery()));

    rename("Edited");
    loop.advance(29);
    EXPECT_FALSE(fs::exists(recovery()));
    loop.advance(1);
    const std::string written = test::readText(recovery());
    EXPECT_EQ(written.find('\n'), std::string::npos) << "compact";
    EXPECT_EQ(ShowFile::decode(written)->lastMode, AppMode::show);
    EXPECT_FALSE(preferences.contains("autosaveOriginalPath"));
    EXPECT_TRUE(state.isDirty());

    ASSERT_TRUE(saveAs("gig.ot"));
    EXPECT_FALSE(fs::exists(recovery())) << "a clean save drops it";
    rename("Again");
    loop.advance(30);
    EXPECT_EQ(preferences.stringValue("autosaveOriginalPath"), dir.file("gig.ot"));

    // The timer restarts only for a new interval.
    fs::remove(recovery());
    loop.advance(10);
    state.setAutosaveInterval(30.0);
    loop.advance(20);
    EXPECT_TRUE(fs::exists(recovery())) << "same value: the timer went on";
    fs::remove(recovery());
    loop.advance(6);
    state.setAutosaveInterval(20.0);
    EXPECT_EQ(preferences.doubleValue("autosaveInterval"), 20.0);
    loop.advance(19);
    EXPECT_FALSE(fs::exists(recovery())) << "a new value starts over";
    loop.advance(1);
    EXPECT_TRUE(fs::exists(recovery()));
}

TEST_F(ShowLifecycle, RecoveryRestoresDiscardsOrDropsACorruptFile) {
    addTrack("Intro", file("intro.wav"));
    ASSERT_TRUE(saveAs("gig.ot"));
    rename("Unsaved");
    state.setMode(AppMode::show);
    loop.advance(30);

    // The next run, after a crash.
    test::ScriptedDialogs answers;
    answers.alertAnswers = {"Restore"};
    AppState next(loop, preferences, answers, AppPaths::under(appFolder.path().string()));
    next.setOpenLastShowOnLaunch(true);
    next.offerRecoveryIfAvailable();
    EXPECT_EQ(answers.alerts.at(0).message, "Restore Unsaved Show?");
    EXPECT_EQ(answers.alerts[0].informativeText,
              "Ostinel closed unexpectedly with unsaved changes. Do you want to restore the recovered show?");
    EXPECT_EQ(next.show().name, "Unsaved");
    EXPECT_EQ(next.mode(), AppMode::show);
    EXPECT_EQ(next.currentFileURL(), file("gig.ot"));
    EXPECT_TRUE(next.isDirty());
    EXPECT_FALSE(next.canUndo());
    EXPECT_TRUE(fs::exists(recovery())) << "kept until a clean save";
    next.openLastShowIfRequested();
    EXPECT_EQ(next.show().name, "Unsaved") << "the restored show wins";

    fs::remove(dir.file("gig.ot"));
    answers.alertAnswers = {"Restore"};
    next.offerRecoveryIfAvailable();
    EXPECT_FALSE(next.currentFileURL());
    EXPECT_FALSE(next.saveShow());
    EXPECT_EQ(answers.savePanels.size(), 1u) << "Save asks for a name";

    next.offerRecoveryIfAvailable(); // unanswered: Discard
    EXPECT_FALSE(fs::exists(recovery()));

    appFolder.write(recoveryName, "{not json");
    answers.alertAnswers = {"Restore"};
    next.offerRecoveryIfAvailable();
    EXPECT_EQ(answers.alerts.back().message, "Could not restore the recovered show.");
    const std::size_t asked = answers.alerts.size();
    next.offerRecoveryIfAvailable();
    EXPECT_EQ(answers.alerts.size(), asked) << "shown once, then the file is gone";
}

TEST_F(ShowLifecycle, RecentShowsKeepTenNewestFirstAndTheNextRunReadsThemWithThePreferences) {
    std::vector<FileUrl> shows;
    for (int i = 0; i < 11; ++i) {
        shows.push_back(FileUrl::fromPath(dir.write("show" + std::to_string(i) + ".ot", "{}")));
        state.addRecent(shows.back());
    }
    ASSERT_EQ(state.recentShowURLs().size(), 10u);
    EXPECT_EQ(state.recentShowURLs().back(), shows[1]) << "the oldest is pushed out";
    ASSERT_TRUE(state.loadShow(shows[5]));
    EXPECT_EQ(state.recentShowURLs()[0], shows[5]);
    EXPECT_EQ(state.recentShowURLs()[1], shows[10]);

    fs::remove(shows[5].path());
    preferences.setValue("openLastShowOnLaunch", true);
    preferences.setValue("helplineEnabled", false);
    preferences.setValue("autosaveInterval", 10.0);
    AppState next(loop, preferences, dialogs, AppPaths::under(dir.path().string()));
    EXPECT_EQ(next.autosaveInterval(), 10.0);
    ASSERT_EQ(next.recentShowURLs().size(), 9u) << "the missing file is forgotten";
    EXPECT_FALSE(next.helplineEnabled());
    EXPECT_TRUE(next.showCheckOnShowMode()) << "unset: the default";
    next.setSpectralColoringEnabled(true);
    EXPECT_EQ(preferences.boolValue("spectralColoringEnabled"), true);
    next.openLastShowIfRequested();
    EXPECT_EQ(next.currentFileURL(), shows[10]);
}

TEST_F(ShowLifecycle, AFileNameThatIsNotUtf8NamesTheCueInTextAndTheShowSavesAndReopensOnIt) {
    const FileUrl raw = tone("caf\xE9 \xFF.wav");
    state.addTracks({raw});
    ASSERT_EQ(state.show().tracks.size(), 1u);
    EXPECT_EQ(state.show().tracks[0].name, "caf\uFFFD \uFFFD");
    loop.advance(30);
    EXPECT_TRUE(ShowFile::read(recovery())) << "the autosave too";
    ASSERT_TRUE(saveAs("gig.ot"));
    ASSERT_TRUE(state.loadShow(file("gig.ot")));
    EXPECT_EQ(state.show().tracks[0].url, raw) << "the file keeps its bytes";

    dialogs.saveAnswers = {dir.file("Project")};
    ASSERT_TRUE(state.saveShowAsProject());
    const Track copied = state.show().tracks[0];
    EXPECT_EQ(copied.relativePath, "Media/caf\uFFFD \uFFFD.wav") << "the copy is named in text";
    EXPECT_TRUE(fs::exists(copied.url.path()));
    ASSERT_TRUE(state.loadShow(file("Project/Project.ot")));
    EXPECT_EQ(state.show().tracks[0].url, copied.url);
}
