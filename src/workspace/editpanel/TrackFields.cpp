#include "workspace/editpanel/TrackFields.h"

#include <QCheckBox>
#include <QDoubleSpinBox>

#include <array>
#include <cmath>

#include "workspace/editpanel/ColorSwatches.h"
#include "workspace/editpanel/LevelControl.h"
#include "workspace/editpanel/TriggerFields.h"

namespace ostinel {

namespace {

constexpr double maxPreRollSeconds = 60.0;
// The grid spacings offered, in bars.
constexpr std::array<double, 6> gridSpacings{0.125, 0.25, 0.5, 1.0, 2.0, 4.0};

// A flag of the track, as a predicate for rows shown only while it is on.
std::function<bool()> flag(Source<Track> track, bool Track::*member) {
    return [track, member] {
        const Track* t = track.read();
        return t && t->*member;
    };
}

} // namespace

TrackFields::TrackFields(AppState& state, const EditTarget& target, QWidget* parent) : FieldForm(parent) {
    auto track = trackSource(state, target);
    auto duration = trackDuration(state, target);
    addCueGroup(track);
    addLevelGroup(track);
    addRegionGroup(track, duration);
    addBeatGridGroup(track, duration);
    addTimecodeGroup(track);

    addHeading(tr("Triggers"));
    addCheck(tr("MIDI triggers on"), field(track, &Track::midiTriggersEnabled));
    addCheck(tr("OSC triggers on"), field(track, &Track::oscTriggersEnabled));

    addHeading(tr("Notes"));
    addMultiline({}, field(track, &Track::notes));
}

void TrackFields::addCueGroup(Source<Track> track) {
    addHeading(tr("Cue"));
    addText(tr("Name"), field(track, &Track::name));
    colors_ = new ColorSwatches(field(track, &Track::colorHex), this);
    addRow(tr("Colour"), colors_, [this](bool) { colors_->refresh(); });
    addCheck(tr("Autoplay next"), field(track, &Track::autoplay));
    addCheck(tr("Skip"), field(track, &Track::skip));
    addCheck(tr("Loop cue"), field(track, &Track::loopCue));
}

void TrackFields::addLevelGroup(Source<Track> track) {
    addHeading(tr("Level"));
    level_ = new LevelControl(field(track, &Track::volume), this);
    addRow(tr("Level"), level_, [this](bool force) { level_->refresh(force); }, [this] { level_->flush(); });
    addCheck(tr("Volume automation"), field(track, &Track::volumeAutomationEnabled));
    // Fades are measured inside the played region; the curve replaces them.
    auto length = [track] {
        const Track* t = track.read();
        return t ? t->effectiveLength() : 0.0;
    };
    auto* in = addNumber(tr("Fade in"), field<double>(track, [](auto& t) -> auto& { return t.fade.fadeInSeconds; }),
                         0.0, length, 2, tr(" s"));
    auto* out = addNumber(tr("Fade out"), field<double>(track, [](auto& t) -> auto& { return t.fade.fadeOutSeconds; }),
                          0.0, length, 2, tr(" s"));
    auto fades = [track] {
        const Track* t = track.read();
        return t && !t->volumeAutomationEnabled;
    };
    showWhen(in, fades);
    showWhen(out, fades);
}

void TrackFields::addRegionGroup(Source<Track> track, const std::function<double()>& duration) {
    addHeading(tr("Region"));
    addTime(tr("In"), field(track, &Track::startSeconds), duration);
    // An out-point not after the in-point means the end of the file, so
    // that is what the field shows.
    auto out = field(track, &Track::endSeconds);
    out.get = [track] {
        const Track* t = track.read();
        return t ? t->effectiveEnd() : 0.0;
    };
    addTime(tr("Out"), out, duration);
}

void TrackFields::addBeatGridGroup(Source<Track> track, const std::function<double()>& duration) {
    addHeading(tr("Beat grid"));
    addCheck(tr("Show beat grid"), field(track, &Track::beatgridEnabled));
    addNumber(tr("BPM"), field(track, &Track::bpm), 1.0, [] { return 999.0; }, 2, {});
    addTime(tr("Downbeat"), field(track, &Track::beatOffsetSeconds), duration);
    addChoice(tr("Lines every"),
              {tr("1/8 bar"), tr("1/4 bar"), tr("1/2 bar"), tr("1 bar"), tr("2 bars"), tr("4 bars")},
              {[track] {
                   // A spacing from elsewhere shows as the nearest one offered.
                   const Track* t = track.read();
                   const double bars = t ? t->beatgridBars : 0.25;
                   std::size_t best = 0;
                   for (std::size_t i = 1; i < gridSpacings.size(); ++i)
                       if (std::fabs(gridSpacings[i] - bars) < std::fabs(gridSpacings[best] - bars)) best = i;
                   return int(best);
               },
               [track](const int& index) {
                   track.edit([&](Track& t) { t.beatgridBars = gridSpacings.at(std::size_t(index)); });
               }});
}

void TrackFields::addTimecodeGroup(Source<Track> track) {
    addHeading(tr("Timecode"));
    addTime(tr("Start"), field(track, &Track::timecodeStartSeconds), {}, ClockSpinBox::Style::hours);
    addCheck(tr("Pre-roll"), field(track, &Track::timecodePreRollEnabled));
    auto preRoll = flag(track, &Track::timecodePreRollEnabled);
    auto* length = addNumber(tr("Length"), field(track, &Track::timecodePreRollSeconds), 0.0,
                             [] { return maxPreRollSeconds; }, 2, tr(" s"));
    showWhen(length, preRoll);

    // The pre-roll triggers fire when the pre-roll starts, so they live under it.
    auto* midi = addCheck(tr("MIDI at pre-roll"), field(track, &Track::preRollMidiTriggerEnabled));
    showWhen(midi, preRoll);
    addMidiMessageFields(*this, nested(track, &Track::preRollMidiTrigger), [preRoll, on = flag(track, &Track::preRollMidiTriggerEnabled)] {
        return preRoll() && on();
    });
    auto* osc = addCheck(tr("OSC at pre-roll"), field(track, &Track::preRollOSCTriggerEnabled));
    showWhen(osc, preRoll);
    addOSCMessageFields(*this, nested(track, &Track::preRollOSCTrigger), [preRoll, on = flag(track, &Track::preRollOSCTriggerEnabled)] {
        return preRoll() && on();
    });
}

} // namespace ostinel
