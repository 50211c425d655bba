#pragma once

#include <QWidget>

class QCheckBox;
class QComboBox;
class QDoubleSpinBox;

namespace ostinel {

class AudioSystem;
class RefreshingComboBox;
class TimecodeController;

// "Send SMPTE Timecode (LTC)": split off the music's pair, or a device and
// channel of its own, and the level. Writes straight through.
class LtcSettingsSection : public QWidget {
    Q_OBJECT
public:
    LtcSettingsSection(TimecodeController& timecode, AudioSystem& audio, QWidget* parent = nullptr);

    QCheckBox* enabledBox() const { return enabled_; }
    QComboBox* modeBox() const { return mode_; }
    QComboBox* sideBox() const { return side_; }
    RefreshingComboBox* deviceBox() const { return device_; }
    QComboBox* channelBox() const { return channel_; }
    QDoubleSpinBox* levelBox() const { return level_; }

private:
    void reflect();
    void fillDevices();

    TimecodeController& timecode_;
    AudioSystem& audio_;
    QCheckBox* enabled_ = nullptr;
    QComboBox* mode_ = nullptr;
    QComboBox* side_ = nullptr;
    RefreshingComboBox* device_ = nullptr;
    QComboBox* channel_ = nullptr;
    QDoubleSpinBox* level_ = nullptr;
    QWidget* splitRow_ = nullptr;
    QWidget* customRow_ = nullptr;
};

} // namespace ostinel
