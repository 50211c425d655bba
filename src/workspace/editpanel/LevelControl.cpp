#include "workspace/editpanel/LevelControl.h"

#include <QHBoxLayout>
#include <QLineEdit>
#include <QSignalBlocker>
#include <QSlider>

#include <cmath>

#include "playback/LevelLaw.h"

namespace ostinel {

namespace {
constexpr int sliderSteps = 1000;
}

LevelControl::LevelControl(Field<double> amplitude, QWidget* parent)
    : QWidget(parent), amplitude_(std::move(amplitude)), slider_(new QSlider(Qt::Horizontal, this)),
      db_(new QLineEdit(this)) {
    auto* layout = new QHBoxLayout(this);
    layout->setContentsMargins(0, 0, 0, 0);
    layout->setSpacing(8);
    slider_->setRange(0, sliderSteps);
    slider_->setPageStep(sliderSteps / 20);
    slider_->setMinimumHeight(32);
    // The slider takes no keys: arrows belong to the show.
    slider_->setFocusPolicy(Qt::NoFocus);
    db_->setFixedWidth(72);
    db_->setAlignment(Qt::AlignRight | Qt::AlignVCenter);
    db_->setToolTip(tr("Level in dB; type -inf for silence"));
    layout->addWidget(slider_, 1);
    layout->addWidget(db_);

    connect(slider_, &QSlider::valueChanged, this, [this](int position) {
        amplitude_.commit(LevelLaw::amplitudeForSlider(double(position) / sliderSteps));
        refresh(true);
    });
    connect(db_, &QLineEdit::editingFinished, this, [this] { commitDb(); });
}

void LevelControl::refresh(bool force) {
    const double amplitude = amplitude_.get();
    if (!slider_->isSliderDown() || force) {
        const QSignalBlocker quiet(slider_);
        slider_->setValue(int(std::lround(LevelLaw::sliderForAmplitude(amplitude) * sliderSteps)));
    }
    if (force || !(db_->hasFocus() && db_->isModified())) {
        db_->setText(QString::fromStdString(LevelLaw::formatDb(amplitude)));
        db_->setModified(false);
    }
}

void LevelControl::flush() {
    if (db_->isModified()) commitDb();
}

void LevelControl::commitDb() {
    if (!db_->isModified()) return;
    db_->setModified(false);
    // Text that is no level keeps the old value, shown again below.
    if (auto amplitude = LevelLaw::parseDb(db_->text().toStdString())) amplitude_.commit(*amplitude);
    refresh(true);
}

} // namespace ostinel
