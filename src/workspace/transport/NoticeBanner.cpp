#include "workspace/transport/NoticeBanner.h"

#include <algorithm>

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
    connect(&workspace_.engine, &PlaybackEngine::noticeChanged, this, &NoticeBanner::noticeChanged);
    noticeChanged();
}

NoticeBanner::~NoticeBanner() { cancelClear(); }

QString NoticeBanner::text() const {
    const auto& notice = workspace_.engine.notice();
    return notice ? QString::fromStdString(*notice) : QString();
}

QSize NoticeBanner::sizeHint() const { return {400, heightForWidth(400)}; }

bool NoticeBanner::hasHeightForWidth() const { return true; }

int NoticeBanner::heightForWidth(int width) const {
    const QFontMetrics metrics(bannerFont());
    const QRect text = metrics.boundingRect(QRect(0, 0, std::max(1, textWidth(metrics, width)), 10000),
                                            Qt::TextWordWrap, QStringLiteral("⚠  ") + this->text());
    return std::max(text.height(), metrics.height()) + 2 * margin;
}

int NoticeBanner::textWidth(const QFontMetrics& metrics, int width) {
    return width - 2 * (margin + 8) - metrics.horizontalAdvance(QStringLiteral("✕")) - margin;
}

void NoticeBanner::noticeChanged() {
    cancelClear();
    const bool shown = workspace_.engine.notice().has_value();
    // Without a parent, showing would make a window of its own.
    if (parentWidget() || !shown) setVisible(shown);
    if (shown) {
        place();
        // A replacement gets its own full time on screen.
        clearTimer_ = workspace_.loop.after(ShowModeKeys::noticeBannerSeconds, [this] {
            clearTimer_.reset();
            workspace_.engine.setNotice(std::nullopt);
        });
    }
    update();
}

void NoticeBanner::overlay(QWidget* content) {
    if (content_) content_->removeEventFilter(this);
    content_ = content;
    if (content_) content_->installEventFilter(this);
    place();
}

bool NoticeBanner::eventFilter(QObject* watched, QEvent* event) {
    if (watched == content_ && (event->type() == QEvent::Move || event->type() == QEvent::Resize)) place();
    return QWidget::eventFilter(watched, event);
}

// A long reason wraps rather than losing its end, so the height follows the
// width.
void NoticeBanner::place() {
    if (!content_ || !parentWidget()) return;
    const QPoint at = content_->mapTo(parentWidget(), QPoint(0, 0));
    setGeometry(at.x(), at.y(), content_->width(), heightForWidth(content_->width()));
    raise();
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
    const QRect textRect(inner.left(), inner.top(), textWidth(p.fontMetrics(), width()), inner.height());
    p.drawText(textRect, Qt::AlignLeft | Qt::AlignVCenter | Qt::TextWordWrap, QStringLiteral("⚠  ") + text());
    p.drawText(inner, Qt::AlignRight | Qt::AlignVCenter, close);
}

} // namespace ostinel
