#pragma once

#include <filesystem>
#include <string>

namespace ostinel::test {

// A fresh folder, removed with everything in it when the test ends.
class TempDir {
public:
    TempDir();
    ~TempDir();
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& relative) const { return (path_ / relative).string(); }
    // Writes text to a file below the folder, making folders on the way.
    std::string write(const std::string& relative, const std::string& contents) const;

private:
    std::filesystem::path path_;
};

std::string readText(const std::string& path);

} // namespace ostinel::test
