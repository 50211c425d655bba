#pragma once

#include <string>
#include <system_error>
#include <utility>
#include <variant>

namespace ostinel {

// A failure carried to whoever shows it: the library's or system's words.
struct Error {
    std::string message;
    // The system's words for an errno value; unlike strerror, safe on any thread.
    static Error ofSystem(int code) { return Error{std::error_code(code, std::generic_category()).message()}; }
};

template <class T>
class Expected {
public:
    Expected(T value) : v_(std::move(value)) {}
    Expected(Error error) : v_(std::move(error)) {}

    bool ok() const { return v_.index() == 0; }
    explicit operator bool() const { return ok(); }
    T& value() { return std::get<0>(v_); }
    const T& value() const { return std::get<0>(v_); }
    T& operator*() { return value(); }
    const T& operator*() const { return value(); }
    T* operator->() { return &value(); }
    const T* operator->() const { return &value(); }
    const Error& error() const { return std::get<1>(v_); }

private:
    std::variant<T, Error> v_;
};

} // namespace ostinel
