#include "kivgui/random.h"

#include <atomic>
#include <cstring>

#include "kivgui/error.h"
#include "kivgui/platform/platform.h"

namespace KivGuiBase {

namespace {

struct Pool {
    static constexpr size_t kSize = 512;

    unsigned char bytes[kSize];
    size_t used = kSize;
    uint64_t processGeneration = 0;
};

thread_local Pool pool;

using RandomSource = void (*)(void* buffer, size_t size);
std::atomic<RandomSource> randomSource{nullptr};

void Fill(void* buffer, size_t size) {
    if (!Platform::FillRandom(buffer, size)) {
        DebugAbort("GetUnpredictableBytes: the system has no random numbers");
    }
}

uint64_t DrawSeed() {
    uint64_t seed = 0;
    GetUnpredictableBytes(&seed, sizeof seed);
    return seed;
}

// SplitMix64: one addition and three mixing steps, every seed good.
uint64_t NextPseudoRandom() {
    thread_local uint64_t state = DrawSeed();
    state += 0x9E3779B97F4A7C15;
    uint64_t z = state;
    z = (z ^ (z >> 30)) * 0xBF58476D1CE4E5B9;
    z = (z ^ (z >> 27)) * 0x94D049BB133111EB;
    return z ^ (z >> 31);
}

}  // namespace

void GetUnpredictableBytes(void* buffer, size_t size) noexcept {
    if (const RandomSource source = randomSource.load(std::memory_order_relaxed)) {
        return source(buffer, size);
    }
    if (size > Pool::kSize) return Fill(buffer, size);
    const uint64_t generation = Platform::GetProcessGeneration();
    if (Pool::kSize - pool.used < size || pool.processGeneration != generation) {
        Fill(pool.bytes, Pool::kSize);
        pool.used = 0;
        pool.processGeneration = generation;
    }
    std::memcpy(buffer, pool.bytes + pool.used, size);
    // What was handed out must not be found in memory later.
    std::memset(pool.bytes + pool.used, 0, size);
    pool.used += size;
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
