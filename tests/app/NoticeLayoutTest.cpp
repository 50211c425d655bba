#include <gtest/gtest.h>

#include <QApplication>

#include "AppRig.h"
#include "playback/PlaybackEngine.h"
#include "workspace/showlist/ShowListView.h"
#include "workspace/transport/NoticeBanner.h"

namespace ostinel::test {
namespace {

TEST(NoticeLayout, TheNoticeBannerMovesNoCueInTheMainWindow) {
    AppRig rig;
    rig.app->start({QString::fromStdString(rig.writeShow("Show", 3))});
    MainWindow& window = rig.app->window();
    QWidget& list = *window.showList();
    QApplication::processEvents();
    const auto listFrame = [&] { return QRect(list.mapTo(&window, QPoint()), list.size()); };
    const QRect before = listFrame();

    rig.app->engine().setNotice("The output device went away.");
    QApplication::processEvents();
    EXPECT_EQ(listFrame(), before);
    const auto* banner = window.findChild<NoticeBanner*>();
    ASSERT_TRUE(banner);
    EXPECT_TRUE(banner->isVisible());
    const QRect bannerFrame(banner->mapTo(&window, QPoint()), banner->size());
    EXPECT_EQ(bannerFrame.top(), before.top()) << "over the top of the content";
    EXPECT_FALSE(bannerFrame.intersects(before)) << "no cue hidden or out of reach";

    rig.run(6.5);
    QApplication::processEvents();
    EXPECT_FALSE(banner->isVisible());
    EXPECT_EQ(listFrame(), before);
}

} // namespace
} // namespace ostinel::test
