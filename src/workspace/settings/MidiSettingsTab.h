#pragma once

#include <QWidget>

class QCheckBox;
class QVBoxLayout;

namespace ostinel {

struct Workspace;
class MidiDestinationList;
class MtcSettingsSection;

// MIDI output: the timecode sender, then the timeline triggers (each with
// its switch, virtual port and destinations). Each shows only where the
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

private:
    QWidget* triggersSection(Workspace& workspace);

    QVBoxLayout* sections_ = nullptr;
    MtcSettingsSection* mtc_ = nullptr;
    QCheckBox* triggersEnabled_ = nullptr;
    QCheckBox* triggersVirtualPort_ = nullptr;
    MidiDestinationList* triggerDestinations_ = nullptr;
};

} // namespace ostinel
