#include "workspace/showlist/ShowListClick.h"

#include <algorithm>

namespace ostinel {
namespace {

ClickEffect commandClick(const ListSelection& now, const Uuid& clicked) {
    ClickEffect effect{false, now};
    auto& s = effect.selection;
    // With nothing current yet, the row simply becomes the selection.
    if (!s.current) s.current = clicked;
    // The row selected so far stays part of the group it starts.
    if (!now.group.count(*s.current)) s.group.insert(*s.current);
    if (now.group.count(clicked)) s.group.erase(clicked);
    else s.group.insert(clicked);
    s.anchor = clicked;
    return effect;
}

ClickEffect shiftClick(const std::vector<Uuid>& order, const ListSelection& now, const Uuid& clicked) {
    ClickEffect effect{false, now};
    auto& s = effect.selection;
    auto indexOf = [&](const std::optional<Uuid>& id) {
        return id ? std::find(order.begin(), order.end(), *id) : order.end();
    };
    auto to = indexOf(clicked);
    if (to == order.end()) return effect;
    // Without an anchor the range starts at the current track, which then
    // anchors the ranges that follow.
    auto from = indexOf(now.anchor);
    if (from == order.end()) from = indexOf(now.current);
    if (from == order.end()) from = to;
    s.anchor = *from;
    s.group = from <= to ? std::set<Uuid>(from, to + 1) : std::set<Uuid>(to, from + 1);
    // The current track must lie in the group; if the range left it out,
    // the clicked row takes over.
    if (!s.current || !s.group.count(*s.current)) s.current = clicked;
    return effect;
}

} // namespace

ClickEffect editModeClick(const std::vector<Uuid>& order, const ListSelection& now, const Uuid& clicked,
                          ClickModifiers modifiers) {
    if (modifiers.command && !modifiers.shift) return commandClick(now, clicked);
    if (modifiers.shift) return shiftClick(order, now, clicked);
    if (now.current == clicked && now.group == std::set<Uuid>{clicked}) return {true, now};
    return {false, {clicked, {clicked}, clicked}};
}

} // namespace ostinel
