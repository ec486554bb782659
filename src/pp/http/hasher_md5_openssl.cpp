#include "pp/http/hasher_md5.h"

#include <openssl/evp.h>

#include "pp/exceptions.h"

namespace PP {

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

void hasherMD5::update(const void* piece, size_t length) {
    if (EVP_DigestUpdate(m_state->ctx, piece, length) != 1) throwFixed<bug_check>();
}

void hasherMD5::finishRaw(unsigned char (&digest)[digestBytes]) {
    unsigned int size = 0;
    if (EVP_DigestFinal_ex(m_state->ctx, digest, &size) != 1 || size != digestBytes) throwFixed<bug_check>();
}

}  // namespace PP
