#pragma once

#include <QWidget>

#include "workspace/editpanel/Field.h"

class QLineEdit;
class QSlider;

namespace ostinel {

// A track level: a slider on the fourth-power law and a dB field. Each slider
// step commits, so the engine follows the drag; AppState's coalescing makes
// the drag one undo step.
class LevelControl : public QWidget {
public:
    LevelControl(Field<double> amplitude, QWidget* parent = nullptr);

    void refresh(bool force);
    // Commits a dB value typed and not yet entered.
    void flush();

    QSlider* slider() const { return slider_; }
    QLineEdit* dbField() const { return db_; }

private:
    void commitDb();

    Field<double> amplitude_;
    QSlider* slider_;
    QLineEdit* db_;
};

} // namespace ostinel
