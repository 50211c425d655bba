#pragma once

#include <QWidget>

class QLabel;
class QToolButton;

namespace ostinel {

struct Workspace;

// Zoom about the playhead, fit, follow, and the name of the cue on show.
class WaveformToolbar : public QWidget {
    Q_OBJECT
public:
    explicit WaveformToolbar(Workspace& workspace, QWidget* parent = nullptr);

    void refresh();

signals:
    void zoomInClicked();
    void zoomOutClicked();
    void fitClicked();

private:
    Workspace& ws_;
    QToolButton* follow_ = nullptr;
    QLabel* name_ = nullptr;
};

} // namespace ostinel
