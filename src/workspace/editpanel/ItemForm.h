#pragma once

#include <QObject>

#include "workspace/editpanel/EditTarget.h"
#include "workspace/editpanel/FieldForm.h"

namespace ostinel {

// The start of every timed item's form: a heading, its name and its time,
// the time set through AppState's own setter, which clamps it to the file.
template <class T>
FieldForm* makeItemForm(AppState& state, const EditTarget& target, QWidget* parent, const QString& heading,
                        void (AppState::*setTime)(const Uuid&, const Uuid&, double)) {
    auto* form = new FieldForm(parent);
    auto item = itemSource<T>(state, target);
    form->addHeading(heading);
    form->addText(QObject::tr("Name"), field(item, &T::name));
    form->addTime(QObject::tr("Time"), throughSetter(field(item, &T::timeSeconds).get, state, target, setTime),
                  trackDuration(state, target));
    return form;
}

} // namespace ostinel
