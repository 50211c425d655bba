#include "analysis/AnalysisCacheFormat.h"

#include <charconv>
#include <cstring>

namespace ostinel::analysis_cache {

static_assert(sizeof(float) == 4 && sizeof(double) == 8);

std::string_view kindName(Kind kind) {
    switch (kind) {
    case Kind::peaks: return "peaks";
    case Kind::bands: return "bands";
    case Kind::loudness: return "loudness";
    }
    return "peaks";
}

std::string entryKeyText(Kind kind, std::string_view fingerprint) {
    std::string text = "1|";
    text += kindName(kind);
    text += '|';
    text += fingerprint;
    return text;
}

std::string formatReferenceDate(double secondsSince2001) {
    char buffer[64];
    auto result = std::to_chars(buffer, buffer + sizeof buffer, secondsSince2001);
    return std::string(buffer, result.ptr);
}

std::string joinFingerprint(std::string_view path, std::uint64_t size, double secondsSince2001,
                            std::uint64_t fileNumber, std::string_view contentSample) {
    std::string text(path);
    text += '|' + std::to_string(size) + '|' + formatReferenceDate(secondsSince2001) + '|' +
            std::to_string(fileNumber) + '|';
    text += contentSample;
    return text;
}

std::array<std::uint64_t, 3> contentSampleOffsets(std::uint64_t size) {
    const std::uint64_t middle = size < contentChunkSize ? 0 : size / 2 - contentChunkSize / 2;
    const std::uint64_t last = size > contentChunkSize ? size - contentChunkSize : 0;
    return {0, middle, last};
}

namespace {

template <class T>
std::string rawBytes(const T* data, std::size_t count) {
    return std::string(reinterpret_cast<const char*>(data), count * sizeof(T));
}

template <class T>
std::vector<T> fromRaw(std::string_view bytes) {
    std::vector<T> values(bytes.size() / sizeof(T));
    if (!values.empty()) std::memcpy(values.data(), bytes.data(), values.size() * sizeof(T));
    return values;
}

} // namespace

std::string encodePeaks(const std::vector<float>& peaks) { return rawBytes(peaks.data(), peaks.size()); }

std::optional<std::vector<float>> decodePeaks(std::string_view bytes) {
    if (bytes.size() % sizeof(float) != 0) return std::nullopt;
    return fromRaw<float>(bytes);
}

std::string encodeBands(const std::vector<std::array<float, 3>>& bands) {
    std::string out;
    out.reserve(bands.size() * 12);
    for (const auto& b : bands) out += rawBytes(b.data(), 3);
    return out;
}

std::optional<std::vector<std::array<float, 3>>> decodeBands(std::string_view bytes) {
    if (bytes.size() % sizeof(float) != 0 || (bytes.size() / sizeof(float)) % 3 != 0) return std::nullopt;
    const auto flat = fromRaw<float>(bytes);
    std::vector<std::array<float, 3>> bands(flat.size() / 3);
    for (std::size_t i = 0; i < bands.size(); ++i) bands[i] = {flat[3 * i], flat[3 * i + 1], flat[3 * i + 2]};
    return bands;
}

std::string encodeLoudness(const LoudnessMeasurement& loudness) {
    const double values[3] = {loudness.lufs, loudness.peakDb, loudness.truePeakDb};
    return rawBytes(values, 3);
}

std::optional<LoudnessMeasurement> decodeLoudness(std::string_view bytes) {
    if (bytes.size() != 3 * sizeof(double)) return std::nullopt;
    const auto values = fromRaw<double>(bytes);
    return LoudnessMeasurement{values[0], values[1], values[2]};
}

} // namespace ostinel::analysis_cache
