#pragma once

#include <QProcess>

#include <functional>
#include <map>
#include <string>
#include <vector>

namespace ostinel::test {

// Another program run as a user would, its standard output read line by
// line as it comes. Killed, if still running, when this goes.
class ChildProcess {
public:
    ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                 const std::map<std::string, std::string>& environment = {});
    ~ChildProcess();

    // True once a line of standard output satisfies `match`; lines read on
    // the way are kept.
    bool waitForLine(const std::function<bool(const std::string&)>& match, double seconds = 20.0);
    bool waitForLineContaining(const std::string& text, double seconds = 20.0) {
        return waitForLine([&](const std::string& line) { return line.find(text) != std::string::npos; }, seconds);
    }
    // Every line so far, after reading what is waiting.
    const std::vector<std::string>& lines();
    void signal(int signal);
    // The exit status, or -1 when it did not end in time or crashed.
    int waitForExit(double seconds = 20.0);
    std::string errorOutput();

private:
    void readAvailable();

    QProcess process_;
    std::string partial_;
    std::vector<std::string> lines_;
    std::size_t checked_ = 0;
};

} // namespace ostinel::test
