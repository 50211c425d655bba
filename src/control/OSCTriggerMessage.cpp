#include "control/OSCTriggerMessage.h"

#include <charconv>
#include <cmath>
#include <cstdlib>
#include <string>

namespace ostinel {

namespace {

std::string_view trimmed(std::string_view text) {
    const auto space = " \t\r\n\v\f";
    const auto first = text.find_first_not_of(space);
    if (first == std::string_view::npos) return {};
    return text.substr(first, text.find_last_not_of(space) - first + 1);
}

std::int64_t integerOf(std::string_view text) {
    text = trimmed(text);
    if (text.starts_with('+')) text.remove_prefix(1);
    std::int64_t value = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    return error == std::errc() && end == text.data() + text.size() ? value : 0;
}

double floatOf(std::string_view text) {
    const std::string whole(trimmed(text));
    if (whole.empty()) return 0.0;
    char* end = nullptr;
    const double value = std::strtod(whole.c_str(), &end);
    return end == whole.c_str() + whole.size() && std::isfinite(value) ? value : 0.0;
}

} // namespace

OSCMessage oscTriggerMessage(const OSCTrigger& trigger) {
    OSCMessage message;
    message.address = trigger.address.starts_with('/') ? trigger.address : "/" + trigger.address;
    switch (trigger.argumentKind) {
    case OSCArgumentKind::none: break;
    case OSCArgumentKind::int_: message.args.emplace_back(integerOf(trigger.argumentText)); break;
    case OSCArgumentKind::float_: message.args.emplace_back(floatOf(trigger.argumentText)); break;
    case OSCArgumentKind::string: message.args.emplace_back(trigger.argumentText); break;
    }
    return message;
}

} // namespace ostinel
