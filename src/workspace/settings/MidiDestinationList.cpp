#include "workspace/settings/MidiDestinationList.h"

#include <QCheckBox>
#include <QLabel>
#include <QSignalBlocker>
#include <QVBoxLayout>

#include <algorithm>

#include "workspace/settings/SettingsRows.h"

namespace ostinel {

namespace {
constexpr const char* nameProperty = "destinationName";
} // namespace

MidiDestinationList::MidiDestinationList(MidiDestinationChoices choices, QWidget* parent)
    : QWidget(parent), choices_(std::move(choices)) {
    layout_ = new QVBoxLayout(this);
    layout_->setContentsMargins(0, 0, 0, 0);
    layout_->setSpacing(4);
    empty_ = explanationLabel("No MIDI devices found.");
    layout_->addWidget(empty_);
    refresh();
}

void MidiDestinationList::refresh() {
    const auto connected = choices_.connected();
    const auto selected = choices_.selected();
    auto contains = [](const std::vector<std::string>& names, const std::string& name) {
        return std::find(names.begin(), names.end(), name) != names.end();
    };

    struct Entry {
        std::string name;
        bool present;
    };
    std::vector<Entry> entries;
    std::vector<std::string> listed;
    for (const auto& name : connected)
        if (!contains(listed, name)) {
            listed.push_back(name);
            entries.push_back({name, true});
        }
    for (const auto& name : selected)
        if (!contains(listed, name)) {
            listed.push_back(name);
            entries.push_back({name, false});
        }

    shown_ = entries.size();
    for (std::size_t i = 0; i < entries.size(); ++i) {
        QCheckBox* box = row(i);
        const QString name = QString::fromStdString(entries[i].name);
        const QSignalBlocker blocker(box);
        box->setProperty(nameProperty, name);
        box->setText(entries[i].present ? name : name + " (not connected)");
        box->setChecked(contains(selected, entries[i].name));
        box->show();
    }
    for (std::size_t i = entries.size(); i < boxes_.size(); ++i)
        boxes_[i]->hide();
    empty_->setVisible(entries.empty());
}

std::vector<QCheckBox*> MidiDestinationList::rows() const {
    return {boxes_.begin(), boxes_.begin() + std::ptrdiff_t(shown_)};
}

QCheckBox* MidiDestinationList::row(std::size_t index) {
    if (index < boxes_.size()) return boxes_[index];
    auto* box = settingsCheckBox({});
    layout_->insertWidget(int(index), box);
    connect(box, &QCheckBox::toggled, this,
            [this, box] { choices_.toggle(box->property(nameProperty).toString().toStdString()); });
    boxes_.push_back(box);
    return box;
}

} // namespace ostinel
