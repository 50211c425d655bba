#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;

namespace ostinel {

class MidiDestinationList;
class TimecodeController;

// "Send MIDI Timecode", its frame rate, its virtual port and its
// destinations; every control writes straight through to the controller.
class MtcSettingsSection : public QWidget {
    Q_OBJECT
public:
    explicit MtcSettingsSection(TimecodeController& timecode, QWidget* parent = nullptr);

    QCheckBox* enabledBox() const { return enabled_; }
    QComboBox* rateBox() const { return rate_; }
    QCheckBox* virtualPortBox() const { return virtualPort_; }
    MidiDestinationList* destinationList() const { return destinations_; }

private:
    void reflect();

    TimecodeController& timecode_;
    QCheckBox* enabled_ = nullptr;
    QComboBox* rate_ = nullptr;
    QCheckBox* virtualPort_ = nullptr;
    MidiDestinationList* destinations_ = nullptr;
};

} // namespace ostinel
