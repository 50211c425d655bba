#pragma once

#include <optional>
#include <string>
#include <vector>

namespace ostinel {

struct AlertRequest {
    std::string message;         // the bold title line
    std::string informativeText; // the text under it
    std::vector<std::string> buttons{"OK"};
};

struct OpenPanelRequest {
    std::string message;
    std::vector<std::string> extensions; // empty: any file
    bool allowsMultipleSelection = false;
    // Both: one panel whose answer is either a file or a folder.
    bool canChooseFiles = true;
    bool canChooseDirectories = false;
};

struct SavePanelRequest {
    std::string message;
    std::string nameFieldLabel;
    std::string suggestedName;
    std::vector<std::string> extensions;
};

// Modal questions to the operator. The application shows real dialogs;
// tests script the answers and read back what was asked.
class Dialogs {
public:
    virtual ~Dialogs() = default;
    // An alert closed without pressing a button (Escape, the window's close
    // button). Callers take it as their safe choice: nothing deleted, nothing
    // replaced.
    static constexpr int noAnswer = -1;

    // The index of the button pressed, or noAnswer.
    virtual int alert(const AlertRequest& request) = 0;
    // Chosen paths; empty when cancelled.
    virtual std::vector<std::string> openPanel(const OpenPanelRequest& request) = 0;
    // The chosen path, or nothing when cancelled.
    virtual std::optional<std::string> savePanel(const SavePanelRequest& request) = 0;
};

} // namespace ostinel
