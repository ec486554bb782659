#include "pp/net/tls_stream.h"

#include <openssl/bio.h>
#include <openssl/err.h>
#include <openssl/ssl.h>
#include <openssl/x509v3.h>

#include <climits>
#include <cstdio>

#include "foundation/platform/sockets.h"
#include "pp/exceptions.h"

namespace PP {

struct tlsContext {
  SSL_CTX* ctx = nullptr;
  bool requireClientCertificate = false;
  ~tlsContext() { SSL_CTX_free(ctx); }
};

struct netStreamTLS::session {
  SSL* ssl = nullptr;
  ~session() { SSL_free(ssl); }
};

// The BIO under OpenSSL: reads and writes go to the lower stream, whose waits carry the
// time-out and the aborter. An exception cannot cross OpenSSL's C frames, so it is kept and
// thrown again once OpenSSL has returned.
struct tlsBio {
  static netStreamTLS* owner(BIO* b) { return static_cast<netStreamTLS*>(BIO_get_data(b)); }

  static int write(BIO* b, const char* data, int length) {
    BIO_clear_retry_flags(b);
    netStreamTLS* s = owner(b);
    try {
      s->m_lower->write(data, size_t(length));
      return length;
    } catch (...) {
      s->m_lowerFailure = std::current_exception();
      return -1;
    }
  }

  static int read(BIO* b, char* data, int length) {
    BIO_clear_retry_flags(b);
    netStreamTLS* s = owner(b);
    try {
      size_t n = s->m_lower->readSome(data, size_t(length));
      if (n == 0) s->m_lowerEnded = true;
      return int(n);
    } catch (...) {
      s->m_lowerFailure = std::current_exception();
      return -1;
    }
  }

  static long ctrl(BIO*, int command, long, void*) { return command == BIO_CTRL_FLUSH ? 1 : 0; }

  static int create(BIO* b) {
    BIO_set_init(b, 1);
    return 1;
  }

  static BIO_METHOD* method() {
    static BIO_METHOD* m = [] {
      BIO_METHOD* made = BIO_meth_new(BIO_get_new_index() | BIO_TYPE_SOURCE_SINK, "pp lower stream");
      BIO_meth_set_write(made, &tlsBio::write);
      BIO_meth_set_read(made, &tlsBio::read);
      BIO_meth_set_ctrl(made, &tlsBio::ctrl);
      BIO_meth_set_create(made, &tlsBio::create);
      return made;
    }();
    return m;
  }
};

namespace {

// The status a failed certificate check reports, in the numbering the library names.
uint32_t verifyStatus(long result) {
  switch (result) {
  case X509_V_ERR_CERT_HAS_EXPIRED:
  case X509_V_ERR_CERT_NOT_YET_VALID: return secCertExpired;
  case X509_V_ERR_HOSTNAME_MISMATCH:
  case X509_V_ERR_IP_ADDRESS_MISMATCH: return certNameMismatch;
  default: return certUntrustedRoot;
  }
}

std::string lastLibraryError() {
  unsigned long e = ERR_get_error();
  ERR_clear_error();
  const char* reason = e ? ERR_reason_error_string(e) : nullptr;
  return reason ? reason : std::string();
}

bool isAddressLiteral(const std::string& host) {
  std::vector<uint8_t> raw;
  return XAddressFromNumeric(host.c_str(), 0, raw);
}

}  // namespace

void throwSecureError(uint32_t status, const std::string& description) {
  if (status == secIncompleteMessage) throwFixed<network_error>();
  char hex[16];
  std::snprintf(hex, sizeof hex, "%08X", status);
  std::string text = exception_network_authentication::fixedText();
  if (!description.empty()) text += ": " + description;
  throw exception_network_authentication(text + " (" + hex + ")");
}

netStreamTLS::netStreamTLS(std::shared_ptr<netStreamBase> lower, uint32_t flags,
                           std::shared_ptr<tlsContext> context)
    : m_lower(std::move(lower)), m_flags(flags), m_context(std::move(context)) {}

netStreamTLS::~netStreamTLS() {
  try {
    close();
  } catch (...) {
    // Closing is best effort in a destructor: the connection goes either way.
  }
}

void netStreamTLS::rethrowLowerFailure() {
  if (m_lowerFailure) {
    std::exception_ptr e = m_lowerFailure;
    m_lowerFailure = nullptr;
    ERR_clear_error();
    std::rethrow_exception(e);
  }
}

void netStreamTLS::handshake(const std::string& host) {
  m_session = std::make_unique<session>();
  m_established = false;
  m_lowerEnded = false;
  m_hostName = host;
  SSL* ssl = SSL_new(m_context->ctx);
  if (!ssl) throw std::bad_alloc();
  m_session->ssl = ssl;
  BIO* bio = BIO_new(tlsBio::method());
  if (!bio) throw std::bad_alloc();
  BIO_set_data(bio, this);
  SSL_set_bio(ssl, bio, bio);
  const bool server = (m_flags & tlsServerRole) != 0;
  const bool literal = isAddressLiteral(host);
  if (!literal && !server) SSL_set_tlsext_host_name(ssl, host.c_str());
  if (!(m_flags & tlsSkipVerification) && !server) {
    if (literal) {
      X509_VERIFY_PARAM_set1_ip_asc(SSL_get0_param(ssl), host.c_str());
    } else {
      SSL_set1_host(ssl, host.c_str());
    }
  }
  int r = server ? SSL_accept(ssl) : SSL_connect(ssl);
  rethrowLowerFailure();
  if (r != 1) {
    // A peer that leaves in the middle of the hand-shake.
    if (m_lowerEnded) {
      ERR_clear_error();
      throwFixed<exception_network_authentication>();
    }
    throwSecureError(secIllegalMessage, lastLibraryError());
  }
  // A server checks its client only when it demands a certificate.
  const bool verify = server ? m_context->requireClientCertificate : !(m_flags & tlsSkipVerification);
  if (verify) {
    X509* peer = SSL_get1_peer_certificate(ssl);
    if (!peer) throwSecureError(secWrongPrincipal);
    X509_free(peer);
    long result = SSL_get_verify_result(ssl);
    if (result != X509_V_OK) throwSecureError(verifyStatus(result), X509_verify_cert_error_string(result));
  }
  m_established = true;
}

void netStreamTLS::connect(const std::string& host, const std::string& service, uint32_t flags) {
  close();
  m_lower->connect(host, service, flags & ~connectSecure);
  handshake(host);
}

size_t netStreamTLS::read(void* buffer, size_t length) { return streamCopyLoop(*this, buffer, length); }

size_t netStreamTLS::readSome(void* buffer, size_t length) {
  if (!m_established) throw std::runtime_error("Socket not open");
  if (length == 0) return 0;
  size_t got = 0;
  int r = SSL_read_ex(m_session->ssl, buffer, length > INT_MAX ? INT_MAX : length, &got);
  rethrowLowerFailure();
  if (r == 1) return got;
  int e = SSL_get_error(m_session->ssl, 0);
  if (e == SSL_ERROR_ZERO_RETURN || m_lowerEnded) {
    ERR_clear_error();
    return 0;  // the peer has closed
  }
  throwSecureError(secIllegalMessage, lastLibraryError());
}

size_t netStreamTLS::readAvailable(void* buffer, size_t length) {
  if (!m_established) return 0;
  if (SSL_pending(m_session->ssl) > 0 || m_lower->isReadable()) return readSome(buffer, length);
  return 0;
}

void netStreamTLS::waitReadable() {
  if (!m_established || SSL_pending(m_session->ssl) == 0) m_lower->waitReadable();
}

bool netStreamTLS::isReadable() {
  return (m_established && SSL_pending(m_session->ssl) > 0) || m_lower->isReadable();
}

void netStreamTLS::write(const void* buffer, size_t length) {
  if (!m_established) throwFixed<exception_network_authentication>();
  const uint8_t* p = static_cast<const uint8_t*>(buffer);
  while (length > 0) {
    size_t put = 0;
    int r = SSL_write_ex(m_session->ssl, p, length, &put);
    rethrowLowerFailure();
    if (r != 1) throwSecureError(secIllegalMessage, lastLibraryError());
    p += put;
    length -= put;
  }
}

void netStreamTLS::close() {
  if (m_session && m_established && m_lower->isOpen()) {
    // The close notice is a courtesy; a peer that is already gone does not matter here.
    SSL_shutdown(m_session->ssl);
    m_lowerFailure = nullptr;
    ERR_clear_error();
  }
  m_session.reset();
  m_established = false;
  m_hostName.clear();
  m_lower->close();
}

void netStreamTLS::checkAlive() {
  if (m_established && SSL_pending(m_session->ssl) > 0) throwFixed<network_error>();
  m_lower->checkAlive();
}

tlsProvider::tlsProvider() : m_context(std::make_shared<tlsContext>()) {
  m_context->ctx = SSL_CTX_new(TLS_client_method());
  if (!m_context->ctx) throw std::bad_alloc();
  // Verification is judged after the hand-shake, so that its result gives the status.
  SSL_CTX_set_verify(m_context->ctx, SSL_VERIFY_NONE, nullptr);
  SSL_CTX_set_default_verify_paths(m_context->ctx);
  SSL_CTX_set_options(m_context->ctx, SSL_OP_IGNORE_UNEXPECTED_EOF);
}

std::shared_ptr<netStreamBase> tlsProvider::createSecure(uint32_t flags) {
  return std::make_shared<netStreamTLS>(std::make_shared<netStream>(), flags, m_context);
}

std::shared_ptr<netStreamBase> tlsProvider::wrapSecure(std::shared_ptr<netStreamBase> lower,
                                                       const std::string& host, uint32_t flags,
                                                       netStreamBase*) {
  auto s = std::make_shared<netStreamTLS>(std::move(lower), flags, m_context);
  s->handshake(host);
  return s;
}

std::shared_ptr<tlsContext> makeTlsServerContext(const std::string& certificateFile,
                                                 const std::string& keyFile,
                                                 bool requireClientCertificate,
                                                 const std::string& clientRoots) {
  auto c = std::make_shared<tlsContext>();
  c->ctx = SSL_CTX_new(TLS_server_method());
  if (!c->ctx) throw std::bad_alloc();
  if (SSL_CTX_use_certificate_chain_file(c->ctx, certificateFile.c_str()) != 1 ||
      SSL_CTX_use_PrivateKey_file(c->ctx, keyFile.c_str(), SSL_FILETYPE_PEM) != 1 ||
      SSL_CTX_check_private_key(c->ctx) != 1)
    throwSecureError(secNoCredentials, lastLibraryError());
  c->requireClientCertificate = requireClientCertificate;
  if (requireClientCertificate) {
    SSL_CTX_set_default_verify_paths(c->ctx);
    if (!clientRoots.empty()) SSL_CTX_load_verify_locations(c->ctx, clientRoots.c_str(), nullptr);
    // Ask for the certificate; whether it is good is judged after the hand-shake.
    SSL_CTX_set_verify(c->ctx, SSL_VERIFY_PEER | SSL_VERIFY_FAIL_IF_NO_PEER_CERT,
                       [](int, X509_STORE_CTX*) { return 1; });
  }
  return c;
}

std::shared_ptr<netStreamTLS> acceptSecure(std::shared_ptr<netStreamBase> lower,
                                           std::shared_ptr<tlsContext> context) {
  auto s = std::make_shared<netStreamTLS>(std::move(lower), tlsServerRole, std::move(context));
  s->handshake(std::string());
  return s;
}

void installTlsProvider() { setSecureProvider(std::make_shared<tlsProvider>()); }

}  // namespace PP
