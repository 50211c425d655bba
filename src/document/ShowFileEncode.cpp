#include <cmath>
#include <optional>
#include <type_traits>
#include <utility>

#include "document/ShowFile.h"
#include "document/ShowFileFormat.h"
#include "platform/DurableFile.h"

namespace ostinel {

namespace showfile {

namespace {

Json encodeValue(bool v, const Path&) { return v; }
Json encodeValue(std::int64_t v, const Path&) { return v; }
Json encodeValue(const Uuid& v, const Path&) { return v.toString(); }
Json encodeValue(const FileUrl& v, const Path&) { return v.toString(); }

Json encodeValue(double v, const Path& at) {
    // The serializer would quietly write null, which reads back as the default.
    if (std::isnan(v)) throw FormatError(at, "NaN cannot be written to a show file");
    if (std::isinf(v)) throw FormatError(at, "infinity cannot be written to a show file");
    return v;
}

Json encodeValue(const std::string& v, const Path&) { return v; }

template <class E>
    requires std::is_enum_v<E>
Json encodeValue(E v, const Path&) {
    for (const auto& [value, raw] : rawStrings(E{}))
        if (value == v) return raw;
    return nullptr; // unreachable: every enumerator has a raw string
}

class Members;

// A record with a key list: written member by member.
template <class T>
concept Described = requires(Members& m, const T& record) { fields(m, record); };

template <Described T>
Json encodeValue(const T& record, const Path& at);

template <class T>
Json encodeValue(const CowList<T>& list, const Path& at) {
    Json array = Json::array();
    std::size_t i = 0;
    for (const T& item : list) {
        array.push_back(encodeValue(item, Path::element(at, i)));
        ++i;
    }
    return array;
}

template <class V>
Json encodeValue(const Cow<std::map<std::string, V>>& map, const Path& at) {
    Json object = Json::object();
    for (const auto& [key, value] : *map) {
        object[key] = encodeValue(value, Path::mapKey(at, key));
    }
    return object;
}

// One JSON object being filled from a record. Every key is written, except
// optional strings that are none: those are left out, never written as null.
class Members {
public:
    explicit Members(const Path& at) : at_(at) {}

    template <class T>
    void operator()(const char* key, const T& value) {
        object_[key] = encodeValue(value, Path::member(at_, key));
    }
    void operator()(const char* key, const std::optional<std::string>& value) {
        if (value) (*this)(key, *value);
    }
    template <class T>
    void required(const char* key, const T& value) {
        (*this)(key, value);
    }
    Json take() { return std::move(object_); }

private:
    const Path& at_;
    Json object_ = Json::object();
};

template <Described T>
Json encodeValue(const T& record, const Path& at) {
    Members m(at);
    fields(m, record);
    return m.take();
}

// Slashes only ever occur inside strings in JSON text, so escaping them in
// the dumped text gives the same file as an encoder that escapes "/" itself.
std::string escapeSlashes(const std::string& text) {
    std::string out;
    out.reserve(text.size() + text.size() / 16);
    for (char c : text) {
        if (c == '/') out += "\\/";
        else out.push_back(c);
    }
    return out;
}

} // namespace

} // namespace showfile

Expected<std::string> ShowFile::encode(const Show& show, Flavour flavour) {
    try {
        // nlohmann keeps objects in std::map, so keys come out sorted at every level.
        auto json = showfile::encodeValue(show, showfile::Path());
        // Text that is not UTF-8 (a name taken from a Linux file name, say)
        // is written with U+FFFD for each bad byte: a save never fails on a name.
        constexpr auto replace = showfile::Json::error_handler_t::replace;
        return showfile::escapeSlashes(flavour == Flavour::pretty ? json.dump(2, ' ', false, replace)
                                                                  : json.dump(-1, ' ', false, replace));
    } catch (const showfile::FormatError& e) {
        return Error{e.what()};
    }
}

std::optional<Error> ShowFile::write(const Show& show, const std::string& path, Flavour flavour) {
    auto bytes = encode(show, flavour);
    if (!bytes) return bytes.error();
    return DurableFile::replace(path, *bytes);
}

} // namespace ostinel
