#pragma once

#include <QObject>

#include "workspace/WaveformController.h"

class QWidget;

namespace ostinel {

// Keeps the controller told where a strip stands in its window, and that it
// is gone while hidden, so a marquee begun on one strip can reach the others.
// Watches the strip and each of its ancestors: a splitter or a layout moving
// a parent moves the strip without an event of the strip's own.
class StripFrameReporter : public QObject {
  public:
    StripFrameReporter(QWidget& strip, WaveformController& controller, WaveformController::Strip kind);
    ~StripFrameReporter() override;

    void report();

  protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

  private:
    void watchAncestors();

    QWidget& strip_;
    WaveformController& controller_;
    WaveformController::Strip kind_;
};

} // namespace ostinel
