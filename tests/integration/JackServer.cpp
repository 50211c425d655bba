#include "JackServer.h"

#include <jack/jack.h>
#include <signal.h>
#include <sys/file.h>
#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <fcntl.h>
#include <stdexcept>
#include <thread>

#include "support/TempDir.h"

namespace ostinel::test {

namespace {

using Clock = std::chrono::steady_clock;

void quiet(const char*) {}

// Ends the server: politely, then for sure.
void endServer(pid_t pid) {
    kill(pid, SIGTERM);
    const auto deadline = Clock::now() + std::chrono::seconds(3);
    while (waitpid(pid, nullptr, WNOHANG) == 0) {
        if (Clock::now() > deadline) {
            kill(pid, SIGKILL);
            waitpid(pid, nullptr, 0);
            return;
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
}

// The kernel lets go of it when the process ends, however it ends.
int lockMachine() {
    const int fd = open("/tmp/ostinel-jack-tests.lock", O_RDWR | O_CREAT | O_CLOEXEC, 0666);
    if (fd < 0) throw std::runtime_error("can't open the JACK test lock");
    const auto deadline = Clock::now() + std::chrono::minutes(8);
    while (flock(fd, LOCK_EX | LOCK_NB) != 0) {
        if (Clock::now() > deadline) {
            close(fd);
            throw std::runtime_error("other JACK tests have held the machine for eight minutes");
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
    return fd;
}

} // namespace

JackServer::JackServer() : lock_(lockMachine()) {
    static int serial = 0;
    name_ = "ostinel-test-" + std::to_string(getpid()) + "-" + std::to_string(++serial);
    logPath_ = "/tmp/" + name_ + ".log";
    jack_set_error_function(quiet);
    jack_set_info_function(quiet);
    try {
        start();
    } catch (...) {
        close(lock_);
        throw;
    }
}

JackServer::~JackServer() {
    endServer(pid_);
    std::remove(logPath_.c_str());
    if (previousDefault_)
        setenv("JACK_DEFAULT_SERVER", previousDefault_->c_str(), 1);
    else
        unsetenv("JACK_DEFAULT_SERVER");
    close(lock_);
}

void JackServer::start() {
    // JACK allows a few servers a machine; while other programs hold them all
    // this one waits its turn.
    const auto deadline = Clock::now() + std::chrono::seconds(30);
    pid_ = spawn();
    for (;;) {
        jack_status_t status{};
        const auto options = JackOptions(JackNoStartServer | JackServerName);
        if (jack_client_t* probe = jack_client_open("probe", options, &status, name_.c_str())) {
            jack_client_close(probe);
            if (const char* before = std::getenv("JACK_DEFAULT_SERVER")) previousDefault_ = before;
            setenv("JACK_DEFAULT_SERVER", name_.c_str(), 1);
            return;
        }
        const bool exited = waitpid(pid_, nullptr, WNOHANG) == pid_;
        const std::string log = exited ? readText(logPath_) : "";
        if (exited && log.find("Too many servers") != std::string::npos && Clock::now() < deadline) {
            std::this_thread::sleep_for(std::chrono::milliseconds(250));
            pid_ = spawn();
            continue;
        }
        if (exited || Clock::now() > deadline) {
            if (!exited) endServer(pid_);
            const std::string why = exited ? log : readText(logPath_);
            std::remove(logPath_.c_str());
            throw std::runtime_error("jackd did not answer: " + why);
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
    }
}

pid_t JackServer::spawn() const {
    const pid_t parent = getpid();
    const pid_t pid = fork();
    if (pid < 0) throw std::runtime_error("fork failed");
    if (pid > 0) return pid;
    // Dies with the test process, whatever kills that.
    prctl(PR_SET_PDEATHSIG, SIGTERM);
    if (getppid() != parent) _exit(1);
    const int log = open(logPath_.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0644);
    dup2(log, STDOUT_FILENO);
    dup2(log, STDERR_FILENO);
    // -r: no real-time scheduling, which a container doesn't grant. -S, -t:
    // each cycle waits for every client, long if need be, so a loaded machine
    // makes the server late, not the clients' audio incomplete.
    execlp("jackd", "jackd", "-r", "-S", "-t", "4000", "-n", name_.c_str(), "-d", "dummy", "-r", "48000", "-p", "256",
           nullptr);
    _exit(127);
}

jack_client_t* openTestClient(const std::string& clientName) {
    jack_status_t status{};
    jack_client_t* client =
        jack_client_open(clientName.c_str(), JackOptions(JackNoStartServer | JackUseExactName), &status);
    if (!client)
        throw std::runtime_error("JACK client " + clientName + " could not open (status " + std::to_string(int(status)) +
                                 ")");
    return client;
}

void activateTestClient(jack_client_t* client, const std::string& clientName) {
    if (jack_activate(client) != 0) throw std::runtime_error("JACK client " + clientName + " could not start");
}

JackRecorder::JackRecorder(const std::string& clientName, int ports, bool asDevice, std::int64_t capacityFrames) {
    client_ = openTestClient(clientName);
    const unsigned long flags = JackPortIsInput | (asDevice ? JackPortIsPhysical | JackPortIsTerminal : 0);
    for (int i = 0; i < ports; ++i) {
        const std::string name = "playback_" + std::to_string(i + 1);
        ports_.push_back(jack_port_register(client_, name.c_str(), JACK_DEFAULT_AUDIO_TYPE, flags, 0));
        if (!ports_.back()) throw std::runtime_error("JACK port " + name + " could not register");
        buffers_.emplace_back(std::size_t(capacityFrames), 0.0f);
    }
    jack_set_process_callback(client_, &JackRecorder::process, this);
    jack_set_xrun_callback(client_, &JackRecorder::overran, this);
    activateTestClient(client_, clientName);
}

JackRecorder::~JackRecorder() {
    jack_deactivate(client_);
    jack_client_close(client_);
}

int JackRecorder::process(unsigned frames, void* arg) {
    auto* self = static_cast<JackRecorder*>(arg);
    if (self->restart_.load(std::memory_order_acquire)) {
        self->written_.store(0, std::memory_order_relaxed);
        self->firstFrame_.store(jack_last_frame_time(self->client_), std::memory_order_release);
        self->restart_.store(false, std::memory_order_release);
    }
    if (!self->recording_.load(std::memory_order_acquire)) return 0;
    const std::int64_t at = self->written_.load(std::memory_order_relaxed);
    const auto n = std::min<std::int64_t>(frames, self->takeFrames_.load(std::memory_order_relaxed) - at);
    if (n <= 0) return 0;
    for (std::size_t p = 0; p < self->ports_.size(); ++p) {
        const auto* in = static_cast<const float*>(jack_port_get_buffer(self->ports_[p], frames));
        std::copy_n(in, n, self->buffers_[p].begin() + at);
    }
    self->written_.store(at + n, std::memory_order_release);
    return 0;
}

std::string JackRecorder::portName(int port) const { return jack_port_name(ports_[std::size_t(port)]); }

void JackRecorder::connectFrom(const std::string& source, int port) {
    if (jack_connect(client_, source.c_str(), portName(port).c_str()) != 0)
        throw std::runtime_error("JACK could not connect " + source + " to " + portName(port));
}

std::vector<std::string> JackRecorder::connections(const std::string& portName) const {
    std::vector<std::string> names;
    const jack_port_t* port = jack_port_by_name(client_, portName.c_str());
    if (!port) return names;
    const char** all = jack_port_get_all_connections(client_, port);
    for (const char** n = all; n && *n; ++n) names.emplace_back(*n);
    jack_free(all);
    return names;
}

int JackRecorder::overran(void* arg) {
    static_cast<JackRecorder*>(arg)->xruns_.fetch_add(1);
    return 0;
}

void JackRecorder::record(std::int64_t frames) {
    const auto capacity = std::int64_t(buffers_[0].size());
    takeFrames_.store(frames < 0 ? capacity : std::min(frames, capacity));
    xruns_.store(0);
    recording_.store(true, std::memory_order_release);
    restart_.store(true, std::memory_order_release);
    const auto deadline = Clock::now() + std::chrono::seconds(5);
    while (restart_.load(std::memory_order_acquire)) {
        if (Clock::now() > deadline) throw std::runtime_error("JACK recorder did not start a take");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
}

bool JackRecorder::waitFor(std::int64_t frames, double timeoutSeconds) const {
    const auto deadline = Clock::now() + std::chrono::duration<double>(timeoutSeconds);
    while (written_.load(std::memory_order_acquire) < frames) {
        if (Clock::now() > deadline) return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(5));
    }
    return true;
}

std::vector<float> JackRecorder::received(int port) const {
    const auto n = written_.load(std::memory_order_acquire);
    const auto& buffer = buffers_[std::size_t(port)];
    return {buffer.begin(), buffer.begin() + n};
}

} // namespace ostinel::test
