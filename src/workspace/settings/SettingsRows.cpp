#include "workspace/settings/SettingsRows.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include <algorithm>
#include <vector>

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

QWidget* scrollingPage(QWidget* tab) {
    auto* scroll = new QScrollArea;
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setWidgetResizable(true);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    auto* page = new QWidget;
    scroll->setWidget(page);
    scroll->viewport()->setAutoFillBackground(false);
    page->setAutoFillBackground(false);
    auto* column = new QVBoxLayout(tab);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(scroll);
    return page;
}

void alignLabelColumns(QWidget* page) {
    std::vector<QWidget*> labels;
    int widest = 0;
    for (auto* form : page->findChildren<QFormLayout*>()) {
        for (int row = 0; row < form->rowCount(); ++row) {
            QLayoutItem* item = form->itemAt(row, QFormLayout::LabelRole);
            if (!item || !item->widget()) continue;
            // Wider than its text now, the label aligns the text itself.
            if (auto* label = qobject_cast<QLabel*>(item->widget()))
                label->setAlignment(form->labelAlignment());
            labels.push_back(item->widget());
            widest = std::max(widest, item->widget()->sizeHint().width());
        }
    }
    for (QWidget* label : labels)
        label->setMinimumWidth(widest);
}

void RefreshingComboBox::showPopup() {
    if (beforePopup) beforePopup();
    QComboBox::showPopup();
}

} // namespace ostinel
