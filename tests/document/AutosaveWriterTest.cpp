#include <gtest/gtest.h>

#include <filesystem>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "document/AutosaveWriter.h"
#include "document/ShowFile.h"
#include "platform/ManualMainLoop.h"
#include "support/TempDir.h"

using namespace ostinel;
namespace fs = std::filesystem;

namespace {

Show named(const std::string& name) {
    Show show;
    show.name = name;
    show.tracks.push_back(Track{.name = "Cue"});
    return show;
}

// A writer whose background work runs only when the test says so.
struct HeldWriter {
    ManualMainLoop loop;
    test::TempDir dir;
    std::string path = dir.file("Recovery/autosave.ot");
    std::vector<std::function<void()>> tasks;
    std::vector<std::string> outcomes; // "ok" or the reason
    std::function<void()> duringWrite; // runs while the text goes to disk
    AutosaveWriter writer{
        loop, path, [this](const std::optional<Error>& e) { outcomes.push_back(e ? e->message : "ok"); },
        [this](std::function<void()> task) { tasks.push_back(std::move(task)); },
        [this](const std::string& file, const std::string& text) -> std::optional<Error> {
            if (duringWrite) std::exchange(duringWrite, nullptr)();
            dir.write(fs::relative(file, dir.path()).string(), text);
            return std::nullopt;
        }};

    void runTasks() {
        for (auto& task : std::exchange(tasks, {})) task();
        loop.runPosted();
    }
    std::optional<std::string> onDisk() const {
        if (!fs::exists(path)) return std::nullopt;
        return ShowFile::decode(test::readText(path))->name;
    }
};

} // namespace

TEST(AutosaveWriter, OneWriteInFlightTheNewestWaitingSnapshotWinsAndARemovalBeatsEveryEarlierWrite) {
    HeldWriter w;
    w.writer.write(named("first"));
    w.writer.write(named("second"));
    w.writer.write(named("third"));
    ASSERT_EQ(w.tasks.size(), 1u) << "one run at a time";
    EXPECT_FALSE(w.onDisk()) << "nothing on the main thread";
    w.runTasks();
    EXPECT_EQ(w.onDisk(), "third");
    EXPECT_EQ(w.outcomes, std::vector<std::string>{"ok"});

    // Queued, then removed: never written, never reported.
    w.writer.write(named("queued"));
    w.writer.remove();
    EXPECT_FALSE(w.onDisk());
    w.runTasks();
    EXPECT_FALSE(w.onDisk());

    // Removed while its text was being written: the rename never happens.
    w.duringWrite = [&] { w.writer.remove(); };
    w.writer.write(named("in flight"));
    w.runTasks();
    EXPECT_FALSE(w.onDisk());
    EXPECT_FALSE(fs::exists(w.path + ".tmp"));
    EXPECT_EQ(w.outcomes.size(), 1u);

    // A failure comes back on the main loop, not from the background.
    fs::remove_all(w.dir.file("Recovery"));
    w.dir.write("Recovery", "a file where the folder goes");
    w.writer.write(named("blocked"));
    for (auto& task : std::exchange(w.tasks, {})) task();
    EXPECT_EQ(w.outcomes.size(), 1u);
    w.loop.runPosted();
    EXPECT_EQ(w.outcomes, (std::vector<std::string>{"ok", "Not a directory"}));
}

TEST(AutosaveWriter, OnItsOwnThreadItWritesWholeFilesAndItsEndWaitsForTheWriteInFlight) {
    ManualMainLoop loop;
    test::TempDir dir;
    const std::string path = dir.file("Recovery/autosave.ot");
    int reported = 0;
    {
        AutosaveWriter writer(loop, path, [&](const std::optional<Error>& e) { reported += e ? 100 : 1; });
        writer.write(named("one"));
        writer.wait();
        loop.runPosted();
        EXPECT_EQ(ShowFile::decode(test::readText(path))->name, "one");
        EXPECT_EQ(reported, 1);

        writer.write(named("two"));
        writer.remove();
        writer.wait();
        EXPECT_FALSE(fs::exists(path));
        writer.write(named("last"));
    }
    EXPECT_EQ(ShowFile::decode(test::readText(path))->name, "last");
    EXPECT_EQ(std::distance(fs::directory_iterator(dir.file("Recovery")), fs::directory_iterator()), 1);
    loop.runPosted();
    EXPECT_EQ(reported, 1) << "nothing reaches a writer that is gone";
}
