#include <openssl/core_names.h>
#include <openssl/params.h>
#include <openssl/rsa.h>

#include <algorithm>
#include <functional>

#include "kivsec/platform/platform.h"
#include "kivsec/platform/posix/signer.h"
#include "kivsec/secret.h"

// CMS (RFC 5652) by OpenSSL, in a context of our own. Each failure sets the last-error code and
// leaves nothing in the thread's queue of OpenSSL errors, which the host reads too.

namespace KivOssSec {

namespace OpenSsl {

namespace {

using KivGuiBase::AnsiStr;
using KivGuiBase::Blob;
using KivGuiBase::kErrorBadAlgorithm;
using KivGuiBase::kErrorNotEnoughMemory;
using KivGuiBase::kErrorSigningFailed;

using Message = std::unique_ptr<CMS_ContentInfo, Freer<CMS_ContentInfo_free>>;
using Algorithm = std::unique_ptr<X509_ALGOR, Freer<X509_ALGOR_free>>;

// CMS_NOSMIMECAP: we do not know what the sender's program can decrypt.
constexpr unsigned kFlags = CMS_BINARY | CMS_DETACHED | CMS_PARTIAL | CMS_NOSMIMECAP;

bool IsPss(const Signer& signer) noexcept {
    return EVP_PKEY_is_a(signer.key.get(), "RSA-PSS") == 1;
}

/// For an RSA-PSS key, makes the salt as long as the digest, as RFC 4055, 3.1 advises. Other keys
/// need no parameters.
bool SetParameters(CMS_SignerInfo* info, const Signer& signer) noexcept {
    return !IsPss(signer) || EVP_PKEY_CTX_set_rsa_pss_saltlen(CMS_SignerInfo_get0_pkey_ctx(info),
                                                              RSA_PSS_SALTLEN_DIGEST) > 0;
}

bool AddOthers(CMS_ContentInfo* message, const Signer& signer) noexcept {
    STACK_OF(X509)* const others = signer.others.get();
    for (int i = 0; i < sk_X509_num(others); ++i) {
        const ErrorQueueGuard guard;
        // Fails only for a certificate that is there already, or when memory runs out.
        if (CMS_add1_cert(message, sk_X509_value(others, i)) != 1 &&
            ERR_GET_REASON(ERR_peek_last_error()) != CMS_R_CERTIFICATE_ALREADY_PRESENT) {
            return Fail(kErrorNotEnoughMemory);
        }
    }
    return true;
}

/// Passes the content into a chain of BIOs.
bool Fill(BIO* target, const ContentFeed& feed) {
    constexpr size_t kMaxWrite = 1 << 30;  // a BIO counts with int
    bool isTaken = true;
    const auto take = [&](const char* bytes, size_t size) noexcept {
        while (isTaken && size != 0) {
            const size_t part = std::min(size, kMaxWrite);
            const int count = static_cast<int>(part);
            isTaken = BIO_write(target, bytes, count) == count;
            bytes += part;
            size -= part;
        }
        return isTaken || Fail(kErrorSigningFailed);
    };
    return feed(std::cref(take)) && (isTaken || Fail(kErrorSigningFailed));
}

/// Says in `info` how the key signs.
bool SetAlgorithm(CMS_SignerInfo* info) noexcept {
    unsigned char der[128];
    OSSL_PARAM parameters[] = {
        OSSL_PARAM_construct_octet_string(OSSL_SIGNATURE_PARAM_ALGORITHM_ID, der, sizeof der),
        OSSL_PARAM_construct_end()};
    if (EVP_PKEY_CTX_get_params(CMS_SignerInfo_get0_pkey_ctx(info), parameters) <= 0) return false;
    const unsigned char* next = der;
    const Algorithm algorithm(
        d2i_X509_ALGOR(nullptr, &next, static_cast<long>(parameters[0].return_size)));
    X509_ALGOR* stated = nullptr;
    CMS_SignerInfo_get0_algs(info, nullptr, nullptr, nullptr, &stated);
    return algorithm != nullptr && X509_ALGOR_copy(stated, algorithm.get()) == 1;
}

/// Does for an RSA-PSS key what CMS_dataFinal does for others. That would decode the algorithm into the
/// object that `info` points to; when memory runs out there, OpenSSL frees this object, and freeing the
/// message frees it again.
bool SignWithPss(CMS_ContentInfo* message, CMS_SignerInfo* info, BIO* content) noexcept {
    char digest[EVP_MAX_MD_SIZE];
    const int size = BIO_gets(BIO_find_type(content, BIO_TYPE_MD), digest, sizeof digest);
    const auto add = [&](int attribute, int type, const void* value, int length) {
        return CMS_signed_add1_attr_by_NID(info, attribute, type, value, length) == 1;
    };
    return size > 0 && SetAlgorithm(info) &&
           add(NID_pkcs9_messageDigest, V_ASN1_OCTET_STRING, digest, size) &&
           add(NID_pkcs9_contentType, V_ASN1_OBJECT, CMS_get0_eContentType(message), -1) &&
           CMS_SignerInfo_sign(info) == 1;
}

bool DigestAndSign(const ContentFeed& feed, const Signer& signer, CMS_ContentInfo* message,
                   CMS_SignerInfo* info) {
    const Bio digest(CMS_dataInit(message, nullptr));
    if (digest == nullptr) return Fail(kErrorSigningFailed);
    if (!Fill(digest.get(), feed)) return false;
    const bool isSigned = IsPss(signer) ? SignWithPss(message, info, digest.get())
                                        : CMS_dataFinal(message, digest.get()) == 1;
    return isSigned || Fail(kErrorSigningFailed);
}

bool Encode(const CMS_ContentInfo* message, Blob& signature) noexcept {
    const int size = i2d_CMS_ContentInfo(message, nullptr);
    if (size <= 0) return Fail(kErrorSigningFailed);
    auto* const begin =
        reinterpret_cast<unsigned char*>(signature.Renew(static_cast<unsigned>(size)));
    if (begin == nullptr) return Fail(kErrorNotEnoughMemory);
    // Where there is no memory to sort a set, its members are missing, and the size is right all the same.
    unsigned char* next = begin;
    const bool isWhole = i2d_CMS_ContentInfo(message, &next) == size && next == begin + size;
    return isWhole || Fail(kErrorSigningFailed);
}

bool Sign(const ContentFeed& feed, const Signer& signer, const Context& context, Blob& signature) {
    const Message message(
        CMS_sign_ex(nullptr, nullptr, nullptr, nullptr, kFlags, context.GetHandle(), nullptr));
    if (message == nullptr) return Fail(kErrorSigningFailed);
    // CMS_KEY_PARAM lets the key decide how it signs, and fails for a key restricted to another
    // way.
    CMS_SignerInfo* const info =
        CMS_add1_signer(message.get(), signer.certificate.get(), signer.key.get(), EVP_sha256(),
                        kFlags | CMS_KEY_PARAM);
    if (info == nullptr || !SetParameters(info, signer)) return Fail(kErrorBadAlgorithm);
    if (!AddOthers(message.get(), signer) || !DigestAndSign(feed, signer, message.get(), info)) {
        return false;
    }
    // Where there is no memory to sort the signed attributes, OpenSSL signs something else, and says
    // nothing.
    if (CMS_SignerInfo_verify(info) != 1) return Fail(kErrorSigningFailed);
    return Encode(message.get(), signature);
}

}  // namespace

}  // namespace OpenSsl

bool Platform::SignDetached(const KivGuiBase::File& signer, const KivGuiBase::AnsiStr& signerText,
                            const ContentFeed& feed, KivGuiBase::Blob& signature) {
    const OpenSsl::ErrorQueueGuard guard;
    OpenSsl::Context context;
    if (!context.IsReady()) return OpenSsl::Fail(KivGuiBase::kErrorSigningFailed);
    OpenSsl::Signer loaded;
    {
        SecretBytes file;
        if (!ReadSignerFile(signer, file) ||
            !OpenSsl::LoadSigner({file.GetData(), file.GetSize()}, signerText.GetStr(), context,
                                 loaded)) {
            return false;
        }
    }
    return OpenSsl::Sign(feed, loaded, context, signature);
}

}  // namespace KivOssSec
