#include <cerrno>
#include <cmath>
#include <cstdio>
#include <cstring>
#include <memory>
#include <type_traits>
#include <vector>

#include "document/ShowFile.h"
#include "document/ShowFileFormat.h"

namespace ostinel {

namespace showfile {

namespace {

// Every key is optional except where a record says otherwise: missing or null
// takes the field's default, a value of the wrong kind fails the whole read.

class Members;

// A record with a key list: read member by member.
template <class T>
concept Described = requires(Members& m, T& record) { fields(m, record); };

void decodeValue(const Json& v, const Path& at, bool& out);
void decodeValue(const Json& v, const Path& at, double& out);
void decodeValue(const Json& v, const Path& at, std::int64_t& out);
void decodeValue(const Json& v, const Path& at, std::string& out);
void decodeValue(const Json& v, const Path& at, std::optional<std::string>& out);
void decodeValue(const Json& v, const Path& at, Uuid& out);
void decodeValue(const Json& v, const Path& at, FileUrl& out);
template <class E>
    requires std::is_enum_v<E>
void decodeValue(const Json& v, const Path& at, E& out);
template <class T>
void decodeValue(const Json& v, const Path& at, CowList<T>& out);
template <class V>
void decodeValue(const Json& v, const Path& at, std::map<std::string, V>& out);
template <class V>
void decodeValue(const Json& v, const Path& at, Cow<std::map<std::string, V>>& out);
template <Described T>
void decodeValue(const Json& v, const Path& at, T& out);

[[noreturn]] void wrongType(const Json& v, const Path& at, const char* expected) {
    throw FormatError(at, std::string("expected ") + expected + ", found " + v.type_name());
}

// The members of one JSON object, read into a record.
class Members {
public:
    Members(const Json& v, const Path& at) : object_(v), at_(at) {
        if (!v.is_object()) wrongType(v, at, "an object");
    }

    template <class T>
    void operator()(std::string_view key, T& out) const {
        auto it = object_.find(key);
        if (it == object_.end() || it->is_null()) return;
        decodeValue(*it, Path::member(at_, key), out);
    }

    template <class T>
    void required(std::string_view key, T& out) const {
        auto it = object_.find(key);
        if (it == object_.end() || it->is_null()) throw FormatError(Path::member(at_, key), "required but missing");
        decodeValue(*it, Path::member(at_, key), out);
    }

private:
    const Json& object_;
    const Path& at_;
};

void decodeValue(const Json& v, const Path& at, bool& out) {
    if (!v.is_boolean()) wrongType(v, at, "a boolean");
    out = v.get<bool>();
}

void decodeValue(const Json& v, const Path& at, double& out) {
    if (!v.is_number()) wrongType(v, at, "a number");
    out = v.get<double>(); // the parser itself refuses literals beyond a double, like 1e400
}

void decodeValue(const Json& v, const Path& at, std::int64_t& out) {
    if (v.is_number_integer() && !v.is_number_unsigned()) {
        out = v.get<std::int64_t>();
        return;
    }
    if (v.is_number_unsigned()) {
        auto u = v.get<std::uint64_t>();
        if (u > std::uint64_t(INT64_MAX)) throw FormatError(at, "integer out of range: " + v.dump());
        out = std::int64_t(u);
        return;
    }
    if (!v.is_number_float()) wrongType(v, at, "an integer");
    // 2.0 is an integer written by a tool that only knows doubles; 2.5 is not.
    double d = v.get<double>();
    if (d != std::trunc(d)) throw FormatError(at, "expected an integer, found " + v.dump());
    if (d < -9223372036854775808.0 || d >= 9223372036854775808.0)
        throw FormatError(at, "integer out of range: " + v.dump());
    out = std::int64_t(d);
}

void decodeValue(const Json& v, const Path& at, std::string& out) {
    if (!v.is_string()) wrongType(v, at, "a string");
    out = v.get<std::string>();
}

void decodeValue(const Json& v, const Path& at, std::optional<std::string>& out) {
    std::string s;
    decodeValue(v, at, s);
    out = std::move(s);
}

void decodeValue(const Json& v, const Path& at, Uuid& out) {
    std::string s;
    decodeValue(v, at, s);
    auto id = Uuid::parse(s);
    if (!id) throw FormatError(at, "not a UUID: " + v.dump());
    out = *id;
}

void decodeValue(const Json& v, const Path& at, FileUrl& out) {
    std::string s;
    decodeValue(v, at, s);
    if (s.empty()) throw FormatError(at, "empty URL");
    out = FileUrl::fromString(s);
}

template <class E>
    requires std::is_enum_v<E>
void decodeValue(const Json& v, const Path& at, E& out) {
    std::string s;
    decodeValue(v, at, s);
    for (const auto& [value, raw] : rawStrings(E{})) {
        if (s == raw) {
            out = value;
            return;
        }
    }
    throw FormatError(at, "unknown value " + v.dump());
}

template <class T>
void decodeValue(const Json& v, const Path& at, CowList<T>& out) {
    if (!v.is_array()) wrongType(v, at, "an array");
    std::vector<T> items(v.size());
    for (std::size_t i = 0; i < items.size(); ++i) decodeValue(v[i], Path::element(at, i), items[i]);
    out = CowList<T>(std::move(items));
}

template <class V>
void decodeValue(const Json& v, const Path& at, std::map<std::string, V>& out) {
    if (!v.is_object()) wrongType(v, at, "an object");
    std::map<std::string, V> map;
    for (const auto& [key, value] : v.items()) decodeValue(value, Path::mapKey(at, key), map[key]);
    out = std::move(map);
}

template <class V>
void decodeValue(const Json& v, const Path& at, Cow<std::map<std::string, V>>& out) {
    std::map<std::string, V> map;
    decodeValue(v, at, map);
    out = Cow<std::map<std::string, V>>(std::move(map));
}

template <Described T>
void decodeValue(const Json& v, const Path& at, T& out) {
    Members m(v, at);
    fields(m, out);
}

// nlohmann prefixes its messages with an id ("[json.exception.parse_error.101] ")
// that means nothing to a user.
std::string withoutExceptionId(const char* what) {
    std::string_view text = what;
    if (text.starts_with('[')) {
        auto close = text.find("] ");
        if (close != std::string_view::npos) text.remove_prefix(close + 2);
    }
    return std::string(text);
}

} // namespace

std::map<std::string, MidiKey> decodeMidiKeyMap(const Json& value, const Path& at) {
    std::map<std::string, MidiKey> map;
    decodeValue(value, at, map);
    return map;
}

std::map<std::string, std::int64_t> decodeNumberMap(const Json& value, const Path& at) {
    std::map<std::string, std::int64_t> map;
    decodeValue(value, at, map);
    return map;
}

} // namespace showfile

Expected<Show> ShowFile::decode(std::string_view json) {
    try {
        Show show;
        showfile::decodeValue(showfile::Json::parse(json), showfile::Path(), show);
        return show;
    } catch (const showfile::FormatError& e) {
        return Error{e.what()};
    } catch (const nlohmann::json::exception& e) {
        return Error{showfile::withoutExceptionId(e.what())};
    }
}

Expected<Show> ShowFile::read(const std::string& path) {
    std::unique_ptr<std::FILE, int (*)(std::FILE*)> file(std::fopen(path.c_str(), "rb"), &std::fclose);
    if (!file) return Error{std::strerror(errno)};
    std::string bytes;
    char buffer[65536];
    std::size_t n;
    while ((n = std::fread(buffer, 1, sizeof buffer, file.get())) > 0) bytes.append(buffer, n);
    if (std::ferror(file.get())) return Error{std::strerror(errno)};
    return decode(bytes);
}

} // namespace ostinel
