// M4A (AAC, ALAC), MP4, raw AAC, Opus and whatever else FFmpeg decodes.
//
// Sample-exact random access: a lossy decoder's output depends on its whole
// history (AAC's noise substitution draws from a generator that runs from the
// first frame), so no pre-roll makes a decode after a seek equal a decode from
// the start. Instead the timeline is cut into fixed blocks and every block is
// decoded by a fresh decoder, primed from the packet at or before a fixed
// distance ahead of the block. A block's samples then depend only on the file,
// never on how the reader got there, and reading straight through does the
// very same work without seeking.

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/avutil.h>
}

#include <algorithm>
#include <deque>
#include <limits>
#include <mutex>
#include <optional>
#include <string_view>
#include <vector>

#include "platform/AudioBackends.h"

namespace ostinel::audio {

namespace {

constexpr std::int64_t kBlock = std::int64_t(1) << 18;
constexpr std::int64_t kNone = std::numeric_limits<std::int64_t>::min();
// Container seconds read back from the end to find where the audio stops.
constexpr std::int64_t kTailSeconds = 30;

std::string describe(int code) {
    char text[AV_ERROR_MAX_STRING_SIZE] = {};
    av_strerror(code, text, sizeof text);
    return text;
}

std::int64_t timestampOf(const AVPacket* p) {
    return p->pts != AV_NOPTS_VALUE ? p->pts : p->dts;
}

template <class T>
void deinterleave(const AVFrame* f, int channel, int stride, float scale, float offset, float* to) {
    const bool planar = av_sample_fmt_is_planar(AVSampleFormat(f->format));
    const T* from =
        reinterpret_cast<const T*>(f->extended_data[planar ? channel : 0]) + (planar ? 0 : channel);
    const int step = planar ? 1 : stride;
    for (int i = 0; i < f->nb_samples; ++i)
        to[i] = (float(from[i * step]) + offset) * scale;
}

void toFloat(const AVFrame* f, int channel, float* to) {
    const int stride = f->ch_layout.nb_channels;
    switch (av_get_packed_sample_fmt(AVSampleFormat(f->format))) {
    case AV_SAMPLE_FMT_U8:
        return deinterleave<std::uint8_t>(f, channel, stride, 1.0f / 128, -128, to);
    case AV_SAMPLE_FMT_S16:
        return deinterleave<std::int16_t>(f, channel, stride, 1.0f / 32768, 0, to);
    case AV_SAMPLE_FMT_S32:
        return deinterleave<std::int32_t>(f, channel, stride, 1.0f / 2147483648.0f, 0, to);
    case AV_SAMPLE_FMT_S64:
        return deinterleave<std::int64_t>(f, channel, stride, 1.0f / 9223372036854775808.0f, 0, to);
    case AV_SAMPLE_FMT_DBL:
        return deinterleave<double>(f, channel, stride, 1, 0, to);
    default:
        return deinterleave<float>(f, channel, stride, 1, 0, to);
    }
}

struct Queued {
    AVPacket* packet;
    std::int64_t start; // in frames of the file's rate, on the container's clock
};

class FfmpegAudioFile final : public AudioFile {
  public:
    explicit FfmpegAudioFile(std::string path) : path_(std::move(path)), frame_(av_frame_alloc()) {}
    ~FfmpegAudioFile() override {
        clearPackets();
        avcodec_free_context(&decoder_);
        av_frame_free(&frame_);
        avformat_close_input(&format_);
    }
    FfmpegAudioFile(const FfmpegAudioFile&) = delete;
    FfmpegAudioFile& operator=(const FfmpegAudioFile&) = delete;

    double sampleRate() const override { return rate_; }
    int channels() const override { return channels_; }
    std::int64_t frames() const override { return frames_; }

    // Opens the container and lays out the timeline; a refusal is final
    // when FFmpeg understood the file but it holds nothing playable.
    Attempt start() {
        if (auto failure = openInput()) return {nullptr, *failure};
        const AVCodecParameters* params = format_->streams[stream_]->codecpar;
        rate_ = params->sample_rate;
        channels_ = params->ch_layout.nb_channels;
        if (auto refusal = checkPlayable(rate_, channels_, 1); !refusal.empty())
            return {nullptr, refusal, true};
        // These demuxers take their timestamps from an index, so a seek lands
        // on a known packet; the others are walked from the start.
        const std::string_view name = format_->iformat->name;
        editList_ = name.find("mov") != std::string_view::npos;
        exactSeek_ = editList_ || name.find("matroska") != std::string_view::npos;
        // FFmpeg marks nearly every audio codec intra-only, lossy ones too,
        // so every codec gets the pre-roll: for a lossless one it costs 3%.
        preroll_ = std::max<std::int64_t>(
            {8192, 8 * std::int64_t(params->frame_size), 4 * std::int64_t(params->seek_preroll)});

        if (!readPacket()) return {nullptr, checkPlayable(rate_, channels_, 0), true};
        firstStart_ = packets_.front().start;
        firstPos_ = packets_.front().packet->pos;
        firstTimestamp_ = timestampOf(packets_.front().packet);

        auto origin = firstOutput();
        if (!origin) return {nullptr, origin.error().message, true};
        origin_ = *origin;
        auto end = audioEnd();
        if (!end) return {nullptr, end.error().message, true};
        frames_ = *end;
        if (auto failure = rewind()) return {nullptr, failure->message, true};
        if (auto refusal = checkPlayable(rate_, channels_, frames_); !refusal.empty())
            return {nullptr, refusal, true};
        return {};
    }

    Expected<std::int64_t> read(std::int64_t frame, std::int64_t count, float* const* out) override {
        auto wanted = readableCount(frame, count, frames_);
        if (!wanted || *wanted == 0) return wanted;
        const std::int64_t block = frame / kBlock;
        if (block != block_ || frame < next_) {
            if (auto failure = startBlock(block)) return *failure;
        }
        if (auto failure = deliver(frame, nullptr, 0)) return *failure;
        const std::int64_t end = frame + *wanted;
        while (next_ < end) {
            if (next_ == (block_ + 1) * kBlock) {
                if (auto failure = startBlock(block_ + 1)) return *failure;
            }
            if (auto failure = deliver(std::min(end, (block_ + 1) * kBlock), out, frame)) return *failure;
        }
        return *wanted;
    }

  private:
    std::int64_t toFrames(std::int64_t ts) const { return av_rescale_q(ts, timeBase_, AVRational{1, rate_}); }

    std::optional<std::string> openInput(AVDictionary** options = nullptr) {
        if (int r = avformat_open_input(&format_, path_.c_str(), nullptr, options); r < 0) return describe(r);
        if (int r = avformat_find_stream_info(format_, nullptr); r < 0) return describe(r);
        const AVCodec* codec = nullptr;
        int r = av_find_best_stream(format_, AVMEDIA_TYPE_AUDIO, -1, -1, &codec, 0);
        if (r < 0) return describe(r);
        stream_ = r;
        codec_ = codec;
        timeBase_ = format_->streams[stream_]->time_base;
        for (unsigned i = 0; i < format_->nb_streams; ++i)
            if (int(i) != stream_) format_->streams[i]->discard = AVDISCARD_ALL;
        demuxEnded_ = false;
        nextStart_ = kNone;
        return std::nullopt;
    }

    // Appends the next packet of the audio stream; false at the end of the
    // data, or where damaged data stops the demuxer.
    bool readPacket() {
        if (demuxEnded_) return false;
        AVPacket* p = av_packet_alloc();
        for (;;) {
            if (av_read_frame(format_, p) < 0) {
                av_packet_free(&p);
                demuxEnded_ = true;
                return false;
            }
            if (p->stream_index == stream_) break;
            av_packet_unref(p);
        }
        const std::int64_t ts = timestampOf(p);
        const std::int64_t start = ts != AV_NOPTS_VALUE ? toFrames(ts) : nextStart_;
        nextStart_ = start == kNone ? kNone : start + toFrames(p->duration);
        packets_.push_back({p, start});
        return true;
    }

    void popPacket() {
        av_packet_free(&packets_.front().packet);
        packets_.pop_front();
    }

    void clearPackets() {
        while (!packets_.empty())
            popPacket();
        fed_ = 0;
    }

    bool isFirstPacket(const Queued& q) const { return q.start == firstStart_ && q.packet->pos == firstPos_; }

    // Back to the first packet. Only an indexed container is sure to give
    // the same timestamps after a seek (Ogg's are rebuilt from the pages
    // differently), so the others open the file anew.
    std::optional<Error> rewind() {
        clearPackets();
        if (exactSeek_ && av_seek_frame(format_, stream_, firstTimestamp_, AVSEEK_FLAG_BACKWARD) >= 0) {
            demuxEnded_ = false;
            nextStart_ = kNone;
            if (readPacket() && isFirstPacket(packets_.front())) return std::nullopt;
            clearPackets();
        }
        avformat_close_input(&format_);
        if (auto failure = openInput()) return Error{*failure};
        if (readPacket() && isFirstPacket(packets_.front())) return std::nullopt;
        return Error{"The audio data cannot be found again."};
    }

    // Reads the rest of the stream, keeping its last packets queued for
    // decodedEnd(); returns the largest packet end seen.
    std::optional<std::int64_t> readToEnd() {
        std::optional<std::int64_t> end;
        const std::int64_t window = preroll_ + 8192;
        while (readPacket()) {
            const Queued& q = packets_.back();
            if (q.start != kNone)
                end = std::max(end.value_or(q.start), q.start + toFrames(q.packet->duration));
            while (packets_.size() >= 2 && packets_[1].start <= q.start - window)
                popPacket();
        }
        return end;
    }

    // Where the audio stops, relative to frame 0. Packets say where they
    // end, but demuxers disagree on whether that already leaves out the
    // encoder's padding, so the decoder, which drops it, has the last word.
    Expected<std::int64_t> audioEnd() {
        std::optional<std::int64_t> end;
        std::int64_t duration = format_->streams[stream_]->duration;
        if (duration == AV_NOPTS_VALUE && format_->duration != AV_NOPTS_VALUE)
            duration = av_rescale_q(format_->duration, AV_TIME_BASE_Q, timeBase_);
        if (exactSeek_ && duration != AV_NOPTS_VALUE) {
            clearPackets();
            const std::int64_t tail = av_rescale_q(kTailSeconds, AVRational{1, 1}, timeBase_);
            if (av_seek_frame(format_, stream_, std::max(firstTimestamp_, duration - tail),
                              AVSEEK_FLAG_BACKWARD) >= 0) {
                demuxEnded_ = false;
                nextStart_ = kNone;
                end = readToEnd();
            }
        }
        if (!end) {
            if (auto failure = rewind()) return *failure;
            end = readToEnd().value_or(firstStart_);
        }
        if (editList_) {
            // An edit list counts in the movie's timescale (FFmpeg writes
            // milliseconds), so it may end a little before or after the last
            // sample encoded. Within one tick of a coarse timescale it means
            // that sample; further in, it trims on purpose.
            const std::int64_t tick = rate_ / 600 + 1;
            if (auto media = endOfMedia(); media && (*media < *end || *media - *end <= tick)) end = *media;
        }
        auto decoded = decodedEnd();
        if (!decoded) return decoded.error();
        return std::min(*end - origin_, *decoded);
    }

    // Where the encoded samples stop, on the clock of the edited track: the
    // media read without its edit list, shifted by the edit's start.
    std::optional<std::int64_t> endOfMedia() {
        AVDictionary* options = nullptr;
        av_dict_set(&options, "ignore_editlist", "1", 0);
        FfmpegAudioFile media(path_);
        media.rate_ = rate_;
        auto failure = media.openInput(&options);
        av_dict_free(&options);
        if (failure || media.stream_ != stream_ || !media.readPacket() ||
            media.packets_.front().start == kNone)
            return std::nullopt;
        const std::int64_t shift = firstStart_ - media.packets_.front().start;
        media.clearPackets();
        const std::int64_t last = media.format_->streams[stream_]->duration;
        if (last == AV_NOPTS_VALUE || av_seek_frame(media.format_, stream_, last, AVSEEK_FLAG_BACKWARD) < 0)
            return std::nullopt;
        auto end = media.readToEnd();
        if (!end) return std::nullopt;
        return *end + shift;
    }

    // The end of what the decoder makes of the queued last packets.
    Expected<std::int64_t> decodedEnd() {
        if (auto failure = newDecoder()) return *failure;
        std::int64_t end = std::numeric_limits<std::int64_t>::max();
        for (;;) {
            auto got = decodeFrame();
            if (!got) return got.error();
            if (!*got) return end;
            end = end == std::numeric_limits<std::int64_t>::max() ? pendingEnd_ : std::max(end, pendingEnd_);
        }
    }

    // Where the first decoded sample sits on the container's clock, after
    // the decoder dropped the encoder's priming.
    Expected<std::int64_t> firstOutput() {
        if (auto failure = newDecoder()) return *failure;
        auto got = decodeFrame();
        if (!got) return got.error();
        if (!*got) return Error{"The audio stream cannot be decoded."};
        return pendingStart_;
    }

    std::optional<Error> newDecoder() {
        avcodec_free_context(&decoder_);
        decoder_ = avcodec_alloc_context3(codec_);
        if (!decoder_) return Error{describe(AVERROR(ENOMEM))};
        if (int r = avcodec_parameters_to_context(decoder_, format_->streams[stream_]->codecpar); r < 0)
            return Error{describe(r)};
        decoder_->pkt_timebase = timeBase_;
        decoder_->thread_count = 1;
        if (int r = avcodec_open2(decoder_, codec_, nullptr); r < 0) return Error{describe(r)};
        flushed_ = false;
        fed_ = 0;
        decoderStart_ = packets_.empty() ? kNone : packets_.front().start;
        pendingStart_ = pendingEnd_ = kNone;
        return std::nullopt;
    }

    // Leaves the packet a block's decoding starts from at the front of the
    // queue: the last packet that starts at or before `target`, or the first
    // packet of the file when none does.
    std::optional<Error> queueFrom(std::int64_t target) {
        bool usable =
            !packets_.empty() && (packets_.front().start <= target || isFirstPacket(packets_.front()));
        // Walking forward is cheaper than a seek only for a short way.
        if (usable && exactSeek_ && target - packets_.back().start > 2 * kBlock) usable = false;
        if (!usable) {
            clearPackets();
            bool landed = false;
            if (exactSeek_ && target > firstStart_) {
                const std::int64_t ts =
                    av_rescale_q_rnd(target, AVRational{1, rate_}, timeBase_, AV_ROUND_DOWN);
                if (av_seek_frame(format_, stream_, ts, AVSEEK_FLAG_BACKWARD) >= 0) {
                    demuxEnded_ = false;
                    nextStart_ = kNone;
                    landed = readPacket() && timestampOf(packets_.front().packet) != AV_NOPTS_VALUE &&
                             packets_.front().start <= target;
                }
            }
            if (!landed) {
                if (auto failure = rewind()) return failure;
            }
        }
        for (;;) {
            while (packets_.size() >= 2 && packets_[1].start <= target)
                popPacket();
            if (packets_.size() >= 2 || !readPacket()) break;
        }
        fed_ = 0;
        return std::nullopt;
    }

    std::optional<Error> startBlock(std::int64_t block) {
        block_ = -1;
        if (auto failure = queueFrom(origin_ + block * kBlock - preroll_)) return failure;
        if (auto failure = newDecoder()) return failure;
        block_ = block;
        next_ = block * kBlock;
        return std::nullopt;
    }

    // Drops fed packets the next block will not start from.
    void trimQueue() {
        const std::int64_t nextTarget = origin_ + (block_ + 1) * kBlock - preroll_;
        while (fed_ > 0 && packets_.size() >= 2 && packets_[1].start <= nextTarget) {
            popPacket();
            --fed_;
        }
    }

    // Decodes the next frame into pending_; false when the decoder has given
    // everything. Damaged packets are skipped, as a player would.
    Expected<bool> decodeFrame() {
        for (int failures = 0; failures < 1000;) {
            int r = avcodec_receive_frame(decoder_, frame_);
            if (r >= 0) {
                const bool usable = frame_->nb_samples > 0;
                if (usable) takeFrame();
                av_frame_unref(frame_);
                if (usable) return true;
                continue;
            }
            if (r == AVERROR_EOF) return false;
            if (r != AVERROR(EAGAIN)) {
                ++failures;
                continue;
            }
            if (fed_ < packets_.size() || readPacket()) {
                r = avcodec_send_packet(decoder_, packets_[fed_].packet);
                if (r == AVERROR(EAGAIN)) {
                    ++failures;
                    continue;
                }
                if (r < 0) ++failures;
                ++fed_;
                trimQueue();
            } else if (!flushed_) {
                avcodec_send_packet(decoder_, nullptr);
                flushed_ = true;
            } else {
                return false;
            }
        }
        return Error{"The audio data is too damaged to decode."};
    }

    void takeFrame() {
        // Without a timestamp a frame follows the previous one, and a fresh
        // decoder's first frame sits where its first packet starts.
        const std::int64_t ts = frame_->pts != AV_NOPTS_VALUE ? frame_->pts : frame_->best_effort_timestamp;
        if (ts != AV_NOPTS_VALUE)
            pendingStart_ = toFrames(ts) - origin_;
        else if (pendingEnd_ != kNone)
            pendingStart_ = pendingEnd_;
        else
            pendingStart_ = decoderStart_ != kNone ? decoderStart_ - origin_ : next_;
        pendingEnd_ = pendingStart_ + frame_->nb_samples;
        pending_.resize(std::size_t(channels_));
        for (int c = 0; c < channels_; ++c) {
            pending_[std::size_t(c)].resize(std::size_t(frame_->nb_samples));
            if (c < frame_->ch_layout.nb_channels)
                toFloat(frame_, c, pending_[std::size_t(c)].data());
            else
                std::fill(pending_[std::size_t(c)].begin(), pending_[std::size_t(c)].end(), 0.0f);
        }
    }

    // Produces frames next_..end of the current block into out (frame
    // `outStart` at index 0), or discards them when out is null. Holes in
    // the timestamps and audio missing at the end read as silence, so the
    // timeline never shifts.
    std::optional<Error> deliver(std::int64_t end, float* const* out, std::int64_t outStart) {
        while (next_ < end) {
            if (pendingEnd_ <= next_) {
                auto got = decodeFrame();
                if (!got) return got.error();
                if (!*got) pendingStart_ = pendingEnd_ = std::numeric_limits<std::int64_t>::max();
                continue;
            }
            const bool silent = pendingStart_ > next_;
            const std::int64_t n = std::min(end, silent ? pendingStart_ : pendingEnd_) - next_;
            if (out) {
                for (int c = 0; c < channels_; ++c) {
                    float* to = out[c] + (next_ - outStart);
                    if (silent)
                        std::fill(to, to + n, 0.0f);
                    else
                        std::copy_n(pending_[std::size_t(c)].data() + (next_ - pendingStart_), n, to);
                }
            }
            next_ += n;
        }
        return std::nullopt;
    }

    std::string path_;
    AVFormatContext* format_ = nullptr;
    const AVCodec* codec_ = nullptr;
    AVCodecContext* decoder_ = nullptr;
    AVFrame* frame_ = nullptr;
    int stream_ = -1;
    AVRational timeBase_{1, 1};
    bool exactSeek_ = false;
    bool editList_ = false;

    std::deque<Queued> packets_; // from the current block's first packet on
    std::size_t fed_ = 0;        // how many of them the decoder has had
    bool demuxEnded_ = false;
    bool flushed_ = false;
    std::int64_t nextStart_ = kNone;
    std::int64_t firstStart_ = 0;
    std::int64_t firstPos_ = -1;
    std::int64_t firstTimestamp_ = 0;
    std::int64_t decoderStart_ = kNone;

    int rate_ = 0;
    int channels_ = 0;
    std::int64_t frames_ = 0;
    std::int64_t origin_ = 0;  // container clock of frame 0
    std::int64_t preroll_ = 0; // frames decoded ahead of a block to settle the decoder
    std::int64_t block_ = -1;
    std::int64_t next_ = 0; // the next frame deliver() produces
    std::vector<std::vector<float>> pending_;
    std::int64_t pendingStart_ = kNone;
    std::int64_t pendingEnd_ = kNone;
};

} // namespace

Attempt openWithFfmpeg(const std::string& path) {
    static std::once_flag quiet;
    std::call_once(quiet, [] { av_log_set_level(AV_LOG_ERROR); });
    auto file = std::make_unique<FfmpegAudioFile>(path);
    auto attempt = file->start();
    if (attempt.reason.empty()) attempt.file = std::move(file);
    return attempt;
}

} // namespace ostinel::audio
