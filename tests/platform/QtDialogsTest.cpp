#include <gtest/gtest.h>

#include <QDialogButtonBox>
#include <QFileDialog>
#include <QFileInfo>
#include <QFileSystemModel>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTest>

#include "platform/QtDialogs.h"
#include "support/NextModal.h"
#include "support/QtTestApp.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {

const AlertRequest restore{"Restore Unsaved Show?", "", {"Restore", "Discard"}};

// The answer of the real alert to one thing the operator does to it.
int alertAnswer(const AlertRequest& request, const std::function<void(QMessageBox&)>& operatorAction) {
    test::onNextModal([&](QWidget* modal) {
        auto* box = qobject_cast<QMessageBox*>(modal);
        ASSERT_TRUE(box);
        operatorAction(*box);
        if (box->isVisible()) box->done(0); // the action did nothing: don't hang
    });
    return QtDialogs().alert(request);
}

QAbstractButton* buttonTitled(QMessageBox& box, const QString& title) {
    for (QAbstractButton* button : box.buttons())
        if (button->text() == title) return button;
    return nullptr;
}

// The real panel: the operator clicks the path in its folder's list and
// presses the accept button.
std::vector<std::string> panelChoosing(const OpenPanelRequest& request, const std::string& path) {
    test::onNextModal([&](QWidget* modal) {
        auto* dialog = qobject_cast<QFileDialog*>(modal);
        ASSERT_TRUE(dialog);
        const QString wanted = QString::fromStdString(path);
        dialog->setDirectory(QFileInfo(wanted).absolutePath());
        auto* list = dialog->findChild<QListView*>("listView");
        ASSERT_TRUE(list);
        QModelIndex row;
        auto listed = [&] { // the folder is read in the background
            for (int r = 0; r < list->model()->rowCount(list->rootIndex()); ++r) {
                row = list->model()->index(r, 0, list->rootIndex());
                if (row.data(QFileSystemModel::FilePathRole).toString() == wanted) return true;
            }
            return false;
        };
        ASSERT_TRUE(QTest::qWaitFor(listed, 30000));
        list->selectionModel()->select(row, QItemSelectionModel::ClearAndSelect | QItemSelectionModel::Rows);
        QPushButton* accept = dialog->findChild<QDialogButtonBox*>()->button(QDialogButtonBox::Open);
        ASSERT_TRUE(accept && accept->isEnabled());
        accept->click();
        if (dialog->isVisible()) dialog->reject(); // it would not take the choice
    });
    return QtDialogs().openPanel(request);
}

} // namespace

TEST(QtDialogs, AnAlertClosedWithoutAChoiceHasNoAnswerAndAButtonGivesItsIndex) {
    EXPECT_EQ(alertAnswer(restore, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }),
              Dialogs::noAnswer);
    EXPECT_EQ(alertAnswer(restore, [](QMessageBox& box) { box.close(); }), Dialogs::noAnswer);
    const AlertRequest save{"Save Show?", "", {"Save", "Don't Save", "Cancel"}};
    EXPECT_EQ(alertAnswer(save, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Escape); }),
              Dialogs::noAnswer);
    EXPECT_EQ(alertAnswer(restore, [](QMessageBox& box) { buttonTitled(box, "Discard")->click(); }), 1);
    EXPECT_EQ(alertAnswer(save, [](QMessageBox& box) { QTest::keyClick(&box, Qt::Key_Return); }), 0)
        << "Return presses the first";
}

TEST(QtDialogs, APanelForFilesAndFoldersTakesEitherAndAFilePanelNoFolder) {
    test::TempDir dir;
    const std::string folder = dir.file("Media"), file = dir.write("Media/kick.wav", "x");
    std::filesystem::create_directories(dir.file("Media/Sub"));
    OpenPanelRequest either{.message = "Locate", .extensions = {"wav"}, .canChooseDirectories = true};
    EXPECT_EQ(panelChoosing(either, folder), std::vector<std::string>{folder});
    EXPECT_EQ(panelChoosing(either, file), std::vector<std::string>{file});
    OpenPanelRequest files{.message = "Add", .extensions = {"wav"}};
    EXPECT_TRUE(panelChoosing(files, dir.file("Media/Sub")).empty()) << "a folder is only entered";
}
