// WAV, AIFF, FLAC, CAF and MP3 (with a length header) through libsndfile.

#include <sndfile.h>

#include <algorithm>
#include <cstring>
#include <fstream>
#include <vector>

#include "platform/AudioBackends.h"

namespace ostinel::audio {

namespace {

constexpr sf_count_t kChunk = 4096;
// A codec with memory decodes from this far ahead of a seek target, so that
// it reaches the state of a straight decode before the first sample
// delivered. mpg123 already settles MP3 after a seek; this costs a fraction
// of a millisecond and guards libsndfile's other codecs with memory.
constexpr sf_count_t kPreroll = 16384;

bool decodesIndependently(int format) {
    switch (format & SF_FORMAT_SUBMASK) {
    case SF_FORMAT_PCM_S8:
    case SF_FORMAT_PCM_16:
    case SF_FORMAT_PCM_24:
    case SF_FORMAT_PCM_32:
    case SF_FORMAT_PCM_U8:
    case SF_FORMAT_FLOAT:
    case SF_FORMAT_DOUBLE:
    case SF_FORMAT_ULAW:
    case SF_FORMAT_ALAW:
    case SF_FORMAT_FLAC:
    case SF_FORMAT_ALAC_16:
    case SF_FORMAT_ALAC_20:
    case SF_FORMAT_ALAC_24:
    case SF_FORMAT_ALAC_32:
        return true;
    default:
        return false;
    }
}

// Whether an MP3 states its length in a Xing, Info or VBRI header. Without
// one mpg123 guesses the length from the file size and the first frame's
// bit rate, and libsndfile stops reading at that guess, which cuts a VBR
// file short; the FFmpeg backend counts its frames instead.
bool mp3StatesItsLength(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    unsigned char id3[10] = {};
    if (!in.read(reinterpret_cast<char*>(id3), sizeof id3)) return false;
    std::streamoff start = 0;
    if (id3[0] == 'I' && id3[1] == 'D' && id3[2] == '3')
        start = 10 +
                ((id3[6] & 0x7f) << 21 | (id3[7] & 0x7f) << 14 | (id3[8] & 0x7f) << 7 | (id3[9] & 0x7f)) +
                ((id3[5] & 0x10) ? 10 : 0);
    std::vector<unsigned char> b(4096);
    in.clear();
    in.seekg(start);
    in.read(reinterpret_cast<char*>(b.data()), std::streamsize(b.size()));
    const auto n = std::size_t(in.gcount());
    const auto tagAt = [&](std::size_t at, const char* tag) {
        return at + 4 <= n && std::memcmp(&b[at], tag, 4) == 0;
    };
    for (std::size_t i = 0; i + 4 <= n; ++i) {
        if (b[i] != 0xFF || (b[i + 1] & 0xE0) != 0xE0) continue;
        const int version = (b[i + 1] >> 3) & 3; // 3: MPEG-1, 2: MPEG-2, 0: MPEG-2.5
        if (version == 1 || ((b[i + 1] >> 1) & 3) != 1) continue;
        const bool mono = (b[i + 3] >> 6) == 3;
        const std::size_t sideInfo = version == 3 ? (mono ? 17 : 32) : (mono ? 9 : 17);
        return tagAt(i + 4 + sideInfo, "Xing") || tagAt(i + 4 + sideInfo, "Info") || tagAt(i + 36, "VBRI");
    }
    return false;
}

class SndfileAudioFile final : public AudioFile {
  public:
    SndfileAudioFile(SNDFILE* file, const SF_INFO& info)
        : file_(file), info_(info), settles_(!decodesIndependently(info.format)),
          buffer_(std::size_t(kChunk * info.channels)) {}
    ~SndfileAudioFile() override { sf_close(file_); }
    SndfileAudioFile(const SndfileAudioFile&) = delete;
    SndfileAudioFile& operator=(const SndfileAudioFile&) = delete;

    double sampleRate() const override { return info_.samplerate; }
    int channels() const override { return info_.channels; }
    std::int64_t frames() const override { return info_.frames; }

    Expected<std::int64_t> read(std::int64_t frame, std::int64_t count, float* const* out) override {
        auto wanted = readableCount(frame, count, info_.frames);
        if (!wanted || *wanted == 0) return wanted;
        if (frame != position_) {
            const sf_count_t start = settles_ ? std::max<sf_count_t>(0, frame - kPreroll) : frame;
            if (sf_seek(file_, start, SEEK_SET) != start) return fail();
            position_ = start;
            while (position_ < frame) {
                if (readChunk(std::min(kChunk, frame - position_)) <= 0) return fail();
            }
        }
        std::int64_t done = 0;
        while (done < *wanted) {
            const sf_count_t got = readChunk(std::min(kChunk, *wanted - done));
            if (got <= 0) break;
            for (int c = 0; c < info_.channels; ++c) {
                const float* from = buffer_.data() + c;
                float* to = out[c] + done;
                for (sf_count_t i = 0; i < got; ++i)
                    to[i] = from[i * info_.channels];
            }
            done += got;
        }
        if (done == 0) return fail();
        return done;
    }

  private:
    sf_count_t readChunk(sf_count_t frames) {
        const sf_count_t got = sf_readf_float(file_, buffer_.data(), frames);
        if (got > 0) position_ += got;
        return got;
    }

    Error fail() {
        position_ = -1; // unknown after a failed seek or read: the next read seeks
        const char* reason = sf_strerror(file_);
        return Error{reason && *reason && std::string(reason) != "No Error." ? reason
                                                                             : "The audio data ends early."};
    }

    SNDFILE* file_;
    SF_INFO info_;
    bool settles_;
    std::vector<float> buffer_;
    std::int64_t position_ = 0;
};

} // namespace

Attempt openWithSndfile(const std::string& path) {
    SF_INFO info{};
    SNDFILE* file = sf_open(path.c_str(), SFM_READ, &info);
    if (!file) return {nullptr, sf_strerror(nullptr)};
    // libsndfile 1.2's Ogg seek lands up to a few hundred samples off in the
    // last pages of a Vorbis stream, and Opus carries filter state no amount
    // of pre-roll makes bit-identical: the FFmpeg backend reads both, and
    // MP3s that do not state their length.
    const int codec = info.format & SF_FORMAT_SUBMASK;
    if (codec == SF_FORMAT_VORBIS || codec == SF_FORMAT_OPUS ||
        ((info.format & SF_FORMAT_TYPEMASK) == SF_FORMAT_MPEG && !mp3StatesItsLength(path))) {
        sf_close(file);
        return {};
    }
    auto refusal = checkPlayable(info.samplerate, info.channels, info.frames);
    if (!refusal.empty()) {
        sf_close(file);
        return {nullptr, refusal, true};
    }
    return {std::make_unique<SndfileAudioFile>(file, info)};
}

} // namespace ostinel::audio
