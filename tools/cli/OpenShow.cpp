#include "OpenShow.h"

#include <iostream>

#include "document/ShowFile.h"
#include "platform/SettingsPreferences.h"

namespace ostinel::cli {

std::optional<Show> openShow(const std::string& path) {
    auto show = ShowFile::read(path);
    if (!show) {
        std::cerr << "Could not open the show.\n" << show.error().message << "\n";
        return std::nullopt;
    }
    SettingsPreferences preferences;
    migrateLegacyMappings(*show, preferences);
    return std::move(*show);
}

} // namespace ostinel::cli
