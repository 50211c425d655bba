#include "support/TempDir.h"

#include <cstdlib>
#include <fstream>
#include <sstream>
#include <stdexcept>

namespace ostinel::test {

TempDir::TempDir() {
    std::string pattern = (std::filesystem::temp_directory_path() / "ostinel-test-XXXXXX").string();
    if (!mkdtemp(pattern.data())) throw std::runtime_error("mkdtemp failed");
    path_ = pattern;
}

TempDir::~TempDir() {
    std::error_code ec;
    std::filesystem::remove_all(path_, ec);
}

std::string TempDir::write(const std::string& relative, const std::string& contents) const {
    auto p = path_ / relative;
    std::filesystem::create_directories(p.parent_path());
    std::ofstream(p, std::ios::binary) << contents;
    return p.string();
}

std::string readText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream s;
    s << in.rdbuf();
    return s.str();
}

} // namespace ostinel::test
