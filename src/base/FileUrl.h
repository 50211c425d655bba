#pragma once

#include <string>
#include <string_view>

namespace ostinel {

// The location of a track's audio file. Held as an absolute path; written
// in the show file as a "file:" URL with percent escapes.
class FileUrl {
public:
    FileUrl() = default;
    static FileUrl fromPath(std::string path) { FileUrl u; u.path_ = std::move(path); return u; }
    // Reads "file:///a%20b.wav", "file://localhost/..." or a bare path.
    static FileUrl fromString(std::string_view text);

    const std::string& path() const { return path_; }
    std::string toString() const;
    std::string fileName() const;              // last path component
    std::string fileNameWithoutExtension() const;
    std::string extension() const;
    // By the path's bytes, which need not be UTF-8; false on any error.
    bool exists() const;             // without the dot, as written
    bool empty() const { return path_.empty(); }

    friend bool operator==(const FileUrl&, const FileUrl&) = default;
    friend auto operator<=>(const FileUrl&, const FileUrl&) = default;

private:
    std::string path_;
};

} // namespace ostinel
