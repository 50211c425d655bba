#include <gtest/gtest.h>

#include <QCoreApplication>

#include "platform/MemoryPreferences.h"
#include "platform/SettingsPreferences.h"
#include "support/TempDir.h"

using namespace ostinel;

namespace {
void checkTypedReads(Preferences& prefs) {
    prefs.setValue("flag", true);
    prefs.setValue("port", std::int64_t{53000});
    prefs.setValue("interval", 12.5);
    prefs.setValue("host", std::string("10.0.0.5"));
    prefs.setValue("recent", std::vector<std::string>{"/a.ot", "/b c.ot"});
    prefs.setValue("blob", PreferenceBytes{'{', '}', 0, 255});
    EXPECT_EQ(prefs.boolValue("flag"), true);
    EXPECT_EQ(prefs.intValue("port"), 53000);
    EXPECT_EQ(prefs.doubleValue("interval"), 12.5);
    EXPECT_EQ(prefs.doubleValue("port"), 53000.0);
    EXPECT_EQ(prefs.stringValue("host"), "10.0.0.5");
    EXPECT_EQ(prefs.intValue("host"), std::nullopt); // text that is no integer
    EXPECT_EQ(prefs.stringListValue("recent"), (std::vector<std::string>{"/a.ot", "/b c.ot"}));
    EXPECT_EQ(prefs.dataValue("blob"), (PreferenceBytes{'{', '}', 0, 255}));
    EXPECT_FALSE(prefs.contains("missing"));
    prefs.remove("host");
    EXPECT_FALSE(prefs.stringValue("host"));
}
} // namespace

TEST(Preferences, BothStoresKeepTypesAndTheSettingsFileSurvivesAReopen) {
    MemoryPreferences memory;
    checkTypedReads(memory);
    test::TempDir dir;
    QString file = QString::fromStdString(dir.file("Ostinel.conf"));
    {
        SettingsPreferences prefs(file);
        checkTypedReads(prefs);
    }
    SettingsPreferences reopened(file);
    EXPECT_EQ(reopened.intValue("port"), 53000);
    EXPECT_EQ(reopened.boolValue("flag"), true);
    EXPECT_EQ(reopened.doubleValue("interval"), 12.5);
    EXPECT_EQ(reopened.stringListValue("recent"), (std::vector<std::string>{"/a.ot", "/b c.ot"}));
    EXPECT_EQ(reopened.dataValue("blob"), (PreferenceBytes{'{', '}', 0, 255}));
}
