#include "workspace/waveform/WaveformToolbar.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QToolButton>

#include "analysis/TempoDetection.h"
#include "document/AppState.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/TempoCommand.h"

namespace ostinel {

namespace {

QToolButton* makeButton(const QString& text, const QString& tip, QWidget* parent) {
    auto* button = new QToolButton(parent);
    button->setText(text);
    button->setToolTip(tip);
    button->setMinimumSize(40, 32);
    QFont font = button->font();
    font.setPointSizeF(font.pointSizeF() * 1.2);
    font.setBold(true);
    button->setFont(font);
    return button;
}

} // namespace

WaveformToolbar::WaveformToolbar(Workspace& workspace, QWidget* parent) : QWidget(parent), ws_(workspace) {
    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(8, 4, 8, 4);
    row->setSpacing(6);
    auto* zoomOut = makeButton(QStringLiteral("\u2212"), tr("Zoom out around the playhead"), this);
    auto* zoomIn = makeButton(QStringLiteral("+"), tr("Zoom in around the playhead"), this);
    auto* fit = makeButton(tr("Fit"), tr("Show the whole cue"), this);
    follow_ = makeButton(tr("Follow"), tr("Keep the playhead in the middle while playing"), this);
    follow_->setCheckable(true);
    // The grid is drawn over this waveform, and the mark it listens to is made here.
    tempo_ = makeButton(tr("Detect Tempo"), {}, this);
    tempo_->setVisible(ws_.tempo != nullptr);
    name_ = new QLabel(this);
    QFont font = name_->font();
    font.setPointSizeF(font.pointSizeF() * 1.25);
    font.setBold(true);
    name_->setFont(font);
    QPalette palette = name_->palette();
    palette.setColor(QPalette::WindowText, theme::text);
    name_->setPalette(palette);
    row->addWidget(zoomOut);
    row->addWidget(zoomIn);
    row->addWidget(fit);
    row->addWidget(follow_);
    row->addWidget(tempo_);
    row->addSpacing(12);
    row->addWidget(name_, 1);

    auto& view = ws_.view;
    connect(zoomIn, &QToolButton::clicked, this, &WaveformToolbar::zoomInClicked);
    connect(zoomOut, &QToolButton::clicked, this, &WaveformToolbar::zoomOutClicked);
    connect(fit, &QToolButton::clicked, this, &WaveformToolbar::fitClicked);
    connect(follow_, &QToolButton::toggled, this, [&view](bool on) { view.controller().setFollowPlayhead(on); });
    connect(&view, &WaveformViewState::followPlayheadChanged, this, &WaveformToolbar::refresh);
    connect(&ws_.state, &AppState::selectedTrackIDChanged, this, &WaveformToolbar::refresh);
    connect(&ws_.state, &AppState::showChanged, this, &WaveformToolbar::refresh);
    connect(tempo_, &QToolButton::clicked, this, [this] {
        if (auto id = ws_.state.selectedTrackID()) waveform::detectTempo(ws_, *id);
    });
    connect(&ws_.state, &AppState::analyzingTempoTrackIDChanged, this, &WaveformToolbar::refresh);
    connect(&ws_.state, &AppState::modeChanged, this, &WaveformToolbar::refresh);
    connect(&view, &WaveformViewState::selectionChanged, this, &WaveformToolbar::refresh);
    if (ws_.tempo) connect(ws_.tempo, &TempoDetection::runningChanged, this, &WaveformToolbar::refresh);
    refresh();
}

void WaveformToolbar::refresh() {
    follow_->setChecked(ws_.view.controller().followPlayhead());
    auto track = ws_.state.selectedTrack();
    name_->setText(track ? QString::fromStdString(track->displayName()) : QString());
    const bool listenable = track && track->duration > 0.0;
    tempo_->setEnabled(listenable && waveform::canDetectTempo(ws_, track->id));
    tempo_->setToolTip(waveform::detectTempoTip(ws_, track ? track->id : Uuid()));
}

} // namespace ostinel
