#include "workspace/settings/AudioSettingsTab.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QLabel>
#include <QSignalBlocker>
#include <QStandardItemModel>

#include <algorithm>
#include <optional>
#include <string>

#include "platform/AudioSystem.h"
#include "workspace/settings/LtcSettingsSection.h"
#include "playback/PlaybackEngine.h"
#include "workspace/common/Workspace.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

namespace {

QString text(const std::string& s) {
    return QString::fromStdString(s);
}

std::optional<AudioDevice> findDevice(const std::vector<AudioDevice>& devices,
                                      const std::optional<std::string>& uid) {
    if (!uid) return std::nullopt;
    auto it =
        std::find_if(devices.begin(), devices.end(), [&](const AudioDevice& d) { return d.uid == *uid; });
    if (it == devices.end()) return std::nullopt;
    return *it;
}

// Shown so the operator sees the choice, but not chosen again: choosing it
// would route to nothing.
void addUnselectable(QComboBox* box, const QString& label, const QVariant& data) {
    box->addItem(label, data);
    auto* model = qobject_cast<QStandardItemModel*>(box->model());
    if (model) model->item(box->count() - 1)->setEnabled(false);
}

QString backendText(const AudioSystem& audio) {
    const std::string name = audio.backendName();
    if (name == "jack") return "Playing through the JACK audio server.";
    if (name == "alsa") return "Playing through ALSA.";
    QString line = "No audio server — output is silent.";
    if (!audio.fallbackReason().empty()) line += " " + text(audio.fallbackReason());
    return line;
}

} // namespace

AudioSettingsTab::AudioSettingsTab(Workspace& workspace, QWidget* parent)
    : QWidget(parent), workspace_(workspace) {
    PlaybackEngine& engine = workspace.engine;

    device_ = new RefreshingComboBox;
    device_->setMinimumWidth(300);
    device_->setSizeAdjustPolicy(QComboBox::AdjustToContents);
    channels_ = new RefreshingComboBox;
    channels_->setMinimumWidth(110);
    limiter_ = settingsCheckBox("Limiter");
    backend_ = explanationLabel(backendText(workspace.audio));

    auto* deviceColumn = settingsField(device_);
    deviceColumn->layout()->addWidget(backend_);

    QFormLayout* form = settingsForm(this);
    form->addRow("Output Device:", deviceColumn);
    form->addRow("Channels:", settingsField(channels_, "The pair of device outputs the show plays on."));
    form->addRow("Protection:",
                 settingsField(limiter_, "Catches peaks above full scale before they reach the "
                                         "output. Leave on unless a limiter follows in the chain."));
    if (workspace.timecode) {
        ltc_ = new LtcSettingsSection(*workspace.timecode, workspace.audio, form, this);
    }
    refresh();

    device_->beforePopup = [this] { refresh(); };
    channels_->beforePopup = [this] { refresh(); };
    connect(device_, &QComboBox::activated, this, &AudioSettingsTab::chooseDevice);
    connect(channels_, &QComboBox::activated, this, &AudioSettingsTab::chooseChannels);
    connect(limiter_, &QCheckBox::toggled, this, [&engine](bool on) { engine.setLimiterEnabled(on); });

    for (auto changed :
         {&PlaybackEngine::outputDeviceUIDChanged, &PlaybackEngine::preferredOutputDeviceUIDChanged,
          &PlaybackEngine::outputChannelOffsetChanged, &PlaybackEngine::limiterEnabledChanged})
        connect(&engine, changed, this, &AudioSettingsTab::refresh);
}

void AudioSettingsTab::showEvent(QShowEvent* event) {
    refresh();
    QWidget::showEvent(event);
}

void AudioSettingsTab::refresh() {
    const auto devices = workspace_.audio.outputDevices();
    fillDevices(devices);
    fillChannels(devices);
    const QSignalBlocker blocker(limiter_);
    limiter_->setChecked(workspace_.engine.limiterEnabled());
}

// The operator's choice is the preferred device; it stays listed while it is
// unplugged, since the engine returns to it when it comes back.
void AudioSettingsTab::fillDevices(const std::vector<AudioDevice>& devices) {
    AudioSystem& audio = workspace_.audio;
    const PlaybackEngine& engine = workspace_.engine;
    const auto systemDefault = findDevice(devices, audio.defaultOutputDeviceUID());
    const auto& preferred = engine.preferredOutputDeviceUID();

    const QSignalBlocker blocker(device_);
    device_->clear();
    device_->addItem(systemDefault ? "System Default (" + text(systemDefault->name) + ")" : "System Default",
                     QString());
    for (const auto& device : devices)
        device_->addItem(text(device.name), text(device.uid));
    if (preferred && !findDevice(devices, preferred)) {
        const std::string name = engine.preferredOutputDeviceName().value_or(*preferred);
        addUnselectable(device_, text(name) + " (not connected)", text(*preferred));
    }
    const int index = preferred ? device_->findData(text(*preferred)) : 0;
    device_->setCurrentIndex(std::max(index, 0));
    backend_->setText(backendText(audio));
}

// Pairs of the device actually in use, since the offset the engine holds is
// the one saved for that device.
void AudioSettingsTab::fillChannels(const std::vector<AudioDevice>& devices) {
    AudioSystem& audio = workspace_.audio;
    const PlaybackEngine& engine = workspace_.engine;
    auto inUse = findDevice(devices, engine.outputDeviceUID());
    if (!inUse) inUse = findDevice(devices, audio.defaultOutputDeviceUID());
    const int count = inUse ? inUse->channelCount : 0;
    const int offset = engine.outputChannelOffset();

    const QSignalBlocker blocker(channels_);
    channels_->clear();
    if (count == 1) channels_->addItem("1", 0);
    for (int first = 0; first + 1 < count; first += 2)
        channels_->addItem(QString("%1-%2").arg(first + 1).arg(first + 2), first);
    if (channels_->findData(offset) < 0) {
        const QString pair = QString("%1-%2").arg(offset + 1).arg(offset + 2);
        addUnselectable(channels_, count > 0 ? pair + " (not on this device)" : pair, offset);
    }
    channels_->setCurrentIndex(channels_->findData(offset));
    channels_->setEnabled(count > 0);
}

void AudioSettingsTab::chooseDevice(int index) {
    const QString uid = device_->itemData(index).toString();
    if (uid.isEmpty())
        workspace_.engine.setOutputDeviceUID(std::nullopt);
    else
        workspace_.engine.setOutputDeviceUID(uid.toStdString());
    refresh();
}

void AudioSettingsTab::chooseChannels(int index) {
    workspace_.engine.setOutputChannelOffset(channels_->itemData(index).toInt());
    refresh();
}

} // namespace ostinel
