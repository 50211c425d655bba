#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>

#include <algorithm>

#include "control/MidiOutputController.h"
#include "platform/LoopbackMidiSystem.h"
#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/settings/MidiDestinationList.h"
#include "workspace/settings/MidiSettingsTab.h"

using namespace ostinel;

namespace {

QStringList texts(const MidiDestinationList& list) {
    QStringList out;
    for (auto* row : list.rows())
        out << row->text() + (row->isChecked() ? " [x]" : " [ ]");
    return out;
}

TEST(MidiDestinationListTest, ShowsConnectedThenChosenButAbsentAndTogglesThrough) {
    std::vector<std::string> connected;
    std::vector<std::string> selected;
    MidiDestinationList* list = nullptr;
    MidiDestinationList widget({[&] { return connected; }, [&] { return selected; },
                                [&](const std::string& name) {
                                    auto it = std::find(selected.begin(), selected.end(), name);
                                    if (it == selected.end())
                                        selected.push_back(name);
                                    else
                                        selected.erase(it);
                                    list->refresh();
                                }});
    list = &widget;
    EXPECT_TRUE(widget.rows().empty());
    EXPECT_FALSE(widget.emptyLabel()->isHidden());
    EXPECT_EQ(widget.emptyLabel()->text(), "No MIDI devices found.");

    connected = {"Synth", "Lights"};
    selected = {"Lights", "Desk"};
    widget.refresh();
    EXPECT_TRUE(widget.emptyLabel()->isHidden());
    EXPECT_EQ(texts(widget), (QStringList{"Synth [ ]", "Lights [x]", "Desk (not connected) [x]"}));

    // Switching off the absent one takes its row away from under the click.
    ASSERT_EQ(widget.rows().size(), 3u);
    widget.rows()[2]->click();
    EXPECT_EQ(selected, std::vector<std::string>{"Lights"});
    EXPECT_EQ(texts(widget), (QStringList{"Synth [ ]", "Lights [x]"}));
    widget.rows()[0]->click();
    EXPECT_EQ(selected, (std::vector<std::string>{"Lights", "Synth"}));
}

TEST(MidiSettingsTabTest, TriggerControlsWriteThroughAndFollowHotplug) {
    test::WorkspaceRig rig;
    LoopbackMidiSystem midi;
    midi.addDestination({"synth:in", "Synth"});
    MidiOutputController output(midi, rig.loop, rig.preferences);
    {
        MidiSettingsTab bare(rig.workspace);
        EXPECT_EQ(bare.triggersEnabled(), nullptr);
    }
    rig.workspace.midiOutput = &output;
    MidiSettingsTab tab(rig.workspace);
    EXPECT_EQ(tab.triggersVirtualPort()->text(), "Virtual Port (“Ostinel Triggers”)");

    tab.triggersEnabled()->click();
    EXPECT_FALSE(output.enabled());
    EXPECT_FALSE(tab.triggersVirtualPort()->isEnabled());
    output.setVirtualPortEnabled(false);
    EXPECT_FALSE(tab.triggersVirtualPort()->isChecked());
    output.setEnabled(true);
    EXPECT_TRUE(tab.triggersEnabled()->isChecked());

    MidiDestinationList& list = *tab.triggerDestinations();
    EXPECT_EQ(texts(list), QStringList{"Synth [x]"});
    midi.addDestination({"desk:in", "Desk"});
    rig.loop.runPosted();
    EXPECT_EQ(texts(list), (QStringList{"Synth [x]", "Desk [x]"}));
    ASSERT_EQ(list.rows().size(), 2u);
    list.rows()[1]->click();
    EXPECT_EQ(rig.preferences.stringListValue("midiTriggersDestinations"), std::vector<std::string>{"Synth"});
    midi.removeDestination("synth:in");
    rig.loop.runPosted();
    EXPECT_EQ(texts(list), (QStringList{"Desk [ ]", "Synth (not connected) [x]"}));
}

} // namespace
