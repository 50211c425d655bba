#pragma once

#include <QPointer>
#include <QWidget>

#include <optional>

#include "platform/MainLoop.h"

class QFontMetrics;

namespace ostinel {

struct Workspace;

// The engine's notice (a device gone, a file missing...) as a banner that
// stays up long enough to be read, then clears itself; a click clears it at
// once. Hidden while there is nothing to say. It lies over the top of the
// content rather than in a layout: a banner that pushed the cue list down
// would turn a click meant for one cue into a click on another.
class NoticeBanner : public QWidget {
    Q_OBJECT
public:
    explicit NoticeBanner(Workspace& workspace, QWidget* parent = nullptr);
    ~NoticeBanner() override;

    // Lies over the top edge of content, at its width, following it as it
    // moves or resizes; content is the banner's parent or inside it.
    void overlay(QWidget* content);

    // What the banner shows, empty when hidden.
    QString text() const;
    QSize sizeHint() const override;
    bool hasHeightForWidth() const override;
    int heightForWidth(int width) const override;

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;
    void mousePressEvent(QMouseEvent* event) override;
    void paintEvent(QPaintEvent* event) override;

private:
    void noticeChanged();
    void cancelClear();
    void place();
    static int textWidth(const QFontMetrics& metrics, int width);

    Workspace& workspace_;
    std::optional<MainLoop::TimerId> clearTimer_;
    QPointer<QWidget> content_;
};

} // namespace ostinel
