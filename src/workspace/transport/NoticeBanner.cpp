#include "workspace/transport/NoticeBanner.h"

#include <QMouseEvent>
#include <QPainter>

#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/transport/TransportViews.h"

namespace ostinel {
namespace {

constexpr int bannerPoint = 14;
constexpr int margin = 10;

QFont bannerFont() { return boldFont(bannerPoint); }

} // namespace

NoticeBanner::NoticeBanner(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    setFocusPolicy(Qt::NoFocus);
    setCursor(Qt::PointingHandCursor);
    setToolTip(tr("Click to dismiss"));
    setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    connect(&workspace_.engine, &PlaybackEngine::noticeChanged, this, &NoticeBanner::noticeChanged);
    noticeChanged();
}

NoticeBanner::~NoticeBanner() { cancelClear(); }

QString NoticeBanner::text() const {
    const auto& notice = workspace_.engine.notice();
    return notice ? QString::fromStdString(*notice) : QString();
}

QSize NoticeBanner::sizeHint() const { return {400, QFontMetrics(bannerFont()).height() + 2 * margin}; }

void NoticeBanner::noticeChanged() {
    cancelClear();
    const bool shown = workspace_.engine.notice().has_value();
    // Without a parent, showing would make a window of its own.
    if (parentWidget() || !shown) setVisible(shown);
    if (shown) {
        // A replacement gets its own full time on screen.
        clearTimer_ = workspace_.loop.after(ShowModeKeys::noticeBannerSeconds, [this] {
            clearTimer_.reset();
            workspace_.engine.setNotice(std::nullopt);
        });
    }
    update();
}

void NoticeBanner::cancelClear() {
    if (clearTimer_) workspace_.loop.cancel(*clearTimer_);
    clearTimer_.reset();
}

void NoticeBanner::mousePressEvent(QMouseEvent* event) {
    event->accept();
    workspace_.engine.setNotice(std::nullopt);
}

void NoticeBanner::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.setRenderHint(QPainter::Antialiasing);
    p.fillRect(rect(), theme::window);
    p.setPen(Qt::NoPen);
    p.setBrush(theme::warning);
    p.drawRoundedRect(QRectF(rect()).adjusted(4, 3, -4, -3), 6, 6);

    p.setFont(bannerFont());
    p.setPen(theme::window);
    const QRect inner = rect().adjusted(margin + 8, 0, -margin - 8, 0);
    const QString close = QStringLiteral("✕");
    const int closeWidth = p.fontMetrics().horizontalAdvance(close) + margin;
    p.drawText(inner.adjusted(0, 0, -closeWidth, 0), Qt::AlignLeft | Qt::AlignVCenter,
               p.fontMetrics().elidedText(QStringLiteral("⚠  ") + text(), Qt::ElideRight, inner.width() - closeWidth));
    p.drawText(inner, Qt::AlignRight | Qt::AlignVCenter, close);
}

} // namespace ostinel
