#pragma once

#include <optional>

#include "base/Uuid.h"
#include "document/AppState.h"
#include "document/TimelineEdits.h"
#include "workspace/editpanel/Field.h"

namespace ostinel {

// What the panel is editing. The fields read and write through it rather
// than through the live selection, so text typed before a selection change
// still lands on the record it was typed for.
struct EditTarget {
    std::optional<Uuid> track;
    std::optional<Uuid> item;
};

inline Source<Track> trackSource(AppState& state, const EditTarget& target) {
    return {[&state, &target]() -> const Track* { return target.track ? state.show().track(*target.track) : nullptr; },
            [&state, &target](const std::function<void(Track&)>& fn) {
                if (target.track) state.editTrack(*target.track, fn);
            }};
}

// The target track's length: the range of every time on its timeline.
inline std::function<double()> trackDuration(AppState& state, const EditTarget& target) {
    return [source = trackSource(state, target)] {
        const Track* t = source.read();
        return t ? t->duration : 0.0;
    };
}

// A loop, note or trigger of the target track.
template <class T>
Source<T> itemSource(AppState& state, const EditTarget& target) {
    return {[&state, &target]() -> const T* {
                const Track* t = target.track ? state.show().track(*target.track) : nullptr;
                if (!t || !target.item) return nullptr;
                return (t->*TimedList<T>::member).findIf([&](const T& x) { return x.id == *target.item; });
            },
            [&state, &target](const std::function<void(T&)>& fn) {
                if (!target.track || !target.item) return;
                state.editTrack(*target.track, [&](Track& t) {
                    auto& list = t.*TimedList<T>::member;
                    auto i = list.indexWhere([&](const T& x) { return x.id == *target.item; });
                    if (i >= 0) fn(list.edit(std::size_t(i)));
                });
            }};
}

// A time of the target item, committed through AppState's own setter,
// which clamps it (a loop edge stops at its neighbour).
inline Field<double> throughSetter(std::function<double()> get, AppState& state, const EditTarget& target,
                                   void (AppState::*setter)(const Uuid&, const Uuid&, double)) {
    return {std::move(get), [&state, &target, setter](const double& t) {
                if (target.track && target.item) (state.*setter)(*target.track, *target.item, t);
            }};
}

} // namespace ostinel
