#pragma once
// The failures of an HTTP exchange. They are reached as PP::httpRequest::error and so on: the
// request class derives from httpRequestErrors, so the nested names are its own.
#include <stdexcept>
#include <string>

namespace PP {

struct httpRequestErrors {
    // A status the request does not handle; the text is the reason phrase and the number.
    class error : public std::runtime_error {
    public:
        explicit error(const std::string& message) : std::runtime_error(message) {}
        explicit error(const char* message) : std::runtime_error(message) {}
    };
    class bad_url : public error {
    public:
        using error::error;
        static constexpr const char* fixedText() { return "invalid URL"; }
    };
    class auth_error : public error {
    public:
        using error::error;
        static constexpr const char* fixedText() { return "authentication failure"; }
    };
    class invalid_reply : public error {
    public:
        using error::error;
        static constexpr const char* fixedText() { return "invalid server response"; }
    };
    class method_not_allowed : public error {
    public:
        using error::error;
    };
    class bad_request : public error {
    public:
        using error::error;
    };
};

}  // namespace PP
