#pragma once

#include <QWidget>

namespace ostinel {

struct Workspace;

// Time marks over the waveform, at a spacing that keeps the labels apart at
// any zoom. A click while stopped moves the playhead.
class TimeRuler : public QWidget {
    Q_OBJECT
public:
    explicit TimeRuler(Workspace& workspace, QWidget* parent = nullptr);

    // Seconds between labelled marks for this many seconds per point.
    static double labelStep(double secondsPerPoint);

protected:
    void paintEvent(QPaintEvent* event) override;
    void mouseReleaseEvent(QMouseEvent* event) override;

private:
    Workspace& ws_;
};

} // namespace ostinel
