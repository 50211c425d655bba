#include "ShowListFixture.h"

namespace ostinel::test {
namespace {

constexpr MidiKey cc64{MidiKey::Kind::cc, 0, 64};

TEST_F(ShowListTest, InAMapModeAClickPicksTheCueToLearnInsteadOfSelecting) {
    rig.state.setSelectedTrackID(ids[0]);
    rig.midiInput.setMapMode(true);
    rig.numbers.setMapMode(true); // MIDI comes first
    clickRow(2);
    EXPECT_EQ(rig.midiInput.learningTrack(), ids[2]);
    EXPECT_FALSE(rig.numbers.learningTrack());
    EXPECT_EQ(canvas().learningTrack(), ids[2]);
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]);
    rig.midiInput.received(cc64);
    EXPECT_FALSE(canvas().learningTrack());

    rig.midiInput.setMapMode(false);
    clickRow(1);
    EXPECT_EQ(rig.numbers.learningTrack(), ids[1]);
    EXPECT_EQ(canvas().learningTrack(), ids[1]);
    rig.numbers.received(4);

    // Nor does a drag move rows while mapping.
    const QPoint gap3(120, 3 * TrackRowPainter::rowHeight - 4);
    mouse(QEvent::MouseButtonPress, rowPoint(0), Qt::LeftButton);
    mouse(QEvent::MouseMove, gap3, Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, gap3, Qt::NoButton);
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 1", "Cue 2", "Cue 3", "Cue 4"}));

    rig.numbers.setMapMode(false);
    clickRow(3);
    EXPECT_EQ(rig.state.selectedTrackID(), ids[3]);
}

TEST_F(ShowListTest, RowsShowTheKeysTheirCueAnswersTo) {
    rig.midiInput.beginLearningTrack(ids[1]);
    rig.midiInput.received(cc64);
    rig.numbers.beginLearningTrack(ids[1]);
    rig.numbers.received(7);
    rig.numbers.beginLearningTrack(ids[3]);
    rig.numbers.received(2);

    EXPECT_EQ(canvas().badgesFor(ids[1]).midi, "CC64");
    EXPECT_EQ(canvas().badgesFor(ids[1]).number, "7");
    EXPECT_EQ(canvas().badgesFor(ids[3]).midi, "");
    EXPECT_EQ(canvas().badgesFor(ids[3]).number, "2");
    EXPECT_EQ(canvas().badgesFor(ids[0]).number, "");

    // Both fit between the name and the length, side by side.
    const QRect row = canvas().rowRect(ids[1]);
    const RowLayout l = TrackRowPainter::layout(row, rig.track(ids[1]), canvas().badgesFor(ids[1]), false);
    ASSERT_FALSE(l.midiBadge.isNull());
    ASSERT_FALSE(l.numberBadge.isNull());
    EXPECT_LE(l.name.right(), l.midiBadge.left());
    EXPECT_LE(l.midiBadge.right(), l.numberBadge.left());
    EXPECT_LE(l.numberBadge.right(), l.length.left());

    rig.midiInput.clearTrackMapping(ids[1]);
    EXPECT_EQ(canvas().badgesFor(ids[1]).midi, "");
}

} // namespace
} // namespace ostinel::test
