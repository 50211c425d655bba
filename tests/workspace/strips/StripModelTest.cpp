#include <gtest/gtest.h>

#include "workspace/strips/StripModel.h"

namespace ostinel::strips {
namespace {

TEST(StripModel, MarkersAreInTimeOrderWithTheirTexts) {
    Track track;
    Note late{.name = "Note 1", .body = "  \n Blackout\nthen house lights", .timeSeconds = 8.0};
    Note early{.name = "Note 2", .body = " \t", .timeSeconds = 2.0};
    track.timelineNotes.push_back(late);
    track.timelineNotes.push_back(early);
    auto notes = stripMarkers(track, Strip::notes);
    ASSERT_EQ(notes.size(), 2u);
    EXPECT_EQ(notes[0].id, early.id);
    EXPECT_EQ(notes[0].text, "Note 2"); // a blank body falls back to the name
    EXPECT_EQ(notes[1].text, "Blackout");

    MidiTrigger cc{.timeSeconds = 1.0, .type = MidiTriggerType::cc, .channel = 1, .number = 7, .value = 127};
    MidiTrigger on{
        .timeSeconds = 1.0, .type = MidiTriggerType::noteOn, .channel = 10, .number = 60, .value = 100};
    track.midiTriggers.push_back(cc);
    track.midiTriggers.push_back(on);
    auto midi = stripMarkers(track, Strip::midiTriggers);
    ASSERT_EQ(midi.size(), 2u);
    EXPECT_EQ(midi[0].id, cc.id); // equal times keep list order
    EXPECT_EQ(midi[0].text, "CC 7 = 127 \u00b7 ch 1");
    EXPECT_EQ(midi[1].text, "Note 60 vel 100 \u00b7 ch 10");

    track.oscTriggers.push_back(OSCTrigger{.address = "/lights/go"});
    EXPECT_EQ(stripMarkers(track, Strip::oscTriggers).at(0).text, "/lights/go");
    EXPECT_TRUE(stripMarkers(track, Strip::waveform).empty());
}

TEST(StripModel, OnlyTriggerStripsCanBeSwitchedOff) {
    Track track;
    track.midiTriggersEnabled = false;
    EXPECT_FALSE(stripEnabled(track, Strip::midiTriggers));
    EXPECT_TRUE(stripEnabled(track, Strip::oscTriggers));
    track.oscTriggersEnabled = false;
    EXPECT_FALSE(stripEnabled(track, Strip::oscTriggers));
    EXPECT_TRUE(stripEnabled(track, Strip::notes));
}

TEST(StripModel, HitTestingPrefersTheNearestLineThenTheFlagOnTop) {
    const Uuid a, b, c;
    std::vector<MarkerSpan> spans{{a, 100.0, 300.0}, {b, 150.0, 260.0}, {c, 400.0, 410.0}};
    clipFlags(spans, 3.0);
    EXPECT_DOUBLE_EQ(spans[0].right, 147.0); // stops short of the next line
    EXPECT_DOUBLE_EQ(spans[1].right, 260.0);
    EXPECT_DOUBLE_EQ(spans[2].right, 410.0); // the last keeps its width

    EXPECT_EQ(markerAt(spans, 104.0, 8.0), a);
    EXPECT_EQ(markerAt(spans, 146.0, 8.0), b); // nearer b's line than a's
    EXPECT_EQ(markerAt(spans, 120.0, 8.0), a); // on a's flag
    EXPECT_EQ(markerAt(spans, 250.0, 8.0), b);
    EXPECT_EQ(markerAt(spans, 300.0, 8.0), std::nullopt);
    EXPECT_EQ(markerAt(spans, 91.0, 8.0), std::nullopt);
}

TEST(StripModel, MarksContainTimesWhicheverWayTheyWereDrawn) {
    EXPECT_TRUE(insideMark(GroupDrag::Sel{4.0, 2.0}, 2.0));
    EXPECT_TRUE(insideMark(GroupDrag::Sel{2.0, 4.0}, 4.0));
    EXPECT_FALSE(insideMark(GroupDrag::Sel{4.0, 2.0}, 4.01));
    EXPECT_FALSE(insideMark(std::nullopt, 3.0));
}

} // namespace
} // namespace ostinel::strips
