#include <gtest/gtest.h>

#include "document/ShowFile.h"
#include "support/CliRun.h"
#include "support/ShowFixtures.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

class ShowCommands : public ::testing::Test {
protected:
    test::CliResult run(const std::string& command, const std::string& file) {
        return test::runCli({"show", command, file}, home.path().string());
    }
    std::string saved(const Show& show, ShowFile::Flavour flavour) {
        std::string path = files.file("show.ot");
        auto error = ShowFile::write(show, path, flavour);
        EXPECT_FALSE(error) << error->message;
        return path;
    }

    test::TempDir home;
    test::TempDir files;
};

} // namespace

TEST_F(ShowCommands, NormalizeWritesWhatSaveWouldIsStableAndMigratesFromThePreferences) {
    Show show = test::richShow();
    auto first = run("normalize", saved(show, ShowFile::Flavour::compact));
    ASSERT_EQ(first.status, 0) << first.err;
    EXPECT_EQ(first.err, "");
    EXPECT_EQ(first.out, *ShowFile::encode(show, ShowFile::Flavour::pretty)) << "lastMode as read, pretty flavour";
    EXPECT_EQ(run("normalize", files.write("again.ot", first.out)).out, first.out);

    // A show without an OSC destination takes the user's from an earlier version.
    show.oscTriggerHost.clear();
    home.write(".config/Ostinel/Ostinel.conf", "[General]\noscTriggerHost=10.1.2.3\noscTriggerPort=7000\n");
    auto migrated = run("normalize", saved(show, ShowFile::Flavour::pretty));
    ASSERT_EQ(migrated.status, 0) << migrated.err;
    show.oscTriggerHost = "10.1.2.3";
    show.oscTriggerPort = 7000;
    EXPECT_EQ(*ShowFile::decode(migrated.out), show);
}

TEST_F(ShowCommands, AShowThatDoesNotReadFailsWithTheAlertText) {
    std::string broken = files.write("broken.ot", R"({"tracks":[{"url":"file:///a.wav","skip":"yes"}]})");
    for (const char* command : {"normalize", "list"}) {
        auto result = run(command, broken);
        EXPECT_EQ(result.status, 1);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.err, "Could not open the show.\ntracks[0].skip: expected a boolean, found string\n");
    }
    EXPECT_EQ(run("list", files.file("absent.ot")).err, "Could not open the show.\nNo such file or directory\n");
}

TEST_F(ShowCommands, ListShowsTheRunningOrder) {
    const Track intro{.url = FileUrl::fromPath(files.write("Intro Music.wav", "not really audio")), .duration = 75.5,
                      .startSeconds = 0.25, .loops = {Loop{}, Loop{}}, .autoplay = true, .loopCue = true};
    const Track gone{.name = "Bows", .url = FileUrl::fromPath(files.file("gone.wav")), .duration = 75.5,
                     .startSeconds = 0.25, .endSeconds = 30.0, .loops = {Loop{}, Loop{}}, .timelineNotes = {Note{}},
                     .skip = true, .oscTriggers = {OSCTrigger{}}};
    const Show show{.name = "Matinée", .tracks = {intro, gone}};

    auto result = run("list", saved(show, ShowFile::Flavour::pretty));
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out,
              "Matinée\n\n"
              "  #  Flags  Name             In          Out         Length      Loops  Notes  Triggers  File\n"
              "  1  A-L    Intro Music.wav  0:00.250    1:15.500    1:15.250        2      0         0  found\n"
              "  2  -S-    Bows             0:00.250    0:30.000    0:29.750        2      1         1  MISSING\n"
              "\nTotal length (skipped cues not counted): 1:15.250\n");
}
