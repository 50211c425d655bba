#include <gtest/gtest.h>

#include <string>

#include "control/RemoteAdvertisement.h"

using namespace ostinel;

namespace {

bool continuation(char c) {
    return (static_cast<unsigned char>(c) & 0xC0) == 0x80;
}

TEST(RemoteAdvertisementTest, ALongShowNameIsCutBelowTheLimitBetweenCharacters) {
    // Two-, three- and four-byte characters, so every cut position is met.
    std::string name;
    while (name.size() < 300)
        name += "ä€😀";
    for (std::size_t shift = 0; shift < 4; ++shift) {
        const std::string shifted = std::string(shift, 'x') + name;
        SCOPED_TRACE(shift);
        const std::string cut = RemoteAdvertisement::truncated(shifted);
        EXPECT_LE(cut.size(), RemoteAdvertisement::showLimit);
        EXPECT_GT(cut.size(), RemoteAdvertisement::showLimit - 4);
        EXPECT_EQ(shifted.compare(0, cut.size(), cut), 0);
        EXPECT_FALSE(continuation(shifted[cut.size()])) << "cut inside a character";
    }
    const std::string fits(250, 'a');
    EXPECT_EQ(RemoteAdvertisement::truncated(fits), fits);
    EXPECT_EQ(RemoteAdvertisement::truncated("Änderung"), "Änderung");
}

TEST(RemoteAdvertisementTest, TheRecordCarriesProtocolAppAndTheCutName) {
    const auto txt = RemoteAdvertisement::txt("0.1.0", std::string(260, 's'));
    ASSERT_EQ(txt.size(), 3u);
    EXPECT_EQ(txt[0], (std::pair<std::string, std::string>{"proto", "1"}));
    EXPECT_EQ(txt[1], (std::pair<std::string, std::string>{"app", "0.1.0"}));
    EXPECT_EQ(txt[2].first, "show");
    EXPECT_EQ(txt[2].second, std::string(250, 's'));
}

} // namespace
