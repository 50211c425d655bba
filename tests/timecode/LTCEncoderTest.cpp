#include <gtest/gtest.h>
#include <ltc.h>

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <string>
#include <vector>

#include "timecode/LTCEncoder.h"

namespace ostinel {
namespace {

using R = TimecodeRate;

constexpr int kPeriod = 512;
constexpr double kSampleRates[] = {44100.0, 48000.0, 96000.0};

// Our signal read back by an independent decoder, with each frame's place in
// the stream.
class Reader {
  public:
    Reader(double sampleRate, TimecodeRate rate)
        : decoder_(ltc_decoder_create(int(sampleRate / timecode::exactFps(rate)), 64)) {}
    ~Reader() { ltc_decoder_free(decoder_); }
    Reader(const Reader&) = delete;
    Reader& operator=(const Reader&) = delete;

    void render(LTCEncoder& encoder, double seconds) {
        std::vector<float> buffer(kPeriod);
        for (auto left = std::int64_t(seconds * encoder.sampleRate()); left > 0; left -= kPeriod) {
            const auto n = std::min<std::int64_t>(left, kPeriod);
            encoder.fill(buffer.data(), n, 0.5f);
            write(buffer.data(), n);
        }
    }
    // The decoder hands out a frame only once it has seen what follows it.
    std::vector<LTCFrameExt> finish() {
        std::vector<float> silence(kPeriod * 8);
        write(silence.data(), std::int64_t(silence.size()));
        return std::move(frames_);
    }
    std::int64_t position() const { return written_; }

  private:
    void write(float* samples, std::int64_t n) {
        ltc_decoder_write_float(decoder_, samples, std::size_t(n), written_);
        written_ += n;
        for (LTCFrameExt frame; ltc_decoder_read(decoder_, &frame);)
            frames_.push_back(frame);
    }

    LTCDecoder* decoder_;
    std::int64_t written_ = 0;
    std::vector<LTCFrameExt> frames_;
};

std::string describe(const SMPTETimecode& t) {
    char text[32];
    std::snprintf(text, sizeof text, "%02d:%02d:%02d:%02d", t.hours, t.mins, t.secs, t.frame);
    return text;
}

// What is wrong with the first frame of `got` that is not one of `first`,
// `first` + 1, ... `last` in turn, as the layout says; empty when all are.
std::string firstFault(const std::vector<LTCFrameExt>& got, TimecodeRate rate, std::int64_t first,
                       std::int64_t last) {
    if (std::int64_t(got.size()) != last - first + 1)
        return std::to_string(got.size()) + " frames decoded, " + std::to_string(last - first + 1) + " sent";
    for (std::size_t i = 0; i < got.size(); ++i) {
        const LTCFrame& f = got[i].ltc;
        SMPTETimecode t;
        ltc_frame_to_time(&t, const_cast<LTCFrame*>(&f), 0);
        const TimecodeComponents want = timecode::components(rate, first + std::int64_t(i));
        const std::string at = "frame " + std::to_string(first + std::int64_t(i)) + " read as " + describe(t);
        if (t.hours != want.h % 24 || t.mins != want.m || t.secs != want.s || t.frame != want.f) return at;
        if (f.user1 | f.user2 | f.user3 | f.user4 | f.user5 | f.user6 | f.user7 | f.user8)
            return at + ": user bits set";
        if (f.dfbit != (rate == R::fps2997df)) return at + ": wrong drop-frame flag";
        if (f.col_frame | f.binary_group_flag_bit0 | f.binary_group_flag_bit1) return at + ": flag set";
        const bool bit27 = f.biphase_mark_phase_correction, bit59 = f.binary_group_flag_bit2;
        if (rate == R::fps25 ? bit27 : bit59) return at + ": correction bit in the wrong place";
        unsigned char raw[sizeof(LTCFrame)];
        std::memcpy(raw, &f, sizeof raw);
        int ones = 0;
        for (int bit = 0; bit < LTCEncoder::bitsPerFrame; ++bit)
            ones += (raw[bit / 8] >> (bit % 8)) & 1;
        if (ones % 2) return at + ": odd number of ones";
    }
    return {};
}

// Halfway into the frame, so the truncation of a locate lands on it.
double secondsOf(TimecodeRate rate, std::int64_t frame) {
    return (double(frame) + 0.5) / timecode::exactFps(rate);
}

std::int64_t frameOf(TimecodeRate rate, const char* text) {
    return timecode::frameNumber(rate, *timecode::seconds(rate, text));
}

// Two minutes: 90 seconds across the tenth minute (no skipped numbers at 29.97)
// and the eleventh (skipped), then a locate, mid-frame, to before midnight
// and 30 seconds across it. Neither run ends near a frame's end, where a reader
// may or may not make out the last edge.
TEST(LTCEncoder, AnIndependentDecoderReadsEveryFrameInTurnAtEveryRate) {
    for (double sampleRate : kSampleRates) {
        for (TimecodeRate rate : timecode::allRates) {
            SCOPED_TRACE(std::to_string(int(sampleRate)) + " Hz, " + timecode::rawValue(rate));
            LTCEncoder encoder(sampleRate, rate);
            Reader reader(sampleRate, rate);
            const std::int64_t start = frameOf(rate, "00:09:30:00");
            encoder.locate(secondsOf(rate, start));
            reader.render(encoder, 90.01);
            const std::int64_t beforeJump = encoder.frameNumber() - 1, jumpAt = reader.position();
            const std::int64_t later = frameOf(rate, "23:59:45:00");
            encoder.locate(secondsOf(rate, later));
            reader.render(encoder, 30.01);
            const std::int64_t last = encoder.frameNumber() - 1;

            const auto frames = reader.finish();
            // The last frame sent in full before the jump started a frame or more before it.
            const auto jump = std::find_if(frames.begin(), frames.end(), [&](auto& f) {
                return f.off_start >= jumpAt - std::int64_t(40 * encoder.halfBitSamples());
            });
            EXPECT_EQ(firstFault({frames.begin(), jump}, rate, start, beforeJump), "");
            EXPECT_EQ(firstFault({jump, frames.end()}, rate, later, last), "");
        }
    }
}

TEST(LTCEncoder, HalfBitsAreFractionalSampleCounts) {
    EXPECT_EQ(LTCEncoder(48000.0, R::fps25).halfBitSamples(), 12.0);
    EXPECT_DOUBLE_EQ(LTCEncoder(44100.0, R::fps2997df).halfBitSamples(), 44100.0 * 1001 / 4800000);

    // A boundary falls on the sample that takes the countdown to zero.
    LTCEncoder at25(48000.0, R::fps25);
    std::vector<float> sink(24);
    at25.fill(sink.data(), 11, 1.0f);
    EXPECT_FALSE(at25.inSecondHalf());
    at25.fill(sink.data(), 1, 1.0f);
    EXPECT_TRUE(at25.inSecondHalf());
    at25.fill(sink.data(), 12, 1.0f);
    EXPECT_EQ(at25.bitIndex(), 1);
    EXPECT_FALSE(at25.inSecondHalf());

    // The fraction is carried: one minute at 44.1 kHz is 1798.2 frames.
    LTCEncoder encoder(44100.0, R::fps2997df);
    std::vector<float> buffer(44100 * 60);
    encoder.fill(buffer.data(), std::int64_t(buffer.size()), 1.0f);
    EXPECT_EQ(encoder.frameNumber(), 1798);
    EXPECT_EQ(encoder.bitIndex(), 16);
}

TEST(LTCEncoder, FrameBitsTheDecoderDoesNotShow) {
    // 00:00:00:00 has only the thirteen ones of the sync word.
    const auto at25 = LTCEncoder(48000.0, R::fps25).bits();
    const auto at30 = LTCEncoder(48000.0, R::fps30).bits();
    EXPECT_TRUE(at25[59] && !at25[27]);
    EXPECT_TRUE(at30[27] && !at30[59]);
    EXPECT_EQ(std::count(at25.begin(), at25.end(), true), 14);

    for (TimecodeRate rate : timecode::allRates)
        EXPECT_EQ(LTCEncoder(48000.0, rate).bits()[10], rate == R::fps2997df) << timecode::rawValue(rate);

    LTCEncoder encoder(48000.0, R::fps30);
    encoder.locate(90000.0 + 0.5 / 30);
    const auto& bits = encoder.bits();
    EXPECT_TRUE(bits[48] && !bits[49] && !bits[50] && !bits[51] && !bits[56] && !bits[57]) << "25 h is 01 h";

    encoder.locate(-4.0);
    EXPECT_EQ(encoder.frameNumber(), 0);
    EXPECT_EQ(encoder.bitIndex(), 0);
    EXPECT_FALSE(encoder.inSecondHalf());
}

// Devices ask for what they like; the signal must not depend on it.
TEST(LTCEncoder, UnevenPeriodsMakeTheSameSignal) {
    LTCEncoder whole(44100.0, R::fps2997df), pieces(44100.0, R::fps2997df);
    std::vector<float> expected(44100), got(expected.size());
    whole.fill(expected.data(), std::int64_t(expected.size()), 0.5f);
    const std::int64_t sizes[] = {1, 9, 0, 10, 512, 37, 2, 1024};
    for (std::int64_t at = 0, k = 0; at < std::int64_t(got.size()); at += sizes[k++ % 8])
        pieces.fill(got.data() + at, std::min<std::int64_t>(sizes[k % 8], std::int64_t(got.size()) - at),
                    0.5f);
    EXPECT_EQ(pieces.frameNumber(), whole.frameNumber());
    EXPECT_EQ(pieces.bitIndex(), whole.bitIndex());
    EXPECT_EQ(pieces.inSecondHalf(), whole.inSecondHalf());
    float worst = 0;
    for (std::size_t i = 0; i < got.size(); ++i)
        worst = std::max(worst, std::abs(got[i] - expected[i]));
    EXPECT_LT(worst, 1e-6f);
}

// The correction bit keeps every frame starting on the same edge.
TEST(LTCEncoder, EveryFrameStartsAtTheLevelThePreviousOneStartedAt) {
    for (TimecodeRate rate : timecode::allRates) {
        LTCEncoder encoder(48000.0, rate);
        encoder.locate(secondsOf(rate, frameOf(rate, "00:00:58:00")));
        float sample = 0, lastBeforeStart = 0;
        int starts = 0, flipped = 0;
        for (int i = 0; i < 48000 * 4; ++i) {
            const std::int64_t frame = encoder.frameNumber();
            const float before = sample;
            encoder.fill(&sample, 1, 1.0f);
            if (encoder.frameNumber() == frame) continue;
            flipped += starts++ > 0 && (before > 0) != (lastBeforeStart > 0);
            lastBeforeStart = before;
        }
        EXPECT_GT(starts, 90);
        EXPECT_EQ(flipped, 0) << timecode::rawValue(rate);
    }
}

} // namespace
} // namespace ostinel
