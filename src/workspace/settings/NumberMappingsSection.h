#pragma once

#include <QWidget>

class QCheckBox;

namespace ostinel {

class AppState;
class MappingList;
class NumberMapController;

// "Number Mappings": the cues fired by the digit keys in Show mode, each
// with a way to clear it, and the map mode that lets a click in the show
// list pick the cue to learn.
class NumberMappingsSection : public QWidget {
    Q_OBJECT
public:
    NumberMappingsSection(NumberMapController& numbers, AppState& state, QWidget* parent = nullptr);

    MappingList* trackList() const { return tracks_; }
    QCheckBox* mapModeBox() const { return mapMode_; }

private:
    void reflect();

    NumberMapController& numbers_;
    MappingList* tracks_ = nullptr;
    QCheckBox* mapMode_ = nullptr;
};

} // namespace ostinel
