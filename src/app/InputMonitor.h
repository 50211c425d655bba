#pragma once

#include <QObject>

class QWidget;

namespace ostinel {

// The focused text field's own undo history, which Undo and Redo use before
// the show's: typing in a field is undone by the field.
namespace TextHistory {
QWidget* focusedTextField();
// True when the field had a step to take and took it.
bool step(QWidget* field, bool redo);
} // namespace TextHistory

// Lets Undo and Redo reach the menu even while a field has the keyboard;
// the menu command asks the field first.
class InputMonitor : public QObject {
    Q_OBJECT
public:
    explicit InputMonitor(QObject* parent = nullptr);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
};

} // namespace ostinel
