#include "kivsec/platform/posix/signer.h"

#include <openssl/x509v3.h>

// Chooses the signer: the first key of the file, the certificate that belongs to it, and the checks
// that every reader of the message will make: the kind of key, the dates, the purposes (RFC 8550,
// 4.4).

namespace KivOssSec::OpenSsl {

namespace {

/// DER begins with a SEQUENCE whose length takes several bytes. No text begins with such two bytes.
bool IsDer(std::string_view bytes) noexcept {
    return bytes.size() > 1 && bytes[0] == 0x30 && (bytes[1] & 0x80) != 0;
}

/// Ed25519 is missing: it signs with SHA-512 alone (RFC 8419), and OpenSSL 3.0 cannot use it
/// in CMS.
bool CanSign(const EVP_PKEY* key) noexcept {
    return EVP_PKEY_is_a(key, "RSA") == 1 || EVP_PKEY_is_a(key, "RSA-PSS") == 1 ||
           EVP_PKEY_is_a(key, "EC") == 1;
}

bool IsValidNow(const X509* certificate) noexcept {
    return X509_cmp_current_time(X509_get0_notBefore(certificate)) < 0 &&
           X509_cmp_current_time(X509_get0_notAfter(certificate)) > 0;
}

/// RFC 8550, 4.4.2 and 4.4.4. A use that the certificate does not restrict is allowed.
bool IsForMail(X509* certificate) noexcept {
    constexpr uint32_t kSigning = KU_DIGITAL_SIGNATURE | KU_NON_REPUDIATION;
    constexpr uint32_t kMail = XKU_SMIME | XKU_ANYEKU;
    return (X509_get_key_usage(certificate) & kSigning) != 0 &&
           (X509_get_extended_key_usage(certificate) & kMail) != 0;
}

/// Moves the key's certificate out of the others.
bool TakeCertificate(Signer& signer) noexcept {
    const ErrorQueueGuard guard;
    STACK_OF(X509)* const all = signer.others.get();
    for (int i = 0; i < sk_X509_num(all); ++i) {
        if (X509_check_private_key(sk_X509_value(all, i), signer.key.get()) != 1) continue;
        signer.certificate.reset(sk_X509_delete(all, i));
        return true;
    }
    return Fail(KivGuiBase::kErrorBadKey);
}

}  // namespace

Key DecodeKey(const PKCS8_PRIV_KEY_INFO* info, const Context& context) noexcept {
    return context.MakeKey(
        [info](OSSL_LIB_CTX* library) { return EVP_PKCS82PKEY_ex(info, library, nullptr); });
}

bool AddCertificate(std::string_view der, const Context& context, KeyFile& file) noexcept {
    const ErrorQueueGuard guard;
    X509* raw = X509_new_ex(context.GetHandle(), nullptr);
    auto* next = reinterpret_cast<const unsigned char*>(der.data());
    if (raw == nullptr) return Fail(KivGuiBase::kErrorNotEnoughMemory);
    // Frees the object when it fails.
    Certificate certificate(d2i_X509(&raw, &next, static_cast<long>(der.size())));
    if (certificate == nullptr) return Fail(KivGuiBase::kErrorBadEncoding);
    if (file.certificates == nullptr) file.certificates.reset(sk_X509_new_null());
    if (file.certificates == nullptr ||
        sk_X509_push(file.certificates.get(), certificate.get()) <= 0) {
        return Fail(KivGuiBase::kErrorNotEnoughMemory);
    }
    static_cast<void>(certificate.release());
    return true;
}

bool LoadSigner(std::string_view bytes, const char* passPhrase, Context& context,
                Signer& signer) noexcept {
    KeyFile file;
    const bool read = IsDer(bytes) ? ReadPkcs12(bytes, passPhrase, context, file)
                                   : ReadPem(bytes, passPhrase, context, file);
    if (!read) return false;
    if (file.key == nullptr) return Fail(KivGuiBase::kErrorNoKey);
    if (file.certificates == nullptr) return Fail(KivGuiBase::kErrorNoCertificate);
    if (!CanSign(file.key.get())) return Fail(KivGuiBase::kErrorBadAlgorithm);
    signer.key = std::move(file.key);
    signer.others = std::move(file.certificates);
    if (!TakeCertificate(signer)) return false;
    if (!IsValidNow(signer.certificate.get())) return Fail(KivGuiBase::kErrorCertificateExpired);
    if (!IsForMail(signer.certificate.get())) return Fail(KivGuiBase::kErrorCertificateUsage);
    return true;
}

}  // namespace KivOssSec::OpenSsl
