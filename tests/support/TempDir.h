#pragma once

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <stdexcept>
#include <string>

namespace ostinel::test {

// A fresh folder, removed with everything in it when the test ends.
class TempDir {
public:
    TempDir() {
        std::string pattern = (std::filesystem::temp_directory_path() / "ostinel-test-XXXXXX").string();
        if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
        path_ = pattern;
    }
    ~TempDir() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TempDir(const TempDir&) = delete;
    TempDir& operator=(const TempDir&) = delete;

    const std::filesystem::path& path() const { return path_; }
    std::string file(const std::string& relative) const { return (path_ / relative).string(); }
    // Writes text to a file below the folder, making folders on the way.
    std::string write(const std::string& relative, const std::string& contents) const {
        auto p = path_ / relative;
        std::filesystem::create_directories(p.parent_path());
        std::ofstream(p, std::ios::binary) << contents;
        return p.string();
    }

private:
    std::filesystem::path path_;
};

inline std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

} // namespace ostinel::test
