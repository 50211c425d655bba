#include <gtest/gtest.h>

#include <QAction>
#include <QApplication>
#include <QComboBox>
#include <QDialog>
#include <QLineEdit>
#include <QTest>
#include <QVBoxLayout>

#include "EngineRig.h"
#include "document/AppState.h"
#include "playback/ShowModeKeyFilter.h"
#include "support/ScriptedDialogs.h"
#include "workspace/WaveformController.h"

using namespace ostinel;

namespace {

// A window with a focusable panel, a text field, a plain area and a menu
// shortcut, the filter installed on the application.
struct ShowModeKeyFilterTest : ::testing::Test {
    int argc = 3;
    char* argv[4] = {const_cast<char*>("test"), const_cast<char*>("-platform"),
                     const_cast<char*>("offscreen"), nullptr};
    QApplication app{argc, argv};
    test::EngineRig rig;
    PlaybackEngine& engine = rig.load();
    test::ScriptedDialogs dialogs;
    AppState state{rig.loop, rig.preferences, dialogs, AppPaths::under(rig.dir.file("app"))};
    WaveformController marks;
    CueContext context{state, engine, marks, {}, {}};
    ShowModeKeyFilter filter{context};
    std::vector<int> digits;
    QWidget window;
    QWidget* panel = new QWidget;
    QWidget* plain = new QWidget;
    QLineEdit* field = new QLineEdit;
    QAction* quit = new QAction(&window);
    int quits = 0;

    ShowModeKeyFilterTest() {
        Show show;
        for (int i = 0; i < 3; ++i) {
            Track t = rig.track;
            t.id = Uuid::random();
            show.tracks.push_back(t);
        }
        state.setShow(show);
        state.setSelectedTrackID(show.tracks[0].id);
        context.numbers.received = [this](int digit) {
            digits.push_back(digit);
            return true;
        };
        auto* layout = new QVBoxLayout(&window);
        for (QWidget* w : {panel, static_cast<QWidget*>(field), plain})
            layout->addWidget(w);
        panel->setFocusPolicy(Qt::StrongFocus);
        plain->setMinimumHeight(40);
        quit->setShortcut(QKeySequence(Qt::CTRL | Qt::Key_Q));
        window.addAction(quit);
        QObject::connect(quit, &QAction::triggered, [this] { ++quits; });
        window.show();
        window.activateWindow();
        QApplication::processEvents();
        app.installEventFilter(&filter);
        panel->setFocus();
    }
};

TEST_F(ShowModeKeyFilterTest, KeysReachTheCommandsOnceAheadOfShortcutsExceptInFieldsAndDialogs) {
    QAction stray(&window);
    stray.setShortcut(QKeySequence(Qt::Key_Space));
    window.addAction(&stray);
    bool strayFired = false;
    QObject::connect(&stray, &QAction::triggered, [&] { strayFired = true; });
    QTest::keyClick(panel, Qt::Key_Space);
    EXPECT_TRUE(engine.isPlaying());
    EXPECT_FALSE(strayFired) << "the commands come before any shortcut";
    QTest::simulateEvent(panel, true, Qt::Key_Space, Qt::NoModifier, " ", true);
    EXPECT_TRUE(engine.isPlaying()) << "a held Space does not GO again";

    QTest::keyClick(panel, Qt::Key_Down);
    EXPECT_EQ(state.selectedTrackID(), state.show().tracks[1].id) << "one step per key";
    QTest::simulateEvent(panel, true, Qt::Key_Down, Qt::NoModifier, {}, true);
    EXPECT_EQ(state.selectedTrackID(), state.show().tracks[2].id) << "arrows repeat";

    QTest::keyClick(panel, Qt::Key_Q, Qt::ControlModifier);
    QTest::keyClick(panel, Qt::Key_7, Qt::AltModifier);
    QTest::keyClick(panel, Qt::Key_7);
    EXPECT_EQ(quits, 1);
    EXPECT_EQ(digits, std::vector<int>{7}) << "Alt+7 is no number key";

    field->setFocus();
    QTest::keyClicks(field, " 3");
    QTest::keyClick(field, Qt::Key_Up);
    EXPECT_EQ(field->text(), " 3");
    EXPECT_EQ(digits.size(), 1u);
    EXPECT_EQ(state.selectedTrackID(), state.show().tracks[2].id) << "keys a field ignores stay ignored";
    auto* combo = new QComboBox(&window);
    combo->setEditable(true);
    combo->show();
    combo->setFocus();
    QTest::keyClick(QApplication::focusWidget(), Qt::Key_Space);
    EXPECT_EQ(combo->currentText(), " ");
    EXPECT_TRUE(engine.isPlaying()) << "typing in a combo box is typing";

    panel->setFocus();
    QDialog modal(&window);
    modal.setModal(true);
    modal.show();
    QTest::keyClick(&modal, Qt::Key_Up);
    EXPECT_EQ(state.selectedTrackID(), state.show().tracks[2].id) << "a modal dialog keeps its keys";
}

TEST_F(ShowModeKeyFilterTest, DragModifiersFollowAltAndShiftAndAClickOutsideEndsEditing) {
    // As X11 reports them: a modifier's own event carries the state before it.
    QTest::simulateEvent(panel, true, Qt::Key_Alt, Qt::NoModifier, {}, false);
    QTest::simulateEvent(panel, true, Qt::Key_Shift, Qt::AltModifier, {}, false);
    EXPECT_TRUE(marks.snapSuppressed() && marks.beatStepHeld());
    QTest::simulateEvent(panel, false, Qt::Key_Alt, Qt::AltModifier | Qt::ShiftModifier, {}, false);
    EXPECT_FALSE(marks.snapSuppressed());
    EXPECT_TRUE(marks.beatStepHeld());
    QEvent deactivate(QEvent::WindowDeactivate);
    QApplication::sendEvent(&window, &deactivate);
    EXPECT_FALSE(marks.beatStepHeld()) << "a release elsewhere never arrives";
    QTest::mousePress(plain, Qt::LeftButton, Qt::AltModifier);
    EXPECT_TRUE(marks.snapSuppressed()) << "changes in mid-drag";
    QTest::mouseRelease(plain, Qt::LeftButton);

    field->setFocus();
    QTest::mouseClick(field, Qt::LeftButton);
    EXPECT_TRUE(field->hasFocus());
    QTest::mouseClick(plain, Qt::LeftButton);
    EXPECT_FALSE(field->hasFocus());
    EXPECT_FALSE(engine.isPlaying());
    QTest::keyClick(&window, Qt::Key_Space);
    EXPECT_TRUE(engine.isPlaying()) << "the show keys work again";
}

} // namespace
