#pragma once

#include <QObject>

#include <optional>

#include "playback/ShowModeKeys.h"

class QKeyEvent;
class QMouseEvent;
class QWidget;

namespace ostinel {

// Installed on the application: hands key-downs to the cue commands before
// any widget or menu shortcut sees them and swallows those they consume;
// keeps the waveform's drag modifiers in step with Alt and Shift; and a click
// outside the text field being edited ends the editing, so the show keys work
// again.
class ShowModeKeyFilter : public QObject {
    Q_OBJECT
public:
    explicit ShowModeKeyFilter(CueContext& context, QObject* parent = nullptr);

    // The key and modifiers; whether a text field has focus is left unset.
    static KeyPress keyPress(const QKeyEvent& event);
    static bool isTextField(const QWidget* widget);

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    bool keyDown(QWidget& target, QKeyEvent& event);
    void followModifiers(const QEvent& event);
    void endEditingOnClickOutside(const QMouseEvent& event);

    CueContext& context_;
    // What handle made of a key while shortcuts were being looked up, for the
    // key press that follows.
    struct Decided {
        int key;
        int modifiers;
        bool repeat;
        bool consumed;
    };
    std::optional<Decided> decided_;
};

} // namespace ostinel
