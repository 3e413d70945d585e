#include "sha256.h"

#ifdef KIVMIME_WITH_HASHES
#include <openssl/evp.h>
#endif

#include <new>

#include "hex_text.h"

namespace Tool {

#ifdef KIVMIME_WITH_HASHES

struct Sha256::State {
    EVP_MD* kind =
        EVP_MD_fetch(nullptr, "SHA256", nullptr);  // once: it takes longer than a short text
    EVP_MD_CTX* context = EVP_MD_CTX_new();

    State() = default;
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        EVP_MD_CTX_free(context);
        EVP_MD_free(kind);
    }
    void Begin() const {
        if (kind == nullptr || EVP_DigestInit_ex2(context, kind, nullptr) != 1) {
            throw std::bad_alloc();
        }
    }
};

bool Sha256::IsAvailable() {
    return true;
}

Sha256::Sha256() : state_(std::make_unique<State>()) {
    state_->Begin();
}

void Sha256::Add(std::string_view bytes) {
    EVP_DigestUpdate(state_->context, bytes.data(), bytes.size());
}

std::string Sha256::Finish() {
    unsigned char hash[32];
    EVP_DigestFinal_ex(state_->context, hash, nullptr);
    state_->Begin();
    return MakeHexText({reinterpret_cast<const char*>(hash), sizeof hash});
}

#else

struct Sha256::State {};

bool Sha256::IsAvailable() {
    return false;
}

Sha256::Sha256() = default;
void Sha256::Add(std::string_view /*bytes*/) {}
std::string Sha256::Finish() {
    return {};
}

#endif

Sha256::~Sha256() = default;

}  // namespace Tool
