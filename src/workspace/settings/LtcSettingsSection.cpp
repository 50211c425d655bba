#include "workspace/settings/LtcSettingsSection.h"

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QHBoxLayout>
#include <QLabel>
#include <QSignalBlocker>

#include <algorithm>

#include "platform/AudioSystem.h"
#include "timecode/TimecodeController.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

namespace {
constexpr int defaultChannels = 2;
}

LtcSettingsSection::LtcSettingsSection(TimecodeController& timecode, AudioSystem& audio, QFormLayout* form,
                                       QObject* parent)
    : QObject(parent), timecode_(timecode), audio_(audio) {
    enabled_ = settingsCheckBox("Send SMPTE Timecode (LTC)");
    mode_ = new QComboBox;
    mode_->addItem("Split the main output");
    mode_->addItem("A channel of its own");
    side_ = new QComboBox;
    side_->addItem("Left");
    side_->addItem("Right");
    device_ = new RefreshingComboBox;
    device_->beforePopup = [this] { fillDevices(); };
    channel_ = new QComboBox;
    level_ = new QDoubleSpinBox;
    level_->setRange(-40.0, 0.0);
    level_->setDecimals(1);
    level_->setSingleStep(1.0);
    level_->setSuffix(" dB");

    splitRow_ = settingsField(side_, "Timecode on this side of the pair; the music is folded to mono on the other.");
    customRow_ = new QWidget;
    auto* custom = new QHBoxLayout(customRow_);
    custom->setContentsMargins(0, 0, 0, 0);
    custom->addWidget(device_, 1);
    custom->addWidget(new QLabel("Channel"));
    custom->addWidget(channel_);

    form->addRow("Timecode:", settingsField(enabled_, "Sent as audio, past the limiter and the meters."));
    form->addRow("Route:", mode_);
    form->addRow("Side:", splitRow_);
    form->addRow("Output:", customRow_);
    form->addRow("Level:", level_);

    fillDevices();
    reflect();
    connect(enabled_, &QCheckBox::toggled, this, [&timecode](bool on) { timecode.setLtcEnabled(on); });
    connect(mode_, &QComboBox::activated, this, [&timecode](int index) {
        timecode.setLtcMode(index == 1 ? LTCMode::customRoute : LTCMode::splitMain);
    });
    connect(side_, &QComboBox::activated, this, [&timecode](int index) { timecode.setLtcSplitLTCOnRight(index == 1); });
    connect(device_, &QComboBox::activated, this, [this](int index) {
        const QString uid = device_->itemData(index).toString();
        timecode_.setLtcDeviceUID(uid.isEmpty() ? std::nullopt : std::optional<std::string>(uid.toStdString()));
        fillDevices();
    });
    connect(channel_, &QComboBox::activated, this, [&timecode](int index) { timecode.setLtcChannel(index); });
    connect(level_, &QDoubleSpinBox::valueChanged, this, [&timecode](double db) { timecode.setLtcLevelDb(db); });
    connect(&timecode, &TimecodeController::ltcChanged, this, [this] {
        fillDevices();
        reflect();
    });
}

void LtcSettingsSection::fillDevices() {
    const QSignalBlocker a(device_), b(channel_);
    const auto devices = audio_.outputDevices();
    const auto& chosen = timecode_.ltcDeviceUID();
    device_->clear();
    device_->addItem("System default", QString());
    int channels = defaultChannels;
    const auto defaultUid = audio_.defaultOutputDeviceUID();
    for (const auto& device : devices) {
        device_->addItem(QString::fromStdString(device.name), QString::fromStdString(device.uid));
        if (chosen ? device.uid == *chosen : defaultUid && device.uid == *defaultUid) channels = device.channelCount;
    }
    if (chosen && std::none_of(devices.begin(), devices.end(), [&](auto& d) { return d.uid == *chosen; }))
        device_->addItem(QString::fromStdString(*chosen) + " (not connected)", QString::fromStdString(*chosen));
    device_->setCurrentIndex(chosen ? std::max(0, device_->findData(QString::fromStdString(*chosen))) : 0);
    channels = std::max({channels, 1, timecode_.ltcChannel() + 1});
    channel_->clear();
    for (int c = 1; c <= channels; ++c) channel_->addItem(QString::number(c));
    channel_->setCurrentIndex(timecode_.ltcChannel());
}

void LtcSettingsSection::reflect() {
    const QSignalBlocker a(enabled_), b(mode_), c(side_), d(level_);
    const bool on = timecode_.ltcEnabled();
    const bool custom = timecode_.ltcMode() == LTCMode::customRoute;
    enabled_->setChecked(on);
    mode_->setCurrentIndex(custom ? 1 : 0);
    side_->setCurrentIndex(timecode_.ltcSplitLTCOnRight() ? 1 : 0);
    level_->setValue(timecode_.ltcLevelDb());
    for (QWidget* w : {static_cast<QWidget*>(mode_), static_cast<QWidget*>(level_)}) w->setEnabled(on);
    splitRow_->setEnabled(on && !custom);
    customRow_->setEnabled(on && custom);
}

} // namespace ostinel
