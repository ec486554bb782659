#include "pp/http/hasher_md5.h"

#include <openssl/evp.h>

#include <algorithm>
#include <cstdint>

#include "pp/exceptions.h"

namespace PP {

namespace {
// Largest piece handed to the hash at once.
constexpr size_t maxPiece = 0x80000000u;
}  // namespace

struct hasherMD5::state {
    EVP_MD_CTX* ctx = nullptr;
};

hasherMD5::hasherMD5() : m_state(std::make_unique<state>()) {
    m_state->ctx = EVP_MD_CTX_new();
    if (!m_state->ctx) throw std::bad_alloc();
    reset();
}

hasherMD5::~hasherMD5() { EVP_MD_CTX_free(m_state->ctx); }

void hasherMD5::reset() {
    if (EVP_DigestInit_ex(m_state->ctx, EVP_md5(), nullptr) != 1) throwFixed<bug_check>();
}

void hasherMD5::write(const void* buffer, size_t length) {
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    while (length > 0) {
        size_t piece = std::min(length, maxPiece);
        if (EVP_DigestUpdate(m_state->ctx, p, piece) != 1) throwFixed<bug_check>();
        p += piece;
        length -= piece;
    }
}

std::string hasherMD5::finish() {
    unsigned char digest[EVP_MAX_MD_SIZE];
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(m_state->ctx, digest, &size) != 1) throwFixed<bug_check>();
    static const char hex[] = "0123456789abcdef";
    std::string out;
    for (unsigned i = 0; i < size; ++i) {
        out += hex[digest[i] >> 4];
        out += hex[digest[i] & 15];
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
