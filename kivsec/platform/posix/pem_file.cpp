#include <cstring>
#include <string_view>

#include <openssl/pem.h>

#include "kivsec/platform/posix/signer.h"
#include "kivsec/secret.h"

// A PEM file is read block by block: the first private key and every certificate are taken, other
// blocks are ignored. OpenSSL has one call for all of it, but that decrypts with the host's
// algorithms and leaves copies of the key in memory, so each block is decoded here, and wiped.

namespace KivOssSec::OpenSsl {

namespace {

using KivGuiBase::kErrorBadEncoding;
using KivGuiBase::kErrorInvalidPassword;

/// One "-----BEGIN NAME-----" block, decoded. It may be a key, so its memory is wiped.
class PemBlock {
public:
    PemBlock() noexcept = default;
    PemBlock(const PemBlock&) = delete;
    PemBlock& operator=(const PemBlock&) = delete;
    ~PemBlock() { Clear(); }

    /// Reads the next block. @return false at the end, and at a damaged block, with `failed` set.
    bool Next(BIO* source, bool& failed) noexcept {
        Clear();
        const ErrorQueueGuard guard;
        if (PEM_read_bio_ex(source, &name_, &header_, &data_, &size_, PEM_FLAG_SECURE) == 1) {
            return true;
        }
        failed = ERR_GET_REASON(ERR_peek_last_error()) != PEM_R_NO_START_LINE;
        return false;
    }

    std::string_view GetName() const noexcept { return name_; }
    char* GetHeader() noexcept { return header_; }
    unsigned char* GetData() noexcept { return data_; }
    long GetSize() const noexcept { return size_; }
    std::string_view GetBytes() const noexcept {
        return {reinterpret_cast<const char*>(data_), static_cast<size_t>(size_)};
    }

private:
    // PEM_FLAG_SECURE allocates from the secure heap, which is the normal heap unless the host has
    // set one up.
    void Clear() noexcept {
        OPENSSL_secure_free(name_);
        OPENSSL_secure_free(header_);
        OPENSSL_secure_clear_free(data_, static_cast<size_t>(size_));
        name_ = header_ = nullptr;
        data_ = nullptr;
        size_ = 0;
    }

    char* name_ = nullptr;
    char* header_ = nullptr;
    unsigned char* data_ = nullptr;
    long size_ = 0;
};

/// Decrypts a block with "Proc-Type: 4,ENCRYPTED" (RFC 1421, 4.6.1.1) in place. OpenSSL's own
/// function would use the host's algorithms. A block without such a header is left unchanged.
class OldEncryption {
public:
    OldEncryption(const Context& context, const char* passPhrase) noexcept
        : context_(context), passPhrase_(passPhrase) {}

    /// @param size  receives the size of the plain text.
    bool Decrypt(PemBlock& block, long& size) noexcept {
        size = block.GetSize();
        EVP_CIPHER_INFO info;
        if (PEM_get_EVP_CIPHER_INFO(block.GetHeader(), &info) != 1) return false;
        if (info.cipher == nullptr) return true;
        const std::unique_ptr<EVP_CIPHER, Freer<EVP_CIPHER_free>> cipher(
            EVP_CIPHER_fetch(context_.GetHandle(), EVP_CIPHER_get0_name(info.cipher), nullptr));
        unsigned char key[EVP_MAX_KEY_LENGTH];
        const bool plain = cipher != nullptr && MakeKey(cipher.get(), info.iv, key) &&
                           Run(cipher.get(), info.iv, key, block, size);
        Wipe(key, sizeof key);
        return plain;
    }

private:
    bool MakeKey(const EVP_CIPHER* cipher, const unsigned char* salt,
                 unsigned char* key) const noexcept {
        const std::unique_ptr<EVP_MD, Freer<EVP_MD_free>> md5(
            EVP_MD_fetch(context_.GetHandle(), "MD5", nullptr));
        return md5 != nullptr &&
               EVP_BytesToKey(cipher, md5.get(), salt,
                              reinterpret_cast<const unsigned char*>(passPhrase_),
                              static_cast<int>(std::strlen(passPhrase_)), 1, key, nullptr) > 0;
    }

    static bool Run(const EVP_CIPHER* cipher, const unsigned char* iv, const unsigned char* key,
                    PemBlock& block, long& size) noexcept {
        const std::unique_ptr<EVP_CIPHER_CTX, Freer<EVP_CIPHER_CTX_free>> run(EVP_CIPHER_CTX_new());
        int first = 0;
        int last = 0;
        const bool done = run != nullptr &&
                          EVP_DecryptInit_ex2(run.get(), cipher, key, iv, nullptr) == 1 &&
                          EVP_DecryptUpdate(run.get(), block.GetData(), &first, block.GetData(),
                                            static_cast<int>(size)) == 1 &&
                          EVP_DecryptFinal_ex(run.get(), block.GetData() + first, &last) == 1;
        size = static_cast<long>(first) + last;
        return done;
    }

    const Context& context_;
    const char* passPhrase_;
};

/// "ENCRYPTED PRIVATE KEY" (RFC 5958).
Key ReadEncryptedKey(PemBlock& block, const char* passPhrase, Context& context) noexcept {
    const unsigned char* next = block.GetData();
    const std::unique_ptr<X509_SIG, Freer<X509_SIG_free>> sealed(
        d2i_X509_SIG(nullptr, &next, block.GetSize()));
    if (sealed == nullptr) return nullptr;
    const auto open = [&] {
        return KeyInfo(PKCS8_decrypt_ex(sealed.get(), passPhrase,
                                        static_cast<int>(std::strlen(passPhrase)),
                                        context.GetHandle(), nullptr));
    };
    KeyInfo info = open();
    if (info == nullptr && context.AddLegacy()) info = open();
    return info != nullptr ? DecodeKey(info.get(), context) : nullptr;
}

/// "PRIVATE KEY", or one named for its algorithm.
Key ReadPlainKey(PemBlock& block, long size, const Context& context) noexcept {
    if (block.GetName() == "PRIVATE KEY") {
        const unsigned char* next = block.GetData();
        const KeyInfo info(d2i_PKCS8_PRIV_KEY_INFO(nullptr, &next, size));
        return info != nullptr ? DecodeKey(info.get(), context) : nullptr;
    }
    const int type = block.GetName() == "RSA PRIVATE KEY"  ? EVP_PKEY_RSA
                     : block.GetName() == "EC PRIVATE KEY" ? EVP_PKEY_EC
                                                           : EVP_PKEY_DSA;
    return context.MakeKey([&](OSSL_LIB_CTX* library) {
        const unsigned char* next = block.GetData();
        return d2i_PrivateKey_ex(type, nullptr, &next, size, library, nullptr);
    });
}

bool ReadKey(PemBlock& block, const char* passPhrase, Context& context, KeyFile& file) noexcept {
    const ErrorQueueGuard guard;
    if (block.GetName() == "ENCRYPTED PRIVATE KEY") {
        file.key = ReadEncryptedKey(block, passPhrase, context);
        return file.key != nullptr || Fail(kErrorInvalidPassword);
    }
    long size = 0;
    const bool isEncrypted = block.GetHeader()[0] != '\0';
    if (!OldEncryption(context, passPhrase).Decrypt(block, size)) {
        return Fail(kErrorInvalidPassword);
    }
    file.key = ReadPlainKey(block, size, context);
    // With a wrong pass phrase the decrypted text may look right until it is decoded.
    return file.key != nullptr || Fail(isEncrypted ? kErrorInvalidPassword : kErrorBadEncoding);
}

}  // namespace

bool ReadPem(std::string_view bytes, const char* passPhrase, Context& context,
             KeyFile& file) noexcept {
    const Bio source(BIO_new_mem_buf(bytes.data(), static_cast<int>(bytes.size())));
    if (source == nullptr) return Fail(KivGuiBase::kErrorNotEnoughMemory);
    PemBlock block;
    bool failed = false;
    bool empty = true;
    while (block.Next(source.get(), failed)) {
        empty = false;
        if (block.GetName().ends_with("PRIVATE KEY")) {
            if (file.key == nullptr && !ReadKey(block, passPhrase, context, file)) return false;
        } else if (block.GetName() == "CERTIFICATE" || block.GetName() == "X509 CERTIFICATE") {
            if (!AddCertificate(block.GetBytes(), context, file)) return false;
        }
    }
    return (!failed && !empty) || Fail(kErrorBadEncoding);
}

}  // namespace KivOssSec::OpenSsl
