// ostinel-cli show normalize FILE.ot: the file as Save would write it after
// opening it, for diffs and for checking files made by other tools.

#include <cstdio>

#include "Command.h"
#include "OpenShow.h"
#include "document/ShowFile.h"

namespace ostinel::cli {

namespace {

int normalize(const Args& args) {
    if (args.size() != 1) return fail("usage: ostinel-cli show normalize FILE.ot");
    auto show = openShow(args[0]);
    if (!show) return 1;
    auto bytes = ShowFile::encode(*show, ShowFile::Flavour::pretty);
    if (!bytes) return fail("Could not save the show.\n" + bytes.error().message);
    if (std::fwrite(bytes->data(), 1, bytes->size(), stdout) != bytes->size() || std::fflush(stdout) != 0)
        return fail("could not write to standard output");
    return 0;
}

const Command command("show normalize", "show normalize FILE.ot", normalize);

} // namespace

} // namespace ostinel::cli
