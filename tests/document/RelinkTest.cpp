#include "LifecycleFixture.h"

#include "document/Relink.h"

using namespace ostinel;

namespace {
struct Relinking : test::LifecycleFixture {
    FileUrl gone(const std::string& name) const { return FileUrl::fromPath("/gone/" + name); }
    // A clean show of untrimmed 60-second tracks on these files.
    std::vector<Uuid> showOn(const std::vector<FileUrl>& urls) {
        state.setShow(Show{});
        std::vector<Uuid> ids;
        for (const auto& url : urls) ids.push_back(addTrack(url.fileNameWithoutExtension(), url));
        state.resetHistory();
        state.setDirty(false);
        return ids;
    }
};
} // namespace

TEST_F(Relinking, TheOutPointFollowsAnUntrimmedCueAndKeepsATrimOnlyIfItFits) {
    Track trimmed;
    trimmed.duration = 60.0;
    trimmed.endSeconds = 10.0;
    Track untrimmed = trimmed, unset = trimmed;
    untrimmed.duration = untrimmed.endSeconds = 8.0;
    unset.endSeconds = 0.0;
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
    auto ids = showOn({gone("Kick.WAV"), present, gone("pad.wav"), gone("bass.wav"), gone("vox.wav")});
    const Show before = state.show();
    tone("lib/a/b/kick.wav");
    const FileUrl kick = tone("lib/a/kick.wav"), pad = tone("lib/pad.wav"), bass = tone("lib/x/bass.aif");
    tone("lib/vox.ogg"); // not a type relinking looks for

    state.relinkAll(file("lib"));
    std::vector<FileUrl> urls;
    for (const Track& t : state.show().tracks) urls.push_back(t.url);
    EXPECT_EQ(urls, (std::vector<FileUrl>{kick, present, pad, bass, gone("vox.wav")}));
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

TEST_F(Relinking, ReportsWhenThereIsNothingToDoOrNothingFound) {
    showOn({tone("here.wav")});
    state.relinkAll(FileUrl::fromPath(dir.path().string()));
    EXPECT_EQ(lastAlert().message, "Nothing to relink");
    EXPECT_EQ(lastAlert().informativeText, "Every cue in this show points at a file that exists.");

    showOn({gone("a.wav")});
    state.relinkAll(file("Empty Folder"));
    EXPECT_EQ(lastAlert().message, "No matching audio files found");
    EXPECT_EQ(lastAlert().informativeText,
              "None of the 1 missing file could be found in \"Empty Folder\" or its subfolders.");
    EXPECT_FALSE(state.isDirty());
    EXPECT_EQ(Relink::report({1, 1, {}, {}}, "Lib").title, "Relinked 1 of 1 missing file");
    EXPECT_EQ(Relink::report({1, 1, {}, {}}, "Lib").text, "Undo (Ctrl+Z) reverts the whole batch.");
}

TEST_F(Relinking, RelinkTrackAsksBeforeTakingAFileOfAnotherName) {
    auto ids = showOn({gone("kick.wav"), gone("snare.wav")});
    const FileUrl other = tone("other.wav");
    dialogs.openAnswers = {{other.path()}};
    state.relinkTrack(ids[0]); // the alert unanswered: Cancel
    EXPECT_EQ(dialogs.openPanels.at(0).message,
              "Locate the audio file for \"kick\" — or choose a folder to relink all missing files at once");
    EXPECT_TRUE(dialogs.openPanels[0].canChooseDirectories);
    EXPECT_EQ(lastAlert().message, "Different file selected");
    EXPECT_EQ(lastAlert().informativeText, "The selected file \"other.wav\" has a different name than the missing "
                                           "file \"kick.wav\". Use it anyway?");
    EXPECT_EQ(state.show().tracks[0].url, gone("kick.wav"));

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
}
