#pragma once

#include <QDoubleSpinBox>

namespace ostinel {

// A time field: reads "1:23.5", "83.5" or "1:00:00", shows either a
// position ("1:23.500") or a timecode start ("1:00:00"). Millisecond
// resolution; the arrows step by a tenth of a second or by a second.
class ClockSpinBox : public QDoubleSpinBox {
public:
    enum class Style { position, hours };

    explicit ClockSpinBox(Style style, QWidget* parent = nullptr);

    QString textFromValue(double value) const override;
    double valueFromText(const QString& text) const override;
    QValidator::State validate(QString& text, int& pos) const override;

private:
    Style style_;
};

} // namespace ostinel
