#pragma once

#include <string>

namespace ostinel {

// Where the application keeps its own files. Tests point these into a
// temporary folder.
struct AppPaths {
    std::string recoveryFile;  // ~/.local/share/Ostinel/Recovery/autosave.ot
    std::string oscLogFile;    // ~/.local/share/Ostinel/Logs/osc.log
    std::string analysisCache; // ~/.cache/Ostinel/Analysis-1x

    static AppPaths standard();
    static AppPaths under(const std::string& root);
};

} // namespace ostinel
