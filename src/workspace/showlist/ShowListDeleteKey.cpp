#include "workspace/showlist/ShowListDeleteKey.h"

#include <QCoreApplication>
#include <QKeyEvent>

#include "playback/ShowModeKeys.h"
#include "workspace/common/Workspace.h"
#include "workspace/showlist/ShowListCanvas.h"

namespace ostinel {
namespace {

bool isDeleteKey(const QKeyEvent& key) {
    const auto held = key.modifiers() & (Qt::ControlModifier | Qt::AltModifier | Qt::MetaModifier);
    return (key.key() == Qt::Key_Delete || key.key() == Qt::Key_Backspace) && !held;
}

// The number map clears the mapping it is learning with Delete.
bool numberMapWantsDelete(const NumberKeys& numbers) {
    return numbers.mapMode && numbers.mapMode() && numbers.learningTrack && numbers.learningTrack();
}

} // namespace

ShowListDeleteKey::ShowListDeleteKey(ShowListCanvas& canvas) : canvas_(canvas) {}

// Installed again on every focus-in, so it stays ahead of the show keys.
void ShowListDeleteKey::attach() { QCoreApplication::instance()->installEventFilter(this); }

void ShowListDeleteKey::detach() { QCoreApplication::instance()->removeEventFilter(this); }

bool ShowListDeleteKey::eventFilter(QObject* watched, QEvent* event) {
    const auto type = event->type();
    if (watched != &canvas_ || (type != QEvent::ShortcutOverride && type != QEvent::KeyPress)) return false;
    auto& key = static_cast<QKeyEvent&>(*event);
    if (!isDeleteKey(key) || !canvas_.editable() || numberMapWantsDelete(canvas_.workspace().cues.numbers))
        return false;
    key.accept();
    // Held down, the key would go on to the rows that took their place.
    if (type == QEvent::KeyPress && !key.isAutoRepeat()) canvas_.removeSelectedRows();
    return true;
}

} // namespace ostinel
