#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "base/Expected.h"
#include "document/Show.h"

namespace ostinel {

class Preferences;

// The ".ot" show file: one JSON object, the Show record.
namespace ShowFile {

// Both sort keys and escape "/" as "\/"; the reader makes no difference.
enum class Flavour {
    pretty,  // saved shows: indented, for diffs
    compact, // the autosave file: no whitespace
};

// Fails, naming the field, on a number JSON cannot hold (NaN, infinity).
// Bytes of text that are not UTF-8 are written as U+FFFD.
Expected<std::string> encode(const Show& show, Flavour flavour);

// Tolerant of missing keys and nulls, strict about types and enumeration
// strings: a value of the wrong kind fails the whole read.
Expected<Show> decode(std::string_view json);

// Reads and decodes a file; the error carries the system's reason, the
// parser's, or the key path of the value that does not fit.
Expected<Show> read(const std::string& path);

// Replaces the file in one step: a failed save leaves the old file whole.
// Nothing on success.
std::optional<Error> write(const Show& show, const std::string& path, Flavour flavour);

} // namespace ShowFile

// Early versions kept control mappings and the OSC destination in the
// preferences: move them into a show that has none of its own.
void migrateLegacyMappings(Show& show, const Preferences& preferences);

} // namespace ostinel
