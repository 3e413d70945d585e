#pragma once

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstring>

#if defined(__SSE2__)
#include <emmintrin.h>
#endif

namespace KivGuiBase {

/// A set of the 16 places of a Vector16: bit i is for byte i.
using PlaceMask = uint32_t;
inline constexpr PlaceMask kAllPlaces = 0xFFFF;

/// How many places from the first on are in the mask: 0 to 16. Bits above the places do not count.
inline unsigned CountLeading(PlaceMask mask) noexcept {
    return static_cast<unsigned>(std::countr_zero(static_cast<PlaceMask>(~(mask & kAllPlaces))));
}

/// 16 bytes that are compared in one step; loads and stores need no alignment.
class Vector16 {
public:
    static constexpr size_t kSize = 16;

#if defined(__SSE2__)

    explicit Vector16(const char* bytes) noexcept
        : bytes_(_mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes))) {}
    void Store(char* out) const noexcept {
        _mm_storeu_si128(reinterpret_cast<__m128i*>(out), bytes_);
    }
    /// The places that hold `c`.
    PlaceMask Are(char c) const noexcept {
        return static_cast<PlaceMask>(_mm_movemask_epi8(_mm_cmpeq_epi8(bytes_, _mm_set1_epi8(c))));
    }
    /// The places that hold `first` to `last`, two ASCII characters.
    PlaceMask AreBetween(char first, char last) const noexcept {
        const __m128i above = _mm_cmpgt_epi8(bytes_, _mm_set1_epi8(static_cast<char>(first - 1)));
        const __m128i below = _mm_cmplt_epi8(bytes_, _mm_set1_epi8(static_cast<char>(last + 1)));
        return static_cast<PlaceMask>(_mm_movemask_epi8(_mm_and_si128(above, below)));
    }

private:
    __m128i bytes_;

#else

    explicit Vector16(const char* bytes) noexcept {
        std::memcpy(bytes_, bytes, kSize);
    }
    void Store(char* out) const noexcept {
        std::memcpy(out, bytes_, kSize);
    }
    PlaceMask Are(char c) const noexcept {
        return Collect([c](char byte) { return byte == c; });
    }
    PlaceMask AreBetween(char first, char last) const noexcept {
        return Collect([=](char byte) { return byte >= first && byte <= last; });
    }

private:
    template <class Test>
    PlaceMask Collect(Test test) const noexcept {
        PlaceMask mask = 0;
        for (size_t i = 0; i < kSize; ++i) mask |= static_cast<PlaceMask>(test(bytes_[i])) << i;
        return mask;
    }

    char bytes_[kSize];

#endif
};

}  // namespace KivGuiBase
