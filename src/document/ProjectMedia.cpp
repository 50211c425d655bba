#include "document/ProjectMedia.h"

#include <filesystem>

#include "base/FileUrl.h"

namespace ostinel::ProjectMedia {

std::string availableName(const std::string& fileName, const std::set<std::string>& taken) {
    if (!taken.contains(fileName)) return fileName;
    const FileUrl name = FileUrl::fromPath(fileName);
    const std::string stem = name.fileNameWithoutExtension();
    std::string extension = name.extension();
    if (!extension.empty()) extension.insert(0, 1, '.');
    for (int n = 2;; ++n) {
        std::string candidate = stem;
        candidate.append(" ").append(std::to_string(n)).append(extension);
        if (!taken.contains(candidate)) return candidate;
    }
}

std::optional<std::string> relativePath(const std::string& projectFolder, const std::string& file) {
    namespace fs = std::filesystem;
    const fs::path media = (fs::path(projectFolder) / folderName).lexically_normal();
    const fs::path path = fs::path(file).lexically_normal();
    const fs::path inside = path.lexically_relative(media);
    if (inside.empty() || *inside.begin() == ".." || *inside.begin() == ".") return std::nullopt;
    return (fs::path(folderName) / inside).generic_string();
}

} // namespace ostinel::ProjectMedia
