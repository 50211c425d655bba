#pragma once

#include <QWidget>

#include <vector>

#include "platform/AudioSystem.h"

class QCheckBox;
class QLabel;

namespace ostinel {

struct Workspace;
class LtcSettingsSection;
class RefreshingComboBox;

// Output device, channel pair and limiter. Choices go through the engine,
// which remembers them; the lists follow devices coming and going.
class AudioSettingsTab : public QWidget {
    Q_OBJECT
public:
    explicit AudioSettingsTab(Workspace& workspace, QWidget* parent = nullptr);

    // Re-reads the device list from the audio system.
    void refresh();

    RefreshingComboBox* deviceBox() const { return device_; }
    RefreshingComboBox* channelBox() const { return channels_; }
    QCheckBox* limiter() const { return limiter_; }
    // Only with a timecode controller.
    LtcSettingsSection* ltcSection() const { return ltc_; }

protected:
    void showEvent(QShowEvent* event) override;

private:
    void fillDevices(const std::vector<AudioDevice>& devices);
    void fillChannels(const std::vector<AudioDevice>& devices);
    void chooseDevice(int index);
    void chooseChannels(int index);

    Workspace& workspace_;
    RefreshingComboBox* device_ = nullptr;
    RefreshingComboBox* channels_ = nullptr;
    QLabel* backend_ = nullptr;
    QCheckBox* limiter_ = nullptr;
    LtcSettingsSection* ltc_ = nullptr;
};

} // namespace ostinel
