#pragma once

#include <QObject>

class QCheckBox;
class QFormLayout;
class QWidget;
class QComboBox;
class QDoubleSpinBox;

namespace ostinel {

class AudioSystem;
class RefreshingComboBox;
class TimecodeController;

// "Send SMPTE Timecode (LTC)": split off the music's pair, or a device and
// channel of its own, and the level. Its rows go into the page's own form,
// so the labels line up with the rest; every control writes straight through.
class LtcSettingsSection : public QObject {
    Q_OBJECT
public:
    LtcSettingsSection(TimecodeController& timecode, AudioSystem& audio, QFormLayout* form, QObject* parent = nullptr);

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
