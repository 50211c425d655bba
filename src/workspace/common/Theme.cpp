#include "workspace/common/Theme.h"

#include <QApplication>
#include <QFontDatabase>
#include <QPalette>
#include <QStyleFactory>

#include "document/ColorHex.h"

namespace ostinel::theme {

const std::vector<std::string>& cueColorSwatches() {
    static const std::vector<std::string> swatches{"#E5484D", "#F76B15", "#FFC53D", "#46A758",
                                                   "#12A594", "#0090FF", "#6E56CF", "#D6409F"};
    return swatches;
}

QColor cueColor(std::string_view hex) {
    const auto rgb = colorFromHex(hex);
    return rgb ? QColor(rgb->red, rgb->green, rgb->blue) : QColor();
}

QFont clockFont(int pointSize) {
    QFont font = QFontDatabase::systemFont(QFontDatabase::FixedFont);
    font.setPointSize(pointSize);
    font.setBold(true);
    return font;
}

void applyDarkTheme(QApplication& app) {
    app.setStyle(QStyleFactory::create("Fusion"));
    QPalette p;
    p.setColor(QPalette::Window, window);
    p.setColor(QPalette::WindowText, text);
    p.setColor(QPalette::Base, panel);
    p.setColor(QPalette::AlternateBase, panelRaised);
    p.setColor(QPalette::ToolTipBase, panelRaised);
    p.setColor(QPalette::ToolTipText, text);
    p.setColor(QPalette::PlaceholderText, textDim);
    p.setColor(QPalette::Text, text);
    p.setColor(QPalette::Button, panelRaised);
    p.setColor(QPalette::ButtonText, text);
    p.setColor(QPalette::BrightText, Qt::white);
    p.setColor(QPalette::Highlight, selection);
    p.setColor(QPalette::HighlightedText, Qt::white);
    p.setColor(QPalette::Link, waveform);
    p.setColor(QPalette::Mid, divider);
    p.setColor(QPalette::Dark, window);
    for (auto role : {QPalette::WindowText, QPalette::Text, QPalette::ButtonText})
        p.setColor(QPalette::Disabled, role, textDim.darker(130));
    app.setPalette(p);
    // Fusion outlines an unticked box in a shade of the window colour, which
    // vanishes on this palette; check boxes get a lighter one.
    QPalette box = p;
    box.setColor(QPalette::Window, textDim);
    app.setPalette(box, "QCheckBox");
}

} // namespace ostinel::theme
