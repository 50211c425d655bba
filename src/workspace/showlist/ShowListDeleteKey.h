#pragma once

#include <QObject>

namespace ostinel {

class ShowListCanvas;

// Delete or Backspace on the focused show list removes its selected rows, in
// Edit mode. The show keys take Delete for the timeline's marks before any
// widget sees it, so this filter sits on the application, asked first, only
// while the list has the focus: then the rows are what the operator last
// clicked. Anywhere else Delete keeps its timeline meaning.
class ShowListDeleteKey : public QObject {
    Q_OBJECT
public:
    explicit ShowListDeleteKey(ShowListCanvas& canvas);

    void attach();
    void detach();

protected:
    bool eventFilter(QObject* watched, QEvent* event) override;

private:
    ShowListCanvas& canvas_;
};

} // namespace ostinel
