#include "support/ScriptedDialogs.h"

#include <stdexcept>

namespace ostinel::test {

int ScriptedDialogs::alert(const AlertRequest& request) {
    alerts.push_back(request);
    if (alertAnswers.empty()) return int(request.buttons.size()) - 1;
    std::string answer = alertAnswers.front();
    alertAnswers.pop_front();
    for (std::size_t i = 0; i < request.buttons.size(); ++i)
        if (request.buttons[i] == answer) return int(i);
    throw std::logic_error("scripted answer \"" + answer + "\" is not a button of \"" + request.message + "\"");
}

std::vector<std::string> ScriptedDialogs::openPanel(const OpenPanelRequest& request) {
    openPanels.push_back(request);
    if (openAnswers.empty()) return {};
    auto answer = openAnswers.front();
    openAnswers.pop_front();
    return answer;
}

std::optional<std::string> ScriptedDialogs::savePanel(const SavePanelRequest& request) {
    savePanels.push_back(request);
    if (saveAnswers.empty()) return std::nullopt;
    auto answer = saveAnswers.front();
    saveAnswers.pop_front();
    return answer;
}

} // namespace ostinel::test
