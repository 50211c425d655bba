#pragma once

#include <QWidget>

class QLabel;
class QPushButton;
class QTimer;

namespace ostinel {

struct Workspace;
class ClockView;
class ElidedLabel;
class MeterView;
class TimecodeView;

// GO!, the transport buttons, the mode switch, the running and next cue, the
// clocks and the output meters: the strip the operator watches during a show.
class TransportBar : public QWidget {
    Q_OBJECT
public:
    explicit TransportBar(Workspace& workspace, QWidget* parent = nullptr);
    ~TransportBar() override;

    // True while the position repaint timer runs (only while playing).
    bool isAnimating() const;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    QPushButton* makeButton(const QString& text, const QString& toolTip);
    void updatePlaying();
    void updateMode();
    void updateCueNames();
    void updateActivity();

    Workspace& workspace_;
    QPushButton* go_ = nullptr;
    QPushButton* playPause_ = nullptr;
    QPushButton* stop_ = nullptr;
    QPushButton* previous_ = nullptr;
    QPushButton* next_ = nullptr;
    QPushButton* editMode_ = nullptr;
    QPushButton* showMode_ = nullptr;
    QLabel* currentCaption_ = nullptr;
    ElidedLabel* current_ = nullptr;
    QLabel* upcomingCaption_ = nullptr;
    ElidedLabel* upcoming_ = nullptr;
    ElidedLabel* activity_ = nullptr;
    ClockView* clock_ = nullptr;
    TimecodeView* timecode_ = nullptr;
    MeterView* meters_ = nullptr;
    QLabel* noOutput_ = nullptr;
    QTimer* frameTimer_ = nullptr;
};

} // namespace ostinel
