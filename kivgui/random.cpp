#include "kivgui/random.h"

#include <atomic>
#include <chrono>
#include <cstring>

#include "kivgui/error.h"
#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

using Pool = ThreadData::RandomPool;

using RandomSource = void (*)(void* buffer, size_t size);
std::atomic<RandomSource> randomSource{nullptr};

/// A pseudo-random number never fails: the heights of map nodes are drawn from them.
uint64_t DrawSeed(const ThreadData& data) {
    uint64_t seed = 0;
    const uint32_t lastError = GetLastError();
    if (GetUnpredictableBytes(&seed, sizeof seed)) return seed;
    SetLastError(lastError);
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    return reinterpret_cast<uintptr_t>(&data) ^ static_cast<uint64_t>(ticks);
}

uint64_t NextPseudoRandom() {
    ThreadData& data = Platform::GetThreadData();
    if (!data.isSeeded) {
        data.pseudoRandomState = DrawSeed(data);
        data.isSeeded = true;
    }
    return SplitMix64(data.pseudoRandomState);
}

}  // namespace

bool GetUnpredictableBytes(void* buffer, size_t size) noexcept {
    if (const RandomSource source = randomSource.load(std::memory_order_relaxed)) {
        source(buffer, size);
        return true;
    }
    if (size > Pool::kSize) return Platform::FillRandom(buffer, size);
    const uint64_t generation = Platform::GetProcessGeneration();
    Pool& pool = Platform::GetThreadData().randomPool;
    if (pool.left < size || pool.processGeneration != generation) {
        pool.left = 0;  // what a failure leaves in the pool is not given out
        if (!Platform::FillRandom(pool.bytes, Pool::kSize)) return false;
        pool.left = Pool::kSize;
        pool.processGeneration = generation;
    }
    unsigned char* const next = pool.bytes + (Pool::kSize - pool.left);
    std::memcpy(buffer, next, size);
    // Bytes that were given out must not be found in memory later.
    std::memset(next, 0, size);
    pool.left -= size;
    return true;
}

void SetRandomSource(RandomSource source) noexcept {
    randomSource.store(source, std::memory_order_relaxed);
}

uint64_t GetPseudoRandomNumberEx(uint64_t low, uint64_t high) noexcept {
    const uint64_t span = high - low;
    if (span == UINT64_MAX) return NextPseudoRandom();
    const uint64_t count = span + 1;
    if ((count & span) == 0) return low + (NextPseudoRandom() & span);
    // Numbers above the last whole multiple of `count` would favour the low results.
    const uint64_t limit = UINT64_MAX - UINT64_MAX % count;
    uint64_t number;
    do {
        number = NextPseudoRandom();
    } while (number >= limit);
    return low + number % count;
}

}  // namespace KivGuiBase
