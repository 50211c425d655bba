#include <gtest/gtest.h>

#include <filesystem>

#include "platform/DurableFile.h"
#include "support/TempDir.h"

namespace ostinel::test {
namespace {

namespace fs = std::filesystem;

TEST(DurableFile, ReplacesTheFileWholeAndLeavesNothingBeside) {
    TempDir dir;
    const std::string path = dir.write("Show.ot", "old");
    EXPECT_EQ(DurableFile::replace(path, "new"), std::nullopt);
    EXPECT_EQ(readText(path), "new");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.path()), fs::directory_iterator{}), 1);
}

TEST(DurableFile, ASaveThatCannotBeWrittenLeavesTheOldFileWhole) {
    TempDir dir;
    const std::string path = dir.write("Show.ot", "old");
    // The place of the new text is taken, so the write fails before the rename.
    dir.write(".Show.ot.saving/blocker", "");
    const auto error = DurableFile::replace(path, "new");
    ASSERT_TRUE(error.has_value());
    EXPECT_FALSE(error->message.empty());
    EXPECT_EQ(readText(path), "old");
}

TEST(DurableFile, ALinkedShowStaysALinkAndItsTargetIsReplaced) {
    TempDir dir;
    const std::string target = dir.write("shows/Real.ot", "old");
    const std::string link = dir.file("Show.ot");
    fs::create_symlink("shows/Real.ot", link);
    EXPECT_EQ(DurableFile::replace(link, "new"), std::nullopt);
    EXPECT_TRUE(fs::is_symlink(link));
    EXPECT_EQ(readText(target), "new");
}

} // namespace
} // namespace ostinel::test
