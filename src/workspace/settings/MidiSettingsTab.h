#pragma once

#include <QWidget>

class QCheckBox;
class QVBoxLayout;

namespace ostinel {

struct Workspace;
class MidiDestinationList;
class MidiMappingsSection;
class MtcSettingsSection;
class NumberMappingsSection;

// MIDI output: the timecode sender, then the timeline triggers (each with
// its switch, virtual port and destinations); MIDI input: the mappings of
// keys to actions and cues; then the number keys. Each shows only where the
// workspace has its controller.
class MidiSettingsTab : public QWidget {
    Q_OBJECT
public:
    explicit MidiSettingsTab(Workspace& workspace, QWidget* parent = nullptr);

    // Null without a timecode controller.
    MtcSettingsSection* timecodeSection() const { return mtc_; }
    // Null without a MIDI output.
    QCheckBox* triggersEnabled() const { return triggersEnabled_; }
    QCheckBox* triggersVirtualPort() const { return triggersVirtualPort_; }
    MidiDestinationList* triggerDestinations() const { return triggerDestinations_; }
    // Null without a MIDI input.
    MidiMappingsSection* mappingsSection() const { return mappings_; }
    // Null without the number keys' controller.
    NumberMappingsSection* numbersSection() const { return numbers_; }

private:
    QWidget* triggersSection(Workspace& workspace);

    QVBoxLayout* sections_ = nullptr;
    MtcSettingsSection* mtc_ = nullptr;
    QCheckBox* triggersEnabled_ = nullptr;
    QCheckBox* triggersVirtualPort_ = nullptr;
    MidiDestinationList* triggerDestinations_ = nullptr;
    MidiMappingsSection* mappings_ = nullptr;
    NumberMappingsSection* numbers_ = nullptr;
};

} // namespace ostinel
