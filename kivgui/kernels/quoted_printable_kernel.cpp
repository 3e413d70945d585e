#include "kivgui/kernels/quoted_printable_kernel.h"

#include <array>
#include <bit>
#include <cstdint>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/kernels/cpu.h"
#include "kivgui/kernels/vector16.h"

#if defined(KIV_HAS_AVX2_FORMS)
#include <immintrin.h>
#endif

// Both forms look at a block of text at a time and first make sets of places, a bit for each byte.
//
// Decoding: an escape is three bytes, of which none but the first can be an "=". So what a place holds is
// known from it and the two bytes after it, and all places of a block are decided at once. Plain
// bytes are copied. The AVX2 form has no branch that depends on the text but where it stops: it puts the
// decoded byte in the place of each "=", and then moves together the bytes that remain, 8 at a time, with
// a table of shuffles. The portable form copies the text between escapes, so its time depends on their
// number.

namespace KivGuiBase::QuotedPrintable {

namespace {

constexpr char kEscape = '=';

/// What decoding leaves to its caller.
enum class Stops { exact, clean };

constexpr uint64_t MaskBelow(unsigned place) noexcept {
    return (uint64_t{1} << place) - 1;
}

Progress MakeProgress(std::string_view text, const char* next, const char* out,
                      const char* put) noexcept {
    return {static_cast<size_t>(next - text.data()), static_cast<size_t>(put - out)};
}

// ------------------------------------------------------------------------------ portable form --

constexpr size_t kBlock = 64;

/// The places of a block that hold `c`.
uint64_t Are(const char* block, char c) noexcept {
    uint64_t places = 0;
    for (size_t i = 0; i < kBlock; i += Vector16::kSize) {
        places |= uint64_t{Vector16(block + i).Are(c)} << i;
    }
    return places;
}

void CopyBlock(const char* from, char* out) noexcept {
    for (size_t i = 0; i < kBlock; i += Vector16::kSize) Vector16(from + i).Store(out + i);
}

/// Where decoding stops in a block, malformed escapes apart. `carried` are such places that are known
/// from the block before; it receives those of the block after.
template <Stops kStops>
uint64_t FindStops(const char* block, uint64_t& carried) noexcept {
    if constexpr (kStops == Stops::exact) {
        const uint64_t lineEnds = Are(block, '\r') & Are(block + 1, '\n');
        const uint64_t lineStarts = lineEnds << 2 | carried;
        carried = lineEnds >> (kBlock - 2);
        return (lineStarts & Are(block, '-') & Are(block + 1, '-')) | Are(block, '\0');
    } else {
        const uint64_t blanks = Are(block, ' ') | Are(block, '\t');
        const uint64_t lineEnds =
            Are(block + 1, '\n') | (Are(block + 1, '\r') & Are(block + 2, '\n'));
        const uint64_t stops = (blanks & lineEnds) << 1 | carried;
        carried = (blanks & lineEnds) >> (kBlock - 1);
        return stops;
    }
}

template <Stops kStops>
Progress DecodePortable(std::string_view text, char* out) noexcept {
    constexpr size_t kReach = 2 * kBlock + 2;  // a copy begins in the block, or right after it
    const char* block = text.data();
    const char* const end = block + text.size();
    const char* next = block;
    char* put = out;
    uint64_t carried = 0;
    bool isStopped = false;
    // The text only shrinks, so what a copy writes too much ends before the room does.
    const auto copyUpTo = [&](const char* stop) {
        CopyBlock(next, put);
        put += stop - next;
        next = stop;
    };
    for (; !isStopped && static_cast<size_t>(end - block) >= kReach; block += kBlock) {
        const uint64_t stops = FindStops<kStops>(block, carried);
        isStopped = stops != 0;
        const auto size = static_cast<unsigned>(std::countr_zero(stops));  // up to the first stop
        uint64_t escapes = Are(block, kEscape);
        if (isStopped) escapes &= MaskBelow(size);
        for (; escapes != 0; escapes &= escapes - 1) {
            copyUpTo(block + std::countr_zero(escapes));
            const unsigned byte = ReadHexPair(next + 1);
            const bool isHex = byte <= 0xFF;
            const bool isBreak = (next[1] == '\r') & (next[2] == '\n');
            if (kStops == Stops::clean && !isHex && !isBreak)
                return MakeProgress(text, next, out, put);
            *put = isHex ? static_cast<char>(byte) : kEscape;
            put += !isBreak;
            next += isHex || isBreak ? kHexEscapeLength : 1;
        }
        if (next < block + size) copyUpTo(block + size);
    }
    return MakeProgress(text, next, out, put);
}

/// Bytes that are escaped: up to `stop`, before which no CR LF is divided; `end` is that of the text.
struct Run {
    const char* next;
    const char* stop;
    const char* end;
    char* out;
    char* put;
    uint16_t* lineEnd;  ///< for the next one

    bool IsLineEnd(const char* at) const noexcept {
        return end - at > 1 && at[0] == '\r' && at[1] == '\n';
    }
};

/// What a byte becomes, but in a CR LF or before one.
struct Unit {
    char text[4];
    unsigned char length;
};

template <Dots kDots>
constexpr bool IsLiteral(char c) noexcept {
    return (c >= ' ' && c <= '~' && c != kEscape && (c != '.' || kDots == Dots::plain)) ||
           c == '\t';
}

template <Dots kDots>
constexpr std::array<Unit, 256> kUnits = [] {
    std::array<Unit, 256> units{};
    for (unsigned byte = 0; byte < 256; ++byte) {
        const char c = static_cast<char>(byte);
        units[byte] = {{c}, 1};
        if (IsLiteral<kDots>(c)) continue;
        units[byte].length = kHexEscapeLength;
        WriteHexEscape(kEscape, c, units[byte].text);
    }
    return units;
}();

/// Literals are copied 16 at a time up to one byte that is none. From there to the next blank literals and
/// escapes take the same steps, because in text that mixes them no processor can tell which comes next.
template <Dots kDots>
Run EscapePortable(Run text) noexcept {
    const char* const begin = text.next;
    const char* next = begin;
    char* put = text.put;
    const auto escapeBlank = [&] {
        if (next != begin && IsBlankAscii(next[-1]) && text.IsLineEnd(next)) {
            put = WriteHexEscape(kEscape, next[-1], put - 1);
        }
    };
    while (next != text.stop) {
        if (text.stop - next >= static_cast<std::ptrdiff_t>(Vector16::kSize)) {
            const Vector16 bytes(next);
            bytes.Store(put);
            const PlaceMask escaped =
                bytes.Are(kEscape) | (kDots == Dots::escaped ? bytes.Are('.') : 0);
            const unsigned plain =
                CountLeading((bytes.AreBetween(' ', '~') | bytes.Are('\t')) & ~escaped);
            next += plain;
            put += plain;
            if (plain == Vector16::kSize) continue;
        }
        do {
            if (text.IsLineEnd(next)) {
                escapeBlank();
                *put++ = *next++;
                *put++ = *next++;
                *text.lineEnd++ = static_cast<uint16_t>(put - text.out);
                break;
            }
            const Unit& unit = kUnits<kDots>[static_cast<unsigned char>(*next++)];
            std::memcpy(put, unit.text, sizeof unit.text);
            put += unit.length;
        } while (next != text.stop && !IsBlankAscii(*next));
    }
    escapeBlank();
    text.put = put;
    return text;
}

#if defined(KIV_HAS_AVX2_FORMS)

// ---------------------------------------------------------------------------------- AVX2 form --

/// The same 16 bytes in both halves, because shuffles work on each half separately.
#define KIV_TWICE(...) _mm256_setr_epi8(__VA_ARGS__, __VA_ARGS__)

constexpr size_t kVector = 32;

KIV_AVX2_INLINE __m256i Load(const char* bytes) noexcept {
    return _mm256_loadu_si256(reinterpret_cast<const __m256i*>(bytes));
}
KIV_AVX2_INLINE uint64_t GetPlaces(__m256i matches) noexcept {
    return static_cast<uint32_t>(_mm256_movemask_epi8(matches));
}
KIV_AVX2_INLINE __m256i Match(__m256i bytes, char c) noexcept {
    return _mm256_cmpeq_epi8(bytes, _mm256_set1_epi8(c));
}
KIV_AVX2_INLINE uint64_t Are(__m256i bytes, char c) noexcept {
    return GetPlaces(Match(bytes, c));
}

/// For each set of 8 places a shuffle that moves the bytes there to the front.
constexpr std::array<uint64_t, 256> kPack = [] {
    std::array<uint64_t, 256> shuffles{};
    for (unsigned places = 0; places < 256; ++places) {
        unsigned count = 0;
        for (uint64_t i = 0; i < 8; ++i) {
            if ((places >> i & 1) != 0) shuffles[places] |= i << 8 * count++;
        }
    }
    return shuffles;
}();

/// Writes those bytes that are kept. Stores 32 bytes at most.
KIV_AVX2_INLINE char* Pack(__m256i bytes, uint64_t kept, char* out) noexcept {
    const auto shuffle = [kept](unsigned place) {
        return static_cast<int64_t>(kPack[kept >> place & 0xFF]);
    };
    const __m256i shuffles =
        _mm256_add_epi8(_mm256_set_epi64x(shuffle(24), shuffle(16), shuffle(8), shuffle(0)),
                        _mm256_set_epi64x(0x0808080808080808, 0, 0x0808080808080808, 0));
    const __m256i packed = _mm256_shuffle_epi8(bytes, shuffles);
    const auto count = [kept](unsigned place) { return std::popcount(kept & MaskBelow(place)); };
    const __m128i low = _mm256_castsi256_si128(packed);
    const __m128i high = _mm256_extracti128_si256(packed, 1);
    const auto store = [out](int place, __m128i eight) {
        _mm_storel_epi64(reinterpret_cast<__m128i*>(out + place), eight);
    };
    store(0, low);
    store(count(8), _mm_unpackhi_epi64(low, low));
    store(count(16), high);
    store(count(24), _mm_unpackhi_epi64(high, high));
    return out + count(32);
}

/// Hexadecimal digits of either case: their values, and 0 in `valid` where there is none.
struct Digits {
    __m256i values;
    __m256i valid;
};

KIV_AVX2_INLINE Digits ReadDigits(__m256i bytes) noexcept {
    // A digit's classes by its low and by its high nibble share a bit: 1 for 0-9, 2 for letters.
    const __m256i lowClass = KIV_TWICE(1, 3, 3, 3, 3, 3, 3, 1, 1, 1, 0, 0, 0, 0, 0, 0);
    const __m256i highClass = KIV_TWICE(0, 0, 0, 1, 2, 0, 2, 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i offsets =
        KIV_TWICE(0, 0, 0, -'0', 10 - 'A', 0, 10 - 'a', 0, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i high = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
    return {_mm256_add_epi8(bytes, _mm256_shuffle_epi8(offsets, high)),
            _mm256_and_si256(_mm256_shuffle_epi8(lowClass, bytes),
                             _mm256_shuffle_epi8(highClass, high))};
}

template <Stops kStops>
KIV_AVX2 Progress DecodeAvx2(std::string_view text, char* out) noexcept {
    constexpr size_t kAhead = 2;
    const char* next = text.data();
    const char* const end = next + text.size();
    char* put = out;
    uint64_t inEscape = 0;  // places of the block that end an escape of the last one
    // Places of the block that begin a line, or end one after a blank, as far as they are known from what
    // is before it. Line ends are noted at the place before them, which that of a first CR LF is not.
    uint64_t lineStarts = kStops == Stops::exact && text.starts_with("\r\n") ? 1 << 2 : 0;
    uint64_t stops = 0;
    while (static_cast<size_t>(end - next) >= kVector + kAhead) {
        const __m256i first = Load(next);
        const __m256i second = Load(next + 1);
        const __m256i third = Load(next + 2);
        const __m256i equals = Match(first, kEscape);
        const Digits high = ReadDigits(second);
        const Digits low = ReadDigits(third);
        const __m256i invalid =
            _mm256_cmpeq_epi8(_mm256_min_epu8(high.valid, low.valid), _mm256_setzero_si256());
        const __m256i isDecoded = _mm256_andnot_si256(invalid, equals);
        const uint64_t lineEnds = Are(second, '\r') & Are(third, '\n');  // right after the place
        const uint64_t escapes = GetPlaces(equals);
        const uint64_t decoded = GetPlaces(isDecoded);
        const uint64_t breaks = escapes & lineEnds;
        if constexpr (kStops == Stops::exact) {
            lineStarts |= lineEnds << 3;
            stops = (lineStarts & Are(first, '-') & Are(second, '-')) | Are(first, '\0');
            lineStarts >>= kVector;
        } else {
            const uint64_t blanks =
                GetPlaces(_mm256_or_si256(Match(first, ' '), Match(first, '\t')));
            lineStarts |= (blanks & (lineEnds | Are(second, '\n'))) << 1;
            stops = static_cast<uint32_t>(lineStarts) | (escapes & ~(decoded | breaks));
            lineStarts >>= kVector;
        }
        const uint64_t whole = decoded | breaks;
        inEscape |= whole << 1 | whole << 2;
        const __m256i bytes = _mm256_blendv_epi8(
            first,
            _mm256_or_si256(_mm256_and_si256(_mm256_slli_epi16(high.values, 4),
                                             _mm256_set1_epi8(static_cast<char>(0xF0))),
                            low.values),
            isDecoded);
        uint64_t kept = ~(inEscape | breaks);
        if (stops != 0) {
            const auto place = static_cast<unsigned>(std::countr_zero(stops));
            put = Pack(bytes, kept & MaskBelow(place), put);
            next += place;
            inEscape = 0;
            break;
        }
        put = Pack(bytes, kept, put);
        next += kVector;
        inEscape >>= kVector;
    }
    next += std::popcount(inEscape);
    return MakeProgress(text, next, out, put);
}

/// For each set of 4 places a shuffle that makes their bytes escapes, from the bytes, their high digits, their
/// low digits and "=".
alignas(16) constexpr std::array<std::array<char, 16>, 16> kSpread = [] {
    std::array<std::array<char, 16>, 16> shuffles{};
    for (unsigned places = 0; places < 16; ++places) {
        size_t count = 0;
        for (unsigned i = 0; i < 4; ++i) {
            const bool isEscaped = (places >> i & 1) != 0;
            if (isEscaped) {
                shuffles[places][count++] = 12;
                shuffles[places][count++] = static_cast<char>(4 + i);
            }
            shuffles[places][count++] = static_cast<char>(isEscaped ? 8 + i : i);
        }
    }
    return shuffles;
}();

/// Writes the 4 bytes from place `kAt` on, of which each in `escaped` becomes an escape. Stores 16 bytes.
template <unsigned kAt>
KIV_AVX2_INLINE void Spread4(__m128i sources, uint64_t escaped, char* out) noexcept {
    const auto& shuffle = kSpread[escaped >> kAt & 15];
    const auto before = static_cast<size_t>(std::popcount(escaped & MaskBelow(kAt)));
    _mm_storeu_si128(
        reinterpret_cast<__m128i*>(out + kAt + 2 * before),
        _mm_shuffle_epi8(sources,
                         _mm_load_si128(reinterpret_cast<const __m128i*>(shuffle.data()))));
}

/// `high` are the high halves of the bytes.
KIV_AVX2_INLINE void Spread(__m256i bytes, __m256i high, uint64_t escaped, char* out) noexcept {
    const __m256i digits =
        KIV_TWICE('0', '1', '2', '3', '4', '5', '6', '7', '8', '9', 'A', 'B', 'C', 'D', 'E', 'F');
    const __m256i low = _mm256_and_si256(bytes, _mm256_set1_epi8(0x0F));
    const __m256i highDigits = _mm256_shuffle_epi8(digits, high);
    const __m256i lowDigits = _mm256_shuffle_epi8(digits, low);
    const __m256i equals = _mm256_set1_epi8(kEscape);
    const __m256i front = _mm256_unpacklo_epi32(bytes, highDigits);
    const __m256i frontEnds = _mm256_unpacklo_epi32(lowDigits, equals);
    const __m256i back = _mm256_unpackhi_epi32(bytes, highDigits);
    const __m256i backEnds = _mm256_unpackhi_epi32(lowDigits, equals);
    const __m256i first = _mm256_unpacklo_epi64(front, frontEnds);
    const __m256i second = _mm256_unpackhi_epi64(front, frontEnds);
    const __m256i third = _mm256_unpacklo_epi64(back, backEnds);
    const __m256i fourth = _mm256_unpackhi_epi64(back, backEnds);
    Spread4<0>(_mm256_castsi256_si128(first), escaped, out);
    Spread4<4>(_mm256_castsi256_si128(second), escaped, out);
    Spread4<8>(_mm256_castsi256_si128(third), escaped, out);
    Spread4<12>(_mm256_castsi256_si128(fourth), escaped, out);
    Spread4<16>(_mm256_extracti128_si256(first, 1), escaped, out);
    Spread4<20>(_mm256_extracti128_si256(second, 1), escaped, out);
    Spread4<24>(_mm256_extracti128_si256(third, 1), escaped, out);
    Spread4<28>(_mm256_extracti128_si256(fourth, 1), escaped, out);
}

/// Notes where the line ends of a block are written, whose LFs are at `feeds`.
KIV_AVX2_INLINE uint16_t* NoteLineEnds(uint64_t feeds, uint64_t escaped, size_t blockOffset,
                                       uint16_t* lineEnd) noexcept {
    const auto note = [&](size_t i, uint64_t places) {
        const uint64_t upToFeed = places ^ (places - 1);
        lineEnd[i] = static_cast<uint16_t>(
            blockOffset +
            static_cast<size_t>(std::popcount(upToFeed) + 2 * std::popcount(escaped & upToFeed)));
    };
    feeds = static_cast<uint32_t>(feeds);
    const auto count = static_cast<size_t>(std::popcount(feeds));
    note(0, feeds);  // counts or not: no processor can predict whether a block has a line end
    for (size_t i = 1; i < count; ++i) {
        feeds &= feeds - 1;
        note(i, feeds);
    }
    return lineEnd + count;
}

template <Dots kDots>
KIV_AVX2 Run EscapeAvx2(Run text) noexcept {
    // A byte is a literal when the classes of its low and of its high half share a bit: 1 and 2 for the rows
    // that lack "." and "=", 4 for letters, 8 for the row that lacks DEL, 16 for tab.
    constexpr char kDot = kDots == Dots::escaped ? 14 : 15;
    const __m256i lowClass =
        KIV_TWICE(15, 15, 15, 15, 15, 15, 15, 15, 15, 31, 15, 15, 15, 13, kDot, 7);
    const __m256i highClass = KIV_TWICE(16, 0, 1, 2, 4, 4, 4, 8, 0, 0, 0, 0, 0, 0, 0, 0);
    constexpr std::ptrdiff_t kAhead = 2;
    const char* next = text.next;
    char* put = text.put;
    uint16_t* lineEnd = text.lineEnd;
    // Places of the block that hold the CR and the LF of a CR LF.
    uint64_t returns = text.IsLineEnd(next) ? 1 : 0;
    uint64_t feeds = returns << 1;
    while (text.stop - next >= static_cast<std::ptrdiff_t>(kVector) &&
           text.end - next >= static_cast<std::ptrdiff_t>(kVector) + kAhead) {
        const __m256i bytes = Load(next);
        const __m256i high = _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
        const __m256i literal = _mm256_and_si256(_mm256_shuffle_epi8(lowClass, bytes),
                                                 _mm256_shuffle_epi8(highClass, high));
        const __m256i special = _mm256_cmpeq_epi8(literal, _mm256_setzero_si256());
        const __m256i blank = _mm256_or_si256(Match(bytes, ' '), Match(bytes, '\t'));
        const __m256i before =
            _mm256_and_si256(Match(Load(next + 1), '\r'), Match(Load(next + 2), '\n'));
        const uint64_t ends = GetPlaces(before);
        returns |= ends << 1;
        feeds |= ends << 2;
        const uint64_t escaped =
            GetPlaces(_mm256_or_si256(special, _mm256_and_si256(blank, before))) &
            ~(returns | feeds);
        lineEnd = NoteLineEnds(feeds, escaped, static_cast<size_t>(put - text.out), lineEnd);
        Spread(bytes, high, escaped, put);
        put += kVector + 2 * static_cast<size_t>(std::popcount(escaped));
        next += kVector;
        returns >>= kVector;
        feeds >>= kVector;
    }
    if (feeds == 1) {  // the LF of a line end that the last block began
        *put++ = *next++;
        *lineEnd++ = static_cast<uint16_t>(put - text.out);
    }
    text.next = next;
    text.put = put;
    text.lineEnd = lineEnd;
    return text;
}

#undef KIV_TWICE

#endif

template <Dots kDots>
Escaped Escape(std::string_view text, size_t size, char* out, uint16_t* lineEnds) noexcept {
    const char* const begin = text.data();
    Run run{begin, begin + size, begin + text.size(), out, out, lineEnds};
#if defined(KIV_HAS_AVX2_FORMS)
    if (Kernels::HasAvx2()) run = EscapeAvx2<kDots>(run);
#endif
    run = EscapePortable<kDots>(run);
    return {static_cast<size_t>(run.put - out), static_cast<size_t>(run.lineEnd - lineEnds)};
}

template <Stops kStops>
Progress Decode(std::string_view text, char* out) noexcept {
#if defined(KIV_HAS_AVX2_FORMS)
    if (Kernels::HasAvx2()) return DecodeAvx2<kStops>(text, out);
#endif
    return DecodePortable<kStops>(text, out);
}

}  // namespace

Progress DecodeExact(std::string_view text, char* out) noexcept {
    return Decode<Stops::exact>(text, out);
}

Progress DecodeClean(std::string_view text, char* out) noexcept {
    return Decode<Stops::clean>(text, out);
}

Escaped Escape(std::string_view text, size_t size, Dots dots, char* out,
               uint16_t* lineEnds) noexcept {
    return dots == Dots::plain ? Escape<Dots::plain>(text, size, out, lineEnds)
                               : Escape<Dots::escaped>(text, size, out, lineEnds);
}

}  // namespace KivGuiBase::QuotedPrintable
