#include "AppStateFixture.h"

#include <QMessageBox>
#include <QTest>

#include "platform/QtDialogs.h"
#include "support/NextModal.h"
#include "support/QtTestApp.h"

using namespace ostinel;
namespace fs = std::filesystem;

using UnansweredAlert = test::AppStateFixture;

TEST_F(UnansweredAlert, EscapeOnTheRealRecoveryAlertKeepsTheFileAndRestoresNothing) {
    addTrack("Unsaved", file("intro.wav"));
    loop.advance(30);
    ASSERT_TRUE(fs::exists(recovery()));

    QtDialogs real;
    AppState next(loop, preferences, real, AppPaths::under(appFolder.path().string()));
    std::string asked;
    test::onNextModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_TRUE(box);
        asked = box->text().toStdString();
        QTest::keyClick(box, Qt::Key_Escape);
        if (box->isVisible()) box->done(0);
    });
    next.offerRecoveryIfAvailable();
    EXPECT_EQ(asked, "Restore Unsaved Show?");
    EXPECT_TRUE(fs::exists(recovery())) << "only Discard deletes it";
    EXPECT_TRUE(next.show().tracks.empty());
    EXPECT_FALSE(next.isDirty());
}

TEST_F(UnansweredAlert, EveryDocumentAlertTakesNoAnswerAsItsSafeChoice) {
    const auto ids = openShow({file("gone/kick.wav")});
    const FileUrl other = tone("other.wav");
    dialogs.openAnswers = {{other.path()}};
    dialogs.alertAnswers = {test::ScriptedDialogs::closed};
    state.relinkTrack(ids[0]);
    EXPECT_EQ(lastAlert().message, "Different file selected");
    EXPECT_EQ(state.show().tracks[0].url, file("gone/kick.wav"));

    rename("Dirty");
    dialogs.alertAnswers = {test::ScriptedDialogs::closed};
    EXPECT_FALSE(state.newShow()) << "Save Show? unanswered is Cancel";
    EXPECT_EQ(state.show().name, "Dirty");

    loop.advance(30);
    dialogs.alertAnswers = {test::ScriptedDialogs::closed};
    state.offerRecoveryIfAvailable();
    EXPECT_EQ(lastAlert().message, "Restore Unsaved Show?");
    EXPECT_TRUE(fs::exists(recovery()));
    EXPECT_EQ(state.show().name, "Dirty");
}
