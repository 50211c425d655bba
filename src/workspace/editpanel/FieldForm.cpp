#include "workspace/editpanel/FieldForm.h"

#include <QApplication>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalBlocker>
#include <QSpinBox>
#include <QWheelEvent>

#include <algorithm>

#include "workspace/common/Theme.h"

namespace ostinel {

namespace {

constexpr int fieldHeight = 32;
constexpr int minimumFieldWidth = 60;

// Multi-line text has no editingFinished; leaving the field is the commit.
class CommitOnLeaveEdit : public QPlainTextEdit {
public:
    using QPlainTextEdit::QPlainTextEdit;
    std::function<void()> onLeave;

protected:
    void focusOutEvent(QFocusEvent* event) override {
        QPlainTextEdit::focusOutEvent(event);
        if (onLeave) onLeave();
    }
};

// Typed text not yet committed: the field keeps it through a refresh.
bool typing(const QAbstractSpinBox* box) {
    if (!box->hasFocus()) return false;
    if (auto* d = qobject_cast<const QDoubleSpinBox*>(box)) return d->cleanText() != d->textFromValue(d->value());
    auto* i = static_cast<const QSpinBox*>(box);
    return i->cleanText() != QString::number(i->value());
}

} // namespace

FieldForm::FieldForm(QWidget* parent) : QWidget(parent), layout_(new QFormLayout(this)) {
    layout_->setContentsMargins(12, 4, 12, 12);
    layout_->setHorizontalSpacing(10);
    layout_->setVerticalSpacing(8);
    layout_->setLabelAlignment(Qt::AlignRight | Qt::AlignVCenter);
    layout_->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    layout_->setRowWrapPolicy(QFormLayout::DontWrapRows);
}

void FieldForm::addHeading(const QString& text) {
    auto* heading = new QLabel(text, this);
    QFont font = heading->font();
    font.setBold(true);
    font.setPointSizeF(font.pointSizeF() * 1.15);
    heading->setFont(font);
    heading->setContentsMargins(0, 12, 0, 2);
    heading->setStyleSheet(QStringLiteral("color: %1; border-bottom: 1px solid %2;")
                               .arg(theme::text.name(), theme::divider.name()));
    layout_->addRow(heading);
}

void FieldForm::add(const QString& label, QWidget* widget, std::function<void(bool)> refresh,
                    std::function<void()> flush) {
    widget->setMinimumHeight(std::max(fieldHeight, widget->minimumSizeHint().height()));
    // Spin boxes and lists ask for room for their widest value; the panel is narrow.
    if (qobject_cast<QAbstractSpinBox*>(widget) || qobject_cast<QComboBox*>(widget))
        widget->setMinimumWidth(minimumFieldWidth);
    if (qobject_cast<QCheckBox*>(widget)) {
        layout_->addRow(QString(), widget);
    } else if (label.isEmpty()) {
        layout_->addRow(widget);
    } else {
        widget->setAccessibleName(label);
        auto* caption = new QLabel(label, this);
        caption->setStyleSheet(QStringLiteral("color: %1;").arg(theme::textDim.name()));
        layout_->addRow(caption, widget);
    }
    rows_.push_back({widget, std::move(refresh), std::move(flush), {}});
}

void FieldForm::addRow(const QString& label, QWidget* widget, std::function<void(bool)> refresh,
                       std::function<void()> flush) {
    add(label, widget, std::move(refresh), std::move(flush));
}

void FieldForm::showWhen(QWidget* widget, std::function<bool()> when) {
    for (auto& row : rows_)
        if (row.widget == widget) row.visible = std::move(when);
}

QLineEdit* FieldForm::addText(const QString& label, Field<std::string> field) {
    auto* edit = new QLineEdit(this);
    auto refresh = [edit, get = field.get](bool force) {
        if (!force && edit->hasFocus() && edit->isModified()) return;
        const QString text = QString::fromStdString(get());
        if (edit->text() != text) edit->setText(text);
        edit->setModified(false);
    };
    auto commit = [edit, field, refresh] {
        if (!edit->isModified()) return;
        edit->setModified(false);
        field.commit(edit->text().toStdString());
        refresh(true);
    };
    connect(edit, &QLineEdit::editingFinished, this, commit);
    add(label, edit, refresh, commit);
    return edit;
}

QPlainTextEdit* FieldForm::addMultiline(const QString& label, Field<std::string> field) {
    auto* edit = new CommitOnLeaveEdit(this);
    edit->setTabChangesFocus(true);
    edit->setFixedHeight(fieldHeight * 3);
    auto refresh = [edit, get = field.get](bool force) {
        if (!force && edit->hasFocus() && edit->document()->isModified()) return;
        const QString text = QString::fromStdString(get());
        if (edit->toPlainText() != text) edit->setPlainText(text);
        edit->document()->setModified(false);
    };
    auto commit = [edit, field, refresh] {
        if (!edit->document()->isModified()) return;
        edit->document()->setModified(false);
        field.commit(edit->toPlainText().toStdString());
        refresh(true);
    };
    edit->onLeave = commit;
    add(label, edit, refresh, commit);
    return edit;
}

void FieldForm::bindDouble(const QString& label, QDoubleSpinBox* box, Field<double> field,
                           std::function<double()> maximum) {
    // Half-typed text that reads as nothing goes back to the value it had.
    box->setKeyboardTracking(false);
    box->setFocusPolicy(Qt::StrongFocus);
    box->installEventFilter(this);
    auto refresh = [box, get = field.get, maximum](bool force) {
        if (!force && typing(box)) return;
        const QSignalBlocker quiet(box);
        if (maximum) box->setMaximum(std::max(box->minimum(), maximum()));
        box->setValue(get());
    };
    connect(box, &QDoubleSpinBox::valueChanged, this, [field, refresh](double value) {
        field.commit(value);
        refresh(true);
    });
    add(label, box, refresh, [box] {
        if (typing(box)) box->interpretText();
    });
}

ClockSpinBox* FieldForm::addTime(const QString& label, Field<double> field, std::function<double()> maximum,
                                 ClockSpinBox::Style style) {
    auto* box = new ClockSpinBox(style, this);
    box->setMinimum(0.0);
    box->setMaximum(style == ClockSpinBox::Style::hours ? 24.0 * 3600.0 - 0.001 : 1e9);
    bindDouble(label, box, std::move(field), std::move(maximum));
    return box;
}

QDoubleSpinBox* FieldForm::addNumber(const QString& label, Field<double> field, double minimum,
                                     std::function<double()> maximum, int decimals, const QString& suffix) {
    auto* box = new QDoubleSpinBox(this);
    box->setDecimals(decimals);
    box->setSingleStep(decimals > 0 ? 0.1 : 1.0);
    box->setMinimum(minimum);
    box->setMaximum(1e9);
    box->setSuffix(suffix);
    bindDouble(label, box, std::move(field), std::move(maximum));
    return box;
}

QSpinBox* FieldForm::addInteger(const QString& label, Field<std::int64_t> field, int minimum, int maximum) {
    auto* box = new QSpinBox(this);
    box->setRange(minimum, maximum);
    box->setKeyboardTracking(false);
    // Below the minimum ("0" for a channel) means the minimum.
    box->setCorrectionMode(QAbstractSpinBox::CorrectToNearestValue);
    box->setFocusPolicy(Qt::StrongFocus);
    box->installEventFilter(this);
    auto refresh = [box, get = field.get](bool force) {
        if (!force && typing(box)) return;
        const QSignalBlocker quiet(box);
        box->setValue(int(std::clamp<std::int64_t>(get(), box->minimum(), box->maximum())));
    };
    connect(box, &QSpinBox::valueChanged, this, [field, refresh](int value) {
        field.commit(value);
        refresh(true);
    });
    add(label, box, refresh, [box] {
        if (typing(box)) box->interpretText();
    });
    return box;
}

QCheckBox* FieldForm::addCheck(const QString& text, Field<bool> field) {
    auto* check = new QCheckBox(text, this);
    check->setAccessibleName(text);
    auto refresh = [check, get = field.get](bool) {
        const QSignalBlocker quiet(check);
        check->setChecked(get());
    };
    connect(check, &QCheckBox::clicked, this, [field, refresh](bool on) {
        field.commit(on);
        refresh(true);
    });
    add({}, check, refresh, {});
    return check;
}

QComboBox* FieldForm::addChoice(const QString& label, const QStringList& items, Field<int> field) {
    auto* combo = new QComboBox(this);
    combo->addItems(items);
    combo->setFocusPolicy(Qt::StrongFocus);
    combo->installEventFilter(this);
    auto refresh = [combo, get = field.get](bool) {
        const QSignalBlocker quiet(combo);
        combo->setCurrentIndex(get());
    };
    connect(combo, &QComboBox::activated, this, [field, refresh](int index) {
        field.commit(index);
        refresh(true);
    });
    add(label, combo, refresh, {});
    return combo;
}

void FieldForm::refresh(bool force) {
    for (auto& row : rows_) {
        if (row.visible) layout_->setRowVisible(row.widget, row.visible());
        row.refresh(force);
    }
}

void FieldForm::flush() {
    for (auto& row : rows_)
        if (row.flush) row.flush();
}

bool FieldForm::eventFilter(QObject* watched, QEvent* event) {
    // A wheel over a field the operator is not in scrolls the panel rather
    // than changing a value by accident.
    if (event->type() == QEvent::Wheel) {
        auto* widget = static_cast<QWidget*>(watched);
        if (!widget->hasFocus() && widget->parentWidget()) {
            QApplication::sendEvent(widget->parentWidget(), event);
            return true;
        }
    }
    return QWidget::eventFilter(watched, event);
}

} // namespace ostinel
