#pragma once

#include <QWidget>

class QLabel;
class QScrollArea;

namespace ostinel {

struct Workspace;
class ShowListCanvas;

// The running order: one row per cue, with its colour, name, length and
// flags, and the total below. In Edit mode it edits the order; in Show mode
// it is how the operator sees and picks what comes next. It holds no show
// data: the selections live in AppState.
class ShowListView : public QWidget {
    Q_OBJECT
public:
    explicit ShowListView(Workspace& workspace, QWidget* parent = nullptr);
    ~ShowListView() override;

    ShowListCanvas& canvas() { return *canvas_; }

private:
    void updateTotal();

    Workspace& workspace_;
    QScrollArea* scroll_ = nullptr;
    ShowListCanvas* canvas_ = nullptr;
    QLabel* total_ = nullptr;
};

} // namespace ostinel
