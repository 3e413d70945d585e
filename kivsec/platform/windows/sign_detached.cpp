#include <cstring>
#include <vector>

#include "kivgui/disk_file.h"
#include "kivsec/platform/platform.h"
#include "kivsec/platform/windows/signer.h"

// CMS (RFC 5652) by CryptoAPI. The system chooses SHA-256 with PKCS#1 v1.5 for RSA keys by itself;
// for RSA-PSS and elliptic curves it is told the algorithm of the signature.

namespace KivOssSec {

namespace CryptoApi {

namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::Blob;
using KivGuiBase::DiskFile;
using KivGuiBase::File;
using KivGuiBase::kErrorNotEnoughMemory;
using KivGuiBase::kErrorSigningFailed;

constexpr DWORD kEncoding = X509_ASN_ENCODING | PKCS_7_ASN_ENCODING;

// The structures of the system take these without const, but do not change them.
char kSha256[] = szOID_NIST_sha256;
char kSigningTime[] = szOID_RSA_signingTime;
char kPss[] = szOID_RSA_SSA_PSS;
char kEcdsa[] = szOID_ECDSA_SHA256;

/// RFC 4055, 3.1: SHA-256, mask generation with SHA-256, a salt of 32 bytes.
BYTE kPssParameters[] = {0x30, 0x34, 0xA0, 0x0F, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48,
                         0x01, 0x65, 0x03, 0x04, 0x02, 0x01, 0x05, 0x00, 0xA1, 0x1C, 0x30,
                         0x1A, 0x06, 0x09, 0x2A, 0x86, 0x48, 0x86, 0xF7, 0x0D, 0x01, 0x01,
                         0x08, 0x30, 0x0D, 0x06, 0x09, 0x60, 0x86, 0x48, 0x01, 0x65, 0x03,
                         0x04, 0x02, 0x01, 0x05, 0x00, 0xA2, 0x03, 0x02, 0x01, 0x20};

/// Sets the last error to the reason why the system's last call failed.
bool FailWithReason() noexcept {
    const uint32_t code = ::GetLastError();
    return Fail(code != ERROR_SUCCESS ? code : uint32_t{kErrorSigningFailed});
}

/// A signed attribute: the current time (RFC 5652, 11.3).
class SigningTime {
public:
    bool Set() noexcept {
        FILETIME now;
        GetSystemTimeAsFileTime(&now);
        value_ = {sizeof der_, der_};
        return CryptEncodeObject(kEncoding, X509_CHOICE_OF_TIME, &now, der_, &value_.cbData) ||
               FailWithReason();
    }
    CRYPT_ATTRIBUTE* GetAttribute() noexcept { return &attribute_; }

private:
    BYTE der_[32];
    CRYPT_ATTR_BLOB value_{};
    CRYPT_ATTRIBUTE attribute_{kSigningTime, 1, &value_};
};

/// The algorithm of the signature for keys for which the system does not choose the right one.
/// Empty for RSA keys.
CRYPT_ALGORITHM_IDENTIFIER GetSignatureAlgorithm(const CERT_INFO& certificate) noexcept {
    const char* const key = certificate.SubjectPublicKeyInfo.Algorithm.pszObjId;
    if (std::strcmp(key, szOID_RSA_SSA_PSS) == 0) {
        return {kPss, {sizeof kPssParameters, kPssParameters}};
    }
    if (std::strcmp(key, szOID_ECC_PUBLIC_KEY) == 0) return {kEcdsa, {}};
    return {};
}

std::vector<CERT_BLOB> ListCertificates(HCERTSTORE store) {
    std::vector<CERT_BLOB> list;
    const CERT_CONTEXT* next = nullptr;
    while ((next = CertEnumCertificatesInStore(store, next)) != nullptr) {
        list.push_back({next->cbCertEncoded, next->pbCertEncoded});
    }
    return list;
}

Message Open(const Signer& signer, SigningTime& time, std::vector<CERT_BLOB>& certificates) {
    CMSG_SIGNER_ENCODE_INFO who{};
    who.cbSize = sizeof who;
    who.pCertInfo = signer.certificate->pCertInfo;
    who.hCryptProv = signer.key.handle;
    who.dwKeySpec = signer.key.purpose;
    who.HashAlgorithm.pszObjId = kSha256;
    who.cAuthAttr = 1;
    who.rgAuthAttr = time.GetAttribute();
    who.HashEncryptionAlgorithm = GetSignatureAlgorithm(*who.pCertInfo);
    CMSG_SIGNED_ENCODE_INFO what{};
    what.cbSize = sizeof what;
    what.cSigners = 1;
    what.rgSigners = &who;
    what.cCertEncoded = static_cast<DWORD>(certificates.size());
    what.rgCertEncoded = certificates.data();
    Message message(
        CryptMsgOpenToEncode(kEncoding, CMSG_DETACHED_FLAG, CMSG_SIGNED, &what, nullptr, nullptr));
    if (message == nullptr) FailWithReason();
    return message;
}

bool Digest(const File& content, HCRYPTMSG message) noexcept {
    DiskFile source;
    if (!source.Open(content, DiskFile::Mode::read)) return false;
    char piece[0x8000];
    for (unsigned got = 0;;) {
        if (!source.Read(piece, sizeof piece, got)) return false;
        const bool isLast = got == 0;
        ::SetLastError(ERROR_SUCCESS);
        if (!CryptMsgUpdate(message, reinterpret_cast<const BYTE*>(piece), got, isLast)) {
            return FailWithReason();
        }
        if (isLast) return true;
    }
}

bool Encode(HCRYPTMSG message, Blob& signature) noexcept {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size)) return FailWithReason();
    auto* const memory = signature.Renew(size);
    if (memory == nullptr) return Fail(kErrorNotEnoughMemory);
    return CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, memory, &size) || FailWithReason();
}

bool Sign(const File& content, const Signer& signer, Blob& signature) noexcept {
    SigningTime time;
    if (!time.Set()) return false;
    try {
        std::vector<CERT_BLOB> certificates = ListCertificates(signer.file.certificates.get());
        ::SetLastError(ERROR_SUCCESS);
        const Message message = Open(signer, time, certificates);
        return message != nullptr && Digest(content, message.get()) &&
               Encode(message.get(), signature);
    } catch (...) {  // a vector throws only when memory runs out
        return Fail(kErrorNotEnoughMemory);
    }
}

}  // namespace

}  // namespace CryptoApi

bool Platform::SignDetached(const KivGuiBase::File& content, const KivGuiBase::File& signer,
                            const KivGuiBase::AnsiStr& signerText,
                            KivGuiBase::Blob& signature) noexcept {
    CryptoApi::LastErrorKept kept;
    CryptoApi::Signer loaded;
    {
        SecretBytes file;
        if (!ReadSignerFile(signer, file) || !CryptoApi::LoadSigner(file, signerText, loaded)) {
            return kept.Fail();
        }
    }
    return CryptoApi::Sign(content, loaded, signature) || kept.Fail();
}

}  // namespace KivOssSec
