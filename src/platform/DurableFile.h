#pragma once

#include <optional>
#include <string>

#include "base/Expected.h"

// Files that must survive a crash or a full disk: a show is never left half
// written. Any thread; the messages are safe to make off the main thread.
namespace ostinel::DurableFile {

// The whole text, synced to the disk before it returns.
std::optional<Error> writeSynced(const std::string& path, const std::string& text);

// Replaces the file with the text in one step: written and synced beside it,
// then renamed over it, so a failure at any point leaves the old file whole.
// A symbolic link is followed, so the link itself stays.
std::optional<Error> replace(const std::string& path, const std::string& text);

} // namespace ostinel::DurableFile
