#include "workspace/editpanel/ColorSwatches.h"

#include <QGridLayout>
#include <QToolButton>

#include "document/ColorHex.h"
#include "workspace/common/Theme.h"

namespace ostinel {

namespace {

constexpr int swatchSize = 30;

QString swatchStyle(const QString& fill) {
    return QStringLiteral("QToolButton { background: %1; border: 2px solid %2; border-radius: 4px; color: %3; }"
                          "QToolButton:checked { border: 3px solid %4; }")
        .arg(fill, theme::divider.name(), theme::text.name(), theme::text.name());
}

} // namespace

ColorSwatches::ColorSwatches(Field<std::optional<std::string>> color, QWidget* parent)
    : QWidget(parent), color_(std::move(color)) {
    auto* layout = new QGridLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(6);
    const auto& swatches = theme::cueColorSwatches();
    for (std::size_t i = 0; i <= swatches.size(); ++i) {
        auto* button = new QToolButton(this);
        button->setCheckable(true);
        button->setFixedSize(swatchSize, swatchSize);
        button->setFocusPolicy(Qt::NoFocus);
        std::optional<std::string> value;
        if (i < swatches.size()) {
            value = swatches[i];
            button->setStyleSheet(swatchStyle(QString::fromStdString(swatches[i])));
            button->setToolTip(QString::fromStdString(swatches[i]));
        } else {
            button->setText(QStringLiteral("∅"));
            button->setStyleSheet(swatchStyle(theme::panelRaised.name()));
            button->setToolTip(tr("No colour"));
        }
        connect(button, &QToolButton::clicked, this, [this, value] {
            color_.commit(value);
            refresh();
        });
        layout->addWidget(button, int(i) / 5, int(i) % 5);
        buttons_.push_back(button);
    }
}

QToolButton* ColorSwatches::button(std::optional<std::size_t> swatch) const {
    return swatch ? buttons_.at(*swatch) : buttons_.back();
}

void ColorSwatches::refresh() {
    // Compared as colours, so "#e5484d" and "E5484D" are the same swatch; a
    // colour from elsewhere checks no button at all.
    const auto current = color_.get();
    const auto shown = current ? colorFromHex(*current) : std::nullopt;
    const auto& swatches = theme::cueColorSwatches();
    for (std::size_t i = 0; i < buttons_.size(); ++i) {
        const bool on = i < swatches.size() ? shown && shown == colorFromHex(swatches[i]) : !current;
        buttons_[i]->setChecked(on);
    }
}

} // namespace ostinel
