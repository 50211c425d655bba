#include "workspace/common/StripFrameReporter.h"

#include <QEvent>
#include <QWidget>

namespace ostinel {

StripFrameReporter::StripFrameReporter(QWidget& strip, WaveformController& controller,
                                       WaveformController::Strip kind)
    : strip_(strip), controller_(controller), kind_(kind) {
    strip_.installEventFilter(this);
    watchAncestors();
}

StripFrameReporter::~StripFrameReporter() {
    controller_.setStripFrame(kind_, std::nullopt);
}

void StripFrameReporter::report() {
    if (!strip_.isVisible()) {
        controller_.setStripFrame(kind_, std::nullopt);
        return;
    }
    const QPoint origin = strip_.mapTo(strip_.window(), QPoint(0, 0));
    controller_.setStripFrame(kind_, StripFrame{double(origin.x()), double(origin.y()),
                                                double(strip_.width()), double(strip_.height())});
}

void StripFrameReporter::watchAncestors() {
    for (QWidget* w = strip_.parentWidget(); w && !w->isWindow(); w = w->parentWidget())
        w->installEventFilter(this);
}

bool StripFrameReporter::eventFilter(QObject* watched, QEvent* event) {
    switch (event->type()) {
    case QEvent::ParentChange:
        if (watched == &strip_) watchAncestors();
        report();
        break;
    case QEvent::Move:
    case QEvent::Resize:
    case QEvent::Show:
        report();
        break;
    case QEvent::Hide:
        if (watched == &strip_) controller_.setStripFrame(kind_, std::nullopt);
        break;
    default:
        break;
    }
    return false;
}

} // namespace ostinel
