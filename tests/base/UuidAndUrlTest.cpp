#include <gtest/gtest.h>

#include <set>

#include "base/FileUrl.h"
#include "base/Uuid.h"

using namespace ostinel;

TEST(Uuid, ParsesEitherCaseWritesUpperCaseAndRandomIdsAreVersionFourAndDistinct) {
    auto id = Uuid::parse("7a3d1009-0000-4000-8000-00000000a3d1");
    ASSERT_TRUE(id);
    EXPECT_EQ(id->toString(), "7A3D1009-0000-4000-8000-00000000A3D1");
    EXPECT_EQ(Uuid::parse(id->toString()), id);
    EXPECT_FALSE(Uuid::parse("7A3D1009-0000-4000-8000-00000000A3D"));
    EXPECT_FALSE(Uuid::parse("7A3D1009+0000-4000-8000-00000000A3D1"));
    EXPECT_FALSE(Uuid::parse("GA3D1009-0000-4000-8000-00000000A3D1"));

    std::set<Uuid> seen;
    for (int i = 0; i < 1000; ++i) {
        Uuid id = Uuid::random();
        EXPECT_EQ(id.toString()[14], '4');
        seen.insert(id);
    }
    EXPECT_EQ(seen.size(), 1000u);
}

TEST(FileUrl, RoundTripsPathsWithSpacesAndUnicode) {
    auto url = FileUrl::fromPath("/home/op/Show Media/Überture #1.wav");
    EXPECT_EQ(url.toString(), "file:///home/op/Show%20Media/%C3%9Cberture%20%231.wav");
    EXPECT_EQ(FileUrl::fromString(url.toString()), url);
    EXPECT_EQ(FileUrl::fromString("file://localhost/tmp/a.wav").path(), "/tmp/a.wav");
    EXPECT_EQ(FileUrl::fromString("/tmp/plain.wav").path(), "/tmp/plain.wav");
    EXPECT_EQ(url.fileName(), "Überture #1.wav");
    EXPECT_EQ(url.fileNameWithoutExtension(), "Überture #1");
    EXPECT_EQ(url.extension(), "wav");
    EXPECT_EQ(FileUrl::fromPath("/a/kick").extension(), "");
}

TEST(FileUrl, TextThatIsNoAbsoluteUrlReadsAsAnAbsolutePathAndReadsTheSameAfterAWrite) {
    for (const char* text : {"Media/kick.wav", "file:Media/kick.wav", "kick.wav", ""}) {
        const FileUrl url = FileUrl::fromString(text);
        EXPECT_TRUE(url.path().starts_with('/')) << text;
        EXPECT_EQ(FileUrl::fromString(url.toString()), url) << text;
    }
    EXPECT_EQ(FileUrl::fromString("Media/kick.wav").path(), "/Media/kick.wav");
}
