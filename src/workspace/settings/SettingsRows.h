#pragma once

#include <QComboBox>
#include <QString>

#include <functional>

class QCheckBox;
class QFormLayout;
class QLabel;
class QWidget;

namespace ostinel {

// A settings row: the control with its explaining line under it, so the
// form's label column stays a clean list of names.
QWidget* settingsField(QWidget* control, const QString& explanation = {});
QLabel* explanationLabel(const QString& text);
QFormLayout* settingsForm(QWidget* page);
// The same rows for a section inside a page, without margins of its own.
QFormLayout* sectionForm(QWidget* section);
QCheckBox* settingsCheckBox(const QString& text);
// A page too tall for the window: fills the tab with a frameless scroll
// area and gives the widget to lay the rows on.
QWidget* scrollingPage(QWidget* tab);
// Sections stacked on one page share one label column, so their fields
// start at the same edge.
void alignLabelColumns(QWidget* page);

// A combo box that fills itself just before it opens, so a device plugged in
// while the window was open is there to be chosen.
class RefreshingComboBox : public QComboBox {
    Q_OBJECT
public:
    using QComboBox::QComboBox;
    std::function<void()> beforePopup;

    void showPopup() override;
};

} // namespace ostinel
