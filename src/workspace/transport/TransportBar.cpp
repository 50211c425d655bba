#include "workspace/transport/TransportBar.h"

#include <QGridLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QPainter>
#include <QPushButton>
#include <QTimer>
#include <QVBoxLayout>

#include "analysis/WaveformStore.h"
#include "document/AppState.h"
#include "platform/AudioSystem.h"
#include "playback/PlaybackEngine.h"
#include "playback/ShowModeKeys.h"
#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/transport/TimecodeView.h"
#include "workspace/transport/TransportViews.h"

namespace ostinel {
namespace {

constexpr int showFrameWidth = 4;

QString buttonStyle(const QColor& background, const QColor& foreground, int pointSize) {
    return QStringLiteral("QPushButton { background: %1; color: %2; border: 1px solid %3; border-radius: 6px;"
                          " font-size: %4pt; font-weight: bold; padding: 4px 10px; }"
                          "QPushButton:hover { background: %5; }"
                          "QPushButton:pressed { background: %6; }")
        .arg(background.name(), foreground.name(), background.darker(140).name(), QString::number(pointSize),
             background.lighter(115).name(), background.darker(125).name());
}

QLabel* caption(QWidget* parent) {
    auto* label = new QLabel(parent);
    label->setFont(captionFont());
    return label;
}

ElidedLabel* nameLabel(const char* objectName, int pointSize, QWidget* parent) {
    auto* label = new ElidedLabel(parent);
    label->setObjectName(QLatin1String(objectName));
    label->setFont(boldFont(pointSize));
    return label;
}

void setColour(QLabel* label, const QColor& colour) {
    QPalette p = label->palette();
    p.setColor(QPalette::WindowText, colour);
    label->setPalette(p);
}

} // namespace

TransportBar::TransportBar(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    setFocusPolicy(Qt::NoFocus);
    setAutoFillBackground(false);

    go_ = makeButton(QStringLiteral("GO!"), tr("Start the selected cue, or let the running loop go (Space)"));
    go_->setObjectName(QStringLiteral("go"));
    go_->setMinimumSize(170, 92);
    go_->setStyleSheet(buttonStyle(theme::go, theme::window, 30));

    playPause_ = makeButton(QString(), tr("Play or pause the selected cue"));
    playPause_->setObjectName(QStringLiteral("playPause"));
    stop_ = makeButton(QStringLiteral("■  Stop"), tr("Fade out and stop (Esc)"));
    stop_->setObjectName(QStringLiteral("stop"));
    previous_ = makeButton(QStringLiteral("▲  Prev"), tr("Previous cue; while a show runs, marks it to play next (Up)"));
    previous_->setObjectName(QStringLiteral("previousCue"));
    next_ = makeButton(QStringLiteral("▼  Next"), tr("Next cue; while a show runs, marks it to play next (Down)"));
    next_->setObjectName(QStringLiteral("nextCue"));
    for (auto* b : {playPause_, stop_, previous_, next_}) {
        b->setMinimumSize(118, 44);
        b->setStyleSheet(buttonStyle(theme::panelRaised, theme::text, 12));
    }

    editMode_ = makeButton(QStringLiteral("EDIT"), tr("Edit mode: everything can be changed"));
    editMode_->setObjectName(QStringLiteral("editMode"));
    showMode_ = makeButton(QStringLiteral("SHOW"), tr("Show mode: editing locked, running order protected"));
    showMode_->setObjectName(QStringLiteral("showMode"));
    for (auto* b : {editMode_, showMode_}) {
        b->setCheckable(true);
        b->setMinimumSize(110, 44);
    }

    currentCaption_ = caption(this);
    current_ = nameLabel("currentCue", 20, this);
    upcomingCaption_ = caption(this);
    upcoming_ = nameLabel("upcomingCue", 15, this);
    activity_ = new ElidedLabel(this);
    activity_->setObjectName(QStringLiteral("activity"));
    setColour(activity_, theme::textDim);

    clock_ = new ClockView(workspace_, this);
    clock_->setObjectName(QStringLiteral("clock"));
    clock_->setMinimumSize(clock_->sizeHint());
    clock_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    meters_ = new MeterView(workspace_, this);
    meters_->setObjectName(QStringLiteral("meters"));
    meters_->setMinimumSize(meters_->sizeHint().width(), 60);
    meters_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    // The notice of a silent start goes after six seconds; this stays, so the
    // operator never takes still meters for a quiet cue.
    noOutput_ = new QLabel(tr("NO OUTPUT"), this);
    noOutput_->setObjectName(QStringLiteral("noOutput"));
    noOutput_->setAlignment(Qt::AlignCenter);
    noOutput_->setFont(boldFont(9));
    noOutput_->setSizePolicy(QSizePolicy::Preferred, QSizePolicy::Fixed);
    noOutput_->setStyleSheet(QStringLiteral("QLabel { color: %1; border: 1px solid %1; border-radius: 3px;"
                                            " padding: 0px 4px; }")
                                 .arg(theme::stop.name()));
    const QString fallback = QString::fromStdString(workspace_.audio.fallbackReason());
    noOutput_->setToolTip(fallback);
    noOutput_->setVisible(!fallback.isEmpty());

    auto* buttons = new QGridLayout;
    buttons->setSpacing(6);
    buttons->addWidget(playPause_, 0, 0);
    buttons->addWidget(stop_, 0, 1);
    buttons->addWidget(previous_, 1, 0);
    buttons->addWidget(next_, 1, 1);

    auto* names = new QVBoxLayout;
    names->setSpacing(0);
    names->addWidget(currentCaption_);
    names->addWidget(current_);
    names->addSpacing(4);
    names->addWidget(upcomingCaption_);
    names->addWidget(upcoming_);
    names->addStretch(1);
    names->addWidget(activity_);

    auto* modes = new QVBoxLayout;
    modes->setSpacing(6);
    modes->addWidget(editMode_);
    modes->addWidget(showMode_);

    auto* row = new QHBoxLayout(this);
    row->setContentsMargins(12, 10 + showFrameWidth, 12, 10);
    row->setSpacing(14);
    row->addWidget(go_);
    row->addLayout(buttons);
    row->addLayout(names, 1);
    row->addWidget(clock_);
    timecode_ = new TimecodeView(workspace_, TimecodeView::Size::header, this);
    timecode_->setObjectName(QStringLiteral("timecode"));
    timecode_->setSizePolicy(QSizePolicy::Fixed, QSizePolicy::Preferred);
    row->addWidget(timecode_);
    // Under the meters, so the cue names keep their width.
    auto* output = new QVBoxLayout;
    output->setSpacing(4);
    output->addWidget(meters_, 1);
    output->addWidget(noOutput_);
    row->addLayout(output);
    row->addLayout(modes);

    frameTimer_ = new QTimer(this);
    frameTimer_->setInterval(frameMilliseconds);
    connect(frameTimer_, &QTimer::timeout, this, [this] {
        clock_->update();
        meters_->update();
    });

    connect(go_, &QPushButton::clicked, this, [this] { ShowModeKeys::goButton(workspace_.cues); });
    connect(playPause_, &QPushButton::clicked, this, [this] { ShowModeKeys::playPauseButton(workspace_.cues); });
    connect(stop_, &QPushButton::clicked, this, [this] { ShowModeKeys::stopButton(workspace_.cues); });
    connect(previous_, &QPushButton::clicked, this,
            [this] { ShowModeKeys::stepCue(-1, workspace_.state, workspace_.engine); });
    connect(next_, &QPushButton::clicked, this, [this] { ShowModeKeys::stepCue(+1, workspace_.state, workspace_.engine); });
    connect(editMode_, &QPushButton::clicked, this, [this] {
        workspace_.state.setMode(AppMode::edit);
        updateMode(); // a click on the lit button must not unlight it
    });
    connect(showMode_, &QPushButton::clicked, this, [this] {
        workspace_.state.setMode(AppMode::show);
        updateMode();
    });

    auto& state = workspace_.state;
    auto& engine = workspace_.engine;
    connect(&state, &AppState::modeChanged, this, &TransportBar::updateMode);
    for (auto signal : {&AppState::showChanged, &AppState::selectedTrackIDChanged, &AppState::preselectedTrackIDChanged})
        connect(&state, signal, this, &TransportBar::updateCueNames);
    connect(&engine, &PlaybackEngine::isPlayingChanged, this, &TransportBar::updatePlaying);
    // Jumps while stopped and a new file move the clock without playback.
    for (auto signal : {&PlaybackEngine::positionEpochChanged, &PlaybackEngine::durationChanged,
                        &PlaybackEngine::currentURLChanged, &PlaybackEngine::activeLoopIDChanged,
                        &PlaybackEngine::loopExitingChanged})
        connect(&engine, signal, clock_, qOverload<>(&QWidget::update));
    connect(&workspace_.store.activity(), &BackgroundActivity::changed, this, &TransportBar::updateActivity);

    updatePlaying();
    updateMode();
    updateActivity();
}

TransportBar::~TransportBar() = default;

bool TransportBar::isAnimating() const { return frameTimer_->isActive(); }

QPushButton* TransportBar::makeButton(const QString& text, const QString& toolTip) {
    auto* button = new QPushButton(text, this);
    // Space and Return belong to the show keys, never to a focused button.
    button->setFocusPolicy(Qt::NoFocus);
    button->setToolTip(toolTip);
    button->setCursor(Qt::PointingHandCursor);
    return button;
}

void TransportBar::updatePlaying() {
    const bool playing = workspace_.engine.isPlaying();
    playPause_->setText(playing ? QStringLiteral("❚❚  Pause") : QStringLiteral("▶  Play"));
    if (playing)
        frameTimer_->start();
    else
        frameTimer_->stop();
    clock_->update();
    meters_->update();
    updateCueNames();
}

void TransportBar::updateMode() {
    const bool show = workspace_.state.mode() == AppMode::show;
    editMode_->setChecked(!show);
    showMode_->setChecked(show);
    editMode_->setStyleSheet(show ? buttonStyle(theme::panelRaised, theme::textDim, 12)
                                  : buttonStyle(theme::selection, theme::text, 12));
    showMode_->setStyleSheet(show ? buttonStyle(theme::stop, theme::text, 13)
                                  : buttonStyle(theme::panelRaised, theme::textDim, 12));
    showMode_->setText(show ? QStringLiteral("●  SHOW") : QStringLiteral("SHOW"));
    update();
}

void TransportBar::updateCueNames() {
    const auto& state = workspace_.state;
    const bool playing = workspace_.engine.isPlaying();
    const auto selected = state.selectedTrack();
    currentCaption_->setText(playing ? tr("PLAYING") : tr("READY"));
    setColour(currentCaption_, playing ? theme::playing : theme::textDim);
    current_->setFullText(selected ? QString::fromStdString(selected->displayName()) : tr("No cue selected"));
    setColour(current_, selected ? theme::text : theme::textDim);

    const auto next = ShowModeKeys::nextTrack(state);
    const bool marked = next && state.preselectedTrackID() == next->id;
    upcomingCaption_->setText(marked ? tr("NEXT  ·  PRE-SELECTED") : tr("NEXT"));
    setColour(upcomingCaption_, marked ? theme::preselected : theme::textDim);
    upcoming_->setFullText(next ? QString::fromStdString(next->displayName()) : tr("End of the running order"));
    setColour(upcoming_, marked ? theme::preselected : (next ? theme::text : theme::textDim));
}

void TransportBar::updateActivity() {
    const auto summary = workspace_.store.activity().summary();
    // One line: several kinds of work sit side by side.
    activity_->setFullText(summary ? QString::fromStdString(*summary).replace(u'\n', QStringLiteral("   ·   ")) : QString());
}

void TransportBar::paintEvent(QPaintEvent*) {
    QPainter p(this);
    p.fillRect(rect(), theme::panel);
    // Show mode is armed: a red edge the operator sees from across the room.
    const bool show = workspace_.state.mode() == AppMode::show;
    p.fillRect(0, 0, width(), showFrameWidth, show ? theme::stop : theme::divider);
    p.fillRect(0, height() - 1, width(), 1, theme::divider);
}

} // namespace ostinel
