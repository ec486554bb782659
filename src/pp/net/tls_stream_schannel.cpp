#include "pp/net/tls_stream_schannel.h"

#include <wincrypt.h>

#include <algorithm>
#include <cstring>

#include "foundation/platform/last_error.h"
#include "foundation/platform/sockets.h"
#include "pp/abort.h"
#include "pp/exceptions.h"

namespace PP {

namespace {

// Most cipher text one read of the lower stream brings in, and most the stream keeps while it
// waits for a record to complete (a record is at most about 18 KB).
constexpr size_t readPiece = 16384 + 2048 + 5;
constexpr size_t maxPending = 1u << 20;
constexpr unsigned char alertRecord = 21;

constexpr unsigned long serverRequest = ASC_REQ_SEQUENCE_DETECT | ASC_REQ_REPLAY_DETECT | ASC_REQ_CONFIDENTIALITY |
                                        ASC_REQ_ALLOCATE_MEMORY | ASC_REQ_STREAM;
constexpr unsigned long clientRequest = ISC_REQ_SEQUENCE_DETECT | ISC_REQ_REPLAY_DETECT | ISC_REQ_CONFIDENTIALITY |
                                        ISC_REQ_ALLOCATE_MEMORY | ISC_REQ_STREAM | ISC_REQ_MANUAL_CRED_VALIDATION |
                                        ISC_REQ_USE_SUPPLIED_CREDS;

std::wstring wideOf(const std::string& text) {
    const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0);
    std::wstring out(size_t(std::max(units, 0)), L'\0');
    if (units > 0) MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), out.data(), units);
    return out;
}

// A host as the certificate check and SNI want it: no brackets; literal addresses get no SNI.
std::string bareHost(const std::string& host, bool* literal) {
    std::string bare = host;
    if (bare.size() > 2 && bare.front() == '[' && bare.back() == ']') bare = bare.substr(1, bare.size() - 2);
    *literal = bare.find(':') != std::string::npos || bare.find_first_not_of("0123456789.") == std::string::npos;
    return bare;
}

}  // namespace

netStreamSSL_Impl_Schannel::netStreamSSL_Impl_Schannel(std::shared_ptr<netStreamBase> lower, uint32_t flags,
                                                       std::shared_ptr<const CERT_CONTEXT> serverCertificate)
    : m_lower(std::move(lower)), m_flags(flags), m_serverCertificate(std::move(serverCertificate)) {}

netStreamSSL_Impl_Schannel::~netStreamSSL_Impl_Schannel() { release(); }

void netStreamSSL_Impl_Schannel::release() {
    if (m_haveContext) DeleteSecurityContext(&m_context);
    if (m_haveCredentials) FreeCredentialsHandle(&m_credentials);
    m_haveContext = m_haveCredentials = false;
    m_established = false;
    m_atEnd = false;
    m_in.clear();
    m_plain.clear();
    m_plainAt = 0;
}

void netStreamSSL_Impl_Schannel::connect(const std::string& host, const std::string& service, uint32_t flags) {
    m_lower->close();
    m_lower->connect(host, service, flags & ~connectSecure);
    handshake(host);
}

void netStreamSSL_Impl_Schannel::sendToken(SecBuffer& token) {
    if (token.pvBuffer && token.cbBuffer > 0) {
        // The token is freed whatever the write does.
        struct freer {
            void* p;
            ~freer() { FreeContextBuffer(p); }
        } hold{token.pvBuffer};
        m_lower->write(token.pvBuffer, token.cbBuffer);
    } else if (token.pvBuffer) {
        FreeContextBuffer(token.pvBuffer);
    }
    token.pvBuffer = nullptr;
    token.cbBuffer = 0;
}

bool netStreamSSL_Impl_Schannel::fillIn() {
    if (m_in.size() > maxPending) throwSecureError(secHandshakeFailed, "record too large");
    const size_t had = m_in.size();
    m_in.resize(had + readPiece);
    size_t n = m_lower->readSome(m_in.data() + had, readPiece);
    if (n == ~size_t(0)) n = 0;
    m_in.resize(had + n);
    return n > 0;
}

void netStreamSSL_Impl_Schannel::handshake(const std::string& host) {
    release();
    const bool server = (m_flags & secureServer) != 0;
    if (server && !m_serverCertificate) throwSecureError(secNoCredentials, "no certificate");
    m_hostName = host;
    SCHANNEL_CRED cred{};
    cred.dwVersion = SCHANNEL_CRED_VERSION;
    PCCERT_CONTEXT own = m_serverCertificate.get();
    if (server) {
        cred.cCreds = 1;
        cred.paCred = &own;
    } else {
        // The certificate is judged after the hand-shake, so that each failure has its own status.
        cred.dwFlags = SCH_CRED_MANUAL_CRED_VALIDATION | SCH_CRED_NO_DEFAULT_CREDS;
    }
    TimeStamp expiry{};
    SECURITY_STATUS status = AcquireCredentialsHandleW(nullptr, const_cast<wchar_t*>(UNISP_NAME_W),
                                                       server ? SECPKG_CRED_INBOUND : SECPKG_CRED_OUTBOUND, nullptr,
                                                       &cred, nullptr, nullptr, &m_credentials, &expiry);
    if (status != SEC_E_OK) throwSecureError(uint32_t(status), "no credentials");
    m_haveCredentials = true;
    negotiate();
    status = QueryContextAttributesW(&m_context, SECPKG_ATTR_STREAM_SIZES, &m_sizes);
    if (status != SEC_E_OK) throwSecureError(uint32_t(status));
    if (!server && !(m_flags & secureSkipVerify)) verifyPeer();
    m_established = true;
}

SECURITY_STATUS netStreamSSL_Impl_Schannel::step(SecBufferDesc* in, SecBufferDesc* out, bool first) {
    unsigned long attributes = 0;
    if (m_flags & secureServer)
        return AcceptSecurityContext(&m_credentials, first ? nullptr : &m_context, in, serverRequest, 0,
                                     first ? &m_context : nullptr, out, &attributes, nullptr);
    bool literal = false;
    const std::wstring target = wideOf(bareHost(m_hostName, &literal));
    wchar_t* name = literal || target.empty() ? nullptr : const_cast<wchar_t*>(target.c_str());
    return InitializeSecurityContextW(&m_credentials, first ? nullptr : &m_context, name, clientRequest, 0, 0, in, 0,
                                      first ? &m_context : nullptr, out, &attributes, nullptr);
}

void netStreamSSL_Impl_Schannel::negotiate() {
    // A server starts with the client's hello.
    bool needInput = (m_haveContext || (m_flags & secureServer)) && m_in.empty();
    for (;;) {
        checkAbort();
        if (needInput && !fillIn()) throwFixed<exception_network_authentication>();
        needInput = false;
        SecBuffer inBuffers[2] = {{static_cast<unsigned long>(m_in.size()), SECBUFFER_TOKEN, m_in.data()},
                                  {0, SECBUFFER_EMPTY, nullptr}};
        SecBufferDesc inDesc{SECBUFFER_VERSION, 2, inBuffers};
        SecBuffer outBuffers[1] = {{0, SECBUFFER_TOKEN, nullptr}};
        SecBufferDesc outDesc{SECBUFFER_VERSION, 1, outBuffers};
        const bool first = !m_haveContext;
        const bool server = (m_flags & secureServer) != 0;
        SECURITY_STATUS status = step(first && !server ? nullptr : &inDesc, &outDesc, first);
        if (first && (status == SEC_E_OK || status == SEC_I_CONTINUE_NEEDED)) m_haveContext = true;
        if (status == SEC_E_INCOMPLETE_MESSAGE) {
            needInput = true;
            continue;
        }
        // A failure may still carry an alert for the peer.
        sendToken(outBuffers[0]);
        if (!first || server) {
            if (inBuffers[1].BufferType == SECBUFFER_EXTRA && inBuffers[1].cbBuffer > 0) {
                m_in.erase(m_in.begin(), m_in.end() - inBuffers[1].cbBuffer);
            } else {
                m_in.clear();
            }
        }
        if (status == SEC_E_OK) return;
        if (status == SEC_I_CONTINUE_NEEDED) {
            needInput = m_in.empty();
            continue;
        }
        // The server asked for a client certificate: there is none to give, go on without.
        if (status == SEC_I_INCOMPLETE_CREDENTIALS) continue;
        throwSecureError(uint32_t(status));
    }
}

void netStreamSSL_Impl_Schannel::verifyPeer() {
    PCCERT_CONTEXT peer = nullptr;
    if (QueryContextAttributesW(&m_context, SECPKG_ATTR_REMOTE_CERT_CONTEXT, &peer) != SEC_E_OK || !peer)
        throwSecureError(secNoCertificate, "no certificate");
    std::shared_ptr<const CERT_CONTEXT> hold(peer, CertFreeCertificateContext);
    bool literal = false;
    const std::string host = bareHost(m_hostName, &literal);
    checkServerCertificate(peer, host, literal);
}

bool netStreamSSL_Impl_Schannel::decryptSome() {
    if (m_in.empty()) return false;
    // An alert record (the peer's close notice); some providers decrypt it to nothing instead of
    // saying that the context has ended.
    const bool alert = m_in[0] == alertRecord;
    SecBuffer buffers[4] = {{static_cast<unsigned long>(m_in.size()), SECBUFFER_DATA, m_in.data()},
                            {0, SECBUFFER_EMPTY, nullptr},
                            {0, SECBUFFER_EMPTY, nullptr},
                            {0, SECBUFFER_EMPTY, nullptr}};
    SecBufferDesc desc{SECBUFFER_VERSION, 4, buffers};
    SECURITY_STATUS status = DecryptMessage(&m_context, &desc, 0, nullptr);
    if (status == SEC_E_INCOMPLETE_MESSAGE) return false;
    if (status != SEC_E_OK && status != SEC_I_CONTEXT_EXPIRED && status != SEC_I_RENEGOTIATE)
        throwSecureError(uint32_t(status));
    // The plain text and the rest lie inside m_in: copy the one out before moving the other.
    if (m_plainAt >= m_plain.size()) {
        m_plain.clear();
        m_plainAt = 0;
    }
    size_t extra = 0;
    bool plain = false;
    for (const SecBuffer& b : buffers) {
        if (b.BufferType == SECBUFFER_DATA && b.cbBuffer > 0) {
            plain = true;
            const auto* p = static_cast<const unsigned char*>(b.pvBuffer);
            m_plain.insert(m_plain.end(), p, p + b.cbBuffer);
        }
        if (b.BufferType == SECBUFFER_EXTRA) extra = b.cbBuffer;
    }
    if (extra > 0)
        m_in.erase(m_in.begin(), m_in.end() - extra);
    else
        m_in.clear();
    if (status == SEC_I_CONTEXT_EXPIRED || (status == SEC_E_OK && alert && !plain)) {
        // The peer's close notice: the end of the stream.
        m_atEnd = true;
        m_in.clear();
    } else if (status == SEC_I_RENEGOTIATE) {
        // Post-hand-shake messages of the peer (new keys, tickets): answered on the same context.
        negotiate();
    }
    return true;
}

size_t netStreamSSL_Impl_Schannel::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t netStreamSSL_Impl_Schannel::readSome(void* buffer, size_t length) {
    if (!m_established) {
        XSetLastError(XWsa::Invalid);
        return ~size_t(0);
    }
    if (length == 0) return 0;
    for (;;) {
        checkAbort();
        if (m_plainAt < m_plain.size()) {
            const size_t n = std::min(length, m_plain.size() - m_plainAt);
            std::memcpy(buffer, m_plain.data() + m_plainAt, n);
            m_plainAt += n;
            return n;
        }
        if (m_atEnd) return 0;
        if (decryptSome()) continue;
        if (!fillIn()) {
            m_atEnd = true;
            // The end inside a record is a cut connection; between records a plain end.
            if (!m_in.empty()) throwSecureError(secIncompleteMessage);
            return 0;
        }
    }
}

size_t netStreamSSL_Impl_Schannel::readAvailable(void* buffer, size_t length) {
    if (!m_established) return readSome(buffer, length);
    if (m_plainAt < m_plain.size() || !m_in.empty() || m_lower->isReadable()) return readSome(buffer, length);
    return 0;
}

void netStreamSSL_Impl_Schannel::waitReadable() {
    if (m_established && (m_plainAt < m_plain.size() || !m_in.empty())) return;
    m_lower->waitReadable();
}

bool netStreamSSL_Impl_Schannel::isReadable() {
    if (m_established && (m_plainAt < m_plain.size() || !m_in.empty())) return true;
    return m_lower->isReadable();
}

void netStreamSSL_Impl_Schannel::write(const void* buffer, size_t length) {
    if (!m_established) {
        m_lower->write(buffer, length);
        return;
    }
    const uint8_t* p = static_cast<const uint8_t*>(buffer);
    const size_t most = m_sizes.cbMaximumMessage ? m_sizes.cbMaximumMessage : 16384;
    while (length > 0) {
        checkAbort();
        const size_t piece = std::min(length, most);
        m_out.resize(m_sizes.cbHeader + piece + m_sizes.cbTrailer);
        std::memcpy(m_out.data() + m_sizes.cbHeader, p, piece);
        SecBuffer buffers[4] = {{m_sizes.cbHeader, SECBUFFER_STREAM_HEADER, m_out.data()},
                                {static_cast<unsigned long>(piece), SECBUFFER_DATA, m_out.data() + m_sizes.cbHeader},
                                {m_sizes.cbTrailer, SECBUFFER_STREAM_TRAILER, m_out.data() + m_sizes.cbHeader + piece},
                                {0, SECBUFFER_EMPTY, nullptr}};
        SecBufferDesc desc{SECBUFFER_VERSION, 4, buffers};
        SECURITY_STATUS status = EncryptMessage(&m_context, 0, &desc, 0);
        if (status != SEC_E_OK) throwSecureError(uint32_t(status));
        m_lower->write(m_out.data(), size_t(buffers[0].cbBuffer) + buffers[1].cbBuffer + buffers[2].cbBuffer);
        p += piece;
        length -= piece;
    }
}

size_t netStreamSSL_Impl_Schannel::sendAll(const void* buffer, size_t length) {
    write(buffer, length);
    return length;
}

void netStreamSSL_Impl_Schannel::waitWritable() { m_lower->waitWritable(); }

bool netStreamSSL_Impl_Schannel::isWritable() { return m_lower->isWritable(); }

void netStreamSSL_Impl_Schannel::close() {
    if (m_established && m_lower->isOpen()) {
        // The close notice is a courtesy: a peer that is gone already changes nothing here.
        try {
            DWORD kind = SCHANNEL_SHUTDOWN;
            SecBuffer control{sizeof kind, SECBUFFER_TOKEN, &kind};
            SecBufferDesc controlDesc{SECBUFFER_VERSION, 1, &control};
            if (ApplyControlToken(&m_context, &controlDesc) == SEC_E_OK) {
                SecBuffer out{0, SECBUFFER_TOKEN, nullptr};
                SecBufferDesc outDesc{SECBUFFER_VERSION, 1, &out};
                step(nullptr, &outDesc, false);
                sendToken(out);
            }
        } catch (const std::exception&) {}
    }
    m_lower->close();
    m_hostName.clear();
    release();
}

void netStreamSSL_Impl_Schannel::checkAlive() {
    if (m_established && m_plainAt < m_plain.size()) throwFixed<network_error>();
    m_lower->checkAlive();
}

}  // namespace PP
