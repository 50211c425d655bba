#include "workspace/settings/NumberMappingsSection.h"

#include <QCheckBox>
#include <QFormLayout>
#include <QSignalBlocker>

#include "control/NumberMapController.h"
#include "document/AppState.h"
#include "workspace/settings/MappingList.h"
#include "workspace/settings/SettingsRows.h"

namespace ostinel {

NumberMappingsSection::NumberMappingsSection(NumberMapController& numbers, AppState& state, QWidget* parent)
    : QWidget(parent), numbers_(numbers) {
    mapMode_ = settingsCheckBox("Number Map Mode");
    tracks_ = new MappingList(
        [&numbers, &state] {
            std::vector<MappingEntry> entries;
            for (const Track& t : state.show().tracks)
                if (auto digit = numbers.digit(t.id))
                    entries.push_back(
                        {t.id, QString::fromStdString(t.displayName()), QString::number(*digit)});
            return entries;
        },
        [&numbers](const Uuid& id) { numbers.clearMapping(id); }, "No cue has a number key yet.");

    QFormLayout* form = sectionForm(this);
    form->addRow("Number Mappings:",
                 settingsField(mapMode_, "In Show mode the digit keys fire the cue mapped to them. In map "
                                         "mode click a cue in the show list, then press a digit."));
    form->addRow("", tracks_);

    reflect();
    connect(mapMode_, &QCheckBox::toggled, this, [this](bool on) { numbers_.setMapMode(on); });
    connect(&numbers, &NumberMapController::changed, this, &NumberMappingsSection::reflect);
    connect(&state, &AppState::showChanged, tracks_, &MappingList::refresh);
}

void NumberMappingsSection::reflect() {
    const QSignalBlocker blocker(mapMode_);
    mapMode_->setChecked(numbers_.mapMode());
    tracks_->refresh();
}

} // namespace ostinel
