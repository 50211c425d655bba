#include <QCoreApplication>

#include <algorithm>
#include <cstdio>
#include <iostream>

#include "Command.h"

namespace ostinel::cli {

namespace {
std::vector<CommandInfo>& registry() {
    static std::vector<CommandInfo> all;
    return all;
}

void printUsage() {
    std::cerr << "usage: ostinel-cli COMMAND [ARGS]\n";
    auto sorted = registry();
    std::sort(sorted.begin(), sorted.end(), [](auto& a, auto& b) { return a.name < b.name; });
    for (const auto& c : sorted) std::cerr << "  ostinel-cli " << c.usage << "\n";
}
} // namespace

Command::Command(std::string name, std::string usage, std::function<int(const Args&)> run) {
    registry().push_back({std::move(name), std::move(usage), std::move(run)});
}

const std::vector<CommandInfo>& commands() { return registry(); }

int fail(const std::string& message) {
    std::cerr << message << "\n";
    return 1;
}

} // namespace ostinel::cli

int main(int argc, char** argv) {
    QCoreApplication app(argc, argv);
    QCoreApplication::setOrganizationName("Ostinel");
    QCoreApplication::setApplicationName("Ostinel");
    using namespace ostinel::cli;
    Args args(argv + 1, argv + argc);
    if (args.empty()) {
        printUsage();
        return 1;
    }
    // "show normalize" is one command of two words.
    std::string name = args[0];
    std::size_t used = 1;
    if (args.size() > 1 && name == "show") {
        name += " " + args[1];
        used = 2;
    }
    for (const auto& c : commands()) {
        if (c.name == name) return c.run(Args(args.begin() + static_cast<long>(used), args.end()));
    }
    printUsage();
    return 1;
}
