#include "document/ShowFileFormat.h"

namespace ostinel::showfile {

std::string Path::str() const {
    std::string head = parent ? parent->str() : std::string();
    switch (kind) {
    case Kind::root:
        return head;
    case Kind::member:
        return head.empty() ? std::string(key) : head + "." + std::string(key);
    case Kind::element:
        return head + "[" + std::to_string(index) + "]";
    case Kind::mapKey:
        return head + "[\"" + std::string(key) + "\"]";
    }
    return head;
}

FormatError::FormatError(const Path& at, const std::string& what)
    : std::runtime_error(at.kind == Path::Kind::root ? "top level: " + what : at.str() + ": " + what) {}

} // namespace ostinel::showfile
