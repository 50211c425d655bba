#include "workspace/settings/SettingsRows.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QVBoxLayout>

#include "workspace/common/Theme.h"

namespace ostinel {

QLabel* explanationLabel(const QString& text) {
    auto* label = new QLabel(text);
    label->setWordWrap(true);
    QPalette palette = label->palette();
    palette.setColor(QPalette::WindowText, theme::textDim);
    label->setPalette(palette);
    return label;
}

QWidget* settingsField(QWidget* control, const QString& explanation) {
    auto* field = new QWidget;
    auto* column = new QVBoxLayout(field);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(3);
    column->addWidget(control, 0, Qt::AlignLeft);
    if (!explanation.isEmpty()) column->addWidget(explanationLabel(explanation));
    column->addStretch(1);
    return field;
}

namespace {
void shapeForm(QFormLayout* form) {
    form->setHorizontalSpacing(16);
    form->setVerticalSpacing(14);
    form->setLabelAlignment(Qt::AlignRight | Qt::AlignTop);
    form->setFieldGrowthPolicy(QFormLayout::AllNonFixedFieldsGrow);
    form->setRowWrapPolicy(QFormLayout::DontWrapRows);
}
} // namespace

QFormLayout* settingsForm(QWidget* page) {
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(24, 20, 24, 20);
    auto* form = new QFormLayout;
    column->addLayout(form);
    // Spare height goes below the rows, not between a control and its line.
    column->addStretch(1);
    shapeForm(form);
    return form;
}

QFormLayout* sectionForm(QWidget* section) {
    auto* form = new QFormLayout(section);
    form->setContentsMargins(0, 0, 0, 0);
    shapeForm(form);
    return form;
}

QCheckBox* settingsCheckBox(const QString& text) { return new QCheckBox(text); }

void RefreshingComboBox::showPopup() {
    if (beforePopup) beforePopup();
    QComboBox::showPopup();
}

} // namespace ostinel
