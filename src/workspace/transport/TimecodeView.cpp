#include "workspace/transport/TimecodeView.h"

#include <QFontMetrics>
#include <QPainter>
#include <QTimer>

#include "document/AppState.h"
#include "playback/PlaybackEngine.h"
#include "timecode/CurrentTimecode.h"
#include "timecode/TimecodeController.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/transport/TransportViews.h"

namespace ostinel {

namespace {
constexpr int headerPoint = 15;
constexpr int largePoint = 64;
constexpr int padding = 8;
} // namespace

TimecodeView::TimecodeView(Workspace& workspace, Size size, QWidget* parent)
    : QWidget(parent), workspace_(workspace), size_(size) {
    setAttribute(Qt::WA_OpaquePaintEvent);
    auto repaint = qOverload<>(&QWidget::update);
    connect(&workspace.state, &AppState::selectedTrackIDChanged, this, repaint);
    connect(&workspace.state, &AppState::showChanged, this, repaint);
    frames_ = new QTimer(this);
    frames_->setInterval(frameMilliseconds);
    connect(frames_, &QTimer::timeout, this, repaint);
    connect(&workspace.engine, &PlaybackEngine::isPlayingChanged, this, [this] {
        if (workspace_.engine.isPlaying())
            frames_->start();
        else
            frames_->stop();
        update();
    });
    connect(&workspace.engine, &PlaybackEngine::currentURLChanged, this, repaint);
    connect(&workspace.engine, &PlaybackEngine::positionEpochChanged, this, repaint);
    if (workspace.timecode) connect(workspace.timecode, &TimecodeController::rateChanged, this, repaint);
}

QString TimecodeView::text() const {
    const TimecodeRate rate = workspace_.timecode ? workspace_.timecode->rate() : TimecodeRate::fps25;
    return QString::fromStdString(currentTimecodeString(workspace_.state, workspace_.engine, rate));
}

QSize TimecodeView::sizeHint() const {
    const QFontMetrics digits(theme::clockFont(size_ == Size::large ? largePoint : headerPoint));
    const QFontMetrics caption(captionFont());
    const int extra = size_ == Size::large ? 0 : caption.height();
    return {digits.horizontalAdvance(QStringLiteral("00:00:00:00")) + 2 * padding, extra + digits.height() + 12};
}

void TimecodeView::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), theme::panel);
    QRect valueRect = rect().adjusted(padding, 4, -padding, -4);
    if (size_ == Size::header) {
        const QFont caption = captionFont();
        const QRect titleRect(padding, 4, width() - 2 * padding, QFontMetrics(caption).height());
        p.setFont(caption);
        p.setPen(theme::textDim);
        p.drawText(titleRect, Qt::AlignLeft | Qt::AlignVCenter, QStringLiteral("TIMECODE"));
        valueRect.setTop(titleRect.bottom() + 2);
    }
    p.setFont(theme::clockFont(size_ == Size::large ? largePoint : headerPoint));
    p.setPen(workspace_.engine.isPlaying() ? theme::text : theme::textDim);
    p.drawText(valueRect, (size_ == Size::large ? Qt::AlignHCenter : Qt::AlignLeft) | Qt::AlignVCenter, text());
}

} // namespace ostinel
