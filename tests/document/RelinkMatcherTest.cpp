#include <gtest/gtest.h>

#include <algorithm>

#include "document/RelinkMatcher.h"
#include "support/TempDir.h"

using namespace ostinel;
using RelinkMatcher::MatchKind;

namespace {
FileUrl at(const test::TempDir& dir, const std::string& relative) { return FileUrl::fromPath(dir.file(relative)); }
} // namespace

TEST(RelinkMatcher, FindsAudioFilesInSubfoldersOnly) {
    test::TempDir dir;
    dir.write("a/kick.wav", "x");
    dir.write("a/b/Snare.AIF", "x");
    dir.write("a/kick.ogg", "x"); // not an audio type the show relinks to
    dir.write("notes.txt", "x");
    auto files = RelinkMatcher::audioFiles(dir.path().string(), 20000);
    std::vector<std::string> names;
    for (auto& f : files) names.push_back(f.fileName());
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, (std::vector<std::string>{"Snare.AIF", "kick.wav"}));
    EXPECT_EQ(RelinkMatcher::audioFiles(dir.path().string(), 1).size(), 1u);
    EXPECT_TRUE(RelinkMatcher::audioFiles(dir.file("no such folder"), 10).empty());
}

TEST(RelinkMatcher, PrefersExactThenCaseThenExtensionAndShallowerFiles) {
    test::TempDir dir;
    std::vector<FileUrl> candidates{at(dir, "a/b/kick.wav"), at(dir, "a/kick.wav"), at(dir, "x/Pad.wav"),
                                    at(dir, "x/pad.wav"), at(dir, "y/bass.aif")};
    FileUrl kick = FileUrl::fromPath("/old/Kick.WAV");
    FileUrl pad = FileUrl::fromPath("/old/pad.wav");
    FileUrl bass = FileUrl::fromPath("/old/bass.wav");
    FileUrl gone = FileUrl::fromPath("/old/gone.wav");
    auto result = RelinkMatcher::match({kick, pad, bass, gone}, candidates);
    EXPECT_EQ(result.at(kick), (RelinkMatcher::Match{at(dir, "a/kick.wav"), MatchKind::caseInsensitive}));
    EXPECT_EQ(result.at(pad), (RelinkMatcher::Match{at(dir, "x/pad.wav"), MatchKind::exact}));
    EXPECT_EQ(result.at(bass), (RelinkMatcher::Match{at(dir, "y/bass.aif"), MatchKind::differentExtension}));
    EXPECT_FALSE(result.count(gone));
}
