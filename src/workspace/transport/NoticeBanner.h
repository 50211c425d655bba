#pragma once

#include <QWidget>

#include <optional>

#include "platform/MainLoop.h"

class QFontMetrics;

namespace ostinel {

struct Workspace;

// The engine's notice (a device gone, a file missing...) as a banner that
// stays up long enough to be read, then clears itself; a click clears it at
// once. Hidden while there is nothing to say.
class NoticeBanner : public QWidget {
    Q_OBJECT
public:
    explicit NoticeBanner(Workspace& workspace, QWidget* parent = nullptr);
    ~NoticeBanner() override;

    // What the banner shows, empty when hidden.
    QString text() const;
    QSize sizeHint() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;

protected:
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void noticeChanged();
    void cancelClear();
    static int textWidth(const QFontMetrics& metrics, int width);

    Workspace& workspace_;
    std::optional<MainLoop::TimerId> clearTimer_;
};

} // namespace ostinel
