#pragma once

#include <cstdlib>
#include <optional>
#include <string>

namespace ostinel::test {

// Sets an environment variable for the life of the object, then puts back
// what was there.
class ScopedEnv {
public:
    ScopedEnv(const char* name, const std::string& value) : name_(name) {
        if (const char* before = std::getenv(name)) before_ = before;
        setenv(name, value.c_str(), 1);
    }
    ~ScopedEnv() {
        if (before_)
            setenv(name_, before_->c_str(), 1);
        else
            unsetenv(name_);
    }
    ScopedEnv(const ScopedEnv&) = delete;
    ScopedEnv& operator=(const ScopedEnv&) = delete;

private:
    const char* name_;
    std::optional<std::string> before_;
};

} // namespace ostinel::test
