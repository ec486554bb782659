#include <windows.h>
// after windows.h, which it needs
#include <bcrypt.h>

#include <algorithm>
#include <cstdint>

#include "pp/exceptions.h"
#include "pp/http/hasher_md5.h"

namespace PP {

namespace {
// Largest piece handed to the hash at once.
constexpr size_t maxPiece = 0x80000000u;
constexpr ULONG md5Bytes = 16;

BCRYPT_ALG_HANDLE md5Algorithm() {
    static BCRYPT_ALG_HANDLE algorithm = [] {
        BCRYPT_ALG_HANDLE a = nullptr;
        if (!BCRYPT_SUCCESS(BCryptOpenAlgorithmProvider(&a, BCRYPT_MD5_ALGORITHM, nullptr, BCRYPT_HASH_REUSABLE_FLAG)))
            a = nullptr;
        return a;
    }();
    if (!algorithm) throwFixed<bug_check>();
    return algorithm;
}
}  // namespace

struct hasherMD5::state {
    BCRYPT_HASH_HANDLE hash = nullptr;
};

hasherMD5::hasherMD5() : m_state(std::make_unique<state>()) { reset(); }

hasherMD5::~hasherMD5() {
    if (m_state->hash) BCryptDestroyHash(m_state->hash);
}

void hasherMD5::reset() {
    if (m_state->hash) BCryptDestroyHash(m_state->hash);
    m_state->hash = nullptr;
    if (!BCRYPT_SUCCESS(
            BCryptCreateHash(md5Algorithm(), &m_state->hash, nullptr, 0, nullptr, 0, BCRYPT_HASH_REUSABLE_FLAG)))
        throwFixed<bug_check>();
}

void hasherMD5::write(const void* buffer, size_t length) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    while (length > 0) {
        size_t piece = std::min(length, maxPiece);
        if (!BCRYPT_SUCCESS(BCryptHashData(m_state->hash, const_cast<PUCHAR>(p), ULONG(piece), 0)))
            throwFixed<bug_check>();
        p += piece;
        length -= piece;
    }
}

std::string hasherMD5::finish() {
    unsigned char digest[md5Bytes];
    if (!BCRYPT_SUCCESS(BCryptFinishHash(m_state->hash, digest, md5Bytes, 0))) throwFixed<bug_check>();
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned char b : digest) {
        out += hex[b >> 4];
        out += hex[b & 15];
    }
    return out;
}

std::string hasherMD5::digestText() {
    std::string d = finish();
    reset();
    return d;
}

std::string md5Hex(std::string_view text) {
    hasherMD5 h;
    h.write(text.data(), text.size());
    return h.finish();
}

}  // namespace PP
