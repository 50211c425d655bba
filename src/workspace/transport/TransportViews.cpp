#include "workspace/transport/TransportViews.h"

#include <QPainter>
#include <QResizeEvent>

#include <algorithm>
#include <cmath>

#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"

namespace ostinel {

// --- ElidedLabel -------------------------------------------------------------------

void ElidedLabel::setFullText(const QString& text) {
    full_ = text;
    setToolTip(text);
    elide();
}

QSize ElidedLabel::minimumSizeHint() const { return {40, QLabel::minimumSizeHint().height()}; }

void ElidedLabel::resizeEvent(QResizeEvent* event) {
    QLabel::resizeEvent(event);
    elide();
}

void ElidedLabel::elide() { setText(fontMetrics().elidedText(full_, Qt::ElideRight, std::max(0, width()))); }

// --- ClockView -------------------------------------------------------------------------

namespace {

constexpr int captionPoint = 9;
constexpr int digitPoint = 28;
constexpr int columnPadding = 8;
// Under this many seconds left the remaining time turns to the warning colour.
constexpr double closingSeconds = 10.0;

} // namespace

QFont boldFont(int pointSize) {
    QFont f;
    f.setPointSize(pointSize);
    f.setBold(true);
    return f;
}

QFont captionFont() {
    QFont f = boldFont(captionPoint);
    f.setLetterSpacing(QFont::AbsoluteSpacing, 1.0);
    return f;
}

ClockView::ClockView(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    // The count-in's start is the moment playing begins in pre-roll.
    connect(&workspace_.engine, &PlaybackEngine::isPlayingChanged, this, [this] {
        const auto& engine = workspace_.engine;
        preRollStartedAt_.reset();
        if (engine.isPlaying() && engine.inPreRoll()) preRollStartedAt_ = workspace_.loop.now();
        update();
    });
}

CueClockTexts ClockView::texts() const {
    return cueClockTexts(cueClockInput(workspace_.engine, workspace_.loop.now(), preRollStartedAt_));
}

QSize ClockView::sizeHint() const {
    const QFontMetrics digits(theme::clockFont(digitPoint));
    const QFontMetrics caption(captionFont());
    // Room for a cue of up to an hour; a count-in's sign fits beside short ones.
    return {2 * (digits.horizontalAdvance(QStringLiteral("00:00.0")) + 2 * columnPadding),
            caption.height() + digits.height() + 12};
}

void ClockView::paintEvent(QPaintEvent*) {
    const auto input = cueClockInput(workspace_.engine, workspace_.loop.now(), preRollStartedAt_);
    const auto clock = cueClockTexts(input);
    const bool playing = workspace_.engine.isPlaying();

    QPainter p(this);
    p.fillRect(rect(), theme::panel);
    const QFont caption = captionFont();
    const QFont digits = theme::clockFont(digitPoint);
    const int captionHeight = QFontMetrics(caption).height();
    const int half = width() / 2;

    auto column = [&](int x, const QString& title, const QString& value, const QColor& colour) {
        const QRect titleRect(x + columnPadding, 4, half - columnPadding, captionHeight);
        const QRect valueRect(x + columnPadding, titleRect.bottom() + 2, half - columnPadding, height() - titleRect.bottom() - 6);
        p.setFont(caption);
        p.setPen(theme::textDim);
        p.drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter, title);
        p.setFont(digits);
        p.setPen(colour);
        p.drawText(valueRect, Qt::AlignLeft | Qt::AlignVCenter, value);
    };

    const bool counting = input.preRollLeft.has_value();
    column(0, counting ? QStringLiteral("PRE-ROLL") : QStringLiteral("ELAPSED"), QString::fromStdString(clock.elapsed),
           counting ? theme::preselected : (input.loaded ? theme::text : theme::textDim));

    QColor remainingColour = input.loaded ? theme::text : theme::textDim;
    if (input.looping)
        remainingColour = theme::loop;
    else if (playing && !counting && input.end - input.position < closingSeconds)
        remainingColour = theme::warning;
    column(half, QStringLiteral("REMAINING"), QString::fromStdString(clock.remaining), remainingColour);

    p.setPen(theme::divider);
    p.drawLine(half, 6, half, height() - 6);
}

// --- MeterView -------------------------------------------------------------------------

namespace {

constexpr int barWidth = 16;
constexpr int barGap = 5;
constexpr int labelHeight = 16;

double fractionOfLevel(float level) {
    if (level <= 0.0f) return 0.0;
    const double db = 20.0 * std::log10(double(level));
    return std::clamp((db - MeterView::floorDb) / -MeterView::floorDb, 0.0, 1.0);
}

double levelAt(double db) { return std::pow(10.0, db / 20.0); }

} // namespace

MeterView::MeterView(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    connect(&workspace_.engine, &PlaybackEngine::isPlayingChanged, this, [this] {
        if (!workspace_.engine.isPlaying()) {
            holdL_.reset();
            holdR_.reset();
        }
        update();
    });
}

QSize MeterView::sizeHint() const { return {4 * barWidth + 4 * barGap + 64, 96}; }

void MeterView::paintEvent(QPaintEvent*) {
    const auto& engine = workspace_.engine;
    const double now = workspace_.loop.now();
    holdL_.feed(engine.meterLevelL(), now);
    holdR_.feed(engine.meterLevelR(), now);

    QPainter p(this);
    p.fillRect(rect(), theme::panel);
    const int top = 6;
    const int bottom = height() - labelHeight - 4;
    const int span = std::max(1, bottom - top);
    p.setFont(boldFont(8));

    // Bands as on a desk: safe, hot, at the ceiling.
    const double hot = fractionOfLevel(float(levelAt(-12.0)));
    const double ceiling = fractionOfLevel(float(levelAt(-3.0)));
    auto bar = [&](int x, float level, const PeakHold& hold, const QString& label) {
        p.fillRect(x, top, barWidth, span, theme::window);
        const double f = fractionOfLevel(level);
        auto band = [&](double from, double to, const QColor& colour) {
            const double upper = std::min(f, to);
            if (upper <= from) return;
            const int y0 = bottom - int(std::lround(upper * span));
            const int y1 = bottom - int(std::lround(from * span));
            p.fillRect(x, y0, barWidth, y1 - y0, colour);
        };
        band(0.0, hot, theme::go);
        band(hot, ceiling, theme::warning);
        band(ceiling, 1.0, theme::stop);
        if (hold.value > 0.0f) {
            const int y = bottom - int(std::lround(fractionOfLevel(hold.value) * span));
            p.fillRect(x, std::max(top, y - 1), barWidth, 2, theme::playhead);
        }
        p.setPen(theme::textDim);
        p.drawText(QRect(x - 4, bottom + 2, barWidth + 8, labelHeight), Qt::AlignCenter, label);
    };
    const int xL = 6;
    const int xR = xL + barWidth + barGap;
    bar(xL, engine.meterLevelL(), holdL_, QStringLiteral("L"));
    bar(xR, engine.meterLevelR(), holdR_, QStringLiteral("R"));

    // Scale marks across both channels.
    p.setPen(theme::divider);
    for (double db : {-6.0, -12.0, -24.0}) {
        const int y = bottom - int(std::lround(fractionOfLevel(float(levelAt(db))) * span));
        p.drawLine(xL, y, xR + barWidth - 1, y);
    }

    // Gain reduction grows down from the top, the way a limiter pulls.
    const int xG = xR + barWidth + 3 * barGap;
    const double reduction = std::clamp(double(engine.limiterReductionDb()), 0.0, reductionRangeDb);
    p.fillRect(xG, top, barWidth, span, theme::window);
    if (reduction > 0.0) p.fillRect(xG, top, barWidth, int(std::lround(reduction / reductionRangeDb * span)), theme::fadeFlag);
    p.setPen(theme::textDim);
    p.drawText(QRect(xG - 6, bottom + 2, barWidth + 12, labelHeight), Qt::AlignCenter, QStringLiteral("LIM"));
    const bool limiting = reduction >= 0.1;
    p.setPen(limiting ? theme::fadeFlag : theme::textDim);
    p.drawText(QRect(xG + barWidth + 4, top, width() - xG - barWidth - 4, 18), Qt::AlignLeft | Qt::AlignVCenter,
               engine.limiterEnabled() ? (limiting ? QString::number(-reduction, 'f', 1) : QStringLiteral("0.0")) + QStringLiteral(" dB")
                                       : QStringLiteral("off"));
}

} // namespace ostinel
