#include <QPainter>

#include <algorithm>

#include "document/AppState.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/strips/StripEdits.h"
#include "workspace/strips/TimelineStripView.h"

namespace ostinel {

namespace {

constexpr double flagPadding = 7.0;
constexpr double maxFlagWidth = 240.0;
constexpr double flagGap = 3.0;

QFont flagFont(const QWidget& w) {
    QFont f = w.font();
    f.setPixelSize(14);
    f.setWeight(QFont::DemiBold);
    return f;
}

const QColor& colourOf(WaveformController::Strip kind) {
    switch (kind) {
    case WaveformController::Strip::midiTriggers:
        return theme::midiTrigger;
    case WaveformController::Strip::oscTriggers:
        return theme::oscTrigger;
    case WaveformController::Strip::notes:
    case WaveformController::Strip::waveform:
        break;
    }
    return theme::note;
}

} // namespace

std::vector<strips::MarkerSpan> TimelineStripView::markerSpans(const Track& track,
                                                               const TimelineGeometry& g) const {
    const QFontMetricsF metrics(flagFont(*this));
    std::vector<strips::MarkerSpan> spans;
    for (const auto& m : strips::stripMarkers(track, kind_)) {
        const double x = g.xAt(m.time);
        const double text = metrics.horizontalAdvance(QString::fromStdString(m.text));
        spans.push_back({m.id, x, x + std::min(text + 2.0 * flagPadding, maxFlagWidth)});
    }
    strips::clipFlags(spans, flagGap);
    return spans;
}

void TimelineStripView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), theme::panel);
    p.setPen(theme::divider);
    p.drawLine(0, 0, width(), 0);

    const auto track = this->track();
    if (!track || !(track->duration > 0.0)) {
        paintTitle(p, true, {});
        return;
    }
    const bool enabled = strips::stripEnabled(*track, kind_);
    const auto g = geometry(*track);
    if (auto mark = controller().mark(kind_)) {
        const double a = g.xAt(std::min(mark->start, mark->end));
        const double b = g.xAt(std::max(mark->start, mark->end));
        p.fillRect(QRectF(a, 1.0, std::max(b - a, 1.0), height() - 1.0), theme::mark);
    }
    const auto spans = markerSpans(*track, g);
    paintTitle(p, enabled, spans);
    p.setOpacity(enabled ? 1.0 : 0.35);
    paintMarkers(p, *track, spans);
    p.setOpacity(1.0);
    if (ws_.engine.currentURL() == track->url) {
        const double x = g.xAt(ws_.engine.displayTime(ws_.loop.now()));
        p.fillRect(QRectF(x - 1.0, 0.0, 2.0, height()), theme::playhead);
    }
}

void TimelineStripView::paintMarkers(QPainter& p, const Track& track,
                                     const std::vector<strips::MarkerSpan>& spans) {
    const QColor& colour = colourOf(kind_);
    const auto selected = strips::selectedItem(ws_.state, kind_);
    const auto markers = strips::stripMarkers(track, kind_);
    const QRectF band(0.0, 4.0, width(), height() - 8.0);
    p.setFont(flagFont(*this));
    for (std::size_t i = 0; i < spans.size(); ++i) {
        const auto& s = spans[i];
        if (s.right < 0.0 || s.x - 2.0 > width()) continue;
        const bool isSelected = selected == s.id;
        p.fillRect(QRectF(s.x - 1.0, 0.0, 2.0, height()), colour);
        const QRectF flag(s.x, band.top(), s.right - s.x, band.height());
        if (flag.width() < 4.0) continue;
        p.fillRect(flag, isSelected ? colour.lighter(125) : colour.darker(160));
        if (isSelected) {
            p.setPen(QPen(theme::text, 2.0));
            p.drawRect(flag.adjusted(1.0, 1.0, -1.0, -1.0));
        }
        p.setPen(isSelected ? theme::window : theme::text);
        const QRectF textRect = flag.adjusted(flagPadding, 0.0, -flagPadding / 2.0, 0.0);
        const QString text = p.fontMetrics().elidedText(QString::fromStdString(markers[i].text),
                                                        Qt::ElideRight, int(textRect.width()));
        p.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft, text);
    }
}

// Over the strip's left end, so it takes no width from the time axis the
// waveform shares; a marker there matters more, and hides it.
void TimelineStripView::paintTitle(QPainter& p, bool enabled, const std::vector<strips::MarkerSpan>& spans) {
    QFont f = font();
    f.setPixelSize(12);
    f.setWeight(QFont::Bold);
    f.setCapitalization(QFont::AllUppercase);
    f.setLetterSpacing(QFont::AbsoluteSpacing, 0.8);
    QString title = QString::fromStdString(strips::stripTitle(kind_));
    if (!enabled) title += tr(" \u00b7 off");
    const QRectF area(8.0, 0.0, QFontMetricsF(f).horizontalAdvance(title) + 2.0, height());
    for (const auto& s : spans)
        if (s.right >= 0.0 && s.x - 2.0 <= area.right() + 6.0) return;
    p.setFont(f);
    p.setPen(enabled ? theme::textDim : theme::textDim.darker(140));
    p.drawText(area, Qt::AlignVCenter | Qt::AlignLeft, title);
}

} // namespace ostinel
