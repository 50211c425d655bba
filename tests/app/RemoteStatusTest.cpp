#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "AppRig.h"
#include "control/RemoteStatus.h"
#include "playback/ShowModeKeys.h"

namespace ostinel {
namespace {

using Json = nlohmann::json;

// What a phone is shown, read from a real show as it plays in virtual time.
TEST(RemoteStatus, StateNamesWhatGoPlaysNextAndPositionCountsThePreRollDown) {
    test::AppRig rig;
    rig.app->start();
    AppState& state = rig.app->state();
    PlaybackEngine& engine = rig.app->engine();
    ASSERT_TRUE(state.loadShow(FileUrl::fromPath(rig.writeShow("Gala", 3))));
    Show show = state.show();
    show.tracks.edit(0).timecodePreRollEnabled = true;
    show.tracks.edit(0).timecodePreRollSeconds = 2.0;
    show.tracks.edit(0).colorHex = "#FF0000";
    show.tracks.edit(1).skip = true;
    show.tracks.edit(2).autoplay = true;
    state.setShow(show);
    state.setSelectedTrackID(show.tracks[0].id);
    rig.run(0.5);

    Json s = Json::parse(remoteStateMessage(state, engine));
    EXPECT_EQ(s["show"], "Gala");
    EXPECT_EQ(s["current"], 1);
    EXPECT_EQ(s["cue"], "Gala cue 1");
    EXPECT_EQ(s["next"], "Gala cue 3") << "the skipped cue is passed over";
    EXPECT_EQ(s["nextAutoplay"], true);
    EXPECT_EQ(s["cues"][0]["color"], "#FF0000");
    EXPECT_FALSE(s["cues"][1].contains("color"));
    EXPECT_EQ(s["cues"][1]["skip"], true);
    EXPECT_EQ(s["cues"][2]["len"], "0:02.00");
    EXPECT_EQ(s["playing"], false);

    ShowModeKeys::perform(MidiAction::go, state, engine, rig.app->view().controller());
    rig.run(0.5);
    Json p = Json::parse(remotePositionMessage(state, engine, rig.loop.now()));
    EXPECT_EQ(p["playing"], true);
    EXPECT_NEAR(p["preroll"].get<double>(), 1.5, 0.05) << "counting down the pre-roll";
    EXPECT_EQ(p["elapsed"], 0.0);
    rig.run(2.5);
    p = Json::parse(remotePositionMessage(state, engine, rig.loop.now()));
    EXPECT_EQ(p["preroll"], 0.0);
    EXPECT_NEAR(p["elapsed"].get<double>() + p["remaining"].get<double>(), 2.0, 0.05);
    EXPECT_GT(p["elapsed"].get<double>(), 0.5);
}

} // namespace
} // namespace ostinel
