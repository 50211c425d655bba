#pragma once

#include <QWidget>

#include <array>

class QCheckBox;
class QLabel;
class QPushButton;

namespace ostinel {

class AppState;
class MappingList;
class MidiController;

// MIDI input: the key of each transport action and of each cue, each with
// a way to learn or clear it, and the map mode that lets a click in the
// show list pick the cue to learn.
class MidiMappingsSection : public QWidget {
    Q_OBJECT
public:
    struct ActionRow {
        QLabel* key;
        QPushButton* learn;
        QPushButton* clear;
    };

    MidiMappingsSection(MidiController& midi, AppState& state, QWidget* parent = nullptr);

    // In the order of the actions: previous, play/pause, stop, next, GO.
    const ActionRow& actionRow(std::size_t index) const { return actions_[index]; }
    MappingList* trackList() const { return tracks_; }
    QPushButton* clearAllButton() const { return clearAll_; }
    QCheckBox* mapModeBox() const { return mapMode_; }

private:
    void reflect();

    MidiController& midi_;
    std::array<ActionRow, 5> actions_{};
    MappingList* tracks_ = nullptr;
    QPushButton* clearAll_ = nullptr;
    QCheckBox* mapMode_ = nullptr;
};

} // namespace ostinel
