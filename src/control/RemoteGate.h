#pragma once

#include <map>
#include <string>

namespace ostinel {

// The web remote's door: the PIN, with a lockout per client address after
// five wrong guesses, so one device's guessing never locks out another;
// and the origin check that keeps another site's page in a user's browser
// from driving the show. Times are the main loop's seconds.
class RemoteGate {
public:
    enum class Verdict { accepted, wrong, lockedOut };

    static constexpr int attemptsBeforeLockout = 5;
    static constexpr double lockoutSeconds = 60.0;
    // Past this many addresses remembered, only the locked ones are kept.
    static constexpr std::size_t pruneAbove = 256;

    Verdict check(const std::string& attempt, const std::string& pin, const std::string& address, double now);
    std::size_t rememberedAddresses() const { return failures_.size(); }

    // No origin (a native app) passes; otherwise its host and port must be
    // the Host header's.
    static bool originAllowed(const std::string& origin, const std::string& host);

private:
    struct Failures {
        int count = 0;
        double until = -1e300;
    };
    std::map<std::string, Failures> failures_;
};

} // namespace ostinel
