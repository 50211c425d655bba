#include "ChildProcess.h"

#include <QProcessEnvironment>

#include <chrono>
#include <csignal>

namespace ostinel::test {

ChildProcess::ChildProcess(const std::string& program, const std::vector<std::string>& arguments,
                           const std::map<std::string, std::string>& environment) {
    auto env = QProcessEnvironment::systemEnvironment();
    for (const auto& [key, value] : environment) env.insert(QString::fromStdString(key), QString::fromStdString(value));
    process_.setProcessEnvironment(env);
    QStringList args;
    for (const auto& a : arguments) args << QString::fromStdString(a);
    process_.start(QString::fromStdString(program), args);
    process_.waitForStarted(10000);
}

ChildProcess::~ChildProcess() {
    if (process_.state() != QProcess::NotRunning) {
        process_.kill();
        process_.waitForFinished(10000);
    }
}

void ChildProcess::readAvailable() {
    partial_ += process_.readAllStandardOutput().toStdString();
    for (auto end = partial_.find('\n'); end != std::string::npos; end = partial_.find('\n')) {
        lines_.push_back(partial_.substr(0, end));
        partial_.erase(0, end + 1);
    }
}

const std::vector<std::string>& ChildProcess::lines() {
    readAvailable();
    return lines_;
}

bool ChildProcess::waitForLine(const std::function<bool(const std::string&)>& match, double seconds) {
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::duration<double>(seconds);
    for (;;) {
        readAvailable();
        for (; checked_ < lines_.size(); ++checked_)
            if (match(lines_[checked_])) {
                ++checked_;
                return true;
            }
        if (std::chrono::steady_clock::now() > deadline) return false;
        if (process_.state() == QProcess::NotRunning && process_.bytesAvailable() == 0) return false;
        process_.waitForReadyRead(50);
    }
}

void ChildProcess::signal(int signal) {
    if (process_.processId() > 0) ::kill(pid_t(process_.processId()), signal);
}

int ChildProcess::waitForExit(double seconds) {
    if (!process_.waitForFinished(int(seconds * 1000)) && process_.state() != QProcess::NotRunning) return -1;
    readAvailable();
    return process_.exitStatus() == QProcess::NormalExit ? process_.exitCode() : -1;
}

std::string ChildProcess::errorOutput() { return process_.readAllStandardError().toStdString(); }

} // namespace ostinel::test
