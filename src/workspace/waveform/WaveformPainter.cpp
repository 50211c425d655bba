#include "workspace/waveform/WaveformPainter.h"

#include <QPainter>
#include <QPainterPath>

#include <algorithm>
#include <cmath>

#include "document/Track.h"
#include "document/VolumeAutomation.h"
#include "playback/LevelLaw.h"
#include "workspace/common/Theme.h"
#include "workspace/waveform/WaveformColumns.h"

namespace ostinel::waveform {

double levelScaleFor(double volume) {
    return LevelLaw::sliderForAmplitude(volume) / LevelLaw::sliderForAmplitude(1.0);
}

void WaveformPainter::paint(QPainter& p, const CanvasScene& s) {
    p.fillRect(0, 0, s.width, int(s.metrics.height), theme::panel);
    if (!s.track) return;
    if (s.track->duration <= 0.0) return paintPlaceholder(p, s);
    paintLoops(p, s);
    paintWave(p, s);
    if (s.track->beatgridEnabled) paintBeatGrid(p, s);
    if (s.mark) {
        double a = s.geometry.xAt(std::min(s.mark->first, s.mark->second));
        double b = s.geometry.xAt(std::max(s.mark->first, s.mark->second));
        p.fillRect(QRectF(a, 0, std::max(b - a, 1.0), s.metrics.height), theme::mark);
    }
    if (!s.track->volumeAutomationEnabled) paintFades(p, s);
    paintAutomation(p, s);
    paintInOut(p, s);
    if (s.playhead) {
        double x = s.geometry.xAt(*s.playhead);
        p.setPen(QPen(theme::playhead, 2));
        p.drawLine(QPointF(x, 0), QPointF(x, s.metrics.height));
    }
    paintReadout(p, s);
}

QColor bandTint(const std::array<float, 3>& band, const QColor& plain) {
    const float top = std::max({band[0], band[1], band[2]});
    if (top <= 0.0f) return plain;
    // Averaging columns dulls the hue; scale back so the strongest band is full.
    return QColor::fromRgbF(band[0] / top, band[1] / top, band[2] / top);
}

void WaveformPainter::paintWave(QPainter& p, const CanvasScene& s) {
    if (!s.peaks || s.peaks->empty()) return paintPlaceholder(p, s);
    if (s.bands && !s.bands->empty()) return paintTinted(p, s);
    const auto& g = s.geometry;
    visibleColumnPeaks(*s.peaks, g.contentWidth, g.scrollX, s.width, columns_);
    const double mid = (s.metrics.waveTop() + s.metrics.waveBottom()) / 2.0;
    const double half = (s.metrics.waveBottom() - s.metrics.waveTop()) / 2.0;
    const double inX = g.xAt(s.track->startSeconds), outX = g.xAt(s.track->effectiveEnd());
    inside_.clear();
    outside_.clear();
    for (int x = 0; x < s.width; ++x) {
        double a = std::min(double(columns_[std::size_t(x)]) * s.levelScale, 1.0) * half;
        QLine line(x, int(std::lround(mid - a)), x, int(std::lround(mid + a)));
        (x + 0.5 >= inX && x + 0.5 <= outX ? inside_ : outside_).push_back(line);
    }
    p.setPen(QPen(theme::waveform, 1));
    p.drawLines(inside_);
    p.setPen(QPen(theme::waveformOutside, 1));
    p.drawLines(outside_);
}

void WaveformPainter::paintTinted(QPainter& p, const CanvasScene& s) {
    const auto& g = s.geometry;
    visibleColumnPeaks(*s.peaks, g.contentWidth, g.scrollX, s.width, columns_);
    visibleColumnBands(*s.bands, g.contentWidth, g.scrollX, s.width, columnBands_);
    const double mid = (s.metrics.waveTop() + s.metrics.waveBottom()) / 2.0;
    const double half = (s.metrics.waveBottom() - s.metrics.waveTop()) / 2.0;
    const double inX = g.xAt(s.track->startSeconds), outX = g.xAt(s.track->effectiveEnd());
    for (int x = 0; x < s.width; ++x) {
        const auto column = std::size_t(x);
        const double a = std::min(double(columns_[column]) * s.levelScale, 1.0) * half;
        const bool inside = x + 0.5 >= inX && x + 0.5 <= outX;
        QColor colour = bandTint(columnBands_[column], inside ? theme::waveform : theme::waveformOutside);
        // Outside the in and out points the hue stays but fades back.
        if (!inside) colour.setAlphaF(0.45f);
        p.setPen(QPen(colour, 1));
        p.drawLine(x, int(std::lround(mid - a)), x, int(std::lround(mid + a)));
    }
}

void WaveformPainter::paintPlaceholder(QPainter& p, const CanvasScene& s) {
    p.setPen(theme::textDim);
    p.drawText(QRectF(0, s.metrics.waveTop(), s.width, s.metrics.waveBottom() - s.metrics.waveTop()),
               Qt::AlignCenter | Qt::TextWordWrap, s.placeholder);
}

void WaveformPainter::paintBeatGrid(QPainter& p, const CanvasScene& s) {
    const Track& t = *s.track;
    if (t.bpm <= 0.0) return;
    const auto& g = s.geometry;
    double spacing = 60.0 / t.bpm * 4.0 * t.beatgridBars;
    double perPoint = g.secondsPerPoint();
    if (spacing <= 0.0 || perPoint <= 0.0) return;
    // Too dense to read: show every second, fourth... line instead.
    while (spacing / perPoint < 8.0) spacing *= 2.0;
    double first = t.beatOffsetSeconds + std::ceil((g.timeAt(0) - t.beatOffsetSeconds) / spacing) * spacing;
    p.setPen(QPen(theme::beatGrid, 1));
    for (double time = first; time <= g.timeAt(s.width); time += spacing) {
        double x = g.xAt(time);
        p.drawLine(QPointF(x, s.metrics.waveTop()), QPointF(x, s.metrics.waveBottom()));
    }
    double ax = g.xAt(t.beatOffsetSeconds);
    p.setPen(QPen(theme::beatAnchor, 2));
    p.drawLine(QPointF(ax, s.metrics.waveTop()), QPointF(ax, s.metrics.waveBottom()));
    if (s.editable) {
        double top = s.metrics.anchorTop(), h = CanvasMetrics::anchorHeight;
        QPolygonF diamond{{ax, top}, {ax + h / 2, top + h / 2}, {ax, top + h}, {ax - h / 2, top + h / 2}};
        p.setPen(Qt::NoPen);
        p.setBrush(theme::beatAnchor);
        p.drawPolygon(diamond);
        p.setBrush(Qt::NoBrush);
    }
}

void WaveformPainter::paintFades(QPainter& p, const CanvasScene& s) {
    const Track& t = *s.track;
    const auto& g = s.geometry;
    // The fade law: straight in dB from -60 to 0, drawn on the automation scale.
    auto curve = [&](double from, double to, bool rising) {
        QPainterPath path;
        const int steps = 48;
        for (int i = 0; i <= steps; ++i) {
            double f = double(i) / steps;
            double level = rising ? f : 1.0 - f;
            double db = level <= 0.0 ? CanvasMetrics::floorDb : (1.0 - level) * -60.0;
            QPointF pt(g.xAt(from + f * (to - from)), s.metrics.dbToY(db));
            i == 0 ? path.moveTo(pt) : path.lineTo(pt);
        }
        p.drawPath(path);
    };
    p.setRenderHint(QPainter::Antialiasing, true);
    p.setPen(QPen(theme::fadeFlag, 2));
    double in = t.fade.fadeInSeconds, out = t.fade.fadeOutSeconds;
    if (in > 0.0) curve(t.startSeconds, t.startSeconds + in, true);
    if (out > 0.0) curve(t.effectiveEnd() - out, t.effectiveEnd(), false);
    p.setRenderHint(QPainter::Antialiasing, false);
    if (!s.editable) return;
    auto flag = [&](double x, bool pointsRight) {
        double w = CanvasMetrics::flagHalfWidth * 2, h = CanvasMetrics::fadeFlagHeight;
        QPolygonF tab = pointsRight ? QPolygonF{{x, 0}, {x + w, 0}, {x + w * 0.6, h / 2}, {x + w, h}, {x, h}}
                                    : QPolygonF{{x, 0}, {x - w, 0}, {x - w * 0.6, h / 2}, {x - w, h}, {x, h}};
        p.setPen(Qt::NoPen);
        p.setBrush(theme::fadeFlag);
        p.drawPolygon(tab);
        p.setPen(QPen(theme::fadeFlag, 1));
        p.drawLine(QPointF(x, 0), QPointF(x, s.metrics.waveTop()));
    };
    flag(g.xAt(t.startSeconds + in), true);
    flag(g.xAt(t.effectiveEnd() - out), false);
    p.setBrush(Qt::NoBrush);
}

void WaveformPainter::paintAutomation(QPainter& p, const CanvasScene& s) {
    const Track& t = *s.track;
    if (t.volumeAutomation.empty()) return;
    const auto& g = s.geometry;
    QColor colour = theme::automation;
    if (!t.volumeAutomationEnabled) colour.setAlpha(90);
    p.setRenderHint(QPainter::Antialiasing, true);
    QPainterPath path;
    path.moveTo(0, s.metrics.dbToY(t.volumeAutomation.front().db));
    for (const auto& pt : t.volumeAutomation) path.lineTo(g.xAt(pt.timeSeconds), s.metrics.dbToY(pt.db));
    path.lineTo(s.width, s.metrics.dbToY(t.volumeAutomation.back().db));
    p.setPen(QPen(colour, 2));
    p.drawPath(path);
    if (s.editable) {
        p.setBrush(colour);
        p.setPen(QPen(theme::panel, 1.5));
        const double r = CanvasMetrics::pointRadius;
        for (const auto& pt : t.volumeAutomation)
            p.drawEllipse(QPointF(g.xAt(pt.timeSeconds), s.metrics.dbToY(pt.db)), r, r);
        p.setBrush(Qt::NoBrush);
    }
    p.setRenderHint(QPainter::Antialiasing, false);
}

void WaveformPainter::paintLoops(QPainter& p, const CanvasScene& s) {
    const auto& g = s.geometry;
    const double top = CanvasMetrics::loopBarTop, h = CanvasMetrics::loopBarHeight;
    for (const auto& loop : s.track->loops) {
        double a = g.xAt(loop.startSeconds), b = g.xAt(loop.endSeconds);
        if (b < 0 || a > s.width) continue;
        bool selected = s.selectedLoopID == loop.id;
        bool active = s.activeLoopID == loop.id;
        QColor wash = theme::loop;
        wash.setAlpha(loop.enabled ? (active ? 70 : 40) : 18);
        p.fillRect(QRectF(a, top, b - a, s.metrics.height - top), wash);

        QColor bar = theme::loop;
        if (!loop.enabled) bar = bar.darker(220);
        else if (!selected) bar = bar.darker(130);
        QRectF barRect(a, top, b - a, h);
        p.fillRect(barRect, bar);
        if (selected) {
            p.setPen(QPen(theme::text, 2));
            p.drawRect(barRect.adjusted(1, 1, -1, -1));
        }
        // The logo: a ring, filled when the loop is on.
        double logo = loopLogoX(a);
        QRectF ring(logo + 4, top + 4, h - 8, h - 8);
        p.setRenderHint(QPainter::Antialiasing, true);
        p.setPen(QPen(theme::text, 2));
        p.setBrush(loop.enabled ? QBrush(theme::text) : Qt::NoBrush);
        p.drawEllipse(ring);
        p.setBrush(Qt::NoBrush);
        p.setRenderHint(QPainter::Antialiasing, false);

        QString label = QString::fromStdString(loop.name);
        if (loop.playCountEnabled) label += QStringLiteral("  \u00d7%1").arg(loop.playCount);
        p.setPen(loop.enabled ? theme::text : theme::textDim);
        QRectF textRect(logo + h + 2, top, std::max(b - logo - h - CanvasMetrics::knobWidth - 4, 0.0), h);
        p.drawText(textRect, Qt::AlignVCenter | Qt::AlignLeft,
                   p.fontMetrics().elidedText(label, Qt::ElideRight, int(textRect.width())));
        if (s.editable) {
            const double k = CanvasMetrics::knobWidth;
            p.fillRect(QRectF(a, top, k / 2, h), theme::text);
            p.fillRect(QRectF(b - k / 2, top, k / 2, h), theme::text);
        }
    }
}

void WaveformPainter::paintInOut(QPainter& p, const CanvasScene& s) {
    const auto& g = s.geometry;
    const double h = s.metrics.height, fh = CanvasMetrics::inOutFlagHeight;
    auto flag = [&](double x, bool in) {
        // A line on the very edge would be half drawn, or not at all.
        const double drawnX = x >= 0.0 && x <= s.width ? std::clamp(x, 1.0, std::max(1.0, s.width - 1.0)) : x;
        p.setPen(QPen(theme::inOutFlag, 2));
        p.drawLine(QPointF(drawnX, 0), QPointF(drawnX, h));
        if (!s.editable) return;
        const TabSpan span = inOutTab(x, in, s.metrics);
        QRectF tab(span.left, h - fh, span.right - span.left, fh);
        p.fillRect(tab, theme::inOutFlag);
        p.setPen(theme::text);
        p.drawText(tab, Qt::AlignCenter, in ? QStringLiteral("IN") : QStringLiteral("OUT"));
    };
    flag(g.xAt(s.track->startSeconds), true);
    flag(g.xAt(s.track->effectiveEnd()), false);
}

void WaveformPainter::paintReadout(QPainter& p, const CanvasScene& s) {
    if (!s.readoutPointID) return;
    const AutomationPoint* pt =
        s.track->volumeAutomation.findIf([&](const AutomationPoint& a) { return a.id == *s.readoutPointID; });
    if (!pt) return;
    QString text = pt->db <= CanvasMetrics::floorDb ? QStringLiteral("-\u221e dB")
                                                      : QStringLiteral("%1 dB").arg(pt->db, 0, 'f', 1);
    QFont font = p.font();
    font.setPointSizeF(font.pointSizeF() * 1.3);
    font.setBold(true);
    p.setFont(font);
    QRectF box = p.fontMetrics().boundingRect(text).adjusted(-8, -4, 8, 4);
    QPointF at(s.geometry.xAt(pt->timeSeconds) + 14, s.metrics.dbToY(pt->db) - 14 - box.height());
    at.setX(std::clamp(at.x(), 0.0, std::max(0.0, s.width - box.width())));
    at.setY(std::max(at.y(), 0.0));
    box.moveTopLeft(at);
    p.fillRect(box, theme::panelRaised);
    p.setPen(theme::automation);
    p.drawText(box, Qt::AlignCenter, text);
}

} // namespace ostinel::waveform
