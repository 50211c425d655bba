#include "workspace/settings/MtcSettingsSection.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QSignalBlocker>

#include "timecode/TimecodeController.h"
#include "workspace/settings/MidiDestinationList.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

MtcSettingsSection::MtcSettingsSection(TimecodeController& timecode, QWidget* parent)
    : QWidget(parent), timecode_(timecode) {
    enabled_ = settingsCheckBox("Send MIDI Timecode");
    rate_ = new QComboBox;
    for (TimecodeRate rate : timecode::allRates) rate_->addItem(QString::fromUtf8(timecode::label(rate)));
    virtualPort_ = settingsCheckBox("Virtual Port (“Ostinel MTC”)");
    destinations_ = new MidiDestinationList({
        [&timecode] {
            std::vector<std::string> names;
            for (const auto& destination : timecode.destinations()) names.push_back(destination.name);
            return names;
        },
        [&timecode] {
            const auto& names = timecode.selectedDestinationNames();
            return std::vector<std::string>(names.begin(), names.end());
        },
        [&timecode](const std::string& name) { timecode.toggleDestination(name); },
    });

    QFormLayout* form = sectionForm(this);
    form->addRow("Timecode:", settingsField(enabled_, "Follows the playhead; lighting and video chase it."));
    form->addRow("Frame rate:", rate_);
    form->addRow("", virtualPort_);
    form->addRow("Destinations:", destinations_);

    reflect();
    connect(enabled_, &QCheckBox::toggled, this, [&timecode](bool on) { timecode.setEnabled(on); });
    connect(rate_, &QComboBox::activated, this,
            [&timecode](int index) { timecode.setRate(timecode::allRates[std::clamp(index, 0, 3)]); });
    connect(virtualPort_, &QCheckBox::toggled, this, [&timecode](bool on) { timecode.setVirtualPortEnabled(on); });
    for (auto changed : {&TimecodeController::enabledChanged, &TimecodeController::rateChanged,
                         &TimecodeController::virtualPortEnabledChanged})
        connect(&timecode, changed, this, &MtcSettingsSection::reflect);
    for (auto changed : {&TimecodeController::destinationsChanged, &TimecodeController::selectedDestinationNamesChanged})
        connect(&timecode, changed, destinations_, &MidiDestinationList::refresh);
}

void MtcSettingsSection::reflect() {
    const QSignalBlocker a(enabled_), b(rate_), c(virtualPort_);
    enabled_->setChecked(timecode_.enabled());
    rate_->setCurrentIndex(timecode::rateCode(timecode_.rate()));
    virtualPort_->setChecked(timecode_.virtualPortEnabled());
    rate_->setEnabled(timecode_.enabled());
    virtualPort_->setEnabled(timecode_.enabled());
    destinations_->setEnabled(timecode_.enabled());
}

} // namespace ostinel
