#include <QMenu>

#include <algorithm>

#include "document/AppState.h"
#include "workspace/WaveformViewState.h"
#include "workspace/common/Workspace.h"
#include "workspace/strips/StripEdits.h"
#include "workspace/strips/TimelineStripView.h"

namespace ostinel {

std::unique_ptr<QMenu> TimelineStripView::makeContextMenu(QPoint pos) {
    auto menu = std::make_unique<QMenu>();
    const auto track = this->track();
    if (!track || !(track->duration > 0.0) || ws_.state.mode() == AppMode::show) return menu;

    AppState& state = ws_.state;
    const Uuid trackID = track->id;
    const auto g = geometry(*track);
    const double t = controller().snap(g.timeAt(pos.x()), *track);
    const QString noun = QString::fromStdString(strips::itemNoun(kind_));
    const WaveformController::Strip kind = kind_;

    // A right-click on a marker is about that marker.
    const auto hit = itemAt(*track, g, pos.x());
    if (hit) strips::selectItem(state, kind, hit);

    menu->addAction(tr("Add %1").arg(noun), this, [this, trackID, t] {
        if (auto current = this->track(); current && current->id == trackID) createAt(*current, t);
    });
    menu->addSeparator();

    const auto mark = controller().mark(kind);
    const auto selected = strips::selectedItem(state, kind);
    if (mark && !hit) {
        const double a = mark->start, b = mark->end;
        auto* copy = menu->addAction(tr("Copy Marked %1s").arg(noun), this, [&state, kind, trackID, a, b] {
            strips::copyItemsInRange(state, kind, trackID, a, b);
        });
        auto* cut =
            menu->addAction(tr("Delete Marked %1s").arg(noun), this, [this, &state, kind, trackID, a, b] {
                strips::deleteItemsInRange(state, kind, trackID, a, b);
                controller().setMark(kind, std::nullopt);
            });
        const auto markers = strips::stripMarkers(*track, kind);
        const bool any =
            std::ranges::any_of(markers, [&](const auto& m) { return strips::insideMark(mark, m.time); });
        copy->setEnabled(any);
        cut->setEnabled(any);
    } else {
        auto* copy = menu->addAction(tr("Copy %1").arg(noun), this, [&state] { state.copySelectedItem(); });
        auto* cut = menu->addAction(tr("Delete %1").arg(noun), this, [&state, kind, trackID, id = selected] {
            if (id) strips::deleteItem(state, kind, trackID, *id);
        });
        copy->setEnabled(selected.has_value());
        cut->setEnabled(selected.has_value());
    }
    auto* paste = menu->addAction(tr("Paste %1").arg(noun), this, [&state, kind, trackID, t] {
        strips::pasteItems(state, kind, trackID, t);
    });
    paste->setEnabled(strips::clipboardHolds(state, kind));
    return menu;
}

} // namespace ostinel
