#pragma once

#include <deque>
#include <stdexcept>
#include <string>
#include <vector>

#include "platform/Dialogs.h"

namespace ostinel::test {

// Dialogs answered from a script, keeping what was asked. An alert with no
// scripted answer presses the last button (the cancel of most alerts); a
// panel with none is cancelled.
class ScriptedDialogs final : public Dialogs {
public:
    // The scripted answer of an alert closed without a choice.
    static constexpr const char* closed = "(closed)";

    std::deque<std::string> alertAnswers;               // button titles, in order
    std::deque<std::vector<std::string>> openAnswers;   // chosen paths
    std::deque<std::optional<std::string>> saveAnswers; // chosen path or cancel

    std::vector<AlertRequest> alerts;
    std::vector<OpenPanelRequest> openPanels;
    std::vector<SavePanelRequest> savePanels;

    int alert(const AlertRequest& request) override {
        alerts.push_back(request);
        if (alertAnswers.empty()) return int(request.buttons.size()) - 1;
        const std::string answer = next(alertAnswers);
        if (answer == closed) return noAnswer;
        for (std::size_t i = 0; i < request.buttons.size(); ++i)
            if (request.buttons[i] == answer) return int(i);
        throw std::logic_error("scripted answer \"" + answer + "\" is not a button of \"" + request.message + "\"");
    }
    std::vector<std::string> openPanel(const OpenPanelRequest& request) override {
        openPanels.push_back(request);
        return next(openAnswers);
    }
    std::optional<std::string> savePanel(const SavePanelRequest& request) override {
        savePanels.push_back(request);
        return next(saveAnswers);
    }

private:
    template <class T> static T next(std::deque<T>& answers) {
        if (answers.empty()) return T{};
        T answer = std::move(answers.front());
        answers.pop_front();
        return answer;
    }
};

} // namespace ostinel::test
