#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QPushButton>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/settings/MappingList.h"
#include "workspace/settings/MidiMappingsSection.h"
#include "workspace/settings/MidiSettingsTab.h"
#include "workspace/settings/NumberMappingsSection.h"
#include "workspace/settings/SettingsWindow.h"

namespace ostinel {
namespace {

constexpr MidiKey note60{MidiKey::Kind::note, 0, 60};
constexpr MidiKey cc7{MidiKey::Kind::cc, 3, 7};

struct InputMappingsTest : ::testing::Test {
    test::WorkspaceRig rig;
    std::vector<Uuid> ids = rig.addCues({1.0, 1.0, 1.0});
    SettingsWindow window{rig.workspace};
    MidiMappingsSection& midi = *window.midiTab()->mappingsSection();
    NumberMappingsSection& numbers = *window.midiTab()->numbersSection();
    MidiController& input = rig.midiInput;

    static std::vector<QString> listed(const MappingList& list) {
        std::vector<QString> texts;
        for (const auto& row : list.rows())
            texts.push_back(row.name->text() + " " + row.key->text());
        return texts;
    }
};

TEST_F(InputMappingsTest, LearnShowsTheKeyAndClearRemovesIt) {
    const auto& go = midi.actionRow(4);
    EXPECT_EQ(go.key->text(), "Not mapped");
    go.learn->click();
    EXPECT_EQ(input.learning(), MidiAction::go);
    EXPECT_TRUE(go.learn->isChecked());
    EXPECT_EQ(go.learn->text(), "Press a key…");
    input.received(note60);
    EXPECT_EQ(input.mapping(MidiAction::go), note60);
    EXPECT_EQ(go.key->text(), "N60");
    EXPECT_FALSE(go.learn->isChecked());
    EXPECT_EQ(go.learn->text(), "Learn");

    // A second press takes back a pending learn.
    const auto& stop = midi.actionRow(2);
    stop.learn->click();
    stop.learn->click();
    EXPECT_FALSE(input.learning());
    EXPECT_FALSE(stop.learn->isChecked());

    go.clear->click();
    EXPECT_FALSE(input.mapping(MidiAction::go));
    EXPECT_EQ(go.key->text(), "Not mapped");
    EXPECT_FALSE(go.clear->isEnabled());
}

TEST_F(InputMappingsTest, CueMappingsFollowTheShowAndClearOneOrAll) {
    MappingList& cues = *midi.trackList();
    EXPECT_TRUE(cues.rows().empty());
    EXPECT_FALSE(cues.emptyLabel()->isHidden());
    input.beginLearningTrack(ids[2]);
    input.received(cc7);
    input.beginLearningTrack(ids[0]);
    input.received(note60);
    EXPECT_EQ(listed(cues), (std::vector<QString>{"Cue 1 N60", "Cue 3 CC7"}));
    EXPECT_TRUE(cues.emptyLabel()->isHidden());

    rig.state.editTrack(ids[2], [](Track& t) { t.name = "Finale"; });
    EXPECT_EQ(listed(cues), (std::vector<QString>{"Cue 1 N60", "Finale CC7"}));
    cues.rows().front().clear->click();
    EXPECT_FALSE(input.trackMapping(ids[0]));
    EXPECT_EQ(listed(cues), std::vector<QString>{"Finale CC7"});

    midi.actionRow(0).learn->click();
    input.received(note60);
    ASSERT_TRUE(midi.clearAllButton()->isEnabled());
    midi.clearAllButton()->click();
    EXPECT_TRUE(input.mappings().empty());
    EXPECT_TRUE(input.trackMappings().empty());
    EXPECT_TRUE(cues.rows().empty());
    EXPECT_EQ(midi.actionRow(0).key->text(), "Not mapped");
}

TEST_F(InputMappingsTest, MapModesAndNumberKeysWriteThrough) {
    midi.mapModeBox()->click();
    EXPECT_TRUE(input.mapMode());
    input.setMapMode(false);
    EXPECT_FALSE(midi.mapModeBox()->isChecked());

    numbers.mapModeBox()->click();
    EXPECT_TRUE(rig.numbers.mapMode());
    rig.numbers.beginLearningTrack(ids[1]);
    ASSERT_TRUE(rig.numbers.received(7));
    EXPECT_EQ(listed(*numbers.trackList()), std::vector<QString>{"Cue 2 7"});
    numbers.trackList()->rows().front().clear->click();
    EXPECT_FALSE(rig.numbers.digit(ids[1]));
    EXPECT_TRUE(numbers.trackList()->rows().empty());
}

} // namespace
} // namespace ostinel
