// A server's certificate and RSA key from PEM files, made into a certificate context whose key
// sits in a key container of the system's RSA provider, which is where the secure channel
// looks for a server's key.
#include <windows.h>
// after windows.h, which it needs
#include <wincrypt.h>

#include <fstream>
#include <sstream>
#include <string>
#include <vector>

#include "pp/net/tls_stream_schannel.h"

namespace PP {

namespace {

// The key container of this process's server identity.
const wchar_t containerName[] = L"Tonvale server identity";

std::string fileText(const std::string& path) {
    std::ifstream in(path, std::ios::binary);
    std::stringstream text;
    text << in.rdbuf();
    return text.str();
}

// The DER of the first PEM block labelled `label` in the text; empty when there is none.
std::vector<BYTE> pemBlock(const std::string& text, const std::string& label) {
    const std::string begin = "-----BEGIN " + label + "-----", end = "-----END " + label + "-----";
    const size_t at = text.find(begin);
    const size_t stop = at == std::string::npos ? at : text.find(end, at);
    if (stop == std::string::npos) return {};
    const std::string block = text.substr(at, stop + end.size() - at);
    DWORD size = 0;
    if (!CryptStringToBinaryA(block.c_str(), DWORD(block.size()), CRYPT_STRING_BASE64HEADER, nullptr, &size, nullptr,
                              nullptr))
        return {};
    std::vector<BYTE> der(size);
    if (!CryptStringToBinaryA(block.c_str(), DWORD(block.size()), CRYPT_STRING_BASE64HEADER, der.data(), &size, nullptr,
                              nullptr))
        return {};
    der.resize(size);
    return der;
}

std::vector<BYTE> decode(LPCSTR type, const std::vector<BYTE>& der) {
    DWORD size = 0;
    if (der.empty() || !CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, type, der.data(),
                                            DWORD(der.size()), 0, nullptr, nullptr, &size))
        return {};
    std::vector<BYTE> out(size);
    if (!CryptDecodeObjectEx(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING, type, der.data(), DWORD(der.size()), 0, nullptr,
                             out.data(), &size))
        return {};
    out.resize(size);
    return out;
}

// The key as the provider imports it: PKCS #8 or the bare RSA form.
std::vector<BYTE> rsaKeyBlob(const std::string& keyText) {
    std::vector<BYTE> bare = pemBlock(keyText, "RSA PRIVATE KEY");
    if (bare.empty()) {
        std::vector<BYTE> info = decode(PKCS_PRIVATE_KEY_INFO, pemBlock(keyText, "PRIVATE KEY"));
        if (info.empty()) return {};
        const auto* key = reinterpret_cast<const CRYPT_PRIVATE_KEY_INFO*>(info.data());
        if (std::string(key->Algorithm.pszObjId) != szOID_RSA_RSA) return {};
        bare.assign(key->PrivateKey.pbData, key->PrivateKey.pbData + key->PrivateKey.cbData);
    }
    return decode(PKCS_RSA_PRIVATE_KEY, bare);
}

}  // namespace

std::shared_ptr<const CERT_CONTEXT> loadServerIdentity(const secureIdentity& identity) {
    if (identity.certificateFile.empty()) throwSecureError(secNoCredentials, "no certificate");
    const std::vector<BYTE> der = pemBlock(fileText(identity.certificateFile), "CERTIFICATE");
    PCCERT_CONTEXT made = der.empty() ? nullptr
                                      : CertCreateCertificateContext(X509_ASN_ENCODING | PKCS_7_ASN_ENCODING,
                                                                     der.data(), DWORD(der.size()));
    if (!made) throwSecureError(secNoCredentials, "no certificate");
    std::shared_ptr<const CERT_CONTEXT> certificate(made, CertFreeCertificateContext);
    const std::vector<BYTE> blob = rsaKeyBlob(fileText(identity.keyFile));
    if (blob.empty()) throwSecureError(secNoCredentials, "no RSA key");

    // A fresh container each time, so that a key of an earlier identity never answers.
    HCRYPTPROV provider = 0;
    CryptAcquireContextW(&provider, containerName, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_DELETEKEYSET);
    if (!CryptAcquireContextW(&provider, containerName, MS_ENH_RSA_AES_PROV_W, PROV_RSA_AES, CRYPT_NEWKEYSET))
        throwSecureError(secNoCredentials, "no key container");
    HCRYPTKEY key = 0;
    // Exportable: some providers of the secure channel hand the key on to their TLS library.
    const BOOL imported = CryptImportKey(provider, blob.data(), DWORD(blob.size()), 0, CRYPT_EXPORTABLE, &key);
    if (key) CryptDestroyKey(key);
    CryptReleaseContext(provider, 0);
    if (!imported) throwSecureError(secNoCredentials, "key not accepted");

    CRYPT_KEY_PROV_INFO where{};
    where.pwszContainerName = const_cast<wchar_t*>(containerName);
    where.pwszProvName = const_cast<wchar_t*>(MS_ENH_RSA_AES_PROV_W);
    where.dwProvType = PROV_RSA_AES;
    where.dwKeySpec = AT_KEYEXCHANGE;
    if (!CertSetCertificateContextProperty(certificate.get(), CERT_KEY_PROV_INFO_PROP_ID, 0, &where))
        throwSecureError(secNoCredentials, "key not attached");
    return certificate;
}

}  // namespace PP
