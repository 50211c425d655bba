#include "EditPanelFixture.h"

#include <QAbstractSpinBox>
#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QSignalSpy>
#include <QSlider>
#include <QSpinBox>
#include <QToolButton>

#include <cmath>

#include "playback/LevelLaw.h"
#include "workspace/common/Theme.h"
#include "workspace/editpanel/ClockSpinBox.h"
#include "workspace/editpanel/ColorSwatches.h"
#include "workspace/editpanel/LevelControl.h"
#include "workspace/editpanel/TrackFields.h"

namespace ostinel::test {
namespace {

TEST_F(EditPanelTest, ASliderDragIsOneUndoStepAndTheDbFieldFollowsTheLaw) {
    QSlider* slider = panel->trackFields()->level()->slider();
    slider->setSliderDown(true);
    for (int position : {600, 500, 400, 300}) {
        slider->setValue(position);
        rig.loop.advance(0.3); // a slow drag: each pause is under the coalescing window
    }
    slider->setSliderDown(false);
    settle();

    const double amplitude = LevelLaw::amplitudeForSlider(0.3);
    EXPECT_NEAR(cue().volume, amplitude, 1e-12);
    EXPECT_EQ(panel->trackFields()->level()->dbField()->text().toStdString(), LevelLaw::formatDb(amplitude));
    rig.state.undo();
    EXPECT_EQ(cue().volume, 1.0);
    EXPECT_FALSE(rig.state.canUndo());
    EXPECT_EQ(panel->trackFields()->level()->dbField()->text(), QStringLiteral("0.0"));
    EXPECT_EQ(slider->value(), std::lround(LevelLaw::sliderForAmplitude(1.0) * 1000));
}

TEST_F(EditPanelTest, TheDbFieldTakesALevelAndRestoresTextThatIsNone) {
    QLineEdit* db = panel->trackFields()->level()->dbField();
    type(db, "-6");
    EXPECT_NEAR(cue().volume, std::pow(10.0, -6.0 / 20.0), 1e-12);
    EXPECT_EQ(db->text(), QStringLiteral("-6.0"));

    settle();
    type(db, "abc");
    EXPECT_NEAR(cue().volume, std::pow(10.0, -6.0 / 20.0), 1e-12);
    EXPECT_EQ(db->text(), QStringLiteral("-6.0"));

    type(db, "-inf");
    EXPECT_EQ(cue().volume, 0.0);
    EXPECT_EQ(db->text(), QStringLiteral("-∞"));
}

TEST_F(EditPanelTest, RenamingCommitsOnceAndTheFieldFollowsUndo) {
    auto* name = field<QLineEdit>(panel->trackFields(), "Name");
    QSignalSpy changes(&rig.state, &AppState::showChanged);
    type(name, "Intro", false);
    EXPECT_EQ(cue().name, "Cue 1") << "nothing is written while typing";
    QTest::keyClick(name, Qt::Key_Return);
    name->clearFocus(); // focus leaving after Return commits nothing more
    EXPECT_EQ(cue().name, "Intro");
    EXPECT_EQ(changes.count(), 1);

    settle();
    name->setFocus();
    rig.state.undo();
    EXPECT_EQ(cue().name, "Cue 1");
    EXPECT_EQ(name->text(), QStringLiteral("Cue 1")) << "a focused field that isn't being typed in follows";
}

TEST_F(EditPanelTest, TypingIsKeptThroughARefreshAndLandsOnItsOwnCue) {
    auto* name = field<QLineEdit>(panel->trackFields(), "Name");
    type(name, "Outro", false);
    rig.state.editTrack(cues[0], [](Track& t) { t.skip = true; }); // some other view edits
    EXPECT_EQ(name->text(), QStringLiteral("Outro"));

    rig.state.setSelectedTrackID(cues[1]);
    EXPECT_EQ(cue(0).name, "Outro");
    EXPECT_EQ(cue(1).name, "Cue 2");
    EXPECT_EQ(name->text(), QStringLiteral("Cue 2"));
}

TEST_F(EditPanelTest, TimesAreClampedByTheModel) {
    auto first = rig.state.addLoop(cues[0], 1.0, 3.0);
    auto second = rig.state.addLoop(cues[0], 5.0, 8.0);
    ASSERT_TRUE(first && second);
    rig.state.setSelectedLoopID(second);
    FieldForm* loop = panel->itemFields();
    ASSERT_NE(loop, nullptr);
    ASSERT_TRUE(loop->isVisible());

    auto* start = field<ClockSpinBox>(loop, "Start");
    type(start, "0:02");
    EXPECT_EQ(rig.state.loop(cues[0], *second)->startSeconds, 3.0) << "stops on the neighbour's end";
    EXPECT_EQ(start->text(), QStringLiteral("0:03.000"));

    type(field<ClockSpinBox>(loop, "End"), "3.01");
    EXPECT_NEAR(rig.state.loop(cues[0], *second)->endSeconds, 3.05, 1e-9) << "keeps the minimum length";
    type(field<ClockSpinBox>(loop, "End"), "1:");
    EXPECT_NEAR(rig.state.loop(cues[0], *second)->endSeconds, 3.05, 1e-9) << "half a time changes nothing";

    auto* out = field<ClockSpinBox>(panel->trackFields(), "Out");
    EXPECT_EQ(out->text(), QStringLiteral("0:10.000")) << "an unset out-point is the end of the file";
    type(out, "4", false);
    panel.reset();
    EXPECT_EQ(cue().endSeconds, 4.0) << "closing the panel keeps what was typed";
    panel = std::make_unique<EditPanel>(rig.workspace);
    panel->show();
    type(field<ClockSpinBox>(panel->trackFields(), "Out"), "99");
    EXPECT_EQ(cue().endSeconds, 10.0) << "the field stops at the end of the file";
    type(field<ClockSpinBox>(panel->trackFields(), "Start"), "1:00:00.5");
    EXPECT_EQ(cue().timecodeStartSeconds, 3600.5);
}

TEST_F(EditPanelTest, MidiFieldsStayInTheirRanges) {
    auto trigger = rig.state.addMidiTrigger(cues[0], 2.0);
    ASSERT_TRUE(trigger);
    rig.state.setSelectedMidiTriggerID(trigger);
    FieldForm* form = panel->itemFields();
    auto stored = [&] { return rig.state.show().track(cues[0])->midiTriggers[0]; };
    auto* channel = field<QSpinBox>(form, "Channel");
    type(channel, "16");
    channel->stepBy(3);
    EXPECT_EQ(stored().channel, 16);
    type(channel, "0");
    EXPECT_EQ(stored().channel, 1);
    type(channel, "20");
    EXPECT_LE(stored().channel, 16);
    EXPECT_EQ(channel->value(), stored().channel);
    auto* value = field<QSpinBox>(form, "Value");
    type(value, "127");
    value->stepBy(1);
    EXPECT_EQ(stored().value, 127);

    // The note length row is there only for a note.
    auto* length = field<QDoubleSpinBox>(form, "Note length");
    EXPECT_FALSE(length->isVisible());
    auto* kind = field<QComboBox>(form, "Message");
    kind->activated(0);
    EXPECT_EQ(rig.state.show().track(cues[0])->midiTriggers[0].type, MidiTriggerType::noteOn);
    EXPECT_TRUE(length->isVisible());
}

TEST_F(EditPanelTest, ShowModeIsReadOnlyAndNoSelectionIsCalm) {
    rig.state.setMode(AppMode::show);
    int controls = 0;
    for (QWidget* w : panel->findChildren<QWidget*>()) {
        if (qobject_cast<QLineEdit*>(w) || qobject_cast<QAbstractSpinBox*>(w) || qobject_cast<QAbstractButton*>(w) ||
            qobject_cast<QSlider*>(w) || qobject_cast<QComboBox*>(w) || qobject_cast<QPlainTextEdit*>(w)) {
            ++controls;
            EXPECT_FALSE(w->isEnabled()) << w->metaObject()->className() << " " << w->accessibleName().toStdString();
        }
    }
    EXPECT_GT(controls, 30);
    rig.state.setMode(AppMode::edit);
    EXPECT_TRUE(field<QLineEdit>(panel->trackFields(), "Name")->isEnabled());

    rig.state.setSelectedTrackID(std::nullopt);
    EXPECT_FALSE(panel->trackFields()->isVisible());
    bool calm = false;
    for (QLabel* label : panel->findChildren<QLabel*>())
        calm |= label->isVisible() && label->text() == QStringLiteral("No cue selected");
    EXPECT_TRUE(calm);
}

TEST_F(EditPanelTest, ColourAndNotesCommit) {
    ColorSwatches* colors = panel->trackFields()->colors();
    colors->button(2)->click();
    EXPECT_EQ(cue().colorHex, theme::cueColorSwatches()[2]);
    EXPECT_TRUE(colors->button(2)->isChecked());
    colors->button(std::nullopt)->click();
    EXPECT_EQ(cue().colorHex, std::nullopt);
    EXPECT_FALSE(colors->button(2)->isChecked());

    QPlainTextEdit* notes = nullptr;
    for (auto* edit : panel->trackFields()->findChildren<QPlainTextEdit*>()) notes = edit;
    ASSERT_NE(notes, nullptr);
    notes->setFocus();
    QTest::keyClicks(notes, "Wait for the bow");
    EXPECT_EQ(cue().notes, "");
    field<QLineEdit>(panel->trackFields(), "Name")->setFocus();
    EXPECT_EQ(cue().notes, "Wait for the bow");
}

} // namespace
} // namespace ostinel::test
