#pragma once

#include <QWidget>

#include <functional>
#include <string>
#include <vector>

class QCheckBox;
class QLabel;
class QVBoxLayout;

namespace ostinel {

// What a destination list reads and changes, so that every MIDI sender's
// choice is shown the same way.
struct MidiDestinationChoices {
    std::function<std::vector<std::string>()> connected; // present names, in the system's order
    std::function<std::vector<std::string>()> selected;
    std::function<void(const std::string&)> toggle;
};

// One check box per connected destination, then each selected one that is
// not connected, so it can still be switched off. The owner calls refresh()
// when the destinations or the selection change.
class MidiDestinationList : public QWidget {
    Q_OBJECT
public:
    explicit MidiDestinationList(MidiDestinationChoices choices, QWidget* parent = nullptr);

    void refresh();

    // The rows now shown, in order.
    std::vector<QCheckBox*> rows() const;
    QLabel* emptyLabel() const { return empty_; }

private:
    QCheckBox* row(std::size_t index);

    MidiDestinationChoices choices_;
    QVBoxLayout* layout_ = nullptr;
    QLabel* empty_ = nullptr;
    // Kept and reused rather than deleted: a row's own click can shorten the list.
    std::vector<QCheckBox*> boxes_;
    std::size_t shown_ = 0;
};

} // namespace ostinel
