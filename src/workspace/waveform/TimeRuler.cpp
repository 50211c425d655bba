#include "workspace/waveform/TimeRuler.h"

#include <QMouseEvent>
#include <QPainter>

#include <cmath>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "platform/MainLoop.h"
#include "workspace/common/Theme.h"
#include "workspace/common/TimelineClick.h"
#include "workspace/common/TimeText.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/TimelineFrame.h"

namespace ostinel {

namespace {

constexpr double minLabelGap = 90.0;

// Unlabelled ticks that fall on round values between the labels.
double minorStep(double step) {
    double lead = step / std::pow(10.0, std::floor(std::log10(step)));
    if (std::abs(lead - 2.0) < 1e-9 || std::abs(step - 120.0) < 1e-9) return step / 4.0;
    if (std::abs(lead - 1.5) < 1e-9 || std::abs(lead - 3.0) < 1e-9) return step / 3.0;
    return step / 5.0;
}

} // namespace

TimeRuler::TimeRuler(Workspace& workspace, QWidget* parent) : QWidget(parent), ws_(workspace) {
    setFixedHeight(26);
    setAttribute(Qt::WA_OpaquePaintEvent);
}

double TimeRuler::labelStep(double secondsPerPoint) {
    static constexpr double steps[] = {0.01, 0.02, 0.05, 0.1, 0.2, 0.5, 1, 2, 5, 10, 15, 30, 60, 120, 300, 600, 1200, 1800, 3600};
    for (double step : steps)
        if (step / secondsPerPoint >= minLabelGap) return step;
    return 3600.0 * std::ceil(secondsPerPoint * minLabelGap / 3600.0);
}

void TimeRuler::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), theme::panelRaised);
    p.setPen(theme::divider);
    p.drawLine(0, height() - 1, width(), height() - 1);
    auto frame = waveform::currentFrame(ws_);
    if (!frame || frame->track.duration <= 0.0) return;
    const auto& g = frame->geometry;
    const double perPoint = g.secondsPerPoint();
    const double step = labelStep(perPoint);
    const int decimals = step < 0.1 ? 2 : step < 1.0 ? 1 : 0;
    const double minor = minorStep(step);
    QFont font = p.font();
    font.setPointSizeF(font.pointSizeF() * 0.95);
    p.setFont(font);
    const double first = std::floor(g.timeAt(0) / minor) * minor;
    const double last = g.timeAt(width());
    for (int i = 0;; ++i) {
        double t = first + i * minor;
        if (t > last + minor) break;
        double x = std::round(g.xAt(t)) + 0.5;
        bool major = std::abs(std::remainder(t, step)) < minor / 10.0;
        p.setPen(major ? theme::textDim : theme::divider);
        p.drawLine(QPointF(x, major ? height() * 0.45 : height() * 0.7), QPointF(x, height()));
        if (major) {
            p.setPen(theme::text);
            p.drawText(QRectF(x + 4, 0, minLabelGap, height() * 0.7), Qt::AlignLeft | Qt::AlignVCenter,
                       QString::fromStdString(formatClock(std::max(t, 0.0), decimals)));
        }
    }
    if (ws_.engine.currentURL() == frame->track.url) {
        double x = g.xAt(ws_.engine.displayTime(ws_.loop.now()));
        p.setRenderHint(QPainter::Antialiasing, true);
        p.setPen(Qt::NoPen);
        p.setBrush(theme::playhead);
        p.drawPolygon(QPolygonF{{x - 7, height() * 0.4}, {x + 7, height() * 0.4}, {x, double(height())}});
    }
}

void TimeRuler::mouseReleaseEvent(QMouseEvent* event) {
    if (event->button() != Qt::LeftButton) return;
    auto frame = waveform::currentFrame(ws_);
    if (!frame || frame->track.duration <= 0.0) return;
    clickToSeek(ws_, frame->track, frame->geometry.timeAt(event->position().x()), true);
}

} // namespace ostinel
