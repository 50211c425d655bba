#include "workspace/editpanel/EditPanel.h"

#include <QLabel>
#include <QScrollArea>
#include <QVBoxLayout>

#include "workspace/common/Theme.h"
#include "workspace/common/Workspace.h"
#include "workspace/editpanel/LoopFields.h"
#include "workspace/editpanel/NoteFields.h"
#include "workspace/editpanel/TrackFields.h"
#include "workspace/editpanel/TriggerFields.h"

namespace ostinel {

namespace {

bool holdsItem(const Track& track, TimelineItemKind kind, const Uuid& id) {
    auto holds = [&](const auto& list) { return list.indexWhere([&](const auto& x) { return x.id == id; }) >= 0; };
    switch (kind) {
    case TimelineItemKind::loop: return holds(track.loops);
    case TimelineItemKind::note: return holds(track.timelineNotes);
    case TimelineItemKind::midiTrigger: return holds(track.midiTriggers);
    case TimelineItemKind::oscTrigger: return holds(track.oscTriggers);
    }
    return false;
}

} // namespace

EditPanel::EditPanel(Workspace& workspace, QWidget* parent) : QWidget(parent), workspace_(workspace) {
    AppState& state = workspace_.state;
    auto* outer = new QVBoxLayout(this);
    outer->setContentsMargins(0, 0, 0, 0);
    auto* scroll = new QScrollArea(this);
    scroll->setWidgetResizable(true);
    scroll->setFrameShape(QFrame::NoFrame);
    scroll->setHorizontalScrollBarPolicy(Qt::ScrollBarAlwaysOff);
    outer->addWidget(scroll);

    content_ = new QWidget(scroll);
    // Read from a step back in a dark room: never smaller than 11 points.
    QFont font = content_->font();
    if (font.pointSizeF() < 11.0) font.setPointSizeF(11.0);
    content_->setFont(font);
    auto* column = new QVBoxLayout(content_);
    column->setContentsMargins(0, 0, 0, 0);
    column->setSpacing(0);

    placeholder_ = new QLabel(tr("No cue selected"), content_);
    placeholder_->setAlignment(Qt::AlignCenter);
    placeholder_->setMinimumHeight(200);
    placeholder_->setStyleSheet(QStringLiteral("color: %1; font-size: 15pt;").arg(theme::textDim.name()));
    column->addWidget(placeholder_);

    itemForms_[std::size_t(TimelineItemKind::loop)] = makeLoopFields(state, target_, content_);
    itemForms_[std::size_t(TimelineItemKind::note)] = makeNoteFields(state, target_, content_);
    itemForms_[std::size_t(TimelineItemKind::midiTrigger)] = makeMidiTriggerFields(state, target_, content_);
    itemForms_[std::size_t(TimelineItemKind::oscTrigger)] = makeOSCTriggerFields(state, target_, content_);
    // The item on top: picking one on the timeline is what the operator
    // just did, and the cue's own fields run long.
    for (FieldForm* form : itemForms_) {
        form->setAutoFillBackground(true);
        QPalette palette = form->palette();
        palette.setColor(QPalette::Window, theme::panelRaised);
        form->setPalette(palette);
        column->addWidget(form);
    }
    trackFields_ = new TrackFields(state, target_, content_);
    column->addWidget(trackFields_);
    column->addStretch(1);
    scroll->setWidget(content_);

    connect(&state, &AppState::showChanged, this, [this] { refresh(false); });
    for (auto signal : {&AppState::selectedTrackIDChanged, &AppState::selectedLoopIDChanged,
                        &AppState::selectedNoteIDChanged, &AppState::selectedMidiTriggerIDChanged,
                        &AppState::selectedOSCTriggerIDChanged})
        connect(&state, signal, this, &EditPanel::retarget);
    connect(&state, &AppState::modeChanged, this, &EditPanel::applyMode);
    retarget();
    applyMode();
}

EditPanel::~EditPanel() {
    // Typing is kept, and nothing commits later into a half-destroyed panel.
    commitPendingEdits();
    workspace_.state.disconnect(this);
}

void EditPanel::commitPendingEdits() {
    trackFields_->flush();
    if (FieldForm* form = itemFields()) form->flush();
}

QSize EditPanel::sizeHint() const { return {320, 600}; }

FieldForm* EditPanel::itemFields() const {
    return itemKind_ < 0 ? nullptr : itemForms_[std::size_t(itemKind_)];
}

void EditPanel::retarget() {
    const AppState& state = workspace_.state;
    commitPendingEdits();

    target_.track = state.selectedTrackID();
    target_.item.reset();
    itemKind_ = -1;
    for (auto kind : {TimelineItemKind::loop, TimelineItemKind::note, TimelineItemKind::midiTrigger,
                      TimelineItemKind::oscTrigger}) {
        if (const auto& id = state.timelineSelection(kind)) {
            target_.item = id;
            itemKind_ = int(kind);
            break;
        }
    }
    refresh(true);
}

void EditPanel::refresh(bool force) {
    const Track* track = target_.track ? workspace_.state.show().track(*target_.track) : nullptr;
    FieldForm* item = itemFields();
    const bool hasItem = track && item && holdsItem(*track, TimelineItemKind(itemKind_), *target_.item);
    placeholder_->setVisible(!track);
    trackFields_->setVisible(track);
    for (FieldForm* form : itemForms_) form->setVisible(form == item && hasItem);
    if (!track) return;
    trackFields_->refresh(force);
    if (hasItem) item->refresh(force);
}

void EditPanel::applyMode() {
    content_->setEnabled(workspace_.state.mode() == AppMode::edit);
}

} // namespace ostinel
