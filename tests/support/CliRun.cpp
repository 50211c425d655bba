#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

#include "support/TempDir.h"

namespace ostinel::test {

namespace {
std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s) out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}
} // namespace

CliResult runCli(const std::vector<std::string>& arguments, const std::string& home) {
    const char* cli = std::getenv("OSTINEL_CLI");
    if (!cli) {
        ADD_FAILURE() << "OSTINEL_CLI must name the built ostinel-cli";
        return {};
    }
    TempDir errors;
    std::string errPath = errors.file("stderr");
    std::string command = "HOME=" + shellQuoted(home) + " XDG_CONFIG_HOME=" + shellQuoted(home + "/.config") + " " + shellQuoted(cli);
    for (const auto& a : arguments) command += " " + shellQuoted(a);
    command += " 2>" + shellQuoted(errPath);

    CliResult result;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char buffer[4096];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe)) result.out.append(buffer, n);
    int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    result.err = readText(errPath);
    return result;
}

} // namespace ostinel::test
