#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QMouseEvent>

#include <memory>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/showlist/ShowListCanvas.h"
#include "workspace/showlist/ShowListView.h"
#include "workspace/showlist/TrackRowPainter.h"

namespace ostinel::test {

// A show list over a rig with four cues, laid out at a realistic size.
class ShowListTest : public ::testing::Test {
protected:
    void SetUp() override {
        ids = rig.addCues({10.0, 5.0, 8.0, 4.0});
        rig.state.resetHistory();
        view = std::make_unique<ShowListView>(rig.workspace);
        view->resize(420, 600);
        view->show();
        QApplication::processEvents();
    }

    ShowListCanvas& canvas() { return view->canvas(); }
    QPoint rowPoint(std::size_t index) const {
        return {120, int(index) * TrackRowPainter::rowHeight + TrackRowPainter::rowHeight / 2};
    }
    void mouse(QEvent::Type type, QPoint at, Qt::MouseButtons buttons, Qt::KeyboardModifiers modifiers = {}) {
        const auto button = type == QEvent::MouseMove ? Qt::NoButton : Qt::LeftButton;
        QMouseEvent event(type, at, canvas().mapToGlobal(at), button, buttons, modifiers);
        QApplication::sendEvent(&canvas(), &event);
    }
    void click(QPoint at, Qt::KeyboardModifiers modifiers = {}) {
        mouse(QEvent::MouseButtonPress, at, Qt::LeftButton, modifiers);
        mouse(QEvent::MouseButtonRelease, at, Qt::NoButton, modifiers);
    }
    void clickRow(std::size_t index, Qt::KeyboardModifiers modifiers = {}) { click(rowPoint(index), modifiers); }
    std::vector<std::string> names() const {
        std::vector<std::string> v;
        for (const auto& t : rig.state.show().tracks) v.push_back(t.name);
        return v;
    }

    WorkspaceRig rig;
    std::vector<Uuid> ids;
    std::unique_ptr<ShowListView> view;
};

} // namespace ostinel::test
