#include <gtest/gtest.h>

#include <QAction>
#include <QMenuBar>

#include "AppRig.h"
#include "control/MidiOutputController.h"
#include "platform/LoopbackMidiSystem.h"
#include "timecode/TimecodeController.h"
#include "workspace/transport/TimecodeView.h"

namespace ostinel {
namespace {

QAction* action(QWidget& window, const char* name) {
    for (QAction* a : window.findChildren<QAction*>())
        if (a->objectName() == QLatin1String(name)) return a;
    return nullptr;
}

// The ports are there from the start, the transport's triggers reach theirs,
// and the header and the large section show the timecode.
TEST(TimecodeWiring, TheApplicationSendsTimecodeAndTriggersAndShowsTheTimecode) {
    test::AppRig rig;
    auto& midi = dynamic_cast<LoopbackMidiSystem&>(rig.app->midi());
    const auto ports = midi.portNames();
    for (const char* name : {"Ostinel MTC", "Ostinel TC Out", "Ostinel Triggers", "Ostinel Triggers Out"})
        EXPECT_NE(std::find(ports.begin(), ports.end(), name), ports.end()) << name;

    std::vector<LoopbackMessage> sent;
    midi.setTap([&](const LoopbackMessage& m) { sent.push_back(m); });
    rig.app->engine().onMidiTrigger(MidiTrigger{.type = MidiTriggerType::cc, .channel = 3, .number = 7, .value = 90});
    ASSERT_EQ(sent.size(), 1u);
    EXPECT_EQ(sent[0].port, "Ostinel Triggers");
    EXPECT_EQ(sent[0].bytes, (std::vector<std::uint8_t>{0xB2, 7, 90}));

    rig.app->start();
    auto& window = rig.app->window();
    auto* header = window.findChild<TimecodeView*>("timecode");
    auto* large = window.findChild<TimecodeView*>("largeTimecode");
    ASSERT_TRUE(header && large);
    EXPECT_EQ(header->text(), "00:00:00:00");
    EXPECT_TRUE(large->isHidden());
    QAction* show = action(window, "showLargeTimecode");
    ASSERT_NE(show, nullptr);
    show->trigger();
    EXPECT_TRUE(rig.app->timecode().showLargeTimecode());
    EXPECT_FALSE(large->isHidden());
    rig.app->timecode().setRate(TimecodeRate::fps2997df);
    rig.app->state().loadShow(FileUrl::fromPath(rig.writeShow("Show", 1)));
    rig.app->state().setSelectedTrackID(rig.app->state().show().tracks[0].id);
    EXPECT_EQ(large->text(), "01:00:00;00");
}

} // namespace
} // namespace ostinel
