#include "workspace/showlist/ShowListView.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QScrollArea>
#include <QScrollBar>
#include <QVBoxLayout>

#include "document/AppState.h"
#include "workspace/common/Theme.h"
#include "workspace/common/TimeText.h"
#include "workspace/common/Workspace.h"
#include "workspace/showlist/ShowListCanvas.h"

namespace ostinel {

ShowListView::ShowListView(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    canvas_ = new ShowListCanvas(workspace_);

    scroll_ = new QScrollArea;
    scroll_->setWidget(canvas_);
    scroll_->setWidgetResizable(true);
    scroll_->setFrameShape(QFrame::NoFrame);
    scroll_->setFocusPolicy(Qt::NoFocus);
    scroll_->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    connect(canvas_, &ShowListCanvas::rowWanted, this, [this](const QRect& r) {
        if (!r.isNull()) scroll_->ensureVisible(r.center().x(), r.center().y(), 0, r.height() / 2 + 4);
    });

    auto* footer = new QWidget;
    footer->setAutoFillBackground(true);
    QPalette palette = footer->palette();
    palette.setColor(QPalette::Window, theme::panelRaised);
    footer->setPalette(palette);
    auto* caption = new QLabel(tr("TOTAL"));
    QFont captionFont = caption->font();
    captionFont.setPixelSize(13);
    captionFont.setBold(true);
    captionFont.setLetterSpacing(QFont::AbsoluteSpacing, 1.5);
    caption->setFont(captionFont);
    caption->setStyleSheet(QStringLiteral("color: %1").arg(theme::textDim.name()));
    total_ = new QLabel;
    total_->setObjectName(QStringLiteral("showListTotal"));
    QFont totalFont = theme::clockFont(13);
    totalFont.setPixelSize(22);
    total_->setFont(totalFont);
    total_->setStyleSheet(QStringLiteral("color: %1").arg(theme::text.name()));
    auto* footerRow = new QHBoxLayout(footer);
    footerRow->setContentsMargins(14, 8, 14, 8);
    footerRow->addWidget(caption);
    footerRow->addStretch();
    footerRow->addWidget(total_);

    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);
    column->addWidget(scroll_, 1);
    column->addWidget(footer);

    connect(&workspace_.state, &AppState::showChanged, this, &ShowListView::updateTotal);
    updateTotal();
}

ShowListView::~ShowListView() = default;

void ShowListView::updateTotal() {
    total_->setText(QString::fromStdString(formatClock(workspace_.state.show().totalLength())));
}

} // namespace ostinel
