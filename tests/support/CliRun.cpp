#include "support/CliRun.h"

#include <gtest/gtest.h>
#include <sys/wait.h>

#include <cstdio>
#include <cstdlib>

#include "support/TempDir.h"

namespace ostinel::test {

std::string shellQuoted(const std::string& s) {
    // Appends only: GCC 12 at -O3 raises a false -Wrestrict on chains of
    // string operator+.
    std::string out = "'";
    for (char c : s) {
        if (c == '\'') out.append("'\\''");
        else out.push_back(c);
    }
    out.push_back('\'');
    return out;
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
    std::string command = "HOME=";
    command.append(shellQuoted(home)).append(" XDG_CONFIG_HOME=").append(shellQuoted(home + "/.config"));
    command.append(" ").append(shellQuoted(cli));
    for (const auto& a : arguments)
        command.append(" ").append(shellQuoted(a));
    command.append(" 2>").append(shellQuoted(errors.file("stderr")));
    CliResult result = runShell(command);
    result.err = readText(errors.file("stderr"));
    return result;
}

} // namespace ostinel::test
