#include <gtest/gtest.h>

#include <QTest>
#include <QVBoxLayout>

#include "support/QtTestApp.h"
#include "support/WorkspaceRig.h"
#include "workspace/transport/NoticeBanner.h"

namespace ostinel {
namespace {

class NoticeBannerTest : public ::testing::Test {
protected:
    test::WorkspaceRig rig;
    QWidget window;
    NoticeBanner* banner = new NoticeBanner(rig.workspace, &window);

    bool shown() const { return !banner->isHidden(); }
};

// Each notice, a replacement or the same text again, shows for six seconds of its own.
TEST_F(NoticeBannerTest, EachNoticeShowsForSixSecondsOfItsOwn) {
    EXPECT_FALSE(shown());
    for (const auto& [first, second] : {std::pair{"First", "Second"}, std::pair{"Again", "Again"}}) {
        SCOPED_TRACE(second);
        rig.engine.setNotice(first);
        rig.loop.advance(4.0);
        rig.engine.setNotice(second);
        EXPECT_EQ(banner->text(), second);
        rig.loop.advance(5.9);
        EXPECT_TRUE(shown());
        rig.loop.advance(0.2);
        EXPECT_EQ(rig.engine.notice(), std::nullopt);
        EXPECT_FALSE(shown());
    }
}

TEST_F(NoticeBannerTest, AClickClearsItAndCancelsTheTimer) {
    rig.engine.setNotice("First");
    QTest::mouseClick(banner, Qt::LeftButton);
    EXPECT_EQ(rig.engine.notice(), std::nullopt);
    EXPECT_FALSE(shown());

    // The old timer must not clear a notice set after the click.
    rig.loop.advance(3.0);
    rig.engine.setNotice("Second");
    rig.loop.advance(4.0);
    EXPECT_EQ(rig.engine.notice(), "Second");
}

TEST_F(NoticeBannerTest, AGoneBannerLeavesTheNoticeAlone) {
    rig.engine.setNotice("Kept");
    delete banner;
    rig.loop.advance(7.0);
    EXPECT_EQ(rig.engine.notice(), "Kept");
}

TEST_F(NoticeBannerTest, LiesOverTheTopOfTheContentAndMovesNothing) {
    auto* column = new QVBoxLayout(&window);
    auto* bar = new QWidget;
    bar->setFixedHeight(80);
    auto* content = new QWidget;
    auto* firstCue = new QWidget(content);
    firstCue->setGeometry(0, 0, 300, 40);
    column->addWidget(bar);
    column->addWidget(content, 1);
    banner->overlay(content);
    window.resize(800, 600);
    window.show();
    QApplication::processEvents();
    const auto cueFrame = [&] { return QRect(firstCue->mapTo(&window, QPoint()), firstCue->size()); };
    const QRect before = cueFrame();

    rig.engine.setNotice("No audio output could be opened, so playback is silent. " + std::string(200, 'x'));
    QApplication::processEvents();
    EXPECT_EQ(cueFrame(), before);
    EXPECT_EQ(banner->geometry().topLeft(), content->geometry().topLeft());
    EXPECT_EQ(banner->width(), content->width());
    EXPECT_EQ(window.childAt(before.topLeft() + QPoint(10, 5)), banner) << "on top, where it can be seen";

    window.resize(500, 600);
    QApplication::processEvents();
    EXPECT_EQ(banner->width(), content->width());
    EXPECT_GT(banner->height(), banner->heightForWidth(800)) << "the longer reason wraps";
    EXPECT_EQ(cueFrame().topLeft(), before.topLeft());
}

} // namespace
} // namespace ostinel
