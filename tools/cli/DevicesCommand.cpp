// ostinel-cli devices: the output devices the program would play through, one
// JSON object a line, from the audio server it would choose.

#include <iostream>
#include <nlohmann/json.hpp>

#include "Command.h"
#include "JsonLine.h"
#include "platform/AudioSystem.h"

namespace ostinel::cli {

namespace {

int devices(const Args& args) {
    if (!args.empty()) return fail("usage: ostinel-cli devices");
    auto system = AudioSystem::create();
    if (!system) return fail(system.error().message);
    if (auto reason = (*system)->fallbackReason(); !reason.empty()) std::cerr << reason << "\n";
    const auto defaultUid = (*system)->defaultOutputDeviceUID();
    for (const auto& device : (*system)->outputDevices()) {
        nlohmann::json line{{"backend", (*system)->backendName()},
                            {"uid", device.uid},
                            {"name", device.name},
                            {"channels", device.channelCount},
                            {"default", device.uid == defaultUid}};
        writeJsonLine(std::cout, line);
    }
    return 0;
}

const Command command("devices", "devices", devices);

} // namespace

} // namespace ostinel::cli
