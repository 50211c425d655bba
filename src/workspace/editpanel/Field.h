#pragma once

#include <functional>
#include <utility>

namespace ostinel {

// Where a record lives in the show: read gives it or nothing (a deleted
// item), edit changes it through AppState in one assignment.
template <class R>
struct Source {
    std::function<const R*()> read;
    std::function<void(const std::function<void(R&)>&)> edit;
};

// One value shown by a field: how to read it and how to commit it.
template <class V>
struct Field {
    std::function<V()> get;
    std::function<void(const V&)> commit;
};

// A field over one member of a record, reached by a projection such as
// [](auto& t) -> auto& { return t.fade.fadeInSeconds; }.
template <class V, class R, class Project>
Field<V> field(Source<R> source, Project project) {
    return {[source, project]() -> V {
                const R* r = source.read();
                return r ? V(project(*r)) : V{};
            },
            [source, project](const V& v) { source.edit([&](R& r) { project(r) = v; }); }};
}

template <class R, class V>
Field<V> field(Source<R> source, V R::*member) {
    return field<V>(std::move(source), [member](auto& r) -> auto& { return r.*member; });
}

// A member of a record held inside another, like a track's pre-roll trigger.
template <class Inner, class Outer>
Source<Inner> nested(Source<Outer> outer, Inner Outer::*member) {
    return {[outer, member]() -> const Inner* {
                const Outer* o = outer.read();
                return o ? &(o->*member) : nullptr;
            },
            [outer, member](const std::function<void(Inner&)>& fn) { outer.edit([&](Outer& o) { fn(o.*member); }); }};
}

} // namespace ostinel
