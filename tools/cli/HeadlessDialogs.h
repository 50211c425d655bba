#pragma once

#include <functional>
#include <string>

#include "platform/Dialogs.h"

namespace ostinel::cli {

// No one to ask: every question is told as an error and answered with the
// safe choice, as Escape would; no panel is ever chosen.
class HeadlessDialogs final : public Dialogs {
public:
    explicit HeadlessDialogs(std::function<void(const std::string&)> tell) : tell_(std::move(tell)) {}
    int alert(const AlertRequest& request) override {
        tell_(request.informativeText.empty() ? request.message : request.message + " " + request.informativeText);
        return noAnswer;
    }
    std::vector<std::string> openPanel(const OpenPanelRequest&) override { return {}; }
    std::optional<std::string> savePanel(const SavePanelRequest&) override { return std::nullopt; }

private:
    std::function<void(const std::string&)> tell_;
};

} // namespace ostinel::cli
