#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>

#include "platform/LoopbackMidiSystem.h"
#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "timecode/LTCOutputEngine.h"
#include "timecode/MTCSender.h"
#include "timecode/ManualQuarterFrameTimer.h"
#include "timecode/TimecodeController.h"
#include "workspace/settings/AudioSettingsTab.h"
#include "workspace/settings/LtcSettingsSection.h"
#include "workspace/settings/MidiSettingsTab.h"
#include "workspace/settings/MtcSettingsSection.h"
#include "workspace/settings/SettingsRows.h"
#include "workspace/settings/SettingsWindow.h"

namespace ostinel {
namespace {

struct TimecodeSettingsTest : ::testing::Test {
    test::WorkspaceRig rig;
    LoopbackMidiSystem midi;
    ManualClock clock;
    ManualQuarterFrameTimer timer{clock};
    MTCSender sender{midi, clock, timer};
    LTCOutputEngine ltc{rig.audio, rig.loop, clock};
    TimecodeController timecode{rig.loop, rig.preferences, midi, sender, ltc};

    TimecodeSettingsTest() {
        timecode.attach(rig.engine);
        rig.workspace.timecode = &timecode;
    }
};

// The MIDI tab's timecode section writes through and follows the controller.
TEST_F(TimecodeSettingsTest, MidiTimecodeControlsWriteThrough) {
    SettingsWindow window(rig.workspace);
    MtcSettingsSection* mtc = window.midiTab()->timecodeSection();
    ASSERT_NE(mtc, nullptr);
    EXPECT_EQ(mtc->enabledBox()->text(), "Send MIDI Timecode");
    EXPECT_EQ(mtc->virtualPortBox()->text(), "Virtual Port (“Ostinel MTC”)");
    ASSERT_EQ(mtc->rateBox()->count(), 4);
    EXPECT_EQ(mtc->rateBox()->itemText(2), "29.97 fps drop");
    EXPECT_EQ(mtc->rateBox()->currentIndex(), 1);

    mtc->rateBox()->setCurrentIndex(2);
    emit mtc->rateBox()->activated(2);
    EXPECT_EQ(timecode.rate(), TimecodeRate::fps2997df);
    EXPECT_EQ(rig.preferences.stringValue("timecodeRate"), "fps2997df");
    mtc->enabledBox()->click();
    EXPECT_FALSE(timecode.enabled());
    EXPECT_FALSE(mtc->rateBox()->isEnabled());
    timecode.setVirtualPortEnabled(false);
    EXPECT_FALSE(mtc->virtualPortBox()->isChecked());
}

// The Audio tab's LTC section: turning it on splits the music's pair, the
// level writes through, and a route of its own offers the device's channels.
TEST_F(TimecodeSettingsTest, LtcControlsRouteAsTheyChange) {
    SettingsWindow window(rig.workspace);
    LtcSettingsSection* section = window.audioTab()->ltcSection();
    ASSERT_NE(section, nullptr);
    EXPECT_EQ(section->enabledBox()->text(), "Send SMPTE Timecode (LTC)");
    EXPECT_FALSE(section->modeBox()->isEnabled());

    section->enabledBox()->click();
    EXPECT_TRUE(timecode.ltcEnabled());
    EXPECT_EQ(rig.engine.monoOutputChannel(), 0);
    section->levelBox()->setValue(-24.0);
    EXPECT_EQ(timecode.ltcLevelDb(), -24.0);
    EXPECT_EQ(rig.preferences.doubleValue("ltcLevelDb"), -24.0);

    rig.audio.addDevice({"eight", "Eight", 8});
    emit section->modeBox()->activated(1);
    EXPECT_EQ(timecode.ltcMode(), LTCMode::customRoute);
    const int eight = section->deviceBox()->findData(QStringLiteral("eight"));
    ASSERT_GE(eight, 0);
    emit section->deviceBox()->activated(eight);
    EXPECT_EQ(timecode.ltcDeviceUID(), "eight");
    EXPECT_EQ(section->channelBox()->count(), 8);
    emit section->channelBox()->activated(5);
    EXPECT_EQ(timecode.ltcChannel(), 5);
    EXPECT_EQ(rig.engine.monoOutputChannel(), std::nullopt);
    ASSERT_NE(ltc.output(), nullptr);
    EXPECT_EQ(ltc.output()->currentDeviceUID(), "eight");
}

} // namespace
} // namespace ostinel
