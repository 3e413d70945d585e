#include <cstddef>
#include <memory>
#include <string_view>

#include "kivsec/platform/posix/signer.h"

// A PKCS#12 file (RFC 7292) is a list of safes, plain or encrypted, each a list of bags with a key,
// a certificate or something else. The pass phrase is checked against the code over the whole (MAC)
// first, so that a failure after that is one of the encryption. Old encryption needs OpenSSL's
// "legacy" provider, which is loaded only when reading without it has failed.

namespace KivOssSec::OpenSsl {

namespace {

using KivGuiBase::kErrorBadEncoding;
using KivGuiBase::kErrorInvalidPassword;
using KivGuiBase::kErrorNotSupported;

struct SafesFreer {
    void operator()(STACK_OF(PKCS7) * safes) const noexcept {
        sk_PKCS7_pop_free(safes, PKCS7_free);
    }
};
struct BagsFreer {
    void operator()(STACK_OF(PKCS12_SAFEBAG) * bags) const noexcept {
        sk_PKCS12_SAFEBAG_pop_free(bags, PKCS12_SAFEBAG_free);
    }
};
struct BytesFreer {
    void operator()(unsigned char* bytes) const noexcept { OPENSSL_free(bytes); }
};
using Safes = std::unique_ptr<STACK_OF(PKCS7), SafesFreer>;
using Bags = std::unique_ptr<STACK_OF(PKCS12_SAFEBAG), BagsFreer>;
using Pkcs12 = std::unique_ptr<PKCS12, Freer<PKCS12_free>>;

constexpr int kToNul = -1;  // the length of a pass phrase that ends in NUL

/// Walks DER: into the next element, or past it. After a malformed element nothing is left.
class DerCursor {
public:
    DerCursor(const unsigned char* start, size_t size) noexcept
        : next_(start), end_(start + size) {}

    DerCursor& Enter() noexcept { return Move(true); }
    DerCursor& Skip() noexcept { return Move(false); }
    /// The rest of what was entered.
    std::string_view GetRest() const noexcept {
        return {reinterpret_cast<const char*>(next_), static_cast<size_t>(end_ - next_)};
    }

private:
    DerCursor& Move(bool enter) noexcept {
        const unsigned char* content = next_;
        long length = 0;
        int tag = 0;
        int tagClass = 0;
        constexpr int kMalformed = 0x80;
        if (next_ == end_ ||
            (ASN1_get_object(&content, &length, &tag, &tagClass, end_ - next_) & kMalformed) != 0) {
            next_ = end_;
        } else if (enter) {
            next_ = content;
            end_ = content + length;
        } else {
            next_ = content + length;
        }
        return *this;
    }

    const unsigned char* next_;
    const unsigned char* end_;
};

/// Reads a PKCS#12 file bag by bag, because PKCS12_parse would make the certificates in the host's
/// context.
class Reader {
public:
    Reader(const char* passPhrase, const Context& context, KeyFile& file) noexcept
        : passPhrase_(passPhrase), context_(context), file_(file) {}

    /// @return false when something could not be decrypted or decoded.
    bool ReadSafes(const PKCS12* source) noexcept {
        const Safes safes(PKCS12_unpack_authsafes(source));
        if (safes == nullptr) return false;
        for (int i = 0; i < sk_PKCS7_num(safes.get()); ++i) {
            PKCS7* const safe = sk_PKCS7_value(safes.get(), i);
            const bool isSealed = PKCS7_type_is_encrypted(safe);
            if (!isSealed && !PKCS7_type_is_data(safe)) continue;
            const Bags bags(isSealed ? PKCS12_unpack_p7encdata(safe, passPhrase_, kToNul)
                                     : PKCS12_unpack_p7data(safe));
            if (bags == nullptr || !ReadBags(bags.get())) return false;
        }
        return true;
    }

private:
    bool ReadBags(const STACK_OF(PKCS12_SAFEBAG) * bags) noexcept {
        for (int i = 0; i < sk_PKCS12_SAFEBAG_num(bags); ++i) {
            if (!ReadBag(sk_PKCS12_SAFEBAG_value(bags, i))) return false;
        }
        return true;
    }

    bool ReadBag(const PKCS12_SAFEBAG* bag) noexcept {
        switch (PKCS12_SAFEBAG_get_nid(bag)) {
            case NID_keyBag:
                return TakeKey(PKCS12_SAFEBAG_get0_p8inf(bag));
            case NID_pkcs8ShroudedKeyBag: {
                if (file_.key != nullptr) return true;
                const KeyInfo info(PKCS12_decrypt_skey_ex(bag, passPhrase_, kToNul,
                                                          context_.GetHandle(), nullptr));
                return info != nullptr && TakeKey(info.get());
            }
            case NID_certBag:
                return PKCS12_SAFEBAG_get_bag_nid(bag) != NID_x509Certificate ||
                       TakeCertificate(bag);
            case NID_safeContentsBag:
                return ReadBags(PKCS12_SAFEBAG_get0_safes(bag));
            default:
                return true;
        }
    }

    bool TakeKey(const PKCS8_PRIV_KEY_INFO* info) noexcept {
        if (file_.key != nullptr) return true;
        file_.key = DecodeKey(info, context_);
        return file_.key != nullptr;
    }

    bool TakeCertificate(const PKCS12_SAFEBAG* bag) noexcept {
        unsigned char* bytes = nullptr;
        const int size = i2d_PKCS12_SAFEBAG(bag, &bytes);
        const std::unique_ptr<unsigned char, BytesFreer> owner(bytes);
        if (size <= 0) return false;
        // SafeBag: SEQUENCE { type, [0] { CertBag: SEQUENCE { type, [0] { OCTET STRING } } }, ...}
        // (RFC 7292, 4.2 and 4.2.3)
        DerCursor cursor(bytes, static_cast<size_t>(size));
        cursor.Enter().Skip().Enter().Enter().Skip().Enter().Enter();
        return AddCertificate(cursor.GetRest(), context_, file_);
    }

    const char* passPhrase_;
    const Context& context_;
    KeyFile& file_;
};

/// An empty pass phrase is stored in one of two ways: as an empty text, or as none (null).
bool FindPassPhrase(PKCS12* source, const char*& passPhrase) noexcept {
    if (PKCS12_mac_present(source) == 0) return true;
    if (PKCS12_verify_mac(source, passPhrase, kToNul) == 1) return true;
    if (*passPhrase != '\0') return false;
    passPhrase = nullptr;
    return PKCS12_verify_mac(source, passPhrase, 0) == 1;
}

Pkcs12 Decode(std::string_view bytes, const Context& context) noexcept {
    PKCS12* source = PKCS12_init_ex(NID_pkcs7_data, context.GetHandle(), nullptr);
    auto* next = reinterpret_cast<const unsigned char*>(bytes.data());
    if (source == nullptr) return nullptr;
    // Frees the object when it fails.
    return Pkcs12(d2i_PKCS12(&source, &next, static_cast<long>(bytes.size())));
}

}  // namespace

bool ReadPkcs12(std::string_view bytes, const char* passPhrase, Context& context,
                KeyFile& file) noexcept {
    const ErrorQueueGuard guard;
    const Pkcs12 source = Decode(bytes, context);
    if (source == nullptr) return Fail(kErrorBadEncoding);
    if (!FindPassPhrase(source.get(), passPhrase)) return Fail(kErrorInvalidPassword);
    if (Reader(passPhrase, context, file).ReadSafes(source.get())) return true;
    // The encryption may be an old one: start again with the algorithms for it.
    const bool hasLegacy = context.AddLegacy();
    file = KeyFile();
    if (hasLegacy && Reader(passPhrase, context, file).ReadSafes(source.get())) return true;
    if (PKCS12_mac_present(source.get()) == 0) return Fail(kErrorInvalidPassword);
    return Fail(hasLegacy ? kErrorBadEncoding : kErrorNotSupported);
}

}  // namespace KivOssSec::OpenSsl
