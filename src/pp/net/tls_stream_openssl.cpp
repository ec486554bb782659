#include "pp/net/tls_stream_openssl.h"

#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <algorithm>
#include <cstdio>
#include <cstring>

#include "foundation/platform/last_error.h"
#include "foundation/platform/sockets.h"
#include "pp/abort.h"
#include "pp/exceptions.h"

namespace PP {

namespace {

// A TLS record: header, largest body, and the most a cipher adds.
constexpr size_t recordBytes = 5 + 16384 + 2048;
constexpr size_t recordBody = 16384;

// The verification result of the library as a status of this transport.
uint32_t verifyStatus(long result) {
    switch (result) {
        case X509_V_ERR_HOSTNAME_MISMATCH:
        case X509_V_ERR_IP_ADDRESS_MISMATCH:
            return certNameMismatch;
        case X509_V_ERR_CERT_HAS_EXPIRED:
        case X509_V_ERR_CERT_NOT_YET_VALID:
            return certChainExpired;
        case X509_V_ERR_DEPTH_ZERO_SELF_SIGNED_CERT:
        case X509_V_ERR_SELF_SIGNED_CERT_IN_CHAIN:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT_LOCALLY:
        case X509_V_ERR_UNABLE_TO_GET_ISSUER_CERT:
        case X509_V_ERR_UNABLE_TO_VERIFY_LEAF_SIGNATURE:
        case X509_V_ERR_CERT_UNTRUSTED:
            return certUntrustedRoot;
        default:
            return certChaining;
    }
}

}  // namespace

netStreamSSL_Impl_OpenSSL::netStreamSSL_Impl_OpenSSL(std::shared_ptr<SSL_CTX> context,
                                                     std::shared_ptr<netStreamBase> lower, uint32_t flags)
    : m_context(std::move(context)), m_lower(std::move(lower)), m_flags(flags) {}

netStreamSSL_Impl_OpenSSL::~netStreamSSL_Impl_OpenSSL() {
    if (m_ssl) SSL_free(m_ssl);
}

void netStreamSSL_Impl_OpenSSL::reset() {
    if (m_ssl) SSL_free(m_ssl);
    m_ssl = nullptr;
    m_established = false;
    m_atEnd = false;
    ERR_clear_error();
    m_ssl = SSL_new(m_context.get());
    m_in = BIO_new(BIO_s_mem());
    m_out = BIO_new(BIO_s_mem());
    if (!m_ssl || !m_in || !m_out) {
        if (m_in) BIO_free(m_in);
        if (m_out) BIO_free(m_out);
        throw std::bad_alloc();
    }
    // An empty memory buffer means "no data yet", not the end of the stream.
    BIO_set_mem_eof_return(m_in, -1);
    SSL_set_bio(m_ssl, m_in, m_out);
    if (m_cipher.empty()) m_cipher.resize(recordBytes);
}

void netStreamSSL_Impl_OpenSSL::flushOut() {
    while (BIO_ctrl_pending(m_out) > 0) {
        int n = BIO_read(m_out, m_cipher.data(), int(m_cipher.size()));
        if (n <= 0) break;
        m_lower->write(m_cipher.data(), size_t(n));
    }
}

bool netStreamSSL_Impl_OpenSSL::fillIn() {
    size_t n = m_lower->readSome(m_cipher.data(), m_cipher.size());
    if (n == 0) return false;
    BIO_write(m_in, m_cipher.data(), int(n));
    return true;
}

void netStreamSSL_Impl_OpenSSL::fail(int result) {
    int kind = SSL_get_error(m_ssl, result);
    unsigned long code = ERR_peek_error();
    std::string description;
    if (code != 0) {
        const char* reason = ERR_reason_error_string(code);
        description = reason ? reason : "";
    }
    ERR_clear_error();
    if (kind == SSL_ERROR_SYSCALL || kind == SSL_ERROR_ZERO_RETURN) throwSecureError(secIncompleteMessage);
    throwSecureError(secHandshakeFailed, description);
}

void netStreamSSL_Impl_OpenSSL::connect(const std::string& host, const std::string& service, uint32_t flags) {
    m_lower->close();
    m_lower->connect(host, service, flags & ~connectSecure);
    handshake(host);
}

void netStreamSSL_Impl_OpenSSL::handshake(const std::string& host) {
    reset();
    m_hostName = host;
    const bool server = (m_flags & secureServer) != 0;
    if (server) {
        SSL_set_accept_state(m_ssl);
    } else {
        SSL_set_connect_state(m_ssl);
        // SNI only for names: a literal address is not a host name.
        std::string bare = host;
        if (bare.size() > 2 && bare.front() == '[' && bare.back() == ']') bare = bare.substr(1, bare.size() - 2);
        const bool literal =
            bare.find(':') != std::string::npos || bare.find_first_not_of("0123456789.") == std::string::npos;
        if (!literal) SSL_set_tlsext_host_name(m_ssl, bare.c_str());
        if (!(m_flags & secureSkipVerify)) {
            if (literal)
                X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(m_ssl), bare.c_str());
            else
                SSL_set1_host(m_ssl, bare.c_str());
        }
    }
    for (;;) {
        checkAbort();
        int r = SSL_do_handshake(m_ssl);
        flushOut();
        if (r == 1) break;
        int kind = SSL_get_error(m_ssl, r);
        if (kind == SSL_ERROR_WANT_READ) {
            if (!fillIn()) throwFixed<exception_network_authentication>();
            continue;
        }
        if (kind == SSL_ERROR_WANT_WRITE) continue;
        // A refusal of the peer's certificate by the library itself carries the verify result.
        long v = SSL_get_verify_result(m_ssl);
        if (v != X509_V_OK && (m_flags & secureServer)) {
            ERR_clear_error();
            throwSecureError(verifyStatus(v), X509_verify_cert_error_string(v));
        }
        fail(r);
    }
    if (!(m_flags & secureSkipVerify)) verifyPeer();
    m_established = true;
}

void netStreamSSL_Impl_OpenSSL::verifyPeer() {
    X509* peer = SSL_get0_peer_certificate(m_ssl);
    if (!peer) {
        // A server that asks no certificate of its clients has nothing to check.
        if ((m_flags & secureServer) && !(SSL_get_verify_mode(m_ssl) & SSL_VERIFY_PEER)) return;
        throwSecureError(secNoCertificate, "no certificate");
    }
    if (X509_cmp_current_time(X509_get0_notAfter(peer)) < 0)
        throwSecureError(secCertificateExpired, X509_verify_cert_error_string(X509_V_ERR_CERT_HAS_EXPIRED));
    if (X509_cmp_current_time(X509_get0_notBefore(peer)) > 0)
        throwSecureError(secCertificateExpired, X509_verify_cert_error_string(X509_V_ERR_CERT_NOT_YET_VALID));
    long v = SSL_get_verify_result(m_ssl);
    if (v != X509_V_OK) throwSecureError(verifyStatus(v), X509_verify_cert_error_string(v));
}

size_t netStreamSSL_Impl_OpenSSL::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t netStreamSSL_Impl_OpenSSL::readSome(void* buffer, size_t length) {
    if (!m_established) {
        XSetLastError(XWsa::Invalid);
        return ~size_t(0);
    }
    if (length == 0 || m_atEnd) return 0;
    const int want = int(std::min<size_t>(length, 0x40000000));
    for (;;) {
        checkAbort();
        int r = SSL_read(m_ssl, buffer, want);
        if (r > 0) return size_t(r);
        int kind = SSL_get_error(m_ssl, r);
        if (kind == SSL_ERROR_ZERO_RETURN) {
            m_atEnd = true;
            return 0;
        }
        if (kind == SSL_ERROR_WANT_READ || kind == SSL_ERROR_WANT_WRITE) {
            // Post-hand-shake messages (tickets, key updates) may want an answer.
            flushOut();
            if (kind == SSL_ERROR_WANT_WRITE) continue;
            if (!fillIn()) {
                m_atEnd = true;
                // The end inside a record is a cut connection; between records a plain end.
                if (BIO_ctrl_pending(m_in) > 0) throwSecureError(secIncompleteMessage);
                return 0;
            }
            continue;
        }
        fail(r);
    }
}

size_t netStreamSSL_Impl_OpenSSL::readAvailable(void* buffer, size_t length) {
    if (!m_established) return readSome(buffer, length);
    if (SSL_pending(m_ssl) > 0 || m_lower->isReadable()) return readSome(buffer, length);
    return 0;
}

void netStreamSSL_Impl_OpenSSL::waitReadable() {
    if (m_established && (SSL_pending(m_ssl) > 0 || BIO_ctrl_pending(m_in) > 0)) return;
    m_lower->waitReadable();
}

bool netStreamSSL_Impl_OpenSSL::isReadable() {
    if (m_established && (SSL_pending(m_ssl) > 0 || BIO_ctrl_pending(m_in) > 0)) return true;
    return m_lower->isReadable();
}

void netStreamSSL_Impl_OpenSSL::write(const void* buffer, size_t length) {
    if (!m_established) {
        m_lower->write(buffer, length);
        return;
    }
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    while (length > 0) {
        checkAbort();
        const int piece = int(std::min(length, recordBody));
        int r = SSL_write(m_ssl, p, piece);
        flushOut();
        if (r > 0) {
            p += r;
            length -= size_t(r);
            continue;
        }
        int kind = SSL_get_error(m_ssl, r);
        if (kind == SSL_ERROR_WANT_READ) {
            if (!fillIn()) throwSecureError(secIncompleteMessage);
            continue;
        }
        if (kind == SSL_ERROR_WANT_WRITE) continue;
        fail(r);
    }
}

size_t netStreamSSL_Impl_OpenSSL::sendAll(const void* buffer, size_t length) {
    write(buffer, length);
    return length;
}

void netStreamSSL_Impl_OpenSSL::waitWritable() { m_lower->waitWritable(); }

bool netStreamSSL_Impl_OpenSSL::isWritable() { return m_lower->isWritable(); }

void netStreamSSL_Impl_OpenSSL::close() {
    if (m_ssl && m_established && m_lower->isOpen()) {
        // The close notice is a courtesy: a peer that is gone already changes nothing here.
        try {
            if (SSL_shutdown(m_ssl) >= 0) flushOut();
        } catch (const std::exception&) {}
    }
    m_lower->close();
    m_hostName.clear();
    if (m_ssl) SSL_free(m_ssl);
    m_ssl = nullptr;
    m_established = false;
    ERR_clear_error();
}

void netStreamSSL_Impl_OpenSSL::checkAlive() {
    if (m_established && SSL_pending(m_ssl) > 0) throwFixed<network_error>();
    m_lower->checkAlive();
}

}  // namespace PP
