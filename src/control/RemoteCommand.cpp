#include "control/RemoteCommand.h"

#include <nlohmann/json.hpp>

namespace ostinel {

std::optional<RemoteCommand> RemoteCommand::parse(std::string_view text) {
    const auto json = nlohmann::json::parse(text, nullptr, false);
    if (!json.is_object()) return std::nullopt;
    const auto t = json.find("t");
    if (t == json.end() || !t->is_string()) return std::nullopt;
    const std::string& type = t->get_ref<const std::string&>();
    if (type == "auth") {
        const auto pin = json.find("pin");
        return RemoteCommand{Auth{pin != json.end() && pin->is_string() ? pin->get<std::string>() : std::string()}};
    }
    if (type == "go") return RemoteCommand{MidiAction::go};
    if (type == "stop") return RemoteCommand{MidiAction::stop};
    if (type == "next") return RemoteCommand{MidiAction::next};
    if (type == "previous") return RemoteCommand{MidiAction::previous};
    if (type == "panic") return RemoteCommand{Panic{}};
    Index kind;
    if (type == "cue") kind = Index::cue;
    else if (type == "select") kind = Index::select;
    else if (type == "section") kind = Index::section;
    else return std::nullopt;
    const auto i = json.find("i");
    if (i == json.end() || !i->is_number_integer()) return std::nullopt;
    return RemoteCommand{Indexed{kind, i->get<std::int64_t>()}};
}

} // namespace ostinel
