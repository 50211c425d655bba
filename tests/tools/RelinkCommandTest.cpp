#include <gtest/gtest.h>

#include <filesystem>

#include "document/ShowFile.h"
#include "support/AudioFixtures.h"
#include "support/CliRun.h"
#include "support/TempDir.h"

using namespace ostinel;

TEST(RelinkCommand, RepairsWhatItFindsPrintsTheReportKeepsTheOriginalAndFailsClearly) {
    test::TempDir home, files;
    auto run = [&](const std::vector<std::string>& arguments) { return test::runCli(arguments, home.path().string()); };
    // A show on two files that are gone; one of them now lives in lib/.
    Show show{.lastMode = AppMode::show};
    for (std::string name : {"Kick.wav", "gone.wav"})
        show.tracks.push_back(
            Track{.name = name, .url = FileUrl::fromPath("/old/place/" + name), .duration = 60, .endSeconds = 60});
    const std::string original = files.file("show.ot"), lib = files.file("lib");
    ASSERT_FALSE(ShowFile::write(show, original, ShowFile::Flavour::compact));
    std::filesystem::create_directories(files.file("lib/sub"));
    test::writeTone(files.file("lib/sub/kick.wav"), 0.5, 8000, 1);
    const std::string before = test::readText(original);

    auto result = run({"relink", original, lib, "--out", files.file("fixed.ot")});
    ASSERT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, "Relinked 1 of 2 missing files\nMatched by a different name or format:\n"
                          "Kick.wav → kick.wav\n\nStill missing:\ngone.wav\n\nUndo (Ctrl+Z) reverts the whole batch.\n");
    EXPECT_EQ(test::readText(original), before);
    const std::string saved = test::readText(files.file("fixed.ot"));
    EXPECT_NE(saved.find("\n  "), std::string::npos) << "pretty flavour";
    auto fixed = ShowFile::decode(saved);
    ASSERT_TRUE(fixed.ok());
    EXPECT_EQ(fixed->tracks[0].url.path(), files.file("lib/sub/kick.wav"));
    EXPECT_DOUBLE_EQ(fixed->tracks[0].endSeconds, 0.5);
    EXPECT_EQ(fixed->tracks[1].url.path(), "/old/place/gone.wav");
    EXPECT_EQ(fixed->lastMode, AppMode::show);
    EXPECT_FALSE(std::filesystem::exists(home.file(".config/Ostinel/Ostinel.conf"))) << "no recent show recorded";

    auto broken = run({"relink", files.write("bad.ot", "{"), lib, "--out", files.file("x.ot")});
    EXPECT_EQ(broken.status, 1);
    EXPECT_EQ(broken.err.rfind("Could not open the show.\n", 0), 0u) << broken.err;
    auto noFolder = run({"relink", original, files.file("nowhere"), "--out", files.file("x.ot")});
    EXPECT_EQ(noFolder.status, 1);
    EXPECT_EQ(noFolder.err, "No such folder: " + files.file("nowhere") + "\n");
    auto unwritable = run({"relink", original, lib, "--out", files.file("no/such/dir/x.ot")});
    EXPECT_EQ(unwritable.status, 1);
    EXPECT_EQ(unwritable.err, "Could not save the show.\nNo such file or directory\n");
    auto usage = run({"relink", original, lib});
    EXPECT_EQ(usage.status, 1);
    EXPECT_EQ(usage.err, "usage: ostinel-cli relink FILE.ot FOLDER --out NEW.ot\n");
}
