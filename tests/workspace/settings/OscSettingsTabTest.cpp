#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QTest>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/settings/OscSettingsModel.h"
#include "workspace/settings/OscSettingsTab.h"
#include "workspace/settings/PortField.h"
#include "workspace/settings/SettingsWindow.h"

namespace ostinel {
namespace {

// Keeps what the tab writes and counts the writes, as a socket owner would
// reopen on each.
struct RecordingOscModel : OscSettingsModel {
    OscSettings settings;
    int writes = 0;
    std::string listener, feedback, trigger;

    OscSettings oscSettings() const override { return settings; }
    void setOscSettings(const OscSettings& s) override {
        settings = s;
        ++writes;
    }
    std::string listenerStatus() const override { return listener; }
    std::string feedbackStatus() const override { return feedback; }
    std::string triggerStatus() const override { return trigger; }
};

struct OscSettingsTabTest : ::testing::Test {
    test::WorkspaceRig rig;
    RecordingOscModel model;
    std::unique_ptr<SettingsWindow> window;
    OscSettingsTab* tab = nullptr;

    void SetUp() override {
        model.settings.feedbackHost = "10.0.0.9";
        model.listener = "Listening on port 53000.";
        rig.workspace.osc = &model;
        window = std::make_unique<SettingsWindow>(rig.workspace);
        tab = window->oscTab();
    }

    static void type(QLineEdit* edit, const QString& text) {
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
    }
};

TEST_F(OscSettingsTabTest, EveryEditWritesThroughAtOnce) {
    window->showTab("OSC");
    EXPECT_EQ(window->currentTabName(), "OSC");
    EXPECT_EQ(tab->receiveBox()->text(), "Receive OSC Commands");
    EXPECT_EQ(tab->feedbackBox()->text(), "Send Status Feedback");
    EXPECT_EQ(tab->feedbackHost()->text(), "10.0.0.9");
    EXPECT_EQ(tab->triggerPort()->editor()->text(), "53000");

    tab->receiveBox()->click();
    tab->triggerBox()->click();
    type(tab->triggerHost(), "  lights.local ");
    type(tab->feedbackPort()->editor(), "9001");
    EXPECT_TRUE(model.settings.enabled);
    EXPECT_TRUE(model.settings.triggerOutputEnabled);
    EXPECT_EQ(model.settings.triggerHost, "lights.local");
    EXPECT_EQ(model.settings.feedbackPort, 9001);
    EXPECT_EQ(model.writes, 4);

    // Leaving a field untouched reopens nothing.
    emit tab->feedbackHost()->editingFinished();
    EXPECT_EQ(model.writes, 4);
}

TEST_F(OscSettingsTabTest, APortOutOfRangeIsRefusedWithAReason) {
    PortField* port = tab->receivePort();
    for (const char* bad : {"0", "70000", ""}) {
        SCOPED_TRACE(bad);
        type(port->editor(), bad);
        EXPECT_FALSE(port->errorLabel()->isHidden());
        EXPECT_EQ(port->errorLabel()->text(), "Choose a port between 1 and 65535.");
        EXPECT_EQ(model.settings.port, 53000);
    }
    type(port->editor(), "65535");
    EXPECT_TRUE(port->errorLabel()->isHidden());
    EXPECT_EQ(model.settings.port, 65535);
}

TEST_F(OscSettingsTabTest, SocketStatusIsReadAgainEverySecond) {
    EXPECT_EQ(tab->listenerStatus()->text(), "Listening on port 53000.");
    EXPECT_TRUE(tab->triggerStatus()->isHidden());
    model.listener.clear();
    model.trigger = "Trigger output waiting: no route to host.";
    rig.loop.advance(OscSettingsTab::statusRefreshSeconds);
    EXPECT_TRUE(tab->listenerStatus()->isHidden());
    EXPECT_FALSE(tab->triggerStatus()->isHidden());
    EXPECT_EQ(tab->triggerStatus()->text(), "Trigger output waiting: no route to host.");
}

} // namespace
} // namespace ostinel
