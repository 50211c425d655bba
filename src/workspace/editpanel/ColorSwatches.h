#pragma once

#include <QWidget>

#include <optional>
#include <string>
#include <vector>

#include "workspace/editpanel/Field.h"

class QToolButton;

namespace ostinel {

// The cue colour: one button per swatch of the theme and one for none.
// A click commits.
class ColorSwatches : public QWidget {
public:
    ColorSwatches(Field<std::optional<std::string>> color, QWidget* parent = nullptr);

    void refresh();
    // The button for a swatch of theme::cueColorSwatches(), or for none.
    QToolButton* button(std::optional<std::size_t> swatch) const;

private:
    Field<std::optional<std::string>> color_;
    std::vector<QToolButton*> buttons_; // the swatches, then none
};

} // namespace ostinel
