#pragma once

#include <deque>
#include <string>
#include <vector>

#include "platform/Dialogs.h"

namespace ostinel::test {

// Dialogs answered from a script, keeping what was asked. An alert with no
// scripted answer presses the last button (the cancel of most alerts); a
// panel with none is cancelled.
class ScriptedDialogs final : public Dialogs {
public:
    std::deque<std::string> alertAnswers;                  // button titles, in order
    std::deque<std::vector<std::string>> openAnswers;      // chosen paths
    std::deque<std::optional<std::string>> saveAnswers;    // chosen path or cancel

    std::vector<AlertRequest> alerts;
    std::vector<OpenPanelRequest> openPanels;
    std::vector<SavePanelRequest> savePanels;

    int alert(const AlertRequest& request) override;
    std::vector<std::string> openPanel(const OpenPanelRequest& request) override;
    std::optional<std::string> savePanel(const SavePanelRequest& request) override;
};

} // namespace ostinel::test
