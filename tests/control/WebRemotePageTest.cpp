#include <gtest/gtest.h>

#include <QRegularExpression>
#include <QString>

#include "control/WebRemotePage.h"

using namespace ostinel;

namespace {

// A phone on a show network has no way out: the page must carry everything
// itself and talk only to the server that handed it out.
TEST(WebRemotePage, IsCompiledInSelfContainedAndTalksToItsOwnServer) {
    const QString page = QString::fromUtf8(webRemotePage());
    ASSERT_GT(page.size(), 4000);
    EXPECT_TRUE(page.startsWith(QStringLiteral("<!DOCTYPE html>")));
    EXPECT_TRUE(page.contains(QStringLiteral("<title>Ostinel Remote</title>")));
    EXPECT_TRUE(page.contains(QStringLiteral("\"/ws\"")));
    EXPECT_TRUE(page.contains(QStringLiteral("location.host")));
    EXPECT_TRUE(page.trimmed().endsWith(QStringLiteral("</html>")));

    const QRegularExpression external(
        QStringLiteral(R"((?:\b(?:src|href)\s*=\s*["']?|url\(\s*["']?|@import\s+["'])\s*(?:[a-z]+:)?//)"),
        QRegularExpression::CaseInsensitiveOption);
    const auto hit = external.match(page);
    EXPECT_FALSE(hit.hasMatch()) << hit.captured().toStdString();
    EXPECT_FALSE(page.contains(QStringLiteral("http://"))) << "only the WebSocket's own scheme is named";
    EXPECT_FALSE(page.contains(QStringLiteral("https://")));
}

} // namespace
