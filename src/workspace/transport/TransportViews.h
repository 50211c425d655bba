#pragma once

#include <QLabel>
#include <QWidget>

#include <optional>

#include "workspace/transport/CueClock.h"

namespace ostinel {

struct Workspace;

// How often a moving reading repaints while the transport plays.
inline constexpr int frameMilliseconds = 33;

QFont boldFont(int pointSize);
// The small spaced capitals over each reading.
QFont captionFont();

// A one-line label that elides a long cue name instead of widening the bar.
class ElidedLabel : public QLabel {
public:
    using QLabel::QLabel;
    void setFullText(const QString& text);
    const QString& fullText() const { return full_; }
    QSize minimumSizeHint() const override;

protected:
    void resizeEvent(QResizeEvent* event) override;

private:
    void elide();
    QString full_;
};

// The running cue's elapsed and remaining time, read from the engine at
// paint time so that nothing is published per frame.
class ClockView : public QWidget {
public:
    explicit ClockView(Workspace& workspace, QWidget* parent = nullptr);

    CueClockTexts texts() const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Workspace& workspace_;
    std::optional<double> preRollStartedAt_;
};

// Stereo output peaks after the limiter, with peak hold, and the limiter's
// gain reduction.
class MeterView : public QWidget {
public:
    // The meter's floor, in dB below full scale.
    static constexpr double floorDb = -48.0;
    // The gain reduction scale.
    static constexpr double reductionRangeDb = 12.0;

    explicit MeterView(Workspace& workspace, QWidget* parent = nullptr);

    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Workspace& workspace_;
    PeakHold holdL_;
    PeakHold holdR_;
};

} // namespace ostinel
