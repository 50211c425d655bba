#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <filesystem>
#include <vector>

#include "Eventually.h"
#include "platform/AudioSystemBackends.h"
#include "support/RampRenderer.h"
#include "support/ScopedEnv.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using test::RampRenderer;
using test::ScopedEnv;

// What ALSA offers depends on the machine; without sound hardware (a build
// machine, a container) the listing is empty and opening fails cleanly.
TEST(AlsaBackend, ListsPlaybackPcmsAndOpensTheDefaultOrSaysWhyNot) {
    for (const auto& d : audioserver::alsaOutputDevices()) {
        EXPECT_EQ(d.uid.rfind("alsa:", 0), 0u) << d.uid;
        EXPECT_FALSE(d.name.empty()) << d.uid;
        EXPECT_GT(d.channelCount, 0) << d.uid;
    }

    ScopedEnv forced("OSTINEL_AUDIO_BACKEND", "alsa");
    auto created = AudioSystem::create();
    if (!created) {
        EXPECT_EQ(created.error().message.rfind("ALSA: can't open \"default\"", 0), 0u) << created.error().message;
        return;
    }
    auto& audio = **created;
    EXPECT_EQ(audio.currentDeviceUID(), "alsa:default");
    EXPECT_EQ(audio.outputDevices().front(), (AudioDevice{"alsa:default", "System default", 2}));
    EXPECT_TRUE(audio.setDevice("alsa:nowhere"));
    EXPECT_EQ(audio.currentDeviceUID(), "alsa:default");
}

// A machine of our own making: "default" takes integer samples only and
// writes them to a file as 16-bit ones.
struct FileBackedAlsa : ::testing::Test {
    static constexpr std::size_t frames = 4096;

    test::TempDir dir;
    const std::string raw = dir.file("out.raw");
    ScopedEnv alsaConfig{"ALSA_CONFIG_PATH",
                         dir.write("asound.conf", "pcm.!default { type linear slave { format S16_LE pcm { type file file \"" +
                                                      raw + "\" format raw slave.pcm { type null } } } }\n")};
    ScopedEnv forced{"OSTINEL_AUDIO_BACKEND", "alsa"};

    // The first frames the file received, left and right interleaved, once
    // there are as many; `output` is stopped by then.
    std::vector<std::int16_t> takeFrames(AudioSystem& output) {
        EXPECT_TRUE(test::eventually([&] {
            std::error_code error;
            const auto size = std::filesystem::file_size(raw, error);
            return !error && size >= frames * 4;
        }));
        output.stop();
        const std::string bytes = test::readText(raw);
        std::vector<std::int16_t> samples(std::min(bytes.size() / 2, frames * 2));
        std::memcpy(samples.data(), bytes.data(), samples.size() * 2);
        return samples;
    }
};

TEST_F(FileBackedAlsa, WritesMappedPeriodsInTheFormatThePcmTakes) {
    auto created = AudioSystem::create();
    ASSERT_TRUE(created) << created.error().message;
    auto& audio = **created;
    EXPECT_EQ(audio.outputDevices(), (std::vector<AudioDevice>{{"alsa:default", "System default", 2}}));
    EXPECT_EQ(audio.sampleRate(), 48000.0);

    RampRenderer ramp;
    ramp.attach(audio);
    ASSERT_FALSE(audio.setChannelMap({1, 0}));
    ASSERT_FALSE(audio.start());
    const auto samples = takeFrames(audio);
    EXPECT_LE(ramp.largestCall(), audio.periodFrames());
    ASSERT_EQ(samples.size(), frames * 2);
    for (std::size_t f = 0; f < frames; ++f) {
        const auto expected = std::int16_t(RampRenderer::at(std::int64_t(f)) * 32768.0f);
        ASSERT_EQ(samples[2 * f], -expected) << "frame " << f;
        ASSERT_EQ(samples[2 * f + 1], expected) << "frame " << f;
    }
}

// The companion opens a PCM of its own; the main output stays stopped, so the
// file holds the companion's stream alone, through its own map.
TEST_F(FileBackedAlsa, ACompanionPlaysItsOwnStreamThroughItsOwnMap) {
    auto created = AudioSystem::create();
    ASSERT_TRUE(created) << created.error().message;
    auto opened = (*created)->openCompanion("Ostinel LTC", 1);
    ASSERT_TRUE(opened) << opened.error().message;
    auto& companion = **opened;
    EXPECT_EQ(companion.sourceCount(), 1);
    EXPECT_EQ(companion.currentDeviceUID(), "alsa:default");

    RampRenderer ramp;
    ramp.attach(companion);
    ASSERT_FALSE(companion.setChannelMap({-1, 0}));
    ASSERT_FALSE(companion.start());
    EXPECT_FALSE((*created)->isRunning());
    const auto samples = takeFrames(companion);
    ASSERT_EQ(samples.size(), frames * 2);
    for (std::size_t f = 0; f < frames; ++f) {
        ASSERT_EQ(samples[2 * f], 0) << "frame " << f;
        ASSERT_EQ(samples[2 * f + 1], std::int16_t(RampRenderer::at(std::int64_t(f)) * 32768.0f)) << "frame " << f;
    }
}

} // namespace
} // namespace ostinel
