#include "app/InputMonitor.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QKeyEvent>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QTextEdit>

#include "playback/ShowModeKeyFilter.h"

namespace ostinel {
namespace TextHistory {
namespace {

// The field itself, or the text field it is part of (a spin box's editor,
// a text edit's viewport).
QWidget* enclosingTextField(QWidget* w) {
    for (; w && !w->isWindow(); w = w->parentWidget())
        if (ShowModeKeyFilter::isTextField(w)) return w;
    return nullptr;
}

} // namespace

QWidget* focusedTextField() { return enclosingTextField(QApplication::focusWidget()); }

bool step(QWidget* field, bool redo) {
    if (auto* spin = qobject_cast<QAbstractSpinBox*>(field)) field = spin->findChild<QLineEdit*>();
    if (auto* line = qobject_cast<QLineEdit*>(field)) {
        if (line->isReadOnly() || !(redo ? line->isRedoAvailable() : line->isUndoAvailable())) return false;
        redo ? line->redo() : line->undo();
        return true;
    }
    QTextDocument* document = nullptr;
    if (auto* text = qobject_cast<QTextEdit*>(field); text && !text->isReadOnly()) document = text->document();
    if (auto* plain = qobject_cast<QPlainTextEdit*>(field); plain && !plain->isReadOnly()) document = plain->document();
    if (!document || !(redo ? document->isRedoAvailable() : document->isUndoAvailable())) return false;
    redo ? document->redo() : document->undo();
    return true;
}

} // namespace TextHistory

InputMonitor::InputMonitor(QObject* parent) : QObject(parent) {}

bool InputMonitor::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::ShortcutOverride: {
        // A field claims Ctrl+Z for itself; the menu command asks the field
        // first anyway, and falls back to the show when the field has nothing.
        auto* key = static_cast<QKeyEvent*>(event);
        if ((key->matches(QKeySequence::Undo) || key->matches(QKeySequence::Redo)) && TextHistory::focusedTextField()) {
            key->ignore();
            return true;
        }
        break;
    }
    default: break;
    }
    return QObject::eventFilter(watched, event);
}

} // namespace ostinel
