#include <gtest/gtest.h>

#include "document/ShowFile.h"
#include "platform/MemoryPreferences.h"
#include "support/ShowFixtures.h"

using namespace ostinel;

namespace {

PreferenceBytes bytes(const std::string& s) { return PreferenceBytes(s.begin(), s.end()); }

// Preferences from an early version naming the first track of a rich show
// and one track that no longer exists.
MemoryPreferences legacyPreferences(const Show& show) {
    std::string id = show.tracks[0].id.toString();
    MemoryPreferences prefs;
    prefs.setValue("midiTrackMappings",
                   bytes(R"({")" + id + R"(":{"kind":"note","channel":2,"number":64},)"
                         R"("00000000-0000-4000-8000-000000000000":{"kind":"cc","channel":1,"number":1}})"));
    prefs.setValue("numberTrackMappings", bytes(R"({")" + id + R"(":5,"gone":6})"));
    prefs.setValue("oscTriggerHost", std::string("10.0.0.9"));
    prefs.setValue("oscTriggerPort", std::int64_t(8000));
    return prefs;
}

Show emptyHandedShow() {
    Show show = test::richShow();
    show.midiTrackMappings = {};
    show.numberMappings = {};
    show.oscTriggerHost.clear();
    show.oscTriggerPort = 53000;
    return show;
}

} // namespace

TEST(LegacyMigration, AShowWithoutMappingsTakesThoseNamingItsTracks) {
    Show show = emptyHandedShow();
    MemoryPreferences prefs = legacyPreferences(show);
    migrateLegacyMappings(show, prefs);
    std::string id = show.tracks[0].id.toString();
    EXPECT_EQ(*show.midiTrackMappings, (std::map<std::string, MidiKey>{{id, {MidiKey::Kind::note, 2, 64}}}));
    EXPECT_EQ(*show.numberMappings, (std::map<std::string, std::int64_t>{{id, 5}}));
    EXPECT_EQ(show.oscTriggerHost, "10.0.0.9");
    EXPECT_EQ(show.oscTriggerPort, 8000);
    EXPECT_TRUE(prefs.contains("midiTrackMappings")) << "the preferences stay for the next new show";
}

TEST(LegacyMigration, AShowKeepsWhatItHasOfItsOwn) {
    Show show = test::richShow();
    const Show before = show;
    migrateLegacyMappings(show, legacyPreferences(show));
    EXPECT_EQ(show, before);
}

TEST(LegacyMigration, DamagedPreferencesAreIgnoredOneByOne) {
    Show show = emptyHandedShow();
    MemoryPreferences prefs = legacyPreferences(show);
    prefs.setValue("midiTrackMappings", bytes("{not json"));
    prefs.setValue("numberTrackMappings", bytes(R"({")" + show.tracks[0].id.toString() + R"(":"five"})"));
    prefs.setValue("oscTriggerPort", std::string("eighty"));
    migrateLegacyMappings(show, prefs);
    EXPECT_TRUE(show.midiTrackMappings->empty());
    EXPECT_TRUE(show.numberMappings->empty());
    EXPECT_EQ(show.oscTriggerHost, "10.0.0.9");
    EXPECT_EQ(show.oscTriggerPort, 53000);

    // An empty host brings no port with it.
    show = emptyHandedShow();
    prefs.setValue("oscTriggerHost", std::string());
    prefs.setValue("oscTriggerPort", std::int64_t(8000));
    migrateLegacyMappings(show, prefs);
    EXPECT_EQ(show.oscTriggerHost, "");
    EXPECT_EQ(show.oscTriggerPort, 53000);
}
