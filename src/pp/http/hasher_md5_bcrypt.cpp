#include <windows.h>
// after windows.h, which it needs
#include <bcrypt.h>

#include "pp/exceptions.h"
#include "pp/http/hasher_md5.h"

namespace PP {

namespace {

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

void hasherMD5::update(const void* piece, size_t length) {
    if (!BCRYPT_SUCCESS(BCryptHashData(m_state->hash, static_cast<PUCHAR>(const_cast<void*>(piece)), ULONG(length), 0)))
        throwFixed<bug_check>();
}

void hasherMD5::finishRaw(unsigned char (&digest)[digestBytes]) {
    if (!BCRYPT_SUCCESS(BCryptFinishHash(m_state->hash, digest, digestBytes, 0))) throwFixed<bug_check>();
}

}  // namespace PP
