#pragma once

#include <string>
#include <vector>

namespace ostinel::test {

struct CliResult {
    int status = -1; // exit status, -1 when it did not exit normally
    std::string out;
    std::string err;
};

std::string shellQuoted(const std::string& s);

// Runs a shell command line, collecting its standard output.
CliResult runShell(const std::string& command);

// Runs the ostinel-cli named by OSTINEL_CLI with HOME and XDG_CONFIG_HOME
// set to home, so the real user's preferences are never read. Fails the
// running test when OSTINEL_CLI is unset.
CliResult runCli(const std::vector<std::string>& arguments, const std::string& home);

} // namespace ostinel::test
