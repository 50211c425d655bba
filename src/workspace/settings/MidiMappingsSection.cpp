#include "workspace/settings/MidiMappingsSection.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QGridLayout>
#include <QLabel>
#include <QPushButton>
#include <QSignalBlocker>

#include "control/MidiController.h"
#include "document/AppState.h"
#include "workspace/settings/MappingList.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {
namespace {

constexpr std::array<const char*, 5> actionLabels{"Previous", "Play/Pause", "Stop", "Next", "GO"};
constexpr const char* learnText = "Learn";
constexpr const char* pendingText = "Press a key…";

} // namespace

MidiMappingsSection::MidiMappingsSection(MidiController& midi, AppState& state, QWidget* parent)
    : QWidget(parent), midi_(midi) {
    auto* grid = new QWidget;
    auto* rows = new QGridLayout(grid);
    rows->setContentsMargins(0, 0, 0, 0);
    rows->setHorizontalSpacing(mappingColumns::gap);
    rows->setVerticalSpacing(4);
    rows->setColumnStretch(0, 1);
    for (std::size_t i = 0; i < allMidiActions.size(); ++i) {
        const MidiAction action = allMidiActions[i];
        ActionRow& row = actions_[i];
        row.key = keyTag();
        row.learn = new QPushButton(learnText);
        row.learn->setCheckable(true);
        // Wide enough for its pending text, so the row does not jump.
        row.learn->setFixedWidth(mappingColumns::learn);
        row.clear = clearButton();
        const int r = int(i);
        rows->addWidget(new QLabel(actionLabels[i]), r, 0);
        rows->addWidget(row.key, r, 1);
        rows->addWidget(row.learn, r, 2);
        rows->addWidget(row.clear, r, 3);
        connect(row.learn, &QPushButton::clicked, this, [this, action] { midi_.beginLearning(action); });
        connect(row.clear, &QPushButton::clicked, this, [this, action] { midi_.clearMapping(action); });
    }

    tracks_ = new MappingList(
        [&midi, &state] {
            std::vector<MappingEntry> entries;
            for (const Track& t : state.show().tracks)
                if (auto key = midi.trackMapping(t.id))
                    entries.push_back({t.id, QString::fromStdString(t.displayName()),
                                       QString::fromStdString(key->label())});
            return entries;
        },
        [&midi](const Uuid& id) { midi.clearTrackMapping(id); },
        "No cue has a key yet. Turn on MIDI Map Mode, click a cue in the show list, then press a key.");
    clearAll_ = new QPushButton("Clear All Mappings");
    mapMode_ = settingsCheckBox("MIDI Map Mode");

    QFormLayout* form = sectionForm(this);
    form->addRow("Input:", settingsField(mapMode_, "Notes and controllers from every MIDI source fire the "
                                                   "action or cue they are mapped to. In map mode a click on "
                                                   "a cue in the show list waits for its key."));
    form->addRow("Transport:", grid);
    form->addRow("Cues:", tracks_);
    form->addRow("", settingsField(clearAll_));

    reflect();
    connect(clearAll_, &QPushButton::clicked, this, [this] { midi_.clearAllMappings(); });
    connect(mapMode_, &QCheckBox::toggled, this, [this](bool on) { midi_.setMapMode(on); });
    connect(&midi, &MidiController::changed, this, &MidiMappingsSection::reflect);
    connect(&state, &AppState::showChanged, tracks_, &MappingList::refresh);
}

void MidiMappingsSection::reflect() {
    for (std::size_t i = 0; i < allMidiActions.size(); ++i) {
        const MidiAction action = allMidiActions[i];
        const ActionRow& row = actions_[i];
        const auto key = midi_.mapping(action);
        const bool pending = midi_.learning() == action;
        showKey(row.key, key ? QString::fromStdString(key->label()) : QString(), "Not mapped");
        row.learn->setChecked(pending);
        row.learn->setText(QString::fromUtf8(pending ? pendingText : learnText));
        row.clear->setEnabled(key.has_value());
    }
    const QSignalBlocker blocker(mapMode_);
    mapMode_->setChecked(midi_.mapMode());
    tracks_->refresh();
    clearAll_->setEnabled(!midi_.mappings().empty() || !midi_.trackMappings().empty());
}

} // namespace ostinel
