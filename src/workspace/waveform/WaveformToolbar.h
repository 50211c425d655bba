#pragma once

#include <QWidget>

class QLabel;
class QToolButton;

namespace ostinel {

struct Workspace;

// Zoom about the playhead, fit, follow, the beat grid's wand, and the name
// of the cue on show.
class WaveformToolbar : public QWidget {
    Q_OBJECT
public:
    explicit WaveformToolbar(Workspace& workspace, QWidget* parent = nullptr);

    void refresh();
    QToolButton* tempoButton() const { return tempo_; }

signals:
    void zoomInClicked();
    void zoomOutClicked();
    void fitClicked();

private:
    Workspace& ws_;
    QToolButton* follow_ = nullptr;
    QToolButton* tempo_ = nullptr;
    QLabel* name_ = nullptr;
};

} // namespace ostinel
