#include "pp/exceptions.h"

#include <cerrno>

#include "foundation/platform/last_error.h"

namespace PP {

void throwFileError(uint32_t win32Error) {
    switch (win32Error) {
        case 2:
        case 3:
            throwFixed<file_not_found>();
        case 80:
        case 183:
            throwFixed<file_already_exists>();
        case 145:
            throwFixed<directory_not_empty>();
        default:
            throwFixed<file_access_error>();  // 0 included: a failure is never a success
    }
}

void throwLastFileError() { throwFileError(XGetLastError()); }

void throwFileErrorFromErrno(int errnoValue) {
    switch (errnoValue) {
        case ENOENT:
            throwFixed<file_not_found>();
        case EEXIST:
            throwFixed<file_already_exists>();
        case ENOTEMPTY:
            throwFixed<directory_not_empty>();
        default:
            throwFixed<file_access_error>();
    }
}

void throwNetworkError(int64_t number) {
    throw network_error(std::string(network_error::fixedText()) + " (" + std::to_string(number) + ")");
}

void throwConnectError(std::string_view addressText) {
    std::string text = network_error_connect::fixedText();
    text += ": ";
    text += addressText;
    throw network_error_connect(text);
}

void throwAuthenticationError(int32_t status) {
    throw exception_network_authentication(std::string(exception_network_authentication::fixedText()) +
                                           " (win32:" + std::to_string(status) + ")");
}

void throwLastAuthenticationError() { throwAuthenticationError(static_cast<int32_t>(XGetLastError())); }

std::string httpStatusText(std::string_view reasonPhrase, int32_t status) {
    std::string text = reasonPhrase.empty() ? "Unspecified HTTP Response" : std::string(reasonPhrase);
    text += " (";
    text += std::to_string(status);
    text += ")";
    return text;
}

std::string deniedText(std::string_view reasonPhrase, int32_t status, bool markerFound) {
    std::string text = httpStatusText(reasonPhrase, status);
    if (markerFound) text += "ni";
    return text;
}

void checkHeaderText(std::string_view text) {
    if (text.find_first_of("\r\n") != std::string_view::npos) throw std::invalid_argument("invalid HTTP header");
}

unsigned digitValue(char c, unsigned base) {
    unsigned v;
    if (c >= '0' && c <= '9')
        v = unsigned(c - '0');
    else if (c >= 'a' && c <= 'z')
        v = unsigned(c - 'a') + 10;
    else if (c >= 'A' && c <= 'Z')
        v = unsigned(c - 'A') + 10;
    else
        throwFixed<invalid_input>();
    if (v >= base) throwFixed<invalid_input>();
    return v;
}

uint32_t parseDecimal32(const char* text, size_t length) {
    uint32_t value = 0;
    for (size_t i = 0; i < length; ++i) {
        uint32_t next = value * 10u + digitValue(text[i], 10);  // wraps on overflow, caught below
        if (next / 10u != value) throwFixed<overflow>();
        value = next;
    }
    return value;
}

int32_t parseDecimal32Signed(const char* text, size_t length) {
    int32_t value = 0;
    for (size_t i = 0; i < length; ++i) {
        // Computed unsigned so that the wrap is defined; reaching the sign bit fails the test.
        int32_t next = static_cast<int32_t>(static_cast<uint32_t>(value) * 10u + digitValue(text[i], 10));
        if (next / 10 != value) throwFixed<overflow>();
        value = next;
    }
    return value;
}

uint64_t parseDecimal64(const char* text, size_t length) {
    uint64_t value = 0;
    for (size_t i = 0; i < length; ++i) {
        uint64_t next = value * 10u + digitValue(text[i], 10);
        if (next / 10u != value) throwFixed<overflow>();
        value = next;
    }
    return value;
}

uint8_t parseHex8(const char* text, size_t length) {
    unsigned value = 0;
    for (size_t i = 0; i < length; ++i) {
        unsigned d = digitValue(text[i], 16);
        if (value >= 16) throwFixed<overflow>();
        value = (value << 4) | d;
    }
    return static_cast<uint8_t>(value);
}

uint64_t parseHex64(const char* text, size_t length) {
    uint64_t value = 0;
    for (size_t i = 0; i < length; ++i) {
        unsigned d = digitValue(text[i], 16);
        if (value >> 60) throwFixed<overflow>();
        value = (value << 4) | d;
    }
    return value;
}

uint32_t parseDecimal32(std::string_view t) { return parseDecimal32(t.data(), t.size()); }
int32_t parseDecimal32Signed(std::string_view t) { return parseDecimal32Signed(t.data(), t.size()); }
uint64_t parseDecimal64(std::string_view t) { return parseDecimal64(t.data(), t.size()); }
uint8_t parseHex8(std::string_view t) { return parseHex8(t.data(), t.size()); }
uint64_t parseHex64(std::string_view t) { return parseHex64(t.data(), t.size()); }

}  // namespace PP
