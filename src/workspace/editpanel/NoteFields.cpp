#include "workspace/editpanel/NoteFields.h"

#include "workspace/editpanel/ItemForm.h"

namespace ostinel {

FieldForm* makeNoteFields(AppState& state, const EditTarget& target, QWidget* parent) {
    auto* form = makeItemForm<Note>(state, target, parent, QObject::tr("Note"), &AppState::setNoteTime);
    form->addMultiline(QObject::tr("Text"), field(itemSource<Note>(state, target), &Note::body));
    return form;
}

} // namespace ostinel
