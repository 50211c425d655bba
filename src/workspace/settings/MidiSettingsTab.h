#pragma once

#include <QWidget>

class QCheckBox;
class QVBoxLayout;

namespace ostinel {

struct Workspace;
class MidiDestinationList;

// MIDI output: the timeline triggers (their switch, virtual port and
// destinations). Shown only where the workspace has a MIDI output.
class MidiSettingsTab : public QWidget {
    Q_OBJECT
public:
    explicit MidiSettingsTab(Workspace& workspace, QWidget* parent = nullptr);

    // The timecode sender's section goes above the triggers.
    void insertTimecodeSection(QWidget* section);

    // Null without a MIDI output.
    QCheckBox* triggersEnabled() const { return triggersEnabled_; }
    QCheckBox* triggersVirtualPort() const { return triggersVirtualPort_; }
    MidiDestinationList* triggerDestinations() const { return triggerDestinations_; }

private:
    QWidget* triggersSection(Workspace& workspace);

    QVBoxLayout* sections_ = nullptr;
    QCheckBox* triggersEnabled_ = nullptr;
    QCheckBox* triggersVirtualPort_ = nullptr;
    MidiDestinationList* triggerDestinations_ = nullptr;
};

} // namespace ostinel
