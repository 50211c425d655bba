#pragma once

#include <condition_variable>
#include <deque>
#include <mutex>
#include <string>
#include <thread>

namespace ostinel {

// The OSC side's diary, for the morning after a long unattended show: every
// socket change goes to the log and, with its time, to a file of its own
// that rolls once past half a megabyte (one old generation kept). The file
// is written on a thread of its own and no failure of it ever reaches the
// show.
class OSCDiagnostics {
public:
    static constexpr long long rollBytes = 512000;

    // An empty path logs only.
    explicit OSCDiagnostics(std::string path);
    // Writes what is queued, then ends.
    ~OSCDiagnostics();
    OSCDiagnostics(const OSCDiagnostics&) = delete;
    OSCDiagnostics& operator=(const OSCDiagnostics&) = delete;

    void record(const std::string& text);
    // Waits until every line recorded so far is in the file.
    void flush();

    const std::string& path() const { return path_; }

private:
    void run();
    void append(const std::string& line);

    std::string path_;
    std::mutex mutex_;
    std::condition_variable wake_;
    std::condition_variable drained_;
    std::deque<std::string> lines_;
    bool writing_ = false;
    bool stopping_ = false;
    std::thread writer_;
};

} // namespace ostinel
