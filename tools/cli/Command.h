#pragma once

#include <functional>
#include <string>
#include <vector>

namespace ostinel::cli {

using Args = std::vector<std::string>;

// A sub-command of ostinel-cli. Each file registers its own with a static
// Command; errors go to standard error and make the status 1.
struct Command {
    Command(std::string name, std::string usage, std::function<int(const Args&)> run);
};

struct CommandInfo {
    std::string name;
    std::string usage;
    std::function<int(const Args&)> run;
};
const std::vector<CommandInfo>& commands();

// Prints "message" to standard error and returns 1, for `return fail(...)`.
int fail(const std::string& message);

} // namespace ostinel::cli
