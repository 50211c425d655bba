#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

#include "support/TempDir.h"

namespace ostinel::test {

std::string shellQuoted(const std::string& s) {
    std::string out = "'";
    for (char c : s)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

CliResult runShell(const std::string& command) {
    CliResult result;
    FILE* pipe = popen(command.c_str(), "r");
    if (!pipe) return result;
    char buffer[65536];
    while (std::size_t n = std::fread(buffer, 1, sizeof buffer, pipe))
        result.out.append(buffer, n);
    const int status = pclose(pipe);
    result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    return result;
}

CliResult runCli(const std::vector<std::string>& arguments, const std::string& home) {
    const char* cli = std::getenv("OSTINEL_CLI");
    if (!cli) {
        ADD_FAILURE() << "OSTINEL_CLI must name the built ostinel-cli";
        return {};
    }
    TempDir errors;
    std::string command =
        "HOME=" + shellQuoted(home) + " XDG_CONFIG_HOME=" + shellQuoted(home + "/.config") + " " + shellQuoted(cli);
    for (const auto& a : arguments)
        command += " " + shellQuoted(a);
    CliResult result = runShell(command + " 2>" + shellQuoted(errors.file("stderr")));
    result.err = readText(errors.file("stderr"));
    return result;
}

} // namespace ostinel::test
