#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QLineEdit>
#include <QPointer>
#include <QPushButton>
#include <QTest>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/settings/PortField.h"
#include "workspace/settings/RemoteAddressList.h"
#include "workspace/settings/RemoteSettingsModel.h"
#include "workspace/settings/RemoteSettingsTab.h"
#include "workspace/settings/SettingsWindow.h"

namespace ostinel {
namespace {

// Keeps what the tab writes and counts the writes, as the server would
// restart its listener on each.
struct RecordingRemoteModel : RemoteSettingsModel {
    RemoteSettings settings;
    int writes = 0;
    std::string currentPin = "0421";
    int pins = 0;
    bool listening = false;
    int clients = 0;
    std::string trouble;
    std::vector<RemoteAddress> list;

    RemoteSettings remoteSettings() const override { return settings; }
    void setRemoteSettings(const RemoteSettings& s) override {
        settings = s;
        ++writes;
    }
    std::string pin() const override { return currentPin; }
    void regeneratePIN() override { currentPin = std::to_string(1000 + ++pins); }
    bool isListening() const override { return listening; }
    int clientCount() const override { return clients; }
    std::string problem() const override { return trouble; }
    std::vector<RemoteAddress> addresses() const override { return list; }
};

struct RemoteSettingsTabTest : ::testing::Test {
    test::WorkspaceRig rig;
    RecordingRemoteModel model;
    std::unique_ptr<SettingsWindow> window;
    RemoteSettingsTab* tab = nullptr;

    void SetUp() override {
        model.list = {{"192.168.1.20", "wlp2s0", "Wi-Fi", RemoteAddress::wifi}};
        rig.workspace.remote = &model;
        window = std::make_unique<SettingsWindow>(rig.workspace);
        tab = window->remoteTab();
    }
    void tick() { rig.loop.advance(RemoteSettingsTab::refreshSeconds); }
    static void type(QLineEdit* edit, const QString& text) {
        edit->selectAll();
        QTest::keyClicks(edit, text);
        QTest::keyClick(edit, Qt::Key_Return);
    }
    QStringList addressTexts() const {
        QStringList texts;
        for (const QLabel* label : tab->addressList()->findChildren<QLabel*>())
            texts << label->text();
        return texts;
    }
};

TEST_F(RemoteSettingsTabTest, SwitchesAndPortWriteThroughAndABadPortIsRefused) {
    window->showTab("Remote");
    EXPECT_EQ(window->currentTabName(), "Remote");
    EXPECT_EQ(tab->enabledBox()->text(), "Allow remote control from a browser or the iOS app");
    EXPECT_EQ(tab->directBox()->text(), "Direct connection (no network needed)");
    EXPECT_TRUE(tab->directBox()->isChecked());
    EXPECT_EQ(tab->portField()->editor()->text(), "8765");

    tab->enabledBox()->click();
    tab->directBox()->click();
    type(tab->portField()->editor(), "9000");
    EXPECT_EQ(model.settings, (RemoteSettings{true, 9000, false}));
    EXPECT_EQ(model.writes, 3);
    // The same port again restarts nothing.
    type(tab->portField()->editor(), "9000");
    EXPECT_EQ(model.writes, 3);

    for (const char* bad : {"0", "70000"}) {
        type(tab->portField()->editor(), bad);
        EXPECT_FALSE(tab->portField()->errorLabel()->isHidden());
        EXPECT_EQ(tab->portField()->errorLabel()->text(), "Choose a port between 1 and 65535.");
    }
    EXPECT_EQ(model.settings.port, 9000);
}

TEST_F(RemoteSettingsTabTest, LiveValuesAreReadAgainEverySecond) {
    EXPECT_EQ(tab->pinLabel()->text(), "0421");
    EXPECT_EQ(tab->clientLabel()->text(), "No phones connected");
    EXPECT_TRUE(tab->statusLabel()->isHidden());

    tab->newPinButton()->click();
    EXPECT_EQ(model.pins, 1);
    EXPECT_EQ(tab->pinLabel()->text(), "1001");

    model.clients = 1;
    model.trouble = "The remote could not open port 8765";
    tick();
    EXPECT_EQ(tab->clientLabel()->text(), "1 phone connected");
    EXPECT_FALSE(tab->statusLabel()->isHidden());
    EXPECT_EQ(tab->statusLabel()->text(), "The remote could not open port 8765");
    model.clients = 3;
    model.trouble.clear();
    model.listening = true;
    tick();
    EXPECT_EQ(tab->clientLabel()->text(), "3 phones connected");
    EXPECT_EQ(tab->statusLabel()->text(), "Listening on port 8765.");
}

TEST_F(RemoteSettingsTabTest, AddressesExplainTheLinksOnlyANearbyDeviceCanUse) {
    EXPECT_TRUE(addressTexts().contains("192.168.1.20"));
    EXPECT_TRUE(addressTexts().contains("Wi-Fi (wlp2s0)"));
    EXPECT_FALSE(addressTexts().contains(RemoteAddressList::sharingNote));
    // An unchanged list keeps its rows, and with them a selection in progress.
    const QPointer<QLabel> row = tab->addressList()->findChild<QLabel*>();
    tick();
    EXPECT_TRUE(row);

    model.list = {{"10.42.0.1", "br0", "Internet Sharing", RemoteAddress::sharing},
                  {"169.254.7.7", "enp3s0", "Ethernet", RemoteAddress::selfAssigned}};
    tick();
    const QStringList texts = addressTexts();
    EXPECT_FALSE(texts.contains("192.168.1.20"));
    EXPECT_TRUE(texts.contains("For a device joined to this Mac's Internet Sharing."));
    EXPECT_TRUE(texts.contains(
        "Only for a device connected straight to this Mac, with no router — by cable, for example."));

    model.list.clear();
    tick();
    EXPECT_EQ(addressTexts(),
              QStringList{"This Mac has no network address. Connect it to the show network."});
}

TEST_F(RemoteSettingsTabTest, TheQrCodeSignsIntoTheFirstAddressWhileTheRemoteIsOn) {
    EXPECT_TRUE(tab->qrLabel()->pixmap().isNull()) << "no code for a remote that is off";
    tab->enabledBox()->click();
    const QPixmap first = tab->qrLabel()->pixmap();
    ASSERT_FALSE(first.isNull());
    const int width = int(first.deviceIndependentSize().width());
    EXPECT_LE(width, RemoteSettingsTab::qrSize);
    EXPECT_GE(width, RemoteSettingsTab::qrSize * 3 / 4);

    // A new PIN is a new code.
    tab->newPinButton()->click();
    EXPECT_NE(tab->qrLabel()->pixmap().toImage(), first.toImage());

    model.list.clear();
    tick();
    EXPECT_TRUE(tab->qrLabel()->pixmap().isNull());
}

TEST_F(RemoteSettingsTabTest, WithoutARemoteTheTabIsNotOffered) {
    rig.workspace.remote = nullptr;
    SettingsWindow bare(rig.workspace);
    bare.showTab("Remote");
    EXPECT_EQ(bare.currentTabName(), "General");
    EXPECT_EQ(bare.remoteTab()->enabledBox(), nullptr);
}

} // namespace
} // namespace ostinel
