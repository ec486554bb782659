// The check of a server's certificate on the secure channel: a chain to a trusted root (the
// system's, or one of the PEM file that SSL_CERT_FILE names, as on Linux), validity in time,
// and the host's name or address.
// clang-format off
#include <windows.h>
#include <wincrypt.h>
// clang-format on

#include <cstdlib>
#include <cstring>
#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "foundation/platform/sockets.h"
#include "pp/net/tls_stream_schannel.h"

namespace PP {

namespace {

// The SSL policy's "unknown CA" check flag (declared only with the internet headers).
constexpr DWORD ignoreUnknownCa = 0x00000100;

std::wstring wideOf(const std::string& text) {
    const int units = MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), nullptr, 0);
    std::wstring out(size_t(units > 0 ? units : 0), L'\0');
    if (units > 0) MultiByteToWideChar(CP_UTF8, 0, text.data(), int(text.size()), out.data(), units);
    return out;
}

// The chain policy's verdict as a status of this transport, with the text shown beside it.
uint32_t policyStatus(DWORD error, std::string* text) {
    switch (error) {
        case static_cast<DWORD>(CERT_E_EXPIRED):
            *text = "certificate has expired";
            return secCertificateExpired;
        case static_cast<DWORD>(CERT_E_CN_NO_MATCH):
            *text = "hostname mismatch";
            return certNameMismatch;
        case static_cast<DWORD>(CERT_E_UNTRUSTEDROOT):
        case static_cast<DWORD>(CERT_E_CHAINING):
            *text = "certificate is not trusted";
            return certUntrustedRoot;
        default:
            *text = "certificate verify failed";
            return certChaining;
    }
}

// Roots trusted beside the system store: the PEM file that SSL_CERT_FILE names, as on Linux.
HCERTSTORE extraRoots() {
    const char* file = std::getenv("SSL_CERT_FILE");
    if (!file || !*file) return nullptr;
    std::ifstream in(file, std::ios::binary);
    if (!in) return nullptr;
    std::stringstream text;
    text << in.rdbuf();
    const std::string pem = text.str();
    HCERTSTORE store = CertOpenStore(CERT_STORE_PROV_MEMORY, 0, 0, CERT_STORE_CREATE_NEW_FLAG, nullptr);
    if (!store) return nullptr;
    const std::string begin = "-----BEGIN CERTIFICATE-----", end = "-----END CERTIFICATE-----";
    for (size_t at = pem.find(begin); at != std::string::npos; at = pem.find(begin, at + 1)) {
        const size_t stop = pem.find(end, at);
        if (stop == std::string::npos) break;
        const std::string one = pem.substr(at, stop + end.size() - at);
        DWORD size = 0;
        if (!CryptStringToBinaryA(one.c_str(), DWORD(one.size()), CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr,
                                  nullptr))
            continue;
        std::vector<BYTE> der(size);
        if (CryptStringToBinaryA(one.c_str(), DWORD(one.size()), CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr,
                                 nullptr))
            CertAddEncodedCertificateToStore(store, X509_ASN_ENCODING, der.data(), size, CERT_STORE_ADD_ALWAYS,
                                             nullptr);
    }
    return store;
}

// Whether the chain ends in a self-signed certificate of `roots`.
bool endsInExtraRoot(PCCERT_CHAIN_CONTEXT chain, HCERTSTORE roots) {
    if (!roots || chain->cChain == 0) return false;
    const CERT_SIMPLE_CHAIN* simple = chain->rgpChain[0];
    if (simple->cElement == 0) return false;
    const CERT_CHAIN_ELEMENT* top = simple->rgpElement[simple->cElement - 1];
    if (!(top->TrustStatus.dwInfoStatus & CERT_TRUST_IS_SELF_SIGNED)) return false;
    PCCERT_CONTEXT found =
        CertFindCertificateInStore(roots, X509_ASN_ENCODING, 0, CERT_FIND_EXISTING, top->pCertContext, nullptr);
    if (!found) return false;
    CertFreeCertificateContext(found);
    return true;
}

// Whether the certificate names the numeric address among its alternative names.
bool holdsAddress(PCCERT_CONTEXT certificate, const std::string& address) {
    std::vector<uint8_t> raw;
    if (!XAddressFromNumeric(address.c_str(), 0, raw)) return false;
    int family = 0;
    XAddressNumeric(raw.data(), raw.size(), &family, nullptr, nullptr);
    // The address bytes inside the socket address of its family.
    const size_t offset = family == XWsa::FamilyInet ? 4 : 8;
    const size_t size = family == XWsa::FamilyInet ? 4 : 16;
    if (raw.size() < offset + size) return false;
    const CERT_INFO* info = certificate->pCertInfo;
    PCERT_EXTENSION names = CertFindExtension(szOID_SUBJECT_ALT_NAME2, info->cExtension, info->rgExtension);
    if (!names) return false;
    CERT_ALT_NAME_INFO* decoded = nullptr;
    DWORD decodedSize = 0;
    if (!CryptDecodeObjectEx(X509_ASN_ENCODING, X509_ALTERNATE_NAME, names->Value.pbData, names->Value.cbData,
                             CRYPT_DECODE_ALLOC_FLAG, nullptr, &decoded, &decodedSize))
        return false;
    bool found = false;
    for (DWORD i = 0; i < decoded->cAltEntry && !found; ++i) {
        const CERT_ALT_NAME_ENTRY& e = decoded->rgAltEntry[i];
        found = e.dwAltNameChoice == CERT_ALT_NAME_IP_ADDRESS && e.IPAddress.cbData == size &&
                std::memcmp(e.IPAddress.pbData, raw.data() + offset, size) == 0;
    }
    LocalFree(decoded);
    return found;
}
}  // namespace

void checkServerCertificate(PCCERT_CONTEXT peer, const std::string& host, bool literal) {
    HCERTSTORE roots = extraRoots();
    CERT_CHAIN_PARA chainPara{};
    chainPara.cbSize = sizeof chainPara;
    PCCERT_CHAIN_CONTEXT chain = nullptr;
    const BOOL built = CertGetCertificateChain(nullptr, peer, nullptr, roots ? roots : peer->hCertStore, &chainPara, 0,
                                               nullptr, &chain);
    uint32_t status = 0;
    std::string text;
    if (!built) {
        status = certChaining;
        text = "certificate verify failed";
    } else {
        std::wstring name = wideOf(host);
        SSL_EXTRA_CERT_CHAIN_POLICY_PARA ssl{};
        ssl.cbSize = sizeof ssl;
        ssl.dwAuthType = AUTHTYPE_SERVER;
        // An address is looked for among the certificate's addresses here, since not every
        // provider's policy does.
        ssl.pwszServerName = literal ? nullptr : name.data();
        CERT_CHAIN_POLICY_PARA policy{};
        policy.cbSize = sizeof policy;
        policy.pvExtraPolicyPara = &ssl;
        // A chain to one of the roots the user named is as good as one to the system's.
        const bool extraRoot = endsInExtraRoot(chain, roots);
        if (extraRoot) {
            ssl.fdwChecks = ignoreUnknownCa;
            policy.dwFlags = CERT_CHAIN_POLICY_ALLOW_UNKNOWN_CA_FLAG;
        }
        const DWORD untrusted = CERT_TRUST_IS_UNTRUSTED_ROOT | CERT_TRUST_IS_PARTIAL_CHAIN;
        CERT_CHAIN_POLICY_STATUS verdict{};
        verdict.cbSize = sizeof verdict;
        if (!CertVerifyCertificateChainPolicy(CERT_CHAIN_POLICY_SSL, chain, &policy, &verdict)) {
            status = certChaining;
            text = "certificate verify failed";
        } else if (verdict.dwError != 0) {
            status = policyStatus(verdict.dwError, &text);
        } else if (!extraRoot && (chain->TrustStatus.dwErrorStatus & untrusted)) {
            status = policyStatus(DWORD(CERT_E_UNTRUSTEDROOT), &text);
        } else if (literal && !holdsAddress(peer, host)) {
            status = policyStatus(DWORD(CERT_E_CN_NO_MATCH), &text);
        }
        CertFreeCertificateChain(chain);
    }
    if (roots) CertCloseStore(roots, 0);
    if (status != 0) throwSecureError(status, text);
}

}  // namespace PP
