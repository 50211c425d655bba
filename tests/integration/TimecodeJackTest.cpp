#include <gtest/gtest.h>
#include <ltc.h>

#include <chrono>
#include <functional>
#include <thread>

#include "OpenSystems.h"
#include "Eventually.h"
#include "JackMidiCapture.h"
#include "JackServer.h"
#include "platform/MidiSystem.h"
#include "playback/EngineRig.h"
#include "support/ScopedEnv.h"
#include "timecode/MtcReceiver.h"
#include "timecode/TimecodeController.h"

namespace ostinel {
namespace {

using test::EngineRig;
using test::runUntil;
using test::JackMidiCapture;
using test::JackRecorder;
using test::ScopedEnv;

constexpr double framesPerTimecodeFrame = 48000.0 / 25.0;
constexpr std::int64_t cueStart = 90000; // 01:00:00:00 at 25 fps

struct LtcFrame {
    std::int64_t frame = 0; // timecode frames since midnight
    std::int64_t start = 0; // sample of the take where it begins
};

// Written a frame's worth at a time and read after each: the decoder's queue
// holds a few frames only.
std::vector<LtcFrame> decodeLtc(const std::vector<float>& samples) {
    LTCDecoder* decoder = ltc_decoder_create(1920, 32);
    std::vector<LtcFrame> frames;
    for (std::size_t at = 0; at < samples.size(); at += 1920) {
        const std::size_t n = std::min<std::size_t>(1920, samples.size() - at);
        ltc_decoder_write_float(decoder, const_cast<float*>(samples.data() + at), n, ltc_off_t(at));
        for (LTCFrameExt ext; ltc_decoder_read(decoder, &ext);) {
            SMPTETimecode t;
            ltc_frame_to_time(&t, &ext.ltc, 0);
            frames.push_back({((t.hours * 60 + t.mins) * 60 + t.secs) * 25 + t.frame, ext.off_start});
        }
    }
    ltc_decoder_free(decoder);
    return frames;
}

// A cue played live on a JACK device with four channels, MTC on the virtual
// port and LTC on the device's third channel, as a show runs it; a desk
// listens to the MTC and the device records what reaches it.
class TimecodeOnJack : public ::testing::Test {
protected:
    void SetUp() override {
        ASSERT_TRUE(test::openSystems(audio, midi));
        stage = std::make_unique<JackRecorder>("Stage", 4, true, 48000 * 5);
        engine = std::make_unique<PlaybackEngine>(loop, preferences, *audio);
        engine->setOutputDeviceUID(std::string("jack:Stage"));
        // The desk subscribes to the virtual port; as a destination it is
        // known and switched off, so each message reaches it once.
        preferences.setValue("timecodeKnownDestinations", std::vector<std::string>{"Desk:in"});
        preferences.setValue("timecodeDestinations", std::vector<std::string>{});
        timecode = TimecodeController::live(loop, preferences, *midi, *audio);
        timecode->setRate(TimecodeRate::fps25);
        timecode->setLtcMode(LTCMode::customRoute);
        timecode->setLtcDeviceUID(std::string("jack:Stage"));
        timecode->setLtcChannel(2);
        timecode->setLtcEnabled(true);
        timecode->attach(*engine);
        desk = std::make_unique<JackMidiCapture>("Desk");
        desk->connectFrom("Ostinel:Ostinel MTC");
        engine->load(rig.track);
    }

    test::JackServer server;
    ScopedEnv audioForced{"OSTINEL_AUDIO_BACKEND", "jack"};
    ScopedEnv midiForced{"OSTINEL_MIDI_BACKEND", "jack"};
    EngineRig rig{6.0};
    ManualMainLoop loop;
    MemoryPreferences preferences;
    std::unique_ptr<AudioSystem> audio;
    std::unique_ptr<MidiSystem> midi;
    std::unique_ptr<JackRecorder> stage;
    std::unique_ptr<PlaybackEngine> engine;
    std::unique_ptr<TimecodeController> timecode;
    std::unique_ptr<JackMidiCapture> desk;
};

TEST_F(TimecodeOnJack, MtcAndLtcFollowTheCuePlayedLiveToTheSample) {
    // Three seconds from the cue's start, taken again when a server overrun
    // spoils them: one shifts frames against time.
    constexpr std::int64_t takeFrames = 3 * 48000;
    std::vector<JackMidiCapture::Event> events;
    std::vector<float> ltc;
    std::uint32_t ltcFirstFrame = 0;
    for (int attempt = 0; attempt < 10 && events.empty(); ++attempt) {
        engine->stop();
        ASSERT_TRUE(runUntil(loop, [&] { return !engine->isPlaying(); }, 10.0));
        // Pieces already queued go out within a few periods of a stop.
        stage->record(8 * 256);
        ASSERT_TRUE(stage->waitFor(8 * 256, 10.0));
        desk->clear();
        stage->record(takeFrames);
        engine->play();
        ASSERT_TRUE(runUntil(loop, [&] { return stage->waitFor(takeFrames, 0.0); }, 30.0));
        if (desk->xruns() + stage->xruns() > 0) continue;
        events = desk->events();
        ltc = stage->received(2);
        ltcFirstFrame = stage->firstFrame();
    }
    ASSERT_FALSE(events.empty()) << "every take was spoiled by server overruns";

    // The full frame first, at the cue's start; then pieces 480 frames apart
    // (10 ms), whatever the 256-frame periods, spelling even frames two
    // apart that keep to the time played since the full frame.
    const std::uint32_t located = events.front().frame;
    EXPECT_EQ(events.front().bytes,
              (std::vector<std::uint8_t>{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0, 0, 0, 0xF7}));
    test::MtcReceiver mtc;
    for (const auto& e : events)
        mtc.receive({double(std::int32_t(e.frame - located)), "Ostinel MTC", e.bytes, {}});
    EXPECT_EQ(mtc.fullFrames.size(), 1u);
    EXPECT_EQ(mtc.brokenSequences, 0);
    ASSERT_GE(mtc.pieceTimes.size(), 250u);
    for (std::size_t i = 1; i < mtc.pieceTimes.size(); ++i)
        ASSERT_NEAR(mtc.pieceTimes[i] - mtc.pieceTimes[i - 1], 480.0, 1.0) << "piece " << i;
    ASSERT_GE(mtc.sequences.size(), 30u);
    for (std::size_t k = 0; k < mtc.sequences.size(); ++k) {
        const auto& sequence = mtc.sequences[k];
        const std::int64_t frame = sequence.timecode.frames();
        ASSERT_EQ(sequence.timecode.rateCode, 1);
        ASSERT_EQ(frame % 2, 0) << "sequence " << k;
        if (k > 0) {
            ASSERT_EQ(frame - mtc.sequences[k - 1].timecode.frames(), 2) << "sequence " << k;
        }
        const double played = double(cueStart) + sequence.firstPieceTime / framesPerTimecodeFrame;
        ASSERT_NEAR(double(frame), played, 2.0) << "sequence " << k;
    }

    // The LTC on the third channel: every frame in turn from the cue's
    // start, one every 1920 samples, each within a frame of where the MTC
    // says it is.
    const auto frames = decodeLtc(ltc);
    ASSERT_GE(frames.size(), 65u);
    EXPECT_GE(frames.front().frame, cueStart);
    EXPECT_LE(frames.front().frame, cueStart + 2);
    for (std::size_t k = 0; k < frames.size(); ++k) {
        ASSERT_EQ(frames[k].frame, frames.front().frame + std::int64_t(k)) << "LTC frame " << k;
        if (k > 0) {
            ASSERT_NEAR(double(frames[k].start - frames[k - 1].start), 1920.0, 2.0) << "LTC frame " << k;
        }
        const auto sinceLocate = std::int32_t(ltcFirstFrame + std::uint32_t(frames[k].start) - located);
        const double mtcSays = double(cueStart) + double(sinceLocate) / framesPerTimecodeFrame;
        ASSERT_NEAR(double(frames[k].frame), mtcSays, 1.0) << "LTC frame " << k;
    }
}

} // namespace
} // namespace ostinel
