#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/CliRun.h"
#include "support/TempDir.h"

namespace ostinel {
namespace {

using Args = std::vector<std::string>;

// Refused before anything opens: a rack's supervisor sees why at once.
TEST(ServeCommand, RefusesBadOptionsAndAShowThatDoesNotOpen) {
    test::TempDir home;
    const std::pair<Args, std::string> refused[] = {
        {{"serve"}, "usage: ostinel-cli serve FILE.ot"},
        {{"serve", "x.ot", "--osc-port", "0"}, "--osc-port takes a port between 1 and 65535, not \"0\""},
        {{"serve", "x.ot", "--osc-port", "70000"}, "not \"70000\""},
        {{"serve", "x.ot", "--feedback", "localhost"}, "--feedback takes HOST:PORT"},
        {{"serve", "x.ot", "--osc-trigger", "host:port"}, "--osc-trigger takes HOST:PORT"},
        {{"serve", "x.ot", "--timecode-rate", "fps29"}, "--timecode-rate takes fps24, fps25, fps2997df or fps30"},
    };
    for (const auto& [args, message] : refused) {
        const auto run = test::runCli(args, home.path().string());
        EXPECT_EQ(run.status, 1) << args.back();
        EXPECT_NE(run.err.find(message), std::string::npos) << run.err;
    }
    const auto missing = test::runCli({"serve", home.file("missing.ot")}, home.path().string());
    EXPECT_EQ(missing.status, 1);
    EXPECT_NE(missing.out.find(R"({"event":"error","message":"Could not open the show.)"), std::string::npos)
        << missing.out << missing.err;
}

} // namespace
} // namespace ostinel
