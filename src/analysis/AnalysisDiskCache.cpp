#include "analysis/AnalysisDiskCache.h"

#include <QCryptographicHash>

#include <algorithm>
#include <atomic>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <sstream>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include "analysis/AnalysisCacheFormat.h"
#include "platform/AppPaths.h"

namespace ostinel::AnalysisDiskCache {

namespace fs = std::filesystem;
using analysis_cache::Kind;

namespace {

// Seconds from 1970-01-01 to 2001-01-01, the fingerprint's reference date.
constexpr std::int64_t referenceDateOffset = 978307200;

std::mutex writtenLock;
std::map<std::string, std::int64_t> writtenSincePrune;

std::optional<std::string> contentSample(const std::string& path, std::uint64_t size) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    QCryptographicHash hash(QCryptographicHash::Sha256);
    std::vector<char> chunk(analysis_cache::contentChunkSize);
    for (std::uint64_t offset : analysis_cache::contentSampleOffsets(size)) {
        const auto want = std::streamsize(std::min<std::uint64_t>(analysis_cache::contentChunkSize, size - offset));
        if (!in.seekg(std::streamoff(offset))) return std::nullopt;
        if (!in.read(chunk.data(), want)) return std::nullopt;
        hash.addData(QByteArrayView(chunk.data(), want));
    }
    return hash.result().left(16).toHex().toStdString();
}

std::string entryPath(Kind kind, const std::string& fingerprint, const std::string& dir) {
    const std::string key = analysis_cache::entryKeyText(kind, fingerprint);
    const QByteArray digest =
        QCryptographicHash::hash(QByteArrayView(key.data(), qsizetype(key.size())), QCryptographicHash::Sha256);
    return (fs::path(dir) / (digest.toHex().toStdString() + "." + std::string(analysis_cache::kindName(kind))))
        .string();
}

std::optional<std::string> readWhole(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    if (!in) return std::nullopt;
    std::ostringstream s;
    s << in.rdbuf();
    if (in.bad()) return std::nullopt;
    return s.str();
}

template <class T, class Decode>
Lookup<T> lookup(Kind kind, const std::string& path, const std::string& dir, Decode decode) {
    Lookup<T> result;
    result.fingerprint = fingerprint(path);
    if (!result.fingerprint) return result;
    const std::string entry = entryPath(kind, *result.fingerprint, dir);
    auto bytes = readWhole(entry);
    if (!bytes) return result;
    result.value = decode(*bytes);
    // The entry's date says when it was last used, for pruning.
    if (result.value) ::utimensat(AT_FDCWD, entry.c_str(), nullptr, 0);
    return result;
}

// A crash or a second writer never leaves a torn entry: the bytes go to a
// private temporary file that is renamed over the entry.
bool writeAtomically(const std::string& target, const std::string& bytes) {
    static std::atomic<std::uint64_t> counter{0};
    const std::string temp = target + ".tmp-" + std::to_string(::getpid()) + "-" + std::to_string(++counter);
    {
        std::ofstream out(temp, std::ios::binary | std::ios::trunc);
        if (!out) return false;
        out.write(bytes.data(), std::streamsize(bytes.size()));
        out.flush();
        if (!out) {
            out.close();
            std::remove(temp.c_str());
            return false;
        }
    }
    if (std::rename(temp.c_str(), target.c_str()) != 0) {
        std::remove(temp.c_str());
        return false;
    }
    return true;
}

void store(Kind kind, const std::string& bytes, const std::string& path, const std::string& analysedAs,
           const std::string& dir) {
    if (bytes.empty()) return;
    // The file changed while it was measured: what was measured must not be
    // filed under the new contents.
    const auto now = fingerprint(path);
    if (!now || *now != analysedAs) return;
    std::error_code ec;
    fs::create_directories(dir, ec);
    if (!writeAtomically(entryPath(kind, *now, dir), bytes)) return;
    if (noteWritten(std::int64_t(bytes.size()), dir, pruneInterval)) prune(pruneLimit, dir);
}

} // namespace

std::string directory() { return AppPaths::standard().analysisCache; }

std::optional<std::string> fingerprint(const std::string& path) {
    struct stat info {};
    if (::stat(path.c_str(), &info) != 0) return std::nullopt;
    const auto size = std::uint64_t(info.st_size);
    const double date = double(std::int64_t(info.st_mtim.tv_sec) - referenceDateOffset) +
                        double(info.st_mtim.tv_nsec) / 1e9;
    auto sample = contentSample(path, size);
    if (!sample) return std::nullopt;
    return analysis_cache::joinFingerprint(path, size, date, std::uint64_t(info.st_ino), *sample);
}

Lookup<std::vector<float>> peaks(const std::string& path, const std::string& dir) {
    return lookup<std::vector<float>>(Kind::peaks, path, dir, analysis_cache::decodePeaks);
}

Lookup<std::vector<std::array<float, 3>>> bands(const std::string& path, const std::string& dir) {
    return lookup<std::vector<std::array<float, 3>>>(Kind::bands, path, dir, analysis_cache::decodeBands);
}

Lookup<LoudnessMeasurement> loudness(const std::string& path, const std::string& dir) {
    return lookup<LoudnessMeasurement>(Kind::loudness, path, dir, analysis_cache::decodeLoudness);
}

void storePeaks(const std::vector<float>& peaks, const std::string& path, const std::string& analysedAs,
                const std::string& dir) {
    store(Kind::peaks, analysis_cache::encodePeaks(peaks), path, analysedAs, dir);
}

void storeBands(const std::vector<std::array<float, 3>>& bands, const std::string& path,
                const std::string& analysedAs, const std::string& dir) {
    store(Kind::bands, analysis_cache::encodeBands(bands), path, analysedAs, dir);
}

void storeLoudness(const LoudnessMeasurement& loudness, const std::string& path, const std::string& analysedAs,
                   const std::string& dir) {
    store(Kind::loudness, analysis_cache::encodeLoudness(loudness), path, analysedAs, dir);
}

void prune(std::int64_t limit, const std::string& dir) {
    struct Entry {
        fs::path path;
        std::int64_t size = 0;
        std::optional<fs::file_time_type> date;
    };
    std::vector<Entry> entries;
    std::error_code ec;
    fs::directory_iterator it(dir, ec);
    if (ec) return;
    for (; it != fs::directory_iterator(); it.increment(ec)) {
        if (ec) return;
        Entry e{it->path()};
        std::error_code valueError;
        const auto size = it->file_size(valueError);
        const auto date = it->last_write_time(valueError);
        // An entry missing a value counts as empty and goes last.
        if (!valueError) {
            e.size = std::int64_t(size);
            e.date = date;
        }
        entries.push_back(std::move(e));
    }
    std::int64_t total = 0;
    for (const auto& e : entries) total += e.size;
    if (total < limit) return;
    std::stable_sort(entries.begin(), entries.end(), [](const Entry& a, const Entry& b) {
        if (!a.date || !b.date) return a.date.has_value() && !b.date.has_value();
        return *a.date < *b.date;
    });
    for (const auto& e : entries) {
        if (total < limit) break;
        std::error_code removeError;
        if (fs::remove(e.path, removeError) && !removeError) total -= e.size;
    }
}

bool noteWritten(std::int64_t bytes, const std::string& dir, std::int64_t every) {
    std::lock_guard lock(writtenLock);
    auto& total = writtenSincePrune[dir];
    total += bytes;
    if (total < every) return false;
    total = 0;
    return true;
}

} // namespace ostinel::AnalysisDiskCache
