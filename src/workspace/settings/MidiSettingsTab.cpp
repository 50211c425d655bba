#include "workspace/settings/MidiSettingsTab.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include "control/MidiOutputController.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/MidiDestinationList.h"
#include "workspace/settings/MidiMappingsSection.h"
#include "workspace/settings/MtcSettingsSection.h"
#include "workspace/settings/NumberMappingsSection.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

MidiSettingsTab::MidiSettingsTab(Workspace& workspace, QWidget* parent) : QWidget(parent) {
    QWidget* page = scrollingPage(this);
    auto* column = new QVBoxLayout(page);
    column->setContentsMargins(24, 20, 24, 20);
    sections_ = new QVBoxLayout;
    sections_->setSpacing(22);
    column->addLayout(sections_);
    column->addStretch(1);
    if (workspace.timecode) {
        mtc_ = new MtcSettingsSection(*workspace.timecode);
        sections_->addWidget(mtc_);
    }
    if (workspace.midiOutput) sections_->addWidget(triggersSection(workspace));
    if (workspace.midiInput) {
        mappings_ = new MidiMappingsSection(*workspace.midiInput, workspace.state);
        sections_->addWidget(mappings_);
    }
    if (workspace.numbers) {
        numbers_ = new NumberMappingsSection(*workspace.numbers, workspace.state);
        sections_->addWidget(numbers_);
    }
    alignLabelColumns(page);
}

QWidget* MidiSettingsTab::triggersSection(Workspace& workspace) {
    MidiOutputController& output = *workspace.midiOutput;
    triggersEnabled_ = settingsCheckBox("Send Timeline Triggers");
    triggersVirtualPort_ = settingsCheckBox("Virtual Port (“Ostinel Triggers”)");
    triggerDestinations_ = new MidiDestinationList({
        [&output] {
            std::vector<std::string> names;
            for (const auto& destination : output.destinations())
                names.push_back(destination.name);
            return names;
        },
        [&output] {
            const auto& names = output.selectedDestinationNames();
            return std::vector<std::string>(names.begin(), names.end());
        },
        [&output](const std::string& name) { output.toggleDestination(name); },
    });

    auto* section = new QWidget;
    QFormLayout* form = sectionForm(section);
    form->addRow("Triggers:",
                 settingsField(triggersEnabled_, "Plays the timeline's MIDI triggers as they pass."));
    form->addRow("",
                 settingsField(triggersVirtualPort_, "Other programs on this computer can listen to it."));
    form->addRow("Destinations:", triggerDestinations_);

    auto reflect = [this, &output] {
        const QSignalBlocker enabledBlocker(triggersEnabled_);
        const QSignalBlocker virtualBlocker(triggersVirtualPort_);
        triggersEnabled_->setChecked(output.enabled());
        triggersVirtualPort_->setChecked(output.virtualPortEnabled());
        triggersVirtualPort_->setEnabled(output.enabled());
        triggerDestinations_->setEnabled(output.enabled());
    };
    reflect();
    connect(triggersEnabled_, &QCheckBox::toggled, this, [&output](bool on) { output.setEnabled(on); });
    connect(triggersVirtualPort_, &QCheckBox::toggled, this,
            [&output](bool on) { output.setVirtualPortEnabled(on); });
    connect(&output, &MidiOutputController::enabledChanged, this, reflect);
    connect(&output, &MidiOutputController::virtualPortEnabledChanged, this, reflect);
    for (auto changed :
         {&MidiOutputController::destinationsChanged, &MidiOutputController::selectedDestinationNamesChanged})
        connect(&output, changed, triggerDestinations_, &MidiDestinationList::refresh);
    return section;
}

} // namespace ostinel
