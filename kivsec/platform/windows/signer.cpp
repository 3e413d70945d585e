#include "kivsec/platform/windows/signer.h"

#include <cstddef>
#include <cstring>

// Chooses the signer: the first key of the file whose certificate is there too, and the checks that
// every reader of the message will make: the kind of key, the dates, the purposes (RFC 8550, 4.4).

namespace KivOssSec::CryptoApi {

namespace {

using KivGuiBase::AnsiStr;

/// Returns true if this is the certificate of that key.
bool BelongTogether(const CERT_CONTEXT* certificate, const PrivateKey& key) noexcept {
    // Enough for the longest public key that the system can use, of 16384 bits.
    alignas(std::max_align_t) BYTE memory[4096];
    auto* const ofKey = reinterpret_cast<CERT_PUBLIC_KEY_INFO*>(memory);
    DWORD size = sizeof memory;
    return CryptExportPublicKeyInfo(key.handle, key.purpose, X509_ASN_ENCODING, ofKey, &size) &&
           CertComparePublicKeyInfo(X509_ASN_ENCODING, ofKey,
                                    &certificate->pCertInfo->SubjectPublicKeyInfo);
}

/// Finds the key, and the certificate that belongs to it.
bool FindSigner(Signer& signer) noexcept {
    const KeyFile& file = signer.file;
    bool hasKey = file.container.Get() != 0;
    bool hasCertificate = false;
    const CERT_CONTEXT* next = nullptr;
    while ((next = CertEnumCertificatesInStore(file.certificates.get(), next)) != nullptr) {
        hasCertificate = true;
        const PrivateKey key = file.container.Get() != 0
                                   ? PrivateKey{file.container.Get(), file.keySpec}
                                   : GetKey(next);
        if (key.handle == 0) continue;
        hasKey = true;
        if (!BelongTogether(next, key)) continue;
        signer.certificate.reset(next);
        signer.key = key;
        return true;
    }
    if (!hasCertificate) return Fail(KivGuiBase::kErrorNoCertificate);
    return Fail(hasKey ? KivGuiBase::kErrorBadKey : KivGuiBase::kErrorNoKey);
}

/// Ed25519 is missing: the system has no such keys.
bool CanSign(const CERT_INFO& certificate) noexcept {
    const char* const algorithm = certificate.SubjectPublicKeyInfo.Algorithm.pszObjId;
    for (const char* known : {szOID_RSA_RSA, szOID_RSA_SSA_PSS, szOID_ECC_PUBLIC_KEY}) {
        if (std::strcmp(algorithm, known) == 0) return true;
    }
    return false;
}

/// RFC 8550, 4.4.2. A use that the certificate does not restrict is allowed.
bool HasKeyUsage(CERT_INFO& certificate) noexcept {
    constexpr BYTE kSigning = CERT_DIGITAL_SIGNATURE_KEY_USAGE | CERT_NON_REPUDIATION_KEY_USAGE;
    if (CertFindExtension(szOID_KEY_USAGE, certificate.cExtension, certificate.rgExtension) ==
        nullptr) {
        return true;
    }
    BYTE usage = 0;
    return CertGetIntendedKeyUsage(X509_ASN_ENCODING, &certificate, &usage, sizeof usage) &&
           (usage & kSigning) != 0;
}

/// RFC 8550, 4.4.4. Here too, what the certificate does not restrict is allowed.
bool HasExtendedKeyUsage(const CERT_CONTEXT* certificate) noexcept {
    const CERT_INFO& info = *certificate->pCertInfo;
    if (CertFindExtension(szOID_ENHANCED_KEY_USAGE, info.cExtension, info.rgExtension) == nullptr) {
        return true;
    }
    alignas(std::max_align_t) BYTE memory[4096];
    auto* const usage = reinterpret_cast<CERT_ENHKEY_USAGE*>(memory);
    DWORD size = sizeof memory;
    if (!CertGetEnhancedKeyUsage(certificate, CERT_FIND_EXT_ONLY_ENHKEY_USAGE_FLAG, usage, &size)) {
        return false;
    }
    for (DWORD i = 0; i < usage->cUsageIdentifier; ++i) {
        const char* const purpose = usage->rgpszUsageIdentifier[i];
        if (std::strcmp(purpose, szOID_PKIX_KP_EMAIL_PROTECTION) == 0 ||
            std::strcmp(purpose, "2.5.29.37.0") == 0) {  // anyExtendedKeyUsage
            return true;
        }
    }
    return false;
}

}  // namespace

bool LoadSigner(SecretBytes& bytes, const AnsiStr& passPhrase, Signer& signer) noexcept {
    if (!ReadPkcs12(bytes, passPhrase, signer.file) || !FindSigner(signer)) return false;
    CERT_INFO& info = *signer.certificate->pCertInfo;
    if (!CanSign(info)) return Fail(KivGuiBase::kErrorBadAlgorithm);
    if (CertVerifyTimeValidity(nullptr, &info) != 0) {
        return Fail(KivGuiBase::kErrorCertificateExpired);
    }
    if (!HasKeyUsage(info) || !HasExtendedKeyUsage(signer.certificate.get())) {
        return Fail(KivGuiBase::kErrorCertificateUsage);
    }
    return true;
}

}  // namespace KivOssSec::CryptoApi
