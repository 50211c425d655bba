#pragma once

#include <gtest/gtest.h>

#include <QApplication>

#include <memory>

namespace ostinel::test {

// Widgets need one QApplication for the whole program; including this header
// in any test file of the program gives it one, alive across all its tests.
class QtTestApp : public ::testing::Environment {
public:
    void SetUp() override {
        // No test may need a display, whoever runs the program.
        if (qEnvironmentVariableIsEmpty("QT_QPA_PLATFORM")) qputenv("QT_QPA_PLATFORM", "offscreen");
        app_ = std::make_unique<QApplication>(argc_, argv_);
    }
    void TearDown() override { app_.reset(); }

private:
    int argc_ = 1;
    char name_[8] = "ostinel";
    char* argv_[2] = {name_, nullptr};
    std::unique_ptr<QApplication> app_;
};

inline ::testing::Environment* const qtTestApp = ::testing::AddGlobalTestEnvironment(new QtTestApp);

} // namespace ostinel::test
