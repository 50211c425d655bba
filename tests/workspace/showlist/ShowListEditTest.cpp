#include <QMenu>
#include <QMimeData>
#include <QToolButton>
#include <QUrl>

#include "support/AudioFixtures.h"
#include "workspace/common/Theme.h"
#include "ShowListFixture.h"

namespace ostinel::test {
namespace {

QAction* actionNamed(QMenu& menu, const QString& text) {
    for (QAction* a : menu.actions())
        if (a->text() == text) return a;
    return nullptr;
}

TEST_F(ShowListTest, DraggingARowMovesItInOneUndoStepAndOnlyInEditMode) {
    const int gap3 = 3 * TrackRowPainter::rowHeight - 4;
    mouse(QEvent::MouseButtonPress, rowPoint(0), Qt::LeftButton);
    mouse(QEvent::MouseMove, rowPoint(0) + QPoint(0, 20), Qt::LeftButton);
    mouse(QEvent::MouseMove, QPoint(120, gap3), Qt::LeftButton);
    EXPECT_EQ(canvas().insertionGap(), 3u);
    mouse(QEvent::MouseButtonRelease, QPoint(120, gap3), Qt::NoButton);
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 2", "Cue 3", "Cue 1", "Cue 4"}));
    EXPECT_FALSE(canvas().insertionGap());
    EXPECT_FALSE(rig.state.selectedTrackID()); // a drag is not a click
    rig.state.undo();
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 1", "Cue 2", "Cue 3", "Cue 4"}));
    EXPECT_FALSE(rig.state.canUndo());

    rig.state.setMode(AppMode::show);
    mouse(QEvent::MouseButtonPress, rowPoint(0), Qt::LeftButton);
    mouse(QEvent::MouseMove, QPoint(120, gap3), Qt::LeftButton);
    mouse(QEvent::MouseButtonRelease, QPoint(120, gap3), Qt::NoButton);
    EXPECT_EQ(names().front(), "Cue 1");
}

TEST_F(ShowListTest, DroppedAudioFilesLandAtTheRowOfTheDrop) {
    const auto wav = writeTone(rig.dir.file("Intro.wav"), 1.0);
    const auto aif = writeTone(rig.dir.file("Outro.WAV"), 1.0);
    const auto text = rig.dir.write("notes.txt", "not audio");
    QMimeData mime;
    mime.setUrls({QUrl::fromLocalFile(QString::fromStdString(wav)), QUrl::fromLocalFile(QString::fromStdString(text)),
                  QUrl::fromLocalFile(QString::fromStdString(aif))});

    QDragEnterEvent enter(rowPoint(1), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&canvas(), &enter);
    EXPECT_TRUE(enter.isAccepted());
    QDropEvent drop(QPointF(120, TrackRowPainter::rowHeight + 6), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&canvas(), &drop);
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 1", "Intro", "Outro", "Cue 2", "Cue 3", "Cue 4"}));
    EXPECT_TRUE(rig.dialogs.alerts.empty());

    QMimeData textOnly;
    textOnly.setUrls({QUrl::fromLocalFile(QString::fromStdString(text))});
    QDragEnterEvent refused(rowPoint(1), Qt::CopyAction, &textOnly, Qt::LeftButton, {});
    QApplication::sendEvent(&canvas(), &refused);
    EXPECT_FALSE(refused.isAccepted());

    rig.state.setMode(AppMode::show);
    QDragEnterEvent locked(rowPoint(1), Qt::CopyAction, &mime, Qt::LeftButton, {});
    QApplication::sendEvent(&canvas(), &locked);
    EXPECT_FALSE(locked.isAccepted());
}

TEST_F(ShowListTest, FlagsToggleInEditModeOnlyAndTheirClickIsNotASelection) {
    const Track& first = rig.track(ids[0]);
    const auto l = TrackRowPainter::layout(canvas().rowRect(ids[0]), first, {}, false);
    click(l.autoplay.center());
    click(l.skip.center());
    click(l.loopFlag.center());
    EXPECT_TRUE(rig.track(ids[0]).autoplay);
    EXPECT_TRUE(rig.track(ids[0]).skip);
    EXPECT_TRUE(rig.track(ids[0]).loopCue);
    EXPECT_FALSE(rig.state.selectedTrackID());

    rig.state.setMode(AppMode::show);
    click(l.skip.center());
    EXPECT_TRUE(rig.track(ids[0]).skip);
    EXPECT_EQ(rig.state.selectedTrackID(), ids[0]); // a plain pick instead
}

TEST_F(ShowListTest, TheMenuActsOnTheSelectionWhenTheRowIsPartOfIt) {
    rig.state.setSelectedTrackID(ids[0]);
    rig.state.setSelectedTrackIDs({ids[0], ids[2]});

    std::unique_ptr<QMenu> outside(canvas().contextMenuFor(ids[3], nullptr));
    auto swatches = outside->findChildren<QToolButton*>();
    ASSERT_EQ(swatches.size(), qsizetype(theme::cueColorSwatches().size() + 1));
    swatches[1]->click();
    EXPECT_EQ(rig.track(ids[3]).colorHex, theme::cueColorSwatches()[1]);
    EXPECT_FALSE(rig.track(ids[0]).colorHex);

    std::unique_ptr<QMenu> inside(canvas().contextMenuFor(ids[2], nullptr));
    inside->findChildren<QToolButton*>()[0]->click();
    EXPECT_EQ(rig.track(ids[0]).colorHex, theme::cueColorSwatches()[0]);
    EXPECT_EQ(rig.track(ids[2]).colorHex, theme::cueColorSwatches()[0]);
    inside->findChildren<QToolButton*>().back()->click(); // no colour
    EXPECT_FALSE(rig.track(ids[2]).colorHex);

    actionNamed(*inside, "Duplicate")->trigger();
    EXPECT_EQ(names()[3], "Cue 3 Copy");
    rig.state.setSelectedTrackID(ids[0]);
    rig.state.setSelectedTrackIDs({ids[0], ids[2]});
    actionNamed(*inside, "Remove from Show")->trigger();
    EXPECT_EQ(names(), (std::vector<std::string>{"Cue 2", "Cue 3 Copy", "Cue 4"}));
}

TEST_F(ShowListTest, AMissingFileShowsATriangleThatRelinksInEitherMode) {
    rig.state.editTrack(ids[1], [&](Track& t) { t.url = FileUrl::fromPath(rig.dir.file("gone/Cue 2.wav")); });
    canvas().missingFiles().finishPending();
    const Track& missing = rig.track(ids[1]);
    const auto l = TrackRowPainter::layout(canvas().rowRect(ids[1]), missing, {}, true);
    ASSERT_TRUE(canvas().missingFiles().isMissing(missing.url.path()));
    EXPECT_FALSE(canvas().missingFiles().isMissing(rig.track(ids[0]).url.path()));

    rig.state.setMode(AppMode::show);
    click(l.warning.center());
    ASSERT_EQ(rig.dialogs.openPanels.size(), 1u);
    EXPECT_NE(rig.dialogs.openPanels[0].message.find("Cue 2"), std::string::npos);
    EXPECT_FALSE(rig.state.selectedTrackID());
}

TEST_F(ShowListTest, TheColourStripShowsAColourStoredWithOrWithoutItsHash) {
    rig.state.editTrack(ids[0], [](Track& t) { t.colorHex = "46A758"; });
    rig.state.editTrack(ids[1], [](Track& t) { t.colorHex = "#0090ff"; });
    const QImage image = canvas().grab().toImage();
    const auto stripColour = [&](std::size_t row) {
        const auto l = TrackRowPainter::layout(canvas().rowRect(ids[row]), rig.track(ids[row]), {}, false);
        return image.pixelColor(l.strip.center());
    };
    EXPECT_EQ(stripColour(0), QColor(0x46, 0xa7, 0x58));
    EXPECT_EQ(stripColour(1), QColor(0x00, 0x90, 0xff));
}

} // namespace
} // namespace ostinel::test
