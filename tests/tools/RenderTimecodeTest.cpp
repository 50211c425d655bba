#include <gtest/gtest.h>
#include <ltc.h>
#include <sndfile.h>

#include <cmath>
#include <fstream>
#include <sstream>

#include "document/ShowFile.h"
#include "playback/EngineRig.h"
#include "support/CliRun.h"
#include "timecode/MtcReceiver.h"

namespace ostinel {
namespace {

using test::EngineRig;

struct MidiLine {
    double time = 0.0;
    std::string port;
    std::vector<std::uint8_t> bytes;
};

// "<seconds> <port name> <hex bytes>": the port name may hold spaces.
std::vector<MidiLine> readMidi(const std::string& path) {
    std::vector<MidiLine> lines;
    std::ifstream in(path);
    for (std::string text; std::getline(in, text);) {
        std::istringstream words(text);
        MidiLine line;
        words >> line.time;
        for (std::string word; words >> word;) {
            if (word.size() == 2 && std::isxdigit(word[0]) && std::isxdigit(word[1]) && !line.port.empty() &&
                line.port.back() != ' ' && word != "TC")
                line.bytes.push_back(std::uint8_t(std::stoul(word, nullptr, 16)));
            else
                line.port += (line.port.empty() ? "" : " ") + word;
        }
        lines.push_back(line);
    }
    return lines;
}

std::vector<float> readMono(const std::string& path, SF_INFO& info) {
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return {};
    std::vector<float> samples(std::size_t(info.frames) * std::size_t(info.channels));
    sf_readf_float(file, samples.data(), info.frames);
    sf_close(file);
    return samples;
}

class RenderTimecode : public ::testing::Test {
protected:
    test::TempDir dir;
    std::string show;

    RenderTimecode() {
        Track track;
        track.name = "Probe";
        track.url = FileUrl::fromPath(EngineRig::writeProbe(dir.file("probe.wav"), 4 * 48000));
        track.duration = 4.0;
        track.midiTriggers = {MidiTrigger{.name = "hit", .timeSeconds = 0.5, .type = MidiTriggerType::noteOn,
                                          .channel = 2, .number = 60, .value = 100, .durationSeconds = 0.25}};
        show = dir.file("show.ot");
        EXPECT_FALSE(ShowFile::write(Show{.tracks = {track}}, show, ShowFile::Flavour::pretty));
    }

    test::CliResult render(std::vector<std::string> extra) {
        std::vector<std::string> args{"render", show, "--cue", "1", "--seconds", "3", "--out", dir.file("out.wav")};
        args.insert(args.end(), extra.begin(), extra.end());
        return test::runCli(args, dir.path().string());
    }
};

// The render's clock is its sample clock: a quarter frame every 10 ms to the
// microsecond at 25 fps, spelling even frames two apart from the full frame
// at the cue's start timecode; the trigger's Note Off its duration after.
TEST_F(RenderTimecode, MidiOutIsEveryMessageOnTheSampleClock) {
    auto run = render({"--timecode-rate", "fps25", "--midi-out", dir.file("midi.txt")});
    ASSERT_EQ(run.status, 0) << run.err;
    const auto lines = readMidi(dir.file("midi.txt"));
    ASSERT_FALSE(lines.empty());

    test::MtcReceiver mtc;
    std::vector<MidiLine> triggers;
    for (const auto& line : lines) {
        if (line.port == "Ostinel MTC") mtc.receive({line.time, line.port, line.bytes, {}});
        else if (line.port == "Ostinel Triggers") triggers.push_back(line);
        else ADD_FAILURE() << "a message on " << line.port;
    }
    ASSERT_EQ(mtc.fullFrames.size(), 1u);
    EXPECT_EQ(lines.front().time, 0.0);
    EXPECT_EQ(lines.front().bytes, (std::vector<std::uint8_t>{0xF0, 0x7F, 0x7F, 0x01, 0x01, 0x21, 0, 0, 0, 0xF7}));
    EXPECT_EQ(mtc.brokenSequences, 0);
    ASSERT_GE(mtc.pieceTimes.size(), 290u);
    for (std::size_t i = 0; i < mtc.pieceTimes.size(); ++i)
        ASSERT_NEAR(mtc.pieceTimes[i], 0.01 * double(i + 1), 1.5e-6) << "piece " << i;
    for (std::size_t k = 0; k < mtc.sequences.size(); ++k) {
        ASSERT_EQ(mtc.sequences[k].timecode.rateCode, 1);
        ASSERT_EQ(mtc.sequences[k].timecode.frames(), 90000 + 2 * std::int64_t(k)) << "sequence " << k;
    }

    ASSERT_EQ(triggers.size(), 2u);
    EXPECT_EQ(triggers[0].bytes, (std::vector<std::uint8_t>{0x91, 60, 100}));
    EXPECT_EQ(triggers[1].bytes, (std::vector<std::uint8_t>{0x81, 60, 0}));
    EXPECT_GE(triggers[0].time, 0.5);
    EXPECT_LT(triggers[0].time, 0.5 + EngineRig::tickFrames / EngineRig::rate + 1e-6);
    EXPECT_NEAR(triggers[1].time - triggers[0].time, 0.25, 1.5e-6);
}

// The LTC alone, read back by an independent decoder: every frame from the
// cue's start timecode in turn, each on its own 1920 samples at 48 kHz.
TEST_F(RenderTimecode, LtcOutIsTheTimecodeAloneAtTheDefaultLevel) {
    auto run = render({"--ltc-out", dir.file("ltc.wav"), "--timecode-rate", "fps25"});
    ASSERT_EQ(run.status, 0) << run.err;
    SF_INFO info{};
    auto samples = readMono(dir.file("ltc.wav"), info);
    ASSERT_EQ(info.channels, 1);
    ASSERT_EQ(info.frames, 3 * 48000);
    EXPECT_EQ(info.format, SF_FORMAT_WAV | SF_FORMAT_FLOAT);
    float peak = 0.0f;
    for (float s : samples) peak = std::max(peak, std::fabs(s));
    EXPECT_NEAR(peak, std::pow(10.0, -18.0 / 20.0), 0.01);

    samples.resize(samples.size() + 48000, 0.0f); // the decoder gives a frame once it sees the next
    LTCDecoder* decoder = ltc_decoder_create(1920, 32);
    std::vector<LTCFrameExt> frames;
    // Read as it goes: the decoder's queue holds a few frames only.
    for (std::size_t at = 0; at < samples.size(); at += 1920) {
        const std::size_t n = std::min<std::size_t>(1920, samples.size() - at);
        ltc_decoder_write_float(decoder, samples.data() + at, n, ltc_off_t(at));
        for (LTCFrameExt frame; ltc_decoder_read(decoder, &frame);) frames.push_back(frame);
    }
    ltc_decoder_free(decoder);

    ASSERT_GE(frames.size(), 74u);
    // The reader places a frame's start by its first edge, a half-bit or two off.
    EXPECT_LE(std::abs(frames[0].off_start), 48);
    for (std::size_t k = 0; k < frames.size(); ++k) {
        SMPTETimecode t;
        ltc_frame_to_time(&t, &frames[k].ltc, 0);
        const std::int64_t frame = ((t.hours * 60 + t.mins) * 60 + t.secs) * 25 + t.frame;
        ASSERT_EQ(frame, 90000 + std::int64_t(k)) << "frame " << k;
        if (k > 0) {
            ASSERT_NEAR(double(frames[k].off_start), 1920.0 * double(k), 2.0) << "frame " << k;
        }
    }
}

TEST_F(RenderTimecode, AnUnknownRateIsRefused) {
    auto run = render({"--timecode-rate", "fps60"});
    EXPECT_EQ(run.status, 1);
    EXPECT_NE(run.err.find("--timecode-rate takes fps24, fps25, fps2997df or fps30"), std::string::npos) << run.err;
}

} // namespace
} // namespace ostinel
