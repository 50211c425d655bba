#include "control/RemoteGate.h"

#include <algorithm>
#include <cctype>
#include <string_view>

namespace ostinel {

RemoteGate::Verdict RemoteGate::check(const std::string& attempt, const std::string& pin, const std::string& address,
                                      double now) {
    if (auto it = failures_.find(address); it != failures_.end() && it->second.count >= attemptsBeforeLockout) {
        if (it->second.until > now) return Verdict::lockedOut;
        failures_.erase(it);
    }
    if (attempt == pin) {
        failures_.erase(address);
        return Verdict::accepted;
    }
    Failures& record = failures_[address];
    record.count += 1;
    if (record.count == attemptsBeforeLockout) record.until = now + lockoutSeconds;
    if (failures_.size() > pruneAbove)
        std::erase_if(failures_, [now](const auto& entry) {
            return entry.second.count < attemptsBeforeLockout || entry.second.until <= now;
        });
    return Verdict::wrong;
}

bool RemoteGate::originAllowed(const std::string& origin, const std::string& host) {
    if (origin.empty()) return true;
    if (host.empty()) return false;
    std::string_view rest(origin);
    const auto scheme = rest.find("://");
    if (scheme == std::string_view::npos) return false;
    rest.remove_prefix(scheme + 3);
    rest = rest.substr(0, rest.find_first_of("/?#"));
    if (const auto at = rest.rfind('@'); at != std::string_view::npos) rest.remove_prefix(at + 1);
    std::string_view name = rest, port;
    if (rest.starts_with('[')) {
        const auto close = rest.find(']');
        if (close == std::string_view::npos) return false;
        name = rest.substr(0, close + 1);
        if (rest.size() > close + 1 && rest[close + 1] == ':') port = rest.substr(close + 2);
    } else if (const auto colon = rest.rfind(':'); colon != std::string_view::npos) {
        name = rest.substr(0, colon);
        port = rest.substr(colon + 1);
    }
    if (name.empty() || name == "[]") return false;
    std::string expected(name);
    if (!port.empty()) expected.append(1, ':').append(port);
    auto lower = [](std::string text) {
        std::transform(text.begin(), text.end(), text.begin(), [](unsigned char c) { return char(std::tolower(c)); });
        return text;
    };
    return lower(expected) == lower(host);
}

} // namespace ostinel
