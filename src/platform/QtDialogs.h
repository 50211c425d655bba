#pragma once

#include "platform/Dialogs.h"

class QWidget;

namespace ostinel {

// Real modal dialogs on a parent window.
class QtDialogs final : public Dialogs {
public:
    explicit QtDialogs(QWidget* parent = nullptr) : parent_(parent) {}
    void setParent(QWidget* parent) { parent_ = parent; }

    int alert(const AlertRequest& request) override;
    std::vector<std::string> openPanel(const OpenPanelRequest& request) override;
    std::optional<std::string> savePanel(const SavePanelRequest& request) override;

private:
    QWidget* parent_;
};

} // namespace ostinel
