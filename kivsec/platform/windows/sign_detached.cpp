#include <algorithm>
#include <cstring>
#include <functional>
#include <vector>

#include "kivsec/platform/platform.h"
#include "kivsec/platform/windows/signer.h"

// CMS (RFC 5652) by CryptoAPI. The system chooses SHA-256 with PKCS#1 v1.5 for RSA keys by itself;
// for RSA-PSS and elliptic curves it is told the algorithm of the signature.

namespace KivOssSec {

namespace CryptoApi {

namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::Blob;
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

bool ListCertificates(HCERTSTORE store, std::vector<CERT_BLOB>& list) noexcept {
    try {
        const CERT_CONTEXT* next = nullptr;
        while ((next = CertEnumCertificatesInStore(store, next)) != nullptr) {
            list.push_back({next->cbCertEncoded, next->pbCertEncoded});
        }
        return true;
    } catch (...) {  // a vector throws only when memory runs out
        return Fail(kErrorNotEnoughMemory);
    }
}

Message Open(const Signer& signer, SigningTime& time,
             std::vector<CERT_BLOB>& certificates) noexcept {
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

bool Update(HCRYPTMSG message, const char* bytes, DWORD size, bool isLast) noexcept {
    ::SetLastError(ERROR_SUCCESS);
    return CryptMsgUpdate(message, reinterpret_cast<const BYTE*>(bytes), size, isLast) ||
           FailWithReason();
}

bool Digest(const ContentFeed& feed, HCRYPTMSG message) {
    constexpr size_t kMaxUpdate = 1 << 30;  // sizes of the system have 32 bits
    DWORD error = ERROR_SUCCESS;
    const auto take = [&](const char* bytes, size_t size) noexcept {
        LastErrorKept kept;
        while (error == ERROR_SUCCESS && size != 0) {
            const size_t part = std::min(size, kMaxUpdate);
            if (!Update(message, bytes, static_cast<DWORD>(part), false)) error = ::GetLastError();
            bytes += part;
            size -= part;
        }
        return error == ERROR_SUCCESS || kept.Fail(error);
    };
    const bool isFed = feed(std::cref(take));
    if (error != ERROR_SUCCESS) return Fail(error);
    return isFed && Update(message, "", 0, true);
}

bool Encode(HCRYPTMSG message, Blob& signature) noexcept {
    DWORD size = 0;
    if (!CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, nullptr, &size)) return FailWithReason();
    auto* const memory = signature.Renew(size);
    if (memory == nullptr) return Fail(kErrorNotEnoughMemory);
    return CryptMsgGetParam(message, CMSG_CONTENT_PARAM, 0, memory, &size) || FailWithReason();
}

bool Sign(const ContentFeed& feed, const Signer& signer, Blob& signature) {
    SigningTime time;
    std::vector<CERT_BLOB> certificates;
    if (!time.Set() || !ListCertificates(signer.file.certificates.get(), certificates)) {
        return false;
    }
    ::SetLastError(ERROR_SUCCESS);
    const Message message = Open(signer, time, certificates);
    return message != nullptr && Digest(feed, message.get()) && Encode(message.get(), signature);
}

}  // namespace

}  // namespace CryptoApi

bool Platform::SignDetached(const KivGuiBase::File& signer, const KivGuiBase::AnsiStr& signerText,
                            const ContentFeed& feed, KivGuiBase::Blob& signature) {
    CryptoApi::LastErrorKept kept;
    CryptoApi::Signer loaded;
    {
        SecretBytes file;
        if (!ReadSignerFile(signer, file) || !CryptoApi::LoadSigner(file, signerText, loaded)) {
            return kept.Fail();
        }
    }
    return CryptoApi::Sign(feed, loaded, signature) || kept.Fail();
}

}  // namespace KivOssSec
