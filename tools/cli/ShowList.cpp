// ostinel-cli show list FILE.ot: the running order as an operator reads it.

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <filesystem>
#include <iostream>
#include <string>
#include <vector>

#include "Command.h"
#include "OpenShow.h"

namespace ostinel::cli {

namespace {

std::string clockText(double seconds) {
    long long ms = std::llround(std::abs(seconds) * 1000.0);
    char text[48];
    std::snprintf(text, sizeof text, "%s%lld:%02lld.%03lld", seconds < 0 && ms > 0 ? "-" : "", ms / 60000, ms / 1000 % 60,
                  ms % 1000);
    return text;
}

// Columns line up in characters, not bytes, for names in any script.
std::size_t displayWidth(const std::string& s) {
    return std::size_t(std::count_if(s.begin(), s.end(), [](char c) { return (c & 0xC0) != 0x80; }));
}

std::string padded(const std::string& s, std::size_t width) {
    return s + std::string(width - std::min(width, displayWidth(s)), ' ');
}

int list(const Args& args) {
    if (args.size() != 1) return fail("usage: ostinel-cli show list FILE.ot");
    auto show = openShow(args[0]);
    if (!show) return 1;

    std::size_t nameWidth = 4;
    for (const Track& t : show->tracks) nameWidth = std::max(nameWidth, displayWidth(t.displayName()));

    std::cout << show->name << "\n\n";
    std::cout << "  #  Flags  " << padded("Name", nameWidth)
              << "  In          Out         Length      Loops  Notes  Triggers  File\n";
    int number = 1;
    for (const Track& t : show->tracks) {
        std::error_code ec;
        bool found = std::filesystem::is_regular_file(t.url.path(), ec);
        std::string flags = {t.autoplay ? 'A' : '-', t.skip ? 'S' : '-', t.loopCue ? 'L' : '-'};
        char counts[64];
        std::snprintf(counts, sizeof counts, "%5zu  %5zu  %8zu", t.loops.size(), t.timelineNotes.size(),
                      t.midiTriggers.size() + t.oscTriggers.size());
        char index[16];
        std::snprintf(index, sizeof index, "%3d", number++);
        std::cout << index << "  " << flags << "    " << padded(t.displayName(), nameWidth) << "  "
                  << padded(clockText(t.startSeconds), 10) << "  " << padded(clockText(t.effectiveEnd()), 10)
                  << "  " << padded(clockText(t.effectiveLength()), 10) << "  " << counts << "  "
                  << (found ? "found" : "MISSING") << "\n";
    }
    std::cout << "\nTotal length (skipped cues not counted): " << clockText(show->totalLength()) << "\n";
    return 0;
}

const Command command("show list", "show list FILE.ot", list);

} // namespace

} // namespace ostinel::cli
