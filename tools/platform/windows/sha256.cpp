#include "sha256.h"

#include <new>

#include "hex_text.h"
#include "kivgui/platform/windows/system.h"

#include <bcrypt.h>

namespace Tool {

struct Sha256::State {
    BCRYPT_ALG_HANDLE provider = nullptr;
    BCRYPT_HASH_HANDLE hash = nullptr;

    State() {
        if (!BCRYPT_SUCCESS(
                BCryptOpenAlgorithmProvider(&provider, BCRYPT_SHA256_ALGORITHM, nullptr, 0))) {
            throw std::bad_alloc();
        }
    }
    State(const State&) = delete;
    State& operator=(const State&) = delete;
    ~State() {
        End();
        BCryptCloseAlgorithmProvider(provider, 0);
    }
    void Begin() {
        if (!BCRYPT_SUCCESS(BCryptCreateHash(provider, &hash, nullptr, 0, nullptr, 0, 0))) {
            hash = nullptr;
            throw std::bad_alloc();
        }
    }
    void End() {
        if (hash != nullptr) BCryptDestroyHash(hash);
        hash = nullptr;
    }
};

bool Sha256::IsAvailable() {
    return true;
}

Sha256::Sha256() : state_(std::make_unique<State>()) {
    state_->Begin();
}

Sha256::~Sha256() = default;

void Sha256::Add(std::string_view bytes) {
    // What decoders give is far shorter than 4 GiB.
    auto* const data = reinterpret_cast<PUCHAR>(const_cast<char*>(bytes.data()));
    BCryptHashData(state_->hash, data, static_cast<ULONG>(bytes.size()), 0);
}

std::string Sha256::Finish() {
    unsigned char hash[32];
    BCryptFinishHash(state_->hash, hash, sizeof hash, 0);
    state_->End();
    state_->Begin();
    return MakeHexText({reinterpret_cast<const char*>(hash), sizeof hash});
}

}  // namespace Tool
