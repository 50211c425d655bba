#include "workspace/waveform/WaveformPanel.h"

#include <QTimer>
#include <QVBoxLayout>

#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "platform/MainLoop.h"
#include "playback/PlaybackEngine.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"
#include "workspace/waveform/TimeRuler.h"
#include "workspace/waveform/WaveformCanvas.h"
#include "workspace/waveform/WaveformToolbar.h"
#include "workspace/waveform/WheelZoom.h"

namespace ostinel {

namespace {

constexpr int framesPerSecond = 60;

} // namespace

WaveformPanel::WaveformPanel(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    auto* layout = new QVBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(0);
    toolbar_ = new WaveformToolbar(workspace, this);
    ruler_ = new TimeRuler(workspace, this);
    canvas_ = new WaveformCanvas(workspace, this);
    layout->addWidget(toolbar_);
    layout->addWidget(ruler_);
    layout->addWidget(canvas_, 1);
    // Strips go in a layout of their own with no margins, so their left and
    // right edges are the canvas's.
    timeline_ = new QVBoxLayout;
    timeline_->setContentsMargins(0, 0, 0, 0);
    timeline_->setSpacing(0);
    layout->addLayout(timeline_);

    frameTimer_ = new QTimer(this);
    frameTimer_->setInterval(1000 / framesPerSecond);
    connect(frameTimer_, &QTimer::timeout, this, &WaveformPanel::redraw);

    connect(toolbar_, &WaveformToolbar::zoomInClicked, this, [this] { zoomAboutPlayhead(waveform::zoomInFactor); });
    connect(toolbar_, &WaveformToolbar::zoomOutClicked, this, [this] { zoomAboutPlayhead(waveform::zoomOutFactor); });
    connect(toolbar_, &WaveformToolbar::fitClicked, this, &WaveformPanel::zoomToFit);

    auto& view = workspace_.view;
    for (auto signal : {&WaveformViewState::zoomChanged, &WaveformViewState::scrollXChanged,
                        &WaveformViewState::followPlayheadChanged})
        connect(&view, signal, this, &WaveformPanel::redraw);
    connect(&view, &WaveformViewState::selectionChanged, this, &WaveformPanel::redraw);

    auto& state = workspace_.state;
    connect(&state, &AppState::selectedTrackIDChanged, this, &WaveformPanel::selectedTrackChanged);
    connect(&state, &AppState::modeChanged, this, [this] {
        applyBounds();
        if (workspace_.state.mode() == AppMode::show) workspace_.view.controller().fit();
        redraw();
    });
    connect(&state, &AppState::showChanged, this, [this] {
        applyBounds();
        watchPeaks();
        redraw();
    });
    connect(&state, &AppState::spectralColoringEnabledChanged, this, [this] {
        requestBands();
        redraw();
    });
    for (auto signal : {&AppState::selectedLoopIDChanged, &AppState::waveformFollowsVolumeChanged})
        connect(&state, signal, this, &WaveformPanel::redraw);

    auto& engine = workspace_.engine;
    connect(&engine, &PlaybackEngine::isPlayingChanged, this, &WaveformPanel::playingChanged);
    for (auto signal : {&PlaybackEngine::positionEpochChanged, &PlaybackEngine::currentURLChanged,
                        &PlaybackEngine::activeLoopIDChanged})
        connect(&engine, signal, this, &WaveformPanel::redraw);

    applyBounds();
    watchPeaks();
    playingChanged();
}

WaveformPanel::~WaveformPanel() = default;

void WaveformPanel::addStrip(QWidget* strip) {
    timeline_->addWidget(strip);
    canvas_->reportFrame();
}

void WaveformPanel::zoomIn() { zoomAbout(waveform::zoomInFactor, 0.5); }
void WaveformPanel::zoomOut() { zoomAbout(waveform::zoomOutFactor, 0.5); }
void WaveformPanel::zoomToFit() { workspace_.view.controller().fit(); }

void WaveformPanel::zoomAbout(double factor, double focalFraction) {
    auto& c = workspace_.view.controller();
    c.setZoom(c.zoom() * factor, focalFraction, c.viewWidth() / 2.0);
}

void WaveformPanel::zoomAboutPlayhead(double factor) {
    auto track = workspace_.state.selectedTrack();
    auto& engine = workspace_.engine;
    double focal = workspace_.view.controller().centerFraction();
    if (track && track->duration > 0.0 && engine.currentURL() == track->url)
        focal = engine.displayTime(workspace_.loop.now()) / track->duration;
    zoomAbout(factor, focal);
}

void WaveformPanel::playingChanged() {
    if (workspace_.engine.isPlaying()) {
        frameTimer_->start();
        return;
    }
    frameTimer_->stop();
    // Stay where follow mode last drew rather than jump back to the old scroll.
    auto& c = workspace_.view.controller();
    if (auto live = c.liveFollowScrollX()) c.setScrollX(*live);
    redraw();
}

void WaveformPanel::selectedTrackChanged() {
    auto& c = workspace_.view.controller();
    const bool showMode = workspace_.state.mode() == AppMode::show;
    // Kept only where the view follows the playhead through a show; anywhere
    // else each cue opens whole.
    const bool keepZoom = showMode && c.followPlayhead() && workspace_.state.preserveZoomOnTrackSwitch();
    c.trackChanged(keepZoom);
    applyBounds();
    if (showMode && !keepZoom) c.fit();
    // At the kept zoom the new cue opens at its in-point, where it will play.
    auto track = workspace_.state.selectedTrack();
    if (keepZoom && track && track->duration > 0.0) c.center(track->startSeconds / track->duration);
    watchPeaks();
    redraw();
}

void WaveformPanel::applyBounds() {
    auto& c = workspace_.view.controller();
    auto track = workspace_.state.selectedTrack();
    auto bounds = track ? WaveformController::boundsFor(*track, workspace_.state.mode() == AppMode::show)
                        : std::nullopt;
    if (bounds != c.viewBounds()) c.applyViewBounds(bounds);
}

void WaveformPanel::watchPeaks() {
    auto track = workspace_.state.selectedTrack();
    std::optional<FileUrl> url = track ? std::optional<FileUrl>(track->url) : std::nullopt;
    if (url == watchedUrl_) return;
    disconnect(peaksConnection_);
    disconnect(bandsConnection_);
    watchedUrl_ = url;
    if (!url || url->empty()) return;
    auto& store = workspace_.store;
    auto& entry = store.entry(*url);
    peaksConnection_ = connect(&entry, &WaveformEntry::peaksChanged, this, &WaveformPanel::redraw);
    bandsConnection_ = connect(&entry, &WaveformEntry::bandsChanged, this, &WaveformPanel::redraw);
    if (!entry.peaks() && !store.isInFlight(*url) && !store.hasFailed(*url)) store.prerender(*url);
    requestBands();
}

void WaveformPanel::requestBands() {
    // The cue on screen is coloured first; the store ignores repeats.
    if (!workspace_.state.spectralColoringEnabled() || !watchedUrl_ || watchedUrl_->empty()) return;
    workspace_.store.ensureBands(*watchedUrl_);
}

void WaveformPanel::redraw() {
    ruler_->update();
    canvas_->update();
}

void WaveformPanel::resizeEvent(QResizeEvent* event) {
    QWidget::resizeEvent(event);
    canvas_->reportFrame();
}

void WaveformPanel::moveEvent(QMoveEvent* event) {
    QWidget::moveEvent(event);
    canvas_->reportFrame();
}

} // namespace ostinel
