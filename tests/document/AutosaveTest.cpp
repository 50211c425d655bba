#include "AppStateFixture.h"

#include <QtGlobal>

#include "document/ShowFile.h"

using namespace ostinel;
namespace fs = std::filesystem;

namespace {

// Error lines of the document's logging category, for the life of the object.
class DocumentErrors {
public:
    DocumentErrors() { previous_ = qInstallMessageHandler(record); }
    ~DocumentErrors() { qInstallMessageHandler(previous_); }
    static inline std::vector<std::string> lines;

private:
    static void record(QtMsgType type, const QMessageLogContext& context, const QString& text) {
        const bool ours = context.category && std::string(context.category) == "com.ostinel.document";
        if (type == QtCriticalMsg && ours)
            lines.push_back(text.toStdString());
    }
    QtMessageHandler previous_;
};

struct Autosave : test::AppStateFixture {
    std::vector<std::function<void()>> held;
    void holdAutosaves() {
        state.setAutosaveExecutor([this](std::function<void()> task) { held.push_back(std::move(task)); });
    }
    void runHeld() {
        for (auto& task : std::exchange(held, {})) task();
        loop.runPosted();
    }
};

} // namespace

TEST_F(Autosave, AFailureIsToldOnceByNoticeAndLogAndAgainOnlyAfterASuccess) {
    DocumentErrors::lines.clear();
    DocumentErrors errors;
    addTrack("Intro", file("intro.wav"));
    appFolder.write("Ostinel", "a file where the folder goes");
    loop.advance(30);
    const std::string told = "Autosave failed — unsaved changes are not protected: Not a directory";
    EXPECT_EQ(notices, std::vector<std::string>{told});
    EXPECT_EQ(DocumentErrors::lines, std::vector<std::string>{"Autosave failed: Not a directory"});
    loop.advance(60);
    EXPECT_EQ(notices.size(), 1u) << "the same failure every tick is told once";

    fs::remove(appFolder.file("Ostinel"));
    loop.advance(30);
    EXPECT_TRUE(fs::exists(recovery()));
    fs::remove_all(appFolder.file("Ostinel"));
    appFolder.write("Ostinel", "blocked again");
    loop.advance(30);
    EXPECT_EQ(notices, (std::vector<std::string>{told, told}));
    EXPECT_EQ(DocumentErrors::lines.size(), 2u);
}

TEST_F(Autosave, NothingIsWrittenOnTheMainThreadAndACleanSaveOrQuitBeatsAWriteBegunBefore) {
    holdAutosaves();
    addTrack("Intro", file("intro.wav"));
    loop.advance(30);
    ASSERT_EQ(held.size(), 1u);
    EXPECT_FALSE(fs::exists(recovery()));
    ASSERT_TRUE(saveAs("gig.ot"));
    runHeld();
    EXPECT_FALSE(fs::exists(recovery())) << "a clean save wins over an older autosave";

    rename("Edited");
    loop.advance(30);
    rename("Edited again");
    loop.advance(30);
    ASSERT_EQ(held.size(), 1u) << "one write at a time";
    runHeld();
    EXPECT_EQ(ShowFile::read(recovery())->name, "Edited again") << "the newest snapshot wins";

    rename("Edited before quitting");
    loop.advance(30);
    state.deleteAutosave(); // as the quit flow does on Don't Save
    runHeld();
    EXPECT_FALSE(fs::exists(recovery()));
    EXPECT_TRUE(notices.empty());
}
