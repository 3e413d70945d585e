#include "kivsec/platform/windows/signer.h"

#include <bcrypt.h>
#include <algorithm>
#include <cstring>
#include <iterator>
#include <span>

// Reads as much of a PKCS#12 file (RFC 7292) as is not encrypted: the code over the whole (MAC),
// which shows whether the pass phrase is right, and the types of the bags. Lengths come from the
// file, so each is compared with what is left before it is used; a malformed element leaves
// nothing.

namespace KivOssSec::CryptoApi {

namespace {

using Bytes = std::span<const BYTE>;

enum Tag : BYTE { kInteger = 0x02, kOctets = 0x04, kOid = 0x06, kSequence = 0x30, kFirst = 0xA0 };

/// Reads elements of DER one after another. After a malformed one everything is empty.
class Der {
public:
    explicit Der(Bytes bytes) noexcept : rest_(bytes) {}

    bool IsEmpty() const noexcept { return rest_.empty(); }
    Der Enter(Tag tag) noexcept { return Der(Take(tag)); }
    /// The content of the next element; empty when it has another tag or is malformed.
    Bytes Take(Tag tag) noexcept {
        size_t header = 2;
        if (rest_.size() < header || rest_[0] != tag) return Fail();
        size_t size = rest_[1];
        if (size >= 0x80) {
            const size_t count = size - 0x80;
            header += count;
            if (count == 0 || count > 4 || rest_.size() < header) return Fail();
            size = 0;
            for (const BYTE digit : rest_.subspan(2, count)) size = size << 8 | digit;
        }
        if (size > rest_.size() - header) return Fail();
        const Bytes content = rest_.subspan(header, size);
        rest_ = rest_.subspan(header + size);
        return content;
    }

private:
    Bytes Fail() noexcept { return rest_ = {}; }

    Bytes rest_;
};

struct HashKind {
    const wchar_t* name;
    size_t block;
    size_t digest;
    BYTE oidSize;
    BYTE oid[9];
};
constexpr HashKind kHashes[] = {
    {BCRYPT_SHA1_ALGORITHM, 64, 20, 5, {0x2B, 0x0E, 0x03, 0x02, 0x1A}},
    {BCRYPT_SHA256_ALGORITHM, 64, 32, 9, {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x01}},
    {BCRYPT_SHA384_ALGORITHM, 128, 48, 9, {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x02}},
    {BCRYPT_SHA512_ALGORITHM, 128, 64, 9, {0x60, 0x86, 0x48, 0x01, 0x65, 0x03, 0x04, 0x02, 0x03}},
};
constexpr size_t kMaxDigest = 64;

/// What the code is computed from (PFX and MacData).
struct Mac {
    Bytes content;
    const HashKind* hash = nullptr;
    Bytes digest;
    Bytes salt;
    unsigned iterations = 1;
};

bool Parse(Bytes file, Mac& mac) noexcept {
    Der pfx = Der(file).Enter(kSequence);
    pfx.Take(kInteger);
    Der contentInfo = pfx.Enter(kSequence);
    contentInfo.Take(kOid);
    mac.content = contentInfo.Enter(kFirst).Take(kOctets);
    Der macData = pfx.Enter(kSequence);
    Der digestInfo = macData.Enter(kSequence);
    const Bytes oid = digestInfo.Enter(kSequence).Take(kOid);
    mac.digest = digestInfo.Take(kOctets);
    mac.salt = macData.Take(kOctets);
    if (!macData.IsEmpty()) {
        const Bytes digits = macData.Take(kInteger);
        if (digits.empty() || digits.size() > 3) return false;  // more take too long
        mac.iterations = 0;
        for (const BYTE digit : digits) mac.iterations = mac.iterations << 8 | digit;
    }
    const auto* const hash =
        std::find_if(std::begin(kHashes), std::end(kHashes), [oid](const HashKind& kind) {
            return std::equal(oid.begin(), oid.end(), kind.oid, kind.oid + kind.oidSize);
        });
    if (hash == std::end(kHashes)) return false;
    mac.hash = hash;
    return !mac.content.empty() && !mac.salt.empty() && mac.salt.size() <= 1024 &&
           mac.digest.size() == hash->digest;
}

void CloseAlgorithm(BCRYPT_ALG_HANDLE algorithm) noexcept {
    BCryptCloseAlgorithmProvider(algorithm, 0);
}
void DestroyHash(BCRYPT_HASH_HANDLE hash) noexcept {
    BCryptDestroyHash(hash);
}

/// A hash, or with a key an HMAC.
class Hash {
public:
    Hash(const HashKind& kind, ULONG flags) noexcept : size_(static_cast<ULONG>(kind.digest)) {
        BCryptOpenAlgorithmProvider(algorithm_.GetPlace(), kind.name, nullptr, flags);
    }
    bool Compute(Bytes key, Bytes text, BYTE* digest) noexcept {
        Handle<BCRYPT_HASH_HANDLE, DestroyHash> hash;
        return algorithm_.Get() != nullptr &&
               BCryptCreateHash(algorithm_.Get(), hash.GetPlace(), nullptr, 0,
                                const_cast<BYTE*>(key.data()), static_cast<ULONG>(key.size()),
                                0) >= 0 &&
               BCryptHashData(hash.Get(), const_cast<BYTE*>(text.data()),
                              static_cast<ULONG>(text.size()), 0) >= 0 &&
               BCryptFinishHash(hash.Get(), digest, size_, 0) >= 0;
    }

private:
    Handle<BCRYPT_ALG_HANDLE, CloseAlgorithm> algorithm_;
    ULONG size_;
};

/// Repeats `source` up to a whole number of blocks.
BYTE* Repeat(Bytes source, size_t block, BYTE* out) noexcept {
    const size_t size = (source.size() + block - 1) / block * block;
    for (size_t i = 0; i < size; ++i) *out++ = source[i % source.size()];
    return out;
}

/// The text whose repeated hash is the key (RFC 7292, B.2). For a key as long as the digest the
/// algorithm ends after one round.
bool MakeKeyText(const Mac& mac, const wchar_t* passPhrase, SecretBytes& memory,
                 Bytes& text) noexcept {
    constexpr BYTE kForMac = 3;
    const size_t block = mac.hash->block;
    SecretBytes big;  // the pass phrase with its NUL, big-endian
    const size_t units = passPhrase != nullptr ? std::wcslen(passPhrase) + 1 : 0;
    if (!big.Renew(units * 2)) return false;
    for (size_t i = 0; i < units; ++i) {
        big.GetData()[2 * i] = static_cast<char>(passPhrase[i] >> 8);
        big.GetData()[2 * i + 1] = static_cast<char>(passPhrase[i] & 0xFF);
    }
    if (!memory.Renew(block + (mac.salt.size() + block) + (units * 2 + block))) return false;
    auto* const start = reinterpret_cast<BYTE*>(memory.GetData());
    std::memset(start, kForMac, block);
    BYTE* end = Repeat(mac.salt, block, start + block);
    end = Repeat({reinterpret_cast<const BYTE*>(big.GetData()), units * 2}, block, end);
    text = {start, static_cast<size_t>(end - start)};
    return true;
}

enum class MacResult { matches, differs, unknown };

MacResult VerifyMac(const Mac& mac, const wchar_t* passPhrase) noexcept {
    SecretBytes memory;
    Bytes text;
    BYTE key[kMaxDigest];
    BYTE digest[kMaxDigest];
    const size_t size = mac.hash->digest;
    Hash hash(*mac.hash, 0);
    bool done = MakeKeyText(mac, passPhrase, memory, text) && hash.Compute({}, text, key);
    for (unsigned i = 1; done && i < mac.iterations; ++i) done = hash.Compute({}, {key, size}, key);
    done = done &&
           Hash(*mac.hash, BCRYPT_ALG_HANDLE_HMAC_FLAG).Compute({key, size}, mac.content, digest);
    Wipe(key, sizeof key);
    if (!done) return MacResult::unknown;
    return std::equal(mac.digest.begin(), mac.digest.end(), digest) ? MacResult::matches
                                                                    : MacResult::differs;
}

/// What the file has. Safes that are encrypted as a whole hold certificates; keys are encrypted one
/// by one.
struct Holdings {
    bool key = false;
    bool certificate = false;

    void Add(Der bags) noexcept {
        constexpr BYTE kKeyBag = 1, kShroudedKeyBag = 2, kCertBag = 3;
        while (!bags.IsEmpty()) {
            const Bytes type = bags.Enter(kSequence).Take(kOid);
            const BYTE last = type.empty() ? 0 : type.back();
            key = key || last == kKeyBag || last == kShroudedKeyBag;
            certificate = certificate || last == kCertBag;
        }
    }
};

Holdings ListHoldings(Bytes content) noexcept {
    constexpr BYTE kData = 1, kEncryptedData = 6;
    Holdings holdings;
    for (Der safes = Der(content).Enter(kSequence); !safes.IsEmpty();) {
        Der safe = safes.Enter(kSequence);
        const Bytes type = safe.Take(kOid);
        const BYTE last = type.empty() ? 0 : type.back();
        if (last == kEncryptedData) holdings.certificate = true;
        if (last == kData) {
            holdings.Add(Der(Der(safe.Enter(kFirst).Take(kOctets)).Enter(kSequence)));
        }
    }
    return holdings;
}

}  // namespace

KivGuiBase::ErrorCode FindReason(const CRYPT_DATA_BLOB& file, const wchar_t* passPhrase) noexcept {
    Mac mac;
    if (!Parse({file.pbData, file.cbData}, mac)) return KivGuiBase::kErrorSigningFailed;
    MacResult result = VerifyMac(mac, passPhrase);
    if (result == MacResult::differs && *passPhrase == L'\0') result = VerifyMac(mac, nullptr);
    if (result == MacResult::differs) return KivGuiBase::kErrorInvalidPassword;
    if (result == MacResult::unknown) return KivGuiBase::kErrorSigningFailed;
    const Holdings holdings = ListHoldings(mac.content);
    if (!holdings.key) return KivGuiBase::kErrorNoKey;
    if (!holdings.certificate) return KivGuiBase::kErrorNoCertificate;
    return KivGuiBase::kErrorBadAlgorithm;
}

}  // namespace KivOssSec::CryptoApi
