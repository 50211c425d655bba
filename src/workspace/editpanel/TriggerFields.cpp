#include "workspace/editpanel/TriggerFields.h"

#include <QComboBox>
#include <QDoubleSpinBox>
#include <QLineEdit>
#include <QObject>
#include <QSpinBox>

#include "workspace/editpanel/ItemForm.h"

namespace ostinel {

namespace {

std::function<bool()> both(std::function<bool()> a, std::function<bool()> b) {
    if (!a) return b;
    return [a, b] { return a() && b(); };
}

void showAll(FieldForm& form, std::initializer_list<QWidget*> widgets, const std::function<bool()>& shown) {
    if (!shown) return;
    for (QWidget* w : widgets) form.showWhen(w, shown);
}

} // namespace

void addMidiMessageFields(FieldForm& form, Source<MidiTrigger> trigger, std::function<bool()> shown) {
    auto* type = form.addChoice(QObject::tr("Message"), {QObject::tr("Note on"), QObject::tr("Control change")},
                                {[trigger] {
                                     const MidiTrigger* t = trigger.read();
                                     return t && t->type == MidiTriggerType::noteOn ? 0 : 1;
                                 },
                                 [trigger](const int& index) {
                                     trigger.edit([&](MidiTrigger& t) {
                                         t.type = index == 0 ? MidiTriggerType::noteOn : MidiTriggerType::cc;
                                     });
                                 }});
    auto* channel = form.addInteger(QObject::tr("Channel"), field(trigger, &MidiTrigger::channel), 1, 16);
    auto* number = form.addInteger(QObject::tr("Number"), field(trigger, &MidiTrigger::number), 0, 127);
    auto* value = form.addInteger(QObject::tr("Value"), field(trigger, &MidiTrigger::value), 0, 127);
    auto* length = form.addNumber(QObject::tr("Note length"), field(trigger, &MidiTrigger::durationSeconds), 0.0,
                                  [] { return 60.0; }, 3, QObject::tr(" s"));
    showAll(form, {type, channel, number, value}, shown);
    // Only a note has a note-off to wait for.
    form.showWhen(length, both(shown, [trigger] {
                      const MidiTrigger* t = trigger.read();
                      return t && t->type == MidiTriggerType::noteOn;
                  }));
}

void addOSCMessageFields(FieldForm& form, Source<OSCTrigger> trigger, std::function<bool()> shown) {
    auto* address = form.addText(QObject::tr("Address"), field(trigger, &OSCTrigger::address));
    auto* kind = form.addChoice(
        QObject::tr("Argument"),
        {QObject::tr("None"), QObject::tr("Integer"), QObject::tr("Float"), QObject::tr("String")},
        {[trigger] {
             const OSCTrigger* t = trigger.read();
             return t ? int(t->argumentKind) : 0;
         },
         [trigger](const int& index) { trigger.edit([&](OSCTrigger& t) { t.argumentKind = OSCArgumentKind(index); }); }});
    auto* text = form.addText(QObject::tr("Value"), field(trigger, &OSCTrigger::argumentText));
    showAll(form, {address, kind}, shown);
    form.showWhen(text, both(shown, [trigger] {
                      const OSCTrigger* t = trigger.read();
                      return t && t->argumentKind != OSCArgumentKind::none;
                  }));
}

FieldForm* makeMidiTriggerFields(AppState& state, const EditTarget& target, QWidget* parent) {
    auto* form = makeItemForm<MidiTrigger>(state, target, parent, QObject::tr("MIDI Trigger"),
                                           &AppState::setMidiTriggerTime);
    addMidiMessageFields(*form, itemSource<MidiTrigger>(state, target));
    return form;
}

FieldForm* makeOSCTriggerFields(AppState& state, const EditTarget& target, QWidget* parent) {
    auto* form = makeItemForm<OSCTrigger>(state, target, parent, QObject::tr("OSC Trigger"),
                                          &AppState::setOSCTriggerTime);
    addOSCMessageFields(*form, itemSource<OSCTrigger>(state, target));
    return form;
}

} // namespace ostinel
