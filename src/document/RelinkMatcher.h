#pragma once

#include <cstddef>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "base/FileUrl.h"

namespace ostinel::RelinkMatcher {

// In order of preference.
enum class MatchKind { exact, caseInsensitive, differentExtension };

struct Match {
    FileUrl url;
    MatchKind kind = MatchKind::exact;
    friend bool operator==(const Match&, const Match&) = default;
};

// Extensions that count as audio, in lower case.
const std::set<std::string>& audioExtensions();

// Every audio file below the folder, subfolders included, up to limit files.
// A folder that can't be read gives what could be read, possibly nothing.
std::vector<FileUrl> audioFiles(const std::string& folder, std::size_t limit);

// For each missing file, the best candidate: same name, then same name in
// any case, then same name with another extension. Shallower candidates win.
std::map<FileUrl, Match> match(const std::vector<FileUrl>& missing, const std::vector<FileUrl>& candidates);

} // namespace ostinel::RelinkMatcher
