#include <gtest/gtest.h>

#include <limits>

#include <nlohmann/json.hpp>

#include "document/ShowFile.h"
#include "platform/MemoryPreferences.h"
#include "support/ShowFixtures.h"
#include "support/TempDir.h"

using namespace ostinel;
using nlohmann::json;

namespace {

Show decoded(const std::string& text) {
    auto show = ShowFile::decode(text);
    EXPECT_TRUE(show.ok()) << show.error().message;
    return show.ok() ? *show : Show{};
}

std::string failure(const std::string& text) {
    auto show = ShowFile::decode(text);
    return show.ok() ? "(read succeeded)" : show.error().message;
}

std::string encoded(const Show& show, ShowFile::Flavour flavour = ShowFile::Flavour::pretty) {
    auto text = ShowFile::encode(show, flavour);
    EXPECT_TRUE(text.ok()) << text.error().message;
    return text.ok() ? *text : std::string();
}

// Every key sorted at every level, read with a parser that keeps file order.
bool keysSorted(const nlohmann::ordered_json& v) {
    if (v.is_array()) return std::all_of(v.begin(), v.end(), keysSorted);
    if (!v.is_object()) return true;
    std::string previous;
    for (const auto& [key, value] : v.items()) {
        if (key < previous || !keysSorted(value)) return false;
        previous = key;
    }
    return true;
}

std::string trackWith(const std::string& members) {
    return R"({"tracks":[{"url":"file:///m/a.wav",)" + members + "}]}";
}

} // namespace

TEST(ShowFile, BothFlavoursReadBackEqualInEveryFieldAndPrettyIsSortedEscapedAndLeavesOutUnsetOptionals) {
    Show show = test::richShow();
    for (auto flavour : {ShowFile::Flavour::pretty, ShowFile::Flavour::compact}) {
        std::string text = encoded(show, flavour);
        EXPECT_EQ(decoded(text), show);
        EXPECT_EQ(encoded(decoded(text), flavour), text) << "a second save changes the bytes";
    }
    std::string compact = encoded(show, ShowFile::Flavour::compact);
    EXPECT_EQ(compact.find('\n'), std::string::npos);
    EXPECT_EQ(compact.find("\": "), std::string::npos);

    const std::string text = encoded(show);
    EXPECT_TRUE(keysSorted(nlohmann::ordered_json::parse(text)));
    EXPECT_NE(text.find(R"("address": "\/lights\/cue\/7")"), std::string::npos);
    EXPECT_NE(text.find(R"("url": "file:\/\/\/home\/op\/Show%20Media\/%C3%9Cberture%20%231.wav")"), std::string::npos);
    EXPECT_EQ(text.find("null"), std::string::npos);
    EXPECT_NE(text.find(R"("lastMode": "show")"), std::string::npos);
    EXPECT_NE(text.find(R"("playCount": 4,)"), std::string::npos) << "integers stay integers";
    EXPECT_NE(text.find(R"("beatgridBars": 2.0,)"), std::string::npos);
    EXPECT_NE(text.find(R"("volume": 0.7071067811865476,)"), std::string::npos) << "shortest round-trip form";

    auto tracks = json::parse(text)["tracks"];
    EXPECT_EQ(tracks[0]["relativePath"], "Media/Überture #1.wav");
    EXPECT_EQ(tracks[0]["colorHex"], "#FF8800");
    EXPECT_FALSE(tracks[1].contains("relativePath"));
    EXPECT_FALSE(tracks[1].contains("colorHex"));
}

TEST(ShowFile, MissingAndNullKeysTakeTheDefaultsAndTheRestIsKeptAsItIs) {
    EXPECT_EQ(decoded("{}"), Show{});
    EXPECT_EQ(decoded(R"({"tracks":null,"name":null,"lastMode":null})"), Show{});

    // A track with only its url, and records with no members at all.
    Show show = decoded(trackWith(R"("loops":[{}],"timelineNotes":[{}],"midiTriggers":[{}],"oscTriggers":[{}],)"
                                  R"("volumeAutomation":[{}],"fade":{},"relativePath":null,"colorHex":null)"));
    ASSERT_EQ(show.tracks.size(), 1u);
    const Track& t = show.tracks[0];
    // Fresh ids; everything else the defaults.
    const Track expected{.id = t.id, .url = FileUrl::fromPath("/m/a.wav"),
                         .volumeAutomation = {AutomationPoint{.id = t.volumeAutomation[0].id}},
                         .loops = {Loop{.id = t.loops[0].id}}, .timelineNotes = {Note{.id = t.timelineNotes[0].id}},
                         .midiTriggers = {MidiTrigger{.id = t.midiTriggers[0].id}},
                         .preRollMidiTrigger = {.id = t.preRollMidiTrigger.id},
                         .oscTriggers = {OSCTrigger{.id = t.oscTriggers[0].id}},
                         .preRollOSCTrigger = {.id = t.preRollOSCTrigger.id}};
    EXPECT_EQ(t, expected);
    // A missing id is a new identity on each read.
    EXPECT_NE(decoded(trackWith("\"name\":\"x\"")).tracks[0].id, decoded(trackWith("\"name\":\"x\"")).tracks[0].id);

    // File order, unknown keys and map keys stay as they are.
    show = decoded(
        R"({"future":{"x":1},"numberMappings":{"not-a-uuid":3,"7a3d1009-0000-4000-8000-00000000a3d1":2.0},)"
        R"("tracks":[{"url":"file:///m/a.wav","extra":[1,2],"loops":[{"startSeconds":9},{"startSeconds":1}]}]})");
    EXPECT_EQ(show.tracks[0].loops[0].startSeconds, 9.0);
    EXPECT_EQ(show.tracks[0].loops[1].startSeconds, 1.0);
    EXPECT_EQ(*show.numberMappings, (std::map<std::string, std::int64_t>{
                                        {"not-a-uuid", 3}, {"7a3d1009-0000-4000-8000-00000000a3d1", 2}}));
    EXPECT_EQ(decoded(encoded(show)), show);
}

TEST(ShowFile, AValueOfTheWrongKindFailsTheWholeReadNamingIt) {
    EXPECT_EQ(failure(R"({"tracks":"none"})"), "tracks: expected an array, found string");
    EXPECT_EQ(failure(R"({"tracks":[null]})"), "tracks[0]: expected an object, found null");
    EXPECT_EQ(failure(trackWith(R"("midiTriggers":[{}, {"type":"program"}])")),
              R"(tracks[0].midiTriggers[1].type: unknown value "program")");
    EXPECT_EQ(failure(R"({"midiTrackMappings":{"K":{"kind":"cc","number":7}}})"),
              R"(midiTrackMappings["K"].channel: required but missing)");
    EXPECT_EQ(failure(R"({"tracks":[{"name":"no url"}]})"), "tracks[0].url: required but missing");
    EXPECT_EQ(failure(R"({"tracks":[{"url":null}]})"), "tracks[0].url: required but missing");
    EXPECT_EQ(failure(trackWith(R"("id":"cue-1")")), R"(tracks[0].id: not a UUID: "cue-1")");
    EXPECT_EQ(failure(trackWith(R"("loops":[{"playCount":2.5}])")),
              "tracks[0].loops[0].playCount: expected an integer, found 2.5");
    EXPECT_EQ(failure(trackWith(R"("volume":"1.0")")), "tracks[0].volume: expected a number, found string");
    EXPECT_EQ(failure(trackWith(R"("skip":1)")), "tracks[0].skip: expected a boolean, found number");
    EXPECT_EQ(failure(trackWith(R"("fade":[])")), "tracks[0].fade: expected an object, found array");
    EXPECT_EQ(failure(trackWith(R"("colorHex":255)")), "tracks[0].colorHex: expected a string, found number");
    EXPECT_EQ(failure(trackWith(R"("duration":1e400)")), "number overflow parsing '1e400'");
    EXPECT_EQ(failure(R"({"oscTriggerPort":9223372036854775808})"),
              "oscTriggerPort: integer out of range: 9223372036854775808");
    EXPECT_EQ(failure(R"({"numberMappings":{"K":null}})"), R"(numberMappings["K"]: expected an integer, found null)");
    EXPECT_EQ(failure(R"({"lastMode":"run"})"), R"(lastMode: unknown value "run")");
    EXPECT_EQ(failure("[]"), "top level: expected an object, found array");
    EXPECT_EQ(failure(R"({"name": )").rfind("parse error at line 1, column 10", 0), 0u);

    // The lenient side of the same rules.
    Show show = decoded(trackWith(R"("bpm":120,"midiTriggers":[{"channel":3.0}])"));
    EXPECT_EQ(show.tracks[0].midiTriggers[0].channel, 3);
}

TEST(ShowFile, UnwritableValuesFailTheEncodeNamingTheField) {
    Show show = test::richShow();
    show.tracks.edit(1).volume = std::numeric_limits<double>::quiet_NaN();
    EXPECT_EQ(ShowFile::encode(show, ShowFile::Flavour::compact).error().message,
              "tracks[1].volume: NaN cannot be written to a show file");
    show = test::richShow();
    show.tracks.edit(0).loops.edit(0).fadeOutSeconds = -std::numeric_limits<double>::infinity();
    EXPECT_EQ(ShowFile::encode(show, ShowFile::Flavour::pretty).error().message,
              "tracks[0].loops[0].fadeOutSeconds: infinity cannot be written to a show file");
}

TEST(ShowFile, TextThatIsNotUtf8IsWrittenWithReplacementsAndPathsKeepTheirBytes) {
    Show show = test::richShow();
    const std::string path = "/media/caf\xE9 \xFF/na\xC3\xAFve \x80.wav";
    show.name = "Gig \xC3";
    show.oscTriggerHost = "host\xFE";
    show.tracks.edit(0).name = "caf\xE9";
    show.tracks.edit(0).url = FileUrl::fromPath(path);
    show.tracks.edit(0).timelineNotes.edit(0).body = "\xF0\x9F\x8E";
    show.numberMappings.edit()["bad\xFF"] = 3;
    for (auto flavour : {ShowFile::Flavour::pretty, ShowFile::Flavour::compact}) {
        auto text = ShowFile::encode(show, flavour);
        ASSERT_TRUE(text) << text.error().message;
        const Show back = *ShowFile::decode(*text);
        EXPECT_EQ(back.name, "Gig \uFFFD");
        EXPECT_EQ(back.oscTriggerHost, "host\uFFFD");
        EXPECT_EQ(back.tracks[0].name, "caf\uFFFD");
        EXPECT_EQ(back.tracks[0].timelineNotes[0].body.substr(0, 3), "\uFFFD");
        EXPECT_EQ(back.numberMappings->count("bad\uFFFD"), 1u);
        EXPECT_EQ(back.tracks[0].url.path(), path) << "a URL escapes every byte and reads back exactly";
    }
}

TEST(ShowFile, ReadsAndWritesFilesWithTheSystemsReason) {
    test::TempDir dir;
    Show show = test::richShow();
    std::string path = dir.file("show.ot");
    EXPECT_FALSE(ShowFile::write(show, path, ShowFile::Flavour::pretty));
    EXPECT_EQ(test::readText(path), encoded(show));
    EXPECT_EQ(*ShowFile::read(path), show);

    EXPECT_EQ(ShowFile::read(dir.file("missing.ot")).error().message, "No such file or directory");
    EXPECT_EQ(ShowFile::read(dir.path().string()).error().message, "Is a directory");
    EXPECT_EQ(ShowFile::write(show, dir.file("no/such/folder.ot"), ShowFile::Flavour::pretty)->message,
              "No such file or directory");
}

TEST(LegacyMigration, AShowWithoutMappingsTakesThoseNamingItsTracksKeepsItsOwnAndIgnoresDamage) {
    auto bytes = [](const std::string& text) { return PreferenceBytes(text.begin(), text.end()); };
    const Show show{.tracks = {Track{}}};
    const std::string id = show.tracks[0].id.toString();
    MemoryPreferences prefs;
    prefs.setValue("midiTrackMappings",
                   bytes(R"({")" + id + R"(":{"kind":"note","channel":2,"number":64},)"
                         R"("00000000-0000-4000-8000-000000000000":{"kind":"cc","channel":1,"number":1}})"));
    prefs.setValue("numberTrackMappings", bytes(R"({")" + id + R"(":5,"gone":6})"));
    prefs.setValue("oscTriggerHost", std::string("10.0.0.9"));
    prefs.setValue("oscTriggerPort", std::int64_t(8000));
    Show migrated = show;
    migrateLegacyMappings(migrated, prefs);
    EXPECT_EQ(*migrated.midiTrackMappings, (std::map<std::string, MidiKey>{{id, {MidiKey::Kind::note, 2, 64}}}));
    EXPECT_EQ(*migrated.numberMappings, (std::map<std::string, std::int64_t>{{id, 5}}));
    EXPECT_EQ(migrated.oscTriggerHost, "10.0.0.9");
    EXPECT_EQ(migrated.oscTriggerPort, 8000);

    Show own = test::richShow();
    const Show before = own;
    migrateLegacyMappings(own, prefs);
    EXPECT_EQ(own, before);

    // Each damaged preference is ignored on its own.
    prefs.setValue("midiTrackMappings", bytes("{not json"));
    prefs.setValue("numberTrackMappings", bytes(R"({")" + id + R"(":"five"})"));
    prefs.setValue("oscTriggerPort", std::string("eighty"));
    migrated = show;
    migrateLegacyMappings(migrated, prefs);
    EXPECT_TRUE(migrated.midiTrackMappings->empty());
    EXPECT_TRUE(migrated.numberMappings->empty());
    EXPECT_EQ(migrated.oscTriggerHost, "10.0.0.9");
    EXPECT_EQ(migrated.oscTriggerPort, 53000);

    // An empty host brings no port with it.
    prefs.setValue("oscTriggerHost", std::string());
    prefs.setValue("oscTriggerPort", std::int64_t(8000));
    migrated = show;
    migrateLegacyMappings(migrated, prefs);
    EXPECT_EQ(migrated.oscTriggerHost, "");
    EXPECT_EQ(migrated.oscTriggerPort, 53000);
}
