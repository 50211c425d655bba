#include <gtest/gtest.h>

#include <QCheckBox>
#include <QDoubleSpinBox>
#include <QStandardItemModel>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/settings/AudioSettingsTab.h"
#include "workspace/settings/GeneralSettingsTab.h"
#include "workspace/settings/SettingsRows.h"
#include "workspace/settings/SettingsWindow.h"

using namespace ostinel;

namespace {

class SettingsWindowTest : public ::testing::Test {
protected:
    test::WorkspaceRig rig;
    SettingsWindow window{rig.workspace};
    GeneralSettingsTab& general = *window.generalTab();
    AudioSettingsTab& audio = *window.audioTab();

    // As the operator picks an entry: only enabled entries can be picked.
    bool pick(QComboBox* box, const QString& text) {
        const int index = box->findText(text);
        auto* model = qobject_cast<QStandardItemModel*>(box->model());
        if (index < 0 || !model->item(index)->isEnabled()) return false;
        box->setCurrentIndex(index);
        emit box->activated(index);
        return true;
    }
    QStringList items(QComboBox* box) const {
        QStringList list;
        for (int i = 0; i < box->count(); ++i)
            list << box->itemText(i);
        return list;
    }
    void settleDevices() { rig.loop.runPosted(); }
};

TEST_F(SettingsWindowTest, GeneralSwitchesWriteThroughAndFollowChangesElsewhere) {
    struct Switch {
        QCheckBox* box;
        bool (AppState::*get)() const;
        void (AppState::*set)(bool);
        const char* key;
    };
    const Switch switches[] = {
        {general.openLastShow(), &AppState::openLastShowOnLaunch, &AppState::setOpenLastShowOnLaunch,
         "openLastShowOnLaunch"},
        {general.waveformFollowsVolume(), &AppState::waveformFollowsVolume,
         &AppState::setWaveformFollowsVolume, "waveformFollowsVolume"},
        {general.preserveZoom(), &AppState::preserveZoomOnTrackSwitch,
         &AppState::setPreserveZoomOnTrackSwitch, "preserveZoomOnTrackSwitch"},
        {general.spectralColoring(), &AppState::spectralColoringEnabled, &AppState::setSpectralColoringEnabled,
         "spectralColoringEnabled"},
    };
    for (const auto& s : switches) {
        SCOPED_TRACE(s.key);
        const bool before = (rig.state.*s.get)();
        EXPECT_EQ(s.box->isChecked(), before);
        s.box->click();
        EXPECT_EQ((rig.state.*s.get)(), !before);
        EXPECT_EQ(rig.preferences.boolValue(s.key), !before);
        (rig.state.*s.set)(before);
        EXPECT_EQ(s.box->isChecked(), before);
    }
}

TEST_F(SettingsWindowTest, GeneralOffersNoSwitchForAFeatureThatIsNotThere) {
    QStringList offered;
    for (const auto* box : general.findChildren<QCheckBox*>()) offered << box->text();
    EXPECT_TRUE(offered.contains("Keep Zoom Level When Switching Tracks"));
    EXPECT_FALSE(offered.contains("Check the Show When Entering Show Mode"));
}

TEST_F(SettingsWindowTest, AutosaveAndStopFadeWriteThroughBothWays) {
    general.autosaveInterval()->setValue(120.0);
    EXPECT_EQ(rig.state.autosaveInterval(), 120.0);
    EXPECT_EQ(rig.preferences.doubleValue("autosaveInterval"), 120.0);
    rig.state.setAutosaveInterval(45.0);
    EXPECT_EQ(general.autosaveInterval()->value(), 45.0);

    QDoubleSpinBox* fade = general.stopFade();
    EXPECT_EQ(fade->value(), 2.0);
    fade->setValue(3.5);
    EXPECT_EQ(rig.engine.stopFadeSeconds(), 3.5);
    EXPECT_EQ(rig.preferences.doubleValue("stopFadeSeconds"), 3.5);
    rig.engine.setStopFadeSeconds(7.5);
    EXPECT_EQ(fade->value(), 7.5);
}

TEST_F(SettingsWindowTest, DeviceListPutsTheDefaultFirstAndChoosingRoutesTheEngine) {
    rig.audio.addDevice({"usb", "USB Interface", 8});
    rig.audio.addDevice({"mono", "Mono Monitor", 1});
    settleDevices();
    audio.refresh();
    EXPECT_EQ(items(audio.deviceBox()),
              QStringList({"System Default (Offline)", "Offline", "USB Interface", "Mono Monitor"}));
    EXPECT_EQ(audio.deviceBox()->currentIndex(), 0);
    EXPECT_EQ(items(audio.channelBox()), QStringList({"1-2"}));

    ASSERT_TRUE(pick(audio.deviceBox(), "USB Interface"));
    EXPECT_EQ(rig.engine.outputDeviceUID(), "usb");
    EXPECT_EQ(rig.preferences.stringValue("outputDeviceUID"), "usb");
    EXPECT_EQ(items(audio.channelBox()), QStringList({"1-2", "3-4", "5-6", "7-8"}));
    ASSERT_TRUE(pick(audio.channelBox(), "3-4"));
    EXPECT_EQ(rig.engine.outputChannelOffset(), 2);
    EXPECT_EQ(rig.audio.channelMap(), (std::vector<int>{-1, -1, 0, 1, -1, -1, -1, -1}));

    ASSERT_TRUE(pick(audio.deviceBox(), "Mono Monitor"));
    EXPECT_EQ(items(audio.channelBox()), QStringList({"1"}));

    ASSERT_TRUE(pick(audio.deviceBox(), "System Default (Offline)"));
    EXPECT_EQ(rig.engine.outputDeviceUID(), std::nullopt);
    EXPECT_FALSE(rig.preferences.contains("outputDeviceUID"));

    // Back on the interface, its own pair returns.
    ASSERT_TRUE(pick(audio.deviceBox(), "USB Interface"));
    EXPECT_EQ(audio.channelBox()->currentText(), "3-4");
}

TEST_F(SettingsWindowTest, DevicesComingAndGoingShowInTheList) {
    rig.audio.addDevice({"usb", "USB Interface", 8});
    settleDevices();
    audio.refresh();
    ASSERT_TRUE(pick(audio.deviceBox(), "USB Interface"));
    ASSERT_TRUE(pick(audio.channelBox(), "5-6"));

    rig.audio.removeDevice("usb");
    settleDevices();
    // Still the operator's choice, visible but not to be picked while away;
    // the pairs are those of the device now playing.
    EXPECT_EQ(audio.deviceBox()->currentText(), "USB Interface (not connected)");
    EXPECT_FALSE(pick(audio.deviceBox(), "USB Interface (not connected)"));
    EXPECT_EQ(items(audio.channelBox()), QStringList({"1-2"}));

    rig.audio.addDevice({"usb", "USB Interface", 8});
    settleDevices();
    EXPECT_EQ(audio.deviceBox()->currentText(), "USB Interface");
    EXPECT_EQ(audio.channelBox()->currentText(), "5-6");

    // A device the engine has no reason to react to appears when the list opens.
    rig.audio.addDevice({"hdmi", "HDMI Output", 2});
    settleDevices();
    audio.deviceBox()->showPopup();
    audio.deviceBox()->hidePopup();
    EXPECT_TRUE(items(audio.deviceBox()).contains("HDMI Output"));
}

TEST_F(SettingsWindowTest, LimiterWritesThroughTheEngine) {
    EXPECT_TRUE(audio.limiter()->isChecked());
    audio.limiter()->click();
    EXPECT_FALSE(rig.engine.limiterEnabled());
    EXPECT_EQ(rig.preferences.boolValue("limiterEnabled"), false);
    rig.engine.setLimiterEnabled(true);
    EXPECT_TRUE(audio.limiter()->isChecked());
}

TEST_F(SettingsWindowTest, RemembersItsTabAndOpensOnTheOneAskedFor) {
    EXPECT_FALSE(rig.preferences.contains("settingsTab"));
    window.showTab("Audio");
    EXPECT_EQ(window.currentTabName(), "Audio");
    EXPECT_EQ(rig.preferences.stringValue("settingsTab"), "Audio");
    window.showTab("Remote");
    EXPECT_EQ(window.currentTabName(), "General");
    EXPECT_EQ(rig.preferences.stringValue("settingsTab"), "General");

    // Another window asks for a tab by writing the key before showing us.
    rig.preferences.setValue("settingsTab", std::string("Audio"));
    window.show();
    EXPECT_EQ(window.currentTabName(), "Audio");
    window.hide();
    rig.preferences.setValue("settingsTab", std::string("Nonsense"));
    window.show();
    EXPECT_EQ(window.currentTabName(), "General");
}

} // namespace
