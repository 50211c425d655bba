#pragma once

#include <array>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "document/LoudnessMeasurement.h"

namespace ostinel::AnalysisDiskCache {

// A result is found only when the file is provably the one measured: its
// path, size, date, file number and a hash of up to three 64 KiB chunks.
// Every failure means "not cached"; nothing is reported. Any thread.

constexpr std::int64_t pruneLimit = 524288000;
constexpr std::int64_t pruneInterval = 26214400;

std::string directory(); // ~/.cache/Ostinel/Analysis-1x

std::optional<std::string> fingerprint(const std::string& path);

// The fingerprint is given on a miss as well, when it could be taken, for
// the analysis that follows to hand back to the store.
template <class T>
struct Lookup {
    std::optional<T> value;
    std::optional<std::string> fingerprint;
};

Lookup<std::vector<float>> peaks(const std::string& path, const std::string& dir);
Lookup<std::vector<std::array<float, 3>>> bands(const std::string& path, const std::string& dir);
Lookup<LoudnessMeasurement> loudness(const std::string& path, const std::string& dir);

// Nothing is filed when the file's fingerprint is no longer `analysedAs`.
void storePeaks(const std::vector<float>& peaks, const std::string& path, const std::string& analysedAs,
                const std::string& dir);
void storeBands(const std::vector<std::array<float, 3>>& bands, const std::string& path,
                const std::string& analysedAs, const std::string& dir);
void storeLoudness(const LoudnessMeasurement& loudness, const std::string& path, const std::string& analysedAs,
                   const std::string& dir);

// Removes the least recently used entries until the folder is below limit.
void prune(std::int64_t limit, const std::string& dir);
// True, and the count restarts, once `every` bytes were written to dir.
bool noteWritten(std::int64_t bytes, const std::string& dir, std::int64_t every);

} // namespace ostinel::AnalysisDiskCache
