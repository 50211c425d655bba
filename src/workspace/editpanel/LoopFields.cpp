#include "workspace/editpanel/LoopFields.h"

#include <QDoubleSpinBox>
#include <QObject>
#include <QSpinBox>

namespace ostinel {

FieldForm* makeLoopFields(AppState& state, const EditTarget& target, QWidget* parent) {
    auto* form = new FieldForm(parent);
    auto loop = itemSource<Loop>(state, target);
    auto duration = trackDuration(state, target);
    auto ramp = [] { return 60.0; };
    auto ducking = [loop] {
        const Loop* l = loop.read();
        return l && l->reduceVolumeEnabled;
    };

    form->addHeading(QObject::tr("Loop"));
    form->addText(QObject::tr("Name"), field(loop, &Loop::name));
    form->addCheck(QObject::tr("Enabled"), field(loop, &Loop::enabled));
    form->addTime(QObject::tr("Start"),
                  throughSetter(field(loop, &Loop::startSeconds).get, state, target, &AppState::setLoopStart), duration);
    form->addTime(QObject::tr("End"),
                  throughSetter(field(loop, &Loop::endSeconds).get, state, target, &AppState::setLoopEnd), duration);

    form->addCheck(QObject::tr("Limit passes"), field(loop, &Loop::playCountEnabled));
    auto* count = form->addInteger(QObject::tr("Passes"), field(loop, &Loop::playCount), 1, 999);
    form->showWhen(count, [loop] {
        const Loop* l = loop.read();
        return l && l->playCountEnabled;
    });

    form->addCheck(QObject::tr("Reduce volume"), field(loop, &Loop::reduceVolumeEnabled));
    auto* db = form->addNumber(QObject::tr("Reduce by"), field(loop, &Loop::reduceVolumeDb), 0.0,
                               [] { return 60.0; }, 1, QObject::tr(" dB"));
    auto* in = form->addNumber(QObject::tr("Fade down"), field(loop, &Loop::fadeInSeconds), 0.0, ramp, 2,
                               QObject::tr(" s"));
    auto* out = form->addNumber(QObject::tr("Fade back"), field(loop, &Loop::fadeOutSeconds), 0.0, ramp, 2,
                                QObject::tr(" s"));
    for (QWidget* w : {static_cast<QWidget*>(db), static_cast<QWidget*>(in), static_cast<QWidget*>(out)})
        form->showWhen(w, ducking);
    return form;
}

} // namespace ostinel
