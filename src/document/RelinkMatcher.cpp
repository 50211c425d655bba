#include "document/RelinkMatcher.h"

#include <algorithm>
#include <cctype>
#include <filesystem>
#include <unordered_map>

namespace ostinel::RelinkMatcher {

namespace {
std::string lower(std::string s) {
    for (auto& c : s) c = char(std::tolower(static_cast<unsigned char>(c)));
    return s;
}

std::size_t depth(const FileUrl& url) { return std::size_t(std::count(url.path().begin(), url.path().end(), '/')); }
} // namespace

const std::set<std::string>& audioExtensions() {
    static const std::set<std::string> extensions{"wav", "mp3", "aiff", "aif", "m4a", "caf", "flac", "aac", "mp4", "alac"};
    return extensions;
}

std::vector<FileUrl> audioFiles(const std::string& folder, std::size_t limit) {
    namespace fs = std::filesystem;
    std::vector<FileUrl> found;
    std::error_code ec;
    fs::recursive_directory_iterator it(folder, fs::directory_options::skip_permission_denied, ec), end;
    for (; !ec && it != end && found.size() < limit; it.increment(ec)) {
        std::error_code typeError;
        if (!it->is_regular_file(typeError)) continue;
        FileUrl url = FileUrl::fromPath(it->path().string());
        if (audioExtensions().count(lower(url.extension()))) found.push_back(url);
    }
    return found;
}

std::map<FileUrl, Match> match(const std::vector<FileUrl>& missing, const std::vector<FileUrl>& candidates) {
    std::vector<FileUrl> sorted = candidates;
    std::sort(sorted.begin(), sorted.end(), [](const FileUrl& a, const FileUrl& b) {
        auto da = depth(a), db = depth(b);
        return da != db ? da < db : a.path() < b.path();
    });
    std::unordered_map<std::string, const FileUrl*> byName, byLowerName, byLowerStem;
    for (const auto& url : sorted) {
        byName.try_emplace(url.fileName(), &url);
        byLowerName.try_emplace(lower(url.fileName()), &url);
        byLowerStem.try_emplace(lower(url.fileNameWithoutExtension()), &url);
    }
    std::map<FileUrl, Match> result;
    for (const auto& url : missing) {
        if (auto it = byName.find(url.fileName()); it != byName.end())
            result[url] = {*it->second, MatchKind::exact};
        else if (auto it2 = byLowerName.find(lower(url.fileName())); it2 != byLowerName.end())
            result[url] = {*it2->second, MatchKind::caseInsensitive};
        else if (auto it3 = byLowerStem.find(lower(url.fileNameWithoutExtension())); it3 != byLowerStem.end())
            result[url] = {*it3->second, MatchKind::differentExtension};
    }
    return result;
}

} // namespace ostinel::RelinkMatcher
