#pragma once

#include <string>

namespace ostinel {

// A file name's bytes as UTF-8 text, decoded as the platform decodes file
// names (the locale's codec); a byte that does not decode becomes U+FFFD.
// Linux file names need not be text; names shown and saved must be.
std::string fileNameText(const std::string& bytes);

} // namespace ostinel
