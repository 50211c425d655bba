#pragma once

#include <gtest/gtest.h>

#include <QApplication>
#include <QTest>
#include <QWidget>

#include <memory>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/editpanel/EditPanel.h"

namespace ostinel::test {

// A shown panel over a rig with two cues, the first selected, and a history
// that starts after the set-up.
class EditPanelTest : public ::testing::Test {
protected:
    void SetUp() override {
        cues = rig.addCues({10.0, 6.0});
        rig.state.setSelectedTrackID(cues[0]);
        panel = std::make_unique<EditPanel>(rig.workspace);
        panel->resize(340, 900);
        panel->show();
        panel->activateWindow();
        QApplication::setActiveWindow(panel.get());
        settle();
        rig.state.resetHistory();
    }

    // Past the undo coalescing window, so the next edit is a step of its own.
    void settle() { rig.loop.advance(1.0); }

    const Track& cue(std::size_t i = 0) const { return rig.track(cues.at(i)); }

    // The one field of that type labelled name inside root.
    template <class W>
    W* field(QWidget* root, const QString& name) {
        W* found = nullptr;
        for (W* w : root->findChildren<W*>())
            if (w->accessibleName() == name) {
                EXPECT_EQ(found, nullptr) << "two fields named " << name.toStdString();
                found = w;
            }
        EXPECT_NE(found, nullptr) << "no field named " << name.toStdString();
        return found;
    }

    // Types into a field as the operator would, replacing what it shows.
    static void type(QWidget* w, const QString& text, bool enter = true) {
        w->setFocus();
        QMetaObject::invokeMethod(w, "selectAll");
        QTest::keyClicks(w, text);
        if (enter) QTest::keyClick(w, Qt::Key_Return);
    }

    WorkspaceRig rig;
    std::vector<Uuid> cues;
    std::unique_ptr<EditPanel> panel;
};

} // namespace ostinel::test
