#pragma once

#include <QWidget>

class QTimer;

namespace ostinel {

struct Workspace;

// The timecode the outputs are sending, or where the selected cue's stands:
// small in the header beside the clocks, or large as a section of its own.
class TimecodeView : public QWidget {
    Q_OBJECT
public:
    enum class Size { header, large };
    TimecodeView(Workspace& workspace, Size size, QWidget* parent = nullptr);

    QString text() const;
    QSize sizeHint() const override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    Workspace& workspace_;
    Size size_;
    QTimer* frames_ = nullptr; // runs while playing
};

} // namespace ostinel
