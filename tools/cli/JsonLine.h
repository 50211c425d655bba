#pragma once

#include <ostream>

#include <nlohmann/json.hpp>

namespace ostinel::cli {

// One event or record as one line, flushed, so a reader sees it at once;
// text that is not UTF-8 (a file name) is replaced rather than refused.
template <class Json>
void writeJsonLine(std::ostream& out, const Json& line) {
    out << line.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

} // namespace ostinel::cli
