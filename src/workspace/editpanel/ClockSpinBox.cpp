#include "workspace/editpanel/ClockSpinBox.h"

#include "workspace/common/TimeText.h"
#include "workspace/editpanel/ClockText.h"

namespace ostinel {

ClockSpinBox::ClockSpinBox(Style style, QWidget* parent) : QDoubleSpinBox(parent), style_(style) {
    setDecimals(3);
    setSingleStep(style == Style::position ? 0.1 : 1.0);
}

QString ClockSpinBox::textFromValue(double value) const {
    return QString::fromStdString(style_ == Style::position ? formatClock(value, 3) : formatHours(value));
}

double ClockSpinBox::valueFromText(const QString& text) const {
    return parseClock(text.toStdString()).value_or(value());
}

QValidator::State ClockSpinBox::validate(QString& text, int&) const {
    // A time past the range is taken and clamped to it by setValue: telling
    // the box it is out of range would have it correct to zero instead.
    if (parseClock(text.toStdString())) return QValidator::Acceptable;
    // Half-typed times ("1:", "2:3.") are fine while typing; letters are not.
    for (QChar c : text)
        if (!c.isDigit() && c != ':' && c != '.' && c != ' ') return QValidator::Invalid;
    return QValidator::Intermediate;
}

} // namespace ostinel
