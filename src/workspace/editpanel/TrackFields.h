#pragma once

#include "workspace/editpanel/EditTarget.h"
#include "workspace/editpanel/FieldForm.h"

namespace ostinel {

class ColorSwatches;
class LevelControl;

// Every field of the selected cue, in groups: cue, level, region, beat grid,
// timecode and pre-roll, triggers, notes.
class TrackFields : public FieldForm {
public:
    TrackFields(AppState& state, const EditTarget& target, QWidget* parent = nullptr);

    LevelControl* level() const { return level_; }
    ColorSwatches* colors() const { return colors_; }

private:
    void addCueGroup(Source<Track> track);
    void addLevelGroup(Source<Track> track);
    void addRegionGroup(Source<Track> track, const std::function<double()>& duration);
    void addBeatGridGroup(Source<Track> track, const std::function<double()>& duration);
    void addTimecodeGroup(Source<Track> track);

    LevelControl* level_ = nullptr;
    ColorSwatches* colors_ = nullptr;
};

} // namespace ostinel
