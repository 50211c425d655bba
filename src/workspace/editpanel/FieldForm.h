#pragma once

#include <QStringList>
#include <QWidget>

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "workspace/editpanel/ClockSpinBox.h"
#include "workspace/editpanel/Field.h"

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;
class QFormLayout;
class QLineEdit;
class QPlainTextEdit;
class QSpinBox;

namespace ostinel {

// A column of labelled fields, each bound to a getter and a commit. Text and
// numbers commit on Return or when focus leaves; check boxes and lists on
// change. A refresh never overwrites what the operator is still typing.
class FieldForm : public QWidget {
public:
    explicit FieldForm(QWidget* parent = nullptr);

    void addHeading(const QString& text);
    QLineEdit* addText(const QString& label, Field<std::string> field);
    QPlainTextEdit* addMultiline(const QString& label, Field<std::string> field);
    // A position in the file, or a timecode; maximum read at each refresh.
    ClockSpinBox* addTime(const QString& label, Field<double> field, std::function<double()> maximum,
                          ClockSpinBox::Style style = ClockSpinBox::Style::position);
    // A plain number, such as a length in seconds or a level in dB.
    QDoubleSpinBox* addNumber(const QString& label, Field<double> field, double minimum,
                              std::function<double()> maximum, int decimals, const QString& suffix);
    QSpinBox* addInteger(const QString& label, Field<std::int64_t> field, int minimum, int maximum);
    QCheckBox* addCheck(const QString& text, Field<bool> field);
    QComboBox* addChoice(const QString& label, const QStringList& items, Field<int> field);
    // A control of its own, refreshed and flushed with the others.
    void addRow(const QString& label, QWidget* widget, std::function<void(bool force)> refresh,
                std::function<void()> flush = {});
    // The row holding widget is shown only while when() holds.
    void showWhen(QWidget* widget, std::function<bool()> when);

    // force: the record changed identity, so even a field being typed in
    // shows the new record.
    void refresh(bool force = false);
    // Commits whatever has been typed and not yet committed.
    void flush();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    struct Row {
        QWidget* widget;
        std::function<void(bool force)> refresh;
        std::function<void()> flush;
        std::function<bool()> visible;
    };
    void add(const QString& label, QWidget* widget, std::function<void(bool)> refresh, std::function<void()> flush);
    void bindDouble(const QString& label, QDoubleSpinBox* box, Field<double> field, std::function<double()> maximum);

    QFormLayout* layout_;
    std::vector<Row> rows_;
};

} // namespace ostinel
