#pragma once

#include <optional>
#include <set>
#include <string>

namespace ostinel::ProjectMedia {

// The folder inside a project that holds its audio.
inline constexpr const char* folderName = "Media";

// The file name itself when free, else "kick 2.wav", "kick 3.wav"...; a name
// without extension ("kick") becomes "kick 2".
std::string availableName(const std::string& fileName, const std::set<std::string>& taken);

// The path of a file below the project's Media folder relative to the
// project ("Media/kick.wav"); nothing for a file elsewhere.
std::optional<std::string> relativePath(const std::string& projectFolder, const std::string& file);

} // namespace ostinel::ProjectMedia
