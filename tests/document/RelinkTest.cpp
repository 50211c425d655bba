#include "AppStateFixture.h"

#include <algorithm>

#include "document/Relink.h"
#include "document/RelinkMatcher.h"

using namespace ostinel;

using Relinking = test::AppStateFixture;

TEST_F(Relinking, TheSearchFindsAudioFilesOfAnyCaseInSubfoldersUpToALimit) {
    dir.write("a/kick.wav", "x");
    dir.write("a/b/Snare.AIF", "x");
    dir.write("a/kick.ogg", "x"); // not an audio type the show relinks to
    std::vector<std::string> names;
    for (auto& f : RelinkMatcher::audioFiles(dir.path().string(), 20000)) names.push_back(f.fileName());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"Snare.AIF", "kick.wav"}));
    EXPECT_EQ(RelinkMatcher::audioFiles(dir.path().string(), 1).size(), 1u);
}

TEST_F(Relinking, TheOutPointFollowsAnUntrimmedCueAndKeepsATrimOnlyIfItFits) {
    Track trimmed{.duration = 60, .endSeconds = 10}, untrimmed{.duration = 8, .endSeconds = 8}, unset{.duration = 60};
    const FileUrl thirty = tone("thirty.wav", 30.0), eight = tone("eight.wav", 8.0);
    auto relinked = [&](Track t, const FileUrl& url) {
        state.applyRelink(t, url);
        return t;
    };
    EXPECT_EQ(relinked(trimmed, thirty).endSeconds, 10.0);
    EXPECT_DOUBLE_EQ(relinked(trimmed, thirty).duration, 30.0);
    EXPECT_DOUBLE_EQ(relinked(trimmed, eight).endSeconds, 8.0);
    EXPECT_DOUBLE_EQ(relinked(untrimmed, thirty).endSeconds, 30.0) << "to the end of a longer file";
    EXPECT_DOUBLE_EQ(relinked(unset, thirty).endSeconds, 30.0);
    // An unreadable file is still taken, with the length it had.
    const Track unreadable = relinked(trimmed, FileUrl::fromPath(dir.write("x.wav", "not audio")));
    EXPECT_EQ(unreadable.url.fileName(), "x.wav");
    EXPECT_EQ(unreadable.duration, 60.0);

    // Inside a project's Media folder the relative path follows; elsewhere it stays.
    Relink::retarget(trimmed, FileUrl::fromPath("/p/Media/sub/new.wav"), 30.0, FileUrl::fromPath("/p"));
    EXPECT_EQ(trimmed.relativePath, "Media/sub/new.wav");
    Relink::retarget(trimmed, FileUrl::fromPath("/p/other.wav"), 30.0, FileUrl::fromPath("/p"));
    EXPECT_EQ(trimmed.relativePath, "Media/sub/new.wav");
}

TEST_F(Relinking, RelinkAllRepairsEveryMatchInOneUndoStepAndReportsIt) {
    const FileUrl present = tone("here/present.wav");
    auto ids =
        openShow({file("gone/Kick.WAV"), present, file("gone/pad.wav"), file("gone/bass.wav"), file("gone/vox.wav")});
    const Show before = state.show();
    tone("lib/a/b/kick.wav"); // deeper: the shallower one wins
    tone("lib/Pad.wav");      // exact case wins at the same depth
    const FileUrl kick = tone("lib/a/kick.wav"), pad = tone("lib/pad.wav"), bass = tone("lib/x/bass.aif");
    tone("lib/vox.ogg"); // not a type relinking looks for

    state.relinkAll(file("lib"));
    std::vector<FileUrl> urls;
    for (const Track& t : state.show().tracks) urls.push_back(t.url);
    EXPECT_EQ(urls, (std::vector<FileUrl>{kick, present, pad, bass, file("gone/vox.wav")}));
    EXPECT_DOUBLE_EQ(state.show().tracks[3].endSeconds, 0.1) << "untrimmed: follows the new file";
    EXPECT_EQ(lastAlert().message, "Relinked 3 of 4 missing files");
    EXPECT_EQ(lastAlert().informativeText, "Matched by a different name or format:\nKick.WAV → kick.wav\n"
                                           "bass.wav → bass.aif\n\nStill missing:\nvox.wav\n\n"
                                           "Undo (Ctrl+Z) reverts the whole batch.");
    EXPECT_EQ(prerendered.back(), (std::vector<FileUrl>{kick, pad, bass}));
    EXPECT_EQ(reloaded.back(), (std::set<Uuid>{ids[0], ids[2], ids[3]}));

    state.undo();
    EXPECT_EQ(state.show(), before);
    state.relinkAll(file("lib/x"));
    EXPECT_EQ(lastAlert().message, "Relinked 1 of 4 missing files");
    EXPECT_EQ(lastAlert().informativeText, "Matched by a different name or format:\nbass.wav → bass.aif\n\n"
                                           "Still missing:\nKick.WAV\npad.wav\nvox.wav\n\n"
                                           "Undo (Ctrl+Z) reverts the whole batch.");
}

TEST_F(Relinking, RelinkTrackAsksBeforeTakingAFileOfAnotherNameAndEveryOutcomeIsReported) {
    auto ids = openShow({file("gone/kick.wav"), file("gone/snare.wav")});
    const FileUrl other = tone("other.wav");
    dialogs.openAnswers = {{other.path()}};
    state.relinkTrack(ids[0]); // the alert unanswered: Cancel
    EXPECT_EQ(dialogs.openPanels.at(0).message,
              "Locate the audio file for \"kick\" — or choose a folder to relink all missing files at once");
    EXPECT_TRUE(dialogs.openPanels[0].canChooseDirectories && dialogs.openPanels[0].canChooseFiles);
    EXPECT_EQ(lastAlert().message, "Different file selected");
    EXPECT_EQ(lastAlert().informativeText, "The selected file \"other.wav\" has a different name than the missing "
                                           "file \"kick.wav\". Use it anyway?");
    EXPECT_EQ(state.show().tracks[0].url, file("gone/kick.wav"));

    dialogs.openAnswers = {{other.path()}};
    dialogs.alertAnswers = {"Use Anyway"};
    state.relinkTrack(ids[0]);
    EXPECT_EQ(state.show().tracks[0].url, other);
    EXPECT_EQ(reloaded.back(), std::set<Uuid>{ids[0]});

    const FileUrl snare = tone("lib/snare.wav");
    dialogs.openAnswers = {{dir.file("lib")}};
    state.relinkTrack(ids[0]);
    EXPECT_EQ(state.show().tracks[1].url, snare) << "a folder relinks every missing file";
    EXPECT_EQ(lastAlert().message, "Relinked 1 of 1 missing file");
    EXPECT_EQ(lastAlert().informativeText, "Undo (Ctrl+Z) reverts the whole batch.");

    state.relinkAll(FileUrl::fromPath(dir.path().string()));
    EXPECT_EQ(lastAlert().message, "Nothing to relink");
    EXPECT_EQ(lastAlert().informativeText, "Every cue in this show points at a file that exists.");
    openShow({file("gone/a.wav")});
    state.relinkAll(file("Empty Folder"));
    EXPECT_EQ(lastAlert().message, "No matching audio files found");
    EXPECT_EQ(lastAlert().informativeText,
              "None of the 1 missing file could be found in \"Empty Folder\" or its subfolders.");
    EXPECT_FALSE(state.isDirty());
}
