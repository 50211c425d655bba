#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "document/LoudnessMeasurement.h"

namespace ostinel::analysis_cache {

enum class Kind { peaks, bands, loudness };
std::string_view kindName(Kind kind);

// The text hashed for an entry's name: format number, kind, fingerprint.
std::string entryKeyText(Kind kind, std::string_view fingerprint);

// The fingerprint's date field: seconds since 2001-01-01 as the shortest
// decimal that reads back to the same double.
std::string formatReferenceDate(double secondsSince2001);
std::string joinFingerprint(std::string_view path, std::uint64_t size, double secondsSince2001,
                            std::uint64_t fileNumber, std::string_view contentSample);

// Offsets of the three content chunks hashed for the sample.
std::array<std::uint64_t, 3> contentSampleOffsets(std::uint64_t size);
constexpr std::uint64_t contentChunkSize = 65536;

// Entries are raw native floats with no header; a wrong size is a miss.
std::string encodePeaks(const std::vector<float>& peaks);
std::optional<std::vector<float>> decodePeaks(std::string_view bytes);
std::string encodeBands(const std::vector<std::array<float, 3>>& bands);
std::optional<std::vector<std::array<float, 3>>> decodeBands(std::string_view bytes);
std::string encodeLoudness(const LoudnessMeasurement& loudness);
std::optional<LoudnessMeasurement> decodeLoudness(std::string_view bytes);

} // namespace ostinel::analysis_cache
