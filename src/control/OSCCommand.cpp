#include "control/OSCCommand.h"

#include <array>
#include <utility>

#include "control/OSCMessage.h"

namespace ostinel {

namespace {

constexpr std::array<std::pair<std::string_view, MidiAction>, 5> actionAddresses{{
    {"/ostinel/go", MidiAction::go},
    {"/ostinel/stop", MidiAction::stop},
    {"/ostinel/playPause", MidiAction::playPause},
    {"/ostinel/next", MidiAction::next},
    {"/ostinel/previous", MidiAction::previous},
}};

} // namespace

std::optional<OSCCommand> OSCCommand::parse(std::span<const std::uint8_t> datagram) {
    auto message = OSCMessage::decode(datagram);
    if (!message) return std::nullopt;
    for (const auto& [address, action] : actionAddresses)
        if (message->address == address) return OSCCommand{action};

    const auto* first = message->args.empty() ? nullptr : &message->args.front();
    const auto* integer = first ? std::get_if<std::int64_t>(first) : nullptr;
    if (message->address == "/ostinel/track/select" && integer) return OSCCommand{SelectIndex{*integer}};
    if (message->address == "/ostinel/track/go" && integer) return OSCCommand{GoIndex{*integer}};
    const auto* text = first ? std::get_if<std::string>(first) : nullptr;
    if (message->address == "/ostinel/mode" && text) return OSCCommand{Mode{*text}};
    return std::nullopt;
}

} // namespace ostinel
