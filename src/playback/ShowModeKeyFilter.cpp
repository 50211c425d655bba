#include "playback/ShowModeKeyFilter.h"

#include <QAbstractSpinBox>
#include <QApplication>
#include <QComboBox>
#include <QKeyEvent>
#include <QLineEdit>
#include <QMouseEvent>
#include <QPlainTextEdit>
#include <QTextEdit>

#include <utility>

namespace ostinel {
namespace {

// A modifier alone is no key-down for the commands; the menu bar needs Alt.
bool isModifierKey(int key) {
    switch (key) {
    case Qt::Key_Shift:
    case Qt::Key_Control:
    case Qt::Key_Meta:
    case Qt::Key_Alt:
    case Qt::Key_AltGr:
    case Qt::Key_Super_L:
    case Qt::Key_Super_R:
    case Qt::Key_CapsLock:
    case Qt::Key_NumLock:
        return true;
    default:
        return false;
    }
}

} // namespace

ShowModeKeyFilter::ShowModeKeyFilter(CueContext& context, QObject* parent)
    : QObject(parent), context_(context) {}

KeyPress ShowModeKeyFilter::keyPress(const QKeyEvent& event) {
    using Key = KeyPress::Key;
    KeyPress press;
    const int code = event.key();
    const auto modifiers = event.modifiers();
    press.command = modifiers.testFlag(Qt::ControlModifier);
    press.shift = modifiers.testFlag(Qt::ShiftModifier);
    press.option = modifiers.testFlag(Qt::AltModifier);
    press.control = modifiers.testFlag(Qt::MetaModifier);
    static constexpr std::pair<int, Key> named[] = {
        {Qt::Key_Space, Key::space},
        {Qt::Key_Return, Key::returnKey},
        {Qt::Key_Enter, Key::keypadEnter},
        {Qt::Key_Escape, Key::escape},
        {Qt::Key_Up, Key::up},
        {Qt::Key_Down, Key::down},
        {Qt::Key_Backspace, Key::deleteBackward},
        {Qt::Key_Delete, Key::deleteForward},
    };
    for (const auto& [qtKey, key] : named)
        if (code == qtKey) press.key = key;
    // The key code, not the text: Ctrl turns letters into control characters.
    if (code >= Qt::Key_0 && code <= Qt::Key_9) {
        press.key = Key::character;
        press.characters = char('0' + (code - Qt::Key_0));
    } else if (code >= Qt::Key_A && code <= Qt::Key_Z) {
        press.key = Key::character;
        press.characters = char('a' + (code - Qt::Key_A));
    } else if (press.key == Key::other && !event.text().isEmpty() && event.text().at(0).isPrint()) {
        press.key = Key::character;
        press.characters = event.text().toStdString();
    }
    return press;
}

bool ShowModeKeyFilter::isTextField(const QWidget* widget) {
    // An editable combo box keeps the focus itself and types into its line edit.
    const auto* combo = qobject_cast<const QComboBox*>(widget);
    return qobject_cast<const QLineEdit*>(widget) || qobject_cast<const QTextEdit*>(widget) ||
           qobject_cast<const QPlainTextEdit*>(widget) || qobject_cast<const QAbstractSpinBox*>(widget) ||
           (combo && combo->isEditable());
}

bool ShowModeKeyFilter::eventFilter(QObject* watched, QEvent* event) {
    followModifiers(*event);
    const auto type = event->type();
    if (!watched->isWidgetType()) return false;
    if (type == QEvent::MouseButtonPress) endEditingOnClickOutside(static_cast<QMouseEvent&>(*event));
    // The shortcut lookup comes before the key press: deciding there puts the
    // commands ahead of every shortcut, and Ctrl+Q still reaches the menu.
    if (type != QEvent::ShortcutOverride && type != QEvent::KeyPress) return false;
    auto& key = static_cast<QKeyEvent&>(*event);
    auto& widget = static_cast<QWidget&>(*watched);
    // An application filter sees the event again at every parent it is passed
    // on to; act only where it is first delivered.
    const QWidget* first = widget.window()->focusWidget();
    if (&widget != (first ? first : widget.window())) return false;
    if (QApplication::activePopupWidget() || QApplication::activeModalWidget() || isModifierKey(key.key()))
        return false;

    Decided now{key.key(), int(key.modifiers()), key.isAutoRepeat(), false};
    const bool decidedBefore = type == QEvent::KeyPress && decided_ && decided_->key == now.key &&
                               decided_->modifiers == now.modifiers && decided_->repeat == now.repeat;
    now.consumed = decidedBefore ? decided_->consumed : keyDown(widget, key);
    decided_.reset();
    if (type == QEvent::ShortcutOverride) decided_ = now;
    if (now.consumed) key.accept();
    return now.consumed;
}

bool ShowModeKeyFilter::keyDown(QWidget& target, QKeyEvent& event) {
    KeyPress press = keyPress(event);
    press.textFieldFocused = isTextField(&target);
    // Holding a key must not fire a cue again; only the arrows walk on.
    const bool walks = press.key == KeyPress::Key::up || press.key == KeyPress::Key::down;
    if (event.isAutoRepeat() && !press.textFieldFocused && !walks) return !press.command;
    return ShowModeKeys::handle(press, context_);
}

void ShowModeKeyFilter::followModifiers(const QEvent& event) {
    CueWaveform& waveform = context_.waveform;
    switch (event.type()) {
    case QEvent::WindowDeactivate:
        // Releases made in another application never arrive.
        waveform.setSnapSuppressed(false);
        waveform.setBeatStepHeld(false);
        break;
    case QEvent::KeyPress:
    case QEvent::KeyRelease: {
        // A modifier's own press or release may report the state before it.
        const auto& key = static_cast<const QKeyEvent&>(event);
        const bool down = event.type() == QEvent::KeyPress;
        waveform.setSnapSuppressed(key.key() == Qt::Key_Alt ? down
                                                            : key.modifiers().testFlag(Qt::AltModifier));
        waveform.setBeatStepHeld(key.key() == Qt::Key_Shift ? down
                                                            : key.modifiers().testFlag(Qt::ShiftModifier));
        break;
    }
    case QEvent::MouseButtonPress:
    case QEvent::MouseButtonRelease:
    case QEvent::MouseMove:
    case QEvent::Wheel: {
        const auto modifiers = static_cast<const QInputEvent&>(event).modifiers();
        waveform.setSnapSuppressed(modifiers.testFlag(Qt::AltModifier));
        waveform.setBeatStepHeld(modifiers.testFlag(Qt::ShiftModifier));
        break;
    }
    default:
        break;
    }
}

void ShowModeKeyFilter::endEditingOnClickOutside(const QMouseEvent& event) {
    if (event.button() != Qt::LeftButton || QApplication::activePopupWidget()) return;
    QWidget* field = QApplication::focusWidget();
    if (!isTextField(field)) return;
    if (!field->rect().contains(field->mapFromGlobal(event.globalPosition().toPoint()))) field->clearFocus();
}

} // namespace ostinel
