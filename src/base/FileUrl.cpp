#include "base/FileUrl.h"

#include <cctype>
#include <filesystem>
#include <system_error>

namespace ostinel {

namespace {

bool allowedInPath(unsigned char c) {
    if (std::isalnum(c)) return true;
    switch (c) {
    case '-': case '.': case '_': case '~': case '!': case '$': case '&': case '\'': case '(': case ')':
    case '*': case '+': case ',': case ';': case '=': case ':': case '@': case '/':
        return true;
    default:
        return false;
    }
}

int hexValue(char c) {
    if (c >= '0' && c <= '9') return c - '0';
    if (c >= 'a' && c <= 'f') return c - 'a' + 10;
    if (c >= 'A' && c <= 'F') return c - 'A' + 10;
    return -1;
}

std::string percentDecode(std::string_view s) {
    std::string out;
    out.reserve(s.size());
    for (std::size_t i = 0; i < s.size(); ++i) {
        if (s[i] == '%' && i + 2 < s.size()) {
            int hi = hexValue(s[i + 1]);
            int lo = hexValue(s[i + 2]);
            if (hi >= 0 && lo >= 0) {
                out.push_back(static_cast<char>(hi * 16 + lo));
                i += 2;
                continue;
            }
        }
        out.push_back(s[i]);
    }
    return out;
}

bool startsWithNoCase(std::string_view s, std::string_view prefix) {
    if (s.size() < prefix.size()) return false;
    for (std::size_t i = 0; i < prefix.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(s[i])) != prefix[i]) return false;
    return true;
}

} // namespace

FileUrl FileUrl::fromString(std::string_view text) {
    std::string path(text);
    if (startsWithNoCase(text, "file:")) {
        std::string_view rest = text.substr(5);
        if (rest.starts_with("//")) {
            rest.remove_prefix(2);
            // Skip the host ("" or "localhost"); the path starts at the next slash.
            auto slash = rest.find('/');
            rest = slash == std::string_view::npos ? std::string_view("/") : rest.substr(slash);
        }
        path = percentDecode(rest);
    }
    // A URL names an absolute path: a relative one would be written back with
    // its first folder in the host's place, and read again without it.
    if (!path.starts_with('/')) path.insert(path.begin(), '/');
    return fromPath(std::move(path));
}

std::string FileUrl::toString() const {
    static constexpr char digits[] = "0123456789ABCDEF";
    std::string out = "file://";
    for (unsigned char c : path_) {
        if (allowedInPath(c)) {
            out.push_back(static_cast<char>(c));
        } else {
            out.push_back('%');
            out.push_back(digits[c >> 4]);
            out.push_back(digits[c & 0x0F]);
        }
    }
    return out;
}

bool FileUrl::exists() const {
    std::error_code ignored;
    return !path_.empty() && std::filesystem::exists(path_, ignored);
}

std::string FileUrl::fileName() const {
    std::string_view p = path_;
    while (p.size() > 1 && p.back() == '/') p.remove_suffix(1);
    auto slash = p.rfind('/');
    return std::string(slash == std::string_view::npos ? p : p.substr(slash + 1));
}

std::string FileUrl::fileNameWithoutExtension() const {
    std::string name = fileName();
    auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return name;
    return name.substr(0, dot);
}

std::string FileUrl::extension() const {
    std::string name = fileName();
    auto dot = name.rfind('.');
    if (dot == std::string::npos || dot == 0) return {};
    return name.substr(dot + 1);
}

} // namespace ostinel
