#pragma once
// The exception classes of the PP library, the helpers that turn an error number into the
// right class, and the numeric parsers whose only failure besides a bad digit is `overflow`.
//
// Every class carries only its message. Classes with a fixed text expose it as fixedText();
// a throw site normally passes that constant: throw PP::invalid_input(PP::invalid_input::fixedText()).
#include <cstddef>
#include <cstdint>
#include <stdexcept>
#include <string>
#include <string_view>

namespace PP {

#define PP_EXCEPTION_CLASS(name, base, text)                         \
    class name : public base {                                       \
    public:                                                          \
        explicit name(const std::string& message) : base(message) {} \
        explicit name(const char* message) : base(message) {}        \
        name(const name&) = default;                                 \
        name& operator=(const name&) = default;                      \
        static constexpr const char* fixedText() { return text; }    \
    }

#define PP_BUILT_EXCEPTION_CLASS(name, base)                         \
    class name : public base {                                       \
    public:                                                          \
        explicit name(const std::string& message) : base(message) {} \
        explicit name(const char* message) : base(message) {}        \
        name(const name&) = default;                                 \
        name& operator=(const name&) = default;                      \
    }

PP_EXCEPTION_CLASS(bug_check, std::runtime_error, "bug check");
PP_EXCEPTION_CLASS(not_implemented, std::runtime_error, "not implemented");
PP_EXCEPTION_CLASS(invalid_input, std::runtime_error, "invalid input");
PP_EXCEPTION_CLASS(invalid_url, invalid_input, "invalid URL");
PP_EXCEPTION_CLASS(invalid_proxy_url, invalid_url, "invalid proxy URL");
PP_EXCEPTION_CLASS(overflow, std::overflow_error, "overflow");
PP_EXCEPTION_CLASS(user_abort, std::runtime_error, "user abort");
PP_EXCEPTION_CLASS(network_error, std::runtime_error, "network error");
PP_EXCEPTION_CLASS(network_error_connect, network_error, "could not connect");
PP_EXCEPTION_CLASS(network_error_timeout, network_error, "network timeout");
PP_EXCEPTION_CLASS(file_access_error, std::runtime_error, "file access error");
PP_EXCEPTION_CLASS(file_not_found, file_access_error, "file not found");
PP_EXCEPTION_CLASS(file_already_exists, file_access_error, "file already exists");
PP_EXCEPTION_CLASS(directory_not_empty, file_access_error, "directory not empty");
PP_BUILT_EXCEPTION_CLASS(denied, std::runtime_error);
PP_EXCEPTION_CLASS(exception_network_authentication, std::runtime_error, "Network authentication error");

// The nested HTTP classes (httpRequest::error and its children) live with httpRequest; they
// use httpStatusText below for their built texts.

// Throws `Cls` with its fixed text.
template <class Cls>
[[noreturn]] void throwFixed() {
    throw Cls(Cls::fixedText());
}

// Win32 error number to class: 2, 3 not found; 80, 183 exists; 145 not empty; else access.
[[noreturn]] void throwFileError(uint32_t win32Error);
// throwFileError on the thread's last error (foundation/platform/last_error.h).
[[noreturn]] void throwLastFileError();
// The same for an errno value: ENOENT, EEXIST and ENOTEMPTY have classes of their own.
[[noreturn]] void throwFileErrorFromErrno(int errnoValue);
// network_error with "network error (<number>)".
[[noreturn]] void throwNetworkError(int64_t number);
// network_error_connect with "could not connect: <address text>".
[[noreturn]] void throwConnectError(std::string_view addressText);
// exception_network_authentication with "Network authentication error (win32:<status>)".
[[noreturn]] void throwAuthenticationError(int32_t status);
// The same with the thread's last error as the status.
[[noreturn]] void throwLastAuthenticationError();

// Text of an HTTP status failure: the reason phrase (or "Unspecified HTTP Response" when
// empty), " (", the status in decimal, ")".
std::string httpStatusText(std::string_view reasonPhrase, int32_t status);
// Text of `denied`: httpStatusText, with "ni" appended when the body held the refusal marker.
std::string deniedText(std::string_view reasonPhrase, int32_t status, bool markerFound);
// A header text holding CR or LF is refused with std::invalid_argument("invalid HTTP header").
void checkHeaderText(std::string_view text);

// Value of one digit in `base` (10 or 16); anything else throws invalid_input.
unsigned digitValue(char c, unsigned base);

// Digits only (no sign, no blanks); an empty input gives 0; a value that does not fit throws
// overflow.
uint32_t parseDecimal32(const char* text, size_t length);
uint32_t parseDecimal32(std::string_view text);
// The signed 32-bit form: a value that reaches the sign bit is an overflow.
int32_t parseDecimal32Signed(const char* text, size_t length);
int32_t parseDecimal32Signed(std::string_view text);
uint64_t parseDecimal64(const char* text, size_t length);
uint64_t parseDecimal64(std::string_view text);
uint8_t parseHex8(const char* text, size_t length);
uint8_t parseHex8(std::string_view text);
uint64_t parseHex64(const char* text, size_t length);
uint64_t parseHex64(std::string_view text);

}  // namespace PP

#undef PP_EXCEPTION_CLASS
#undef PP_BUILT_EXCEPTION_CLASS
