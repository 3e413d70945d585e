#include "kivgui/kernels/base64_kernel.h"

#include <array>
#include <cstdint>

#include "kivgui/kernels/cpu.h"

#if defined(KIV_HAS_AVX2_FORMS)
#include <immintrin.h>
#endif

// Two loops for each direction, one in plain C++ and one in AVX2. The AVX2 loop does as much of the
// text as it can and leaves the rest, from a group boundary on, to the plain one; both give the
// same bytes for every input.
//
// Plain: a group of 4 characters is decoded by 4 table look-ups whose results are OR-ed. A
// character outside the alphabet sets a bit above the 24 of a group, so one comparison checks all
// four.
//
// AVX2 (the method of W. Mula and D. Lemire, "Faster Base64 Encoding and Decoding using AVX2
// Instructions", 2018): multiplications shift the four 6-bit values of a group into place or
// together, and shuffles look up, by range or by nibble, what to add to get from values to
// characters or back. No load goes past the given bytes and no store past the counted ones: the
// encoder stops when fewer than the 28 bytes that a step loads are left, and the decoder stores 16
// and 8 bytes for the 24 of a step.

namespace KivGuiBase::Base64 {

namespace {

constexpr char kAlphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

/// A group with this bit holds a character outside the alphabet.
constexpr uint32_t kForeign = 0x1000000;

/// The bits of a character at one place of its group, so that a group is the OR of four entries.
constexpr std::array<uint32_t, 256> MakeDecodeTable(unsigned shift) noexcept {
    std::array<uint32_t, 256> table{};
    table.fill(kForeign);
    for (uint32_t value = 0; value < 64; ++value) {
        table[static_cast<unsigned char>(kAlphabet[value])] = value << shift;
    }
    return table;
}

constexpr std::array<std::array<uint32_t, 256>, 4> kDecode = {
    MakeDecodeTable(18), MakeDecodeTable(12), MakeDecodeTable(6), MakeDecodeTable(0)};

void EncodePortable(const unsigned char* bytes, size_t size, char* out) noexcept {
    for (const unsigned char* end = bytes + size; bytes != end; bytes += 3, out += 4) {
        const uint32_t group = static_cast<uint32_t>(bytes[0] << 16 | bytes[1] << 8 | bytes[2]);
        out[0] = kAlphabet[group >> 18];
        out[1] = kAlphabet[group >> 12 & 63];
        out[2] = kAlphabet[group >> 6 & 63];
        out[3] = kAlphabet[group & 63];
    }
}

size_t DecodePortable(const char* text, size_t size, unsigned char* out) noexcept {
    const auto* chars = reinterpret_cast<const unsigned char*>(text);
    size_t taken = 0;
    for (; taken < size; taken += 4, chars += 4, out += 3) {
        const uint32_t group = kDecode[0][chars[0]] | kDecode[1][chars[1]] | kDecode[2][chars[2]] |
                               kDecode[3][chars[3]];
        if (group >= kForeign) break;
        out[0] = static_cast<unsigned char>(group >> 16);
        out[1] = static_cast<unsigned char>(group >> 8);
        out[2] = static_cast<unsigned char>(group);
    }
    return taken;
}

#if defined(KIV_HAS_AVX2_FORMS)

/// The same 16 bytes in both halves, because shuffles work on each half separately.
#define KIV_TWICE(...) _mm256_setr_epi8(__VA_ARGS__, __VA_ARGS__)

constexpr size_t kEncodeStep = 24;
constexpr size_t kEncodeRead = 28;

/// Encodes 24 bytes into 32 characters. Reads 4 bytes more.
KIV_AVX2_INLINE void EncodeStep(const unsigned char* bytes, char* out) noexcept {
    // Each group of 3 bytes a b c becomes the 4 bytes b a c b, from whose 16-bit halves the four
    // indices of 6 bits are multiplied into place.
    const __m256i spread = KIV_TWICE(1, 0, 2, 1, 4, 3, 5, 4, 7, 6, 8, 7, 10, 9, 11, 10);
    // What to add to an index, by its range: 0 for a-z, 1 to 10 for digits, 11 "+", 12 "/", 13 A-Z.
    const __m256i offsets =
        KIV_TWICE('a' - 26, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52, '0' - 52,
                  '0' - 52, '0' - 52, '0' - 52, '+' - 62, '/' - 63, 'A', 0, 0);
    const __m128i low = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes));
    const __m128i high = _mm_loadu_si128(reinterpret_cast<const __m128i*>(bytes + 12));
    const __m256i in = _mm256_shuffle_epi8(_mm256_set_m128i(high, low), spread);
    const __m256i outer = _mm256_mulhi_epu16(_mm256_and_si256(in, _mm256_set1_epi32(0x0FC0FC00)),
                                             _mm256_set1_epi32(0x04000040));
    const __m256i inner = _mm256_mullo_epi16(_mm256_and_si256(in, _mm256_set1_epi32(0x003F03F0)),
                                             _mm256_set1_epi32(0x01000010));
    const __m256i index = _mm256_or_si256(outer, inner);
    const __m256i capital = _mm256_cmpgt_epi8(_mm256_set1_epi8(26), index);
    const __m256i range = _mm256_or_si256(_mm256_subs_epu8(index, _mm256_set1_epi8(51)),
                                          _mm256_and_si256(capital, _mm256_set1_epi8(13)));
    const __m256i text = _mm256_add_epi8(_mm256_shuffle_epi8(offsets, range), index);
    _mm256_storeu_si256(reinterpret_cast<__m256i*>(out), text);
}

/// Encodes in steps.
/// @return the number of bytes encoded; the last ones are left.
KIV_AVX2 size_t EncodeAvx2(const unsigned char* bytes, size_t size, char* out) noexcept {
    size_t done = 0;
    for (; size - done >= kEncodeRead; done += kEncodeStep, out += 32)
        EncodeStep(bytes + done, out);
    return done;
}

/// Encodes lines of at least one step. The last step of a line goes back to where its end is that of
/// the line, and gives what it encodes again the same characters.
KIV_AVX2 size_t EncodeLinesAvx2(const unsigned char* bytes, size_t size, size_t lineBytes,
                                std::string_view lineEnd, char* out) noexcept {
    const size_t lastStep = lineBytes - kEncodeStep;
    const size_t reach = lineBytes + kEncodeRead - kEncodeStep;
    size_t lines = 0;
    for (; size >= reach; size -= lineBytes, ++lines) {
        for (size_t at = 0; at < lastStep; at += kEncodeStep)
            EncodeStep(bytes + at, out + at / 3 * 4);
        EncodeStep(bytes + lastStep, out + lastStep / 3 * 4);
        bytes += lineBytes;
        out += lineBytes / 3 * 4;
        out[0] = lineEnd.front();
        out[lineEnd.size() - 1] = lineEnd.back();
        out += lineEnd.size();
    }
    return lines;
}

constexpr size_t kDecodeStep = 32;

/// Decodes 32 characters into 24 bytes, if none of them is outside the alphabet.
KIV_AVX2_INLINE bool DecodeStep(const char* text, unsigned char* out) noexcept {
    // A character is foreign when the classes of its low and of its high nibble share a bit.
    const __m256i lowClass = KIV_TWICE(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11,
                                       0x13, 0x1A, 0x1B, 0x1B, 0x1B, 0x1A);
    const __m256i highClass = KIV_TWICE(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10,
                                        0x10, 0x10, 0x10, 0x10, 0x10, 0x10);
    // What to add to a character, by its high nibble; "/" has the entry before that of "+".
    const __m256i offsets = KIV_TWICE(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m256i pack = KIV_TWICE(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    const __m256i join = _mm256_setr_epi32(0, 1, 2, 4, 5, 6, 6, 6);
    const __m256i nibble = _mm256_set1_epi8(0x2F);
    const __m256i in = _mm256_loadu_si256(reinterpret_cast<const __m256i*>(text));
    const __m256i high = _mm256_and_si256(_mm256_srli_epi32(in, 4), nibble);
    const __m256i foreign =
        _mm256_and_si256(_mm256_shuffle_epi8(lowClass, _mm256_and_si256(in, nibble)),
                         _mm256_shuffle_epi8(highClass, high));
    if (!_mm256_testz_si256(foreign, foreign)) return false;
    const __m256i slash = _mm256_cmpeq_epi8(in, nibble);
    const __m256i value =
        _mm256_add_epi8(in, _mm256_shuffle_epi8(offsets, _mm256_add_epi8(slash, high)));
    const __m256i pairs = _mm256_maddubs_epi16(value, _mm256_set1_epi32(0x01400140));
    const __m256i groups = _mm256_madd_epi16(pairs, _mm256_set1_epi32(0x00011000));
    const __m256i bytes = _mm256_permutevar8x32_epi32(_mm256_shuffle_epi8(groups, pack), join);
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm256_castsi256_si128(bytes));
    _mm_storel_epi64(reinterpret_cast<__m128i*>(out + 16), _mm256_extracti128_si256(bytes, 1));
    return true;
}

/// Decodes in steps of 32 characters up to the first step with a character outside the alphabet.
KIV_AVX2 size_t DecodeAvx2(const char* text, size_t size, unsigned char* out) noexcept {
    size_t taken = 0;
    for (; size - taken >= kDecodeStep; taken += kDecodeStep, out += kDecodeStep / 4 * 3) {
        if (!DecodeStep(text + taken, out)) break;
    }
    return taken;
}

/// Decodes lines of at least one step. The last step of a line goes back to where its end is that of
/// the line, and gives what it decodes again the same bytes.
KIV_AVX2 size_t DecodeLinesAvx2(const char* text, size_t count, size_t lineLength,
                                std::string_view lineEnd, unsigned char* out) noexcept {
    const size_t lastStep = lineLength - kDecodeStep;
    for (size_t line = 0; line < count; ++line) {
        for (size_t at = 0; at < lastStep; at += kDecodeStep) {
            if (!DecodeStep(text + at, out + at / 4 * 3)) return line;
        }
        if (!DecodeStep(text + lastStep, out + lastStep / 4 * 3)) return line;
        text += lineLength;
        if (text[0] != lineEnd.front() || text[lineEnd.size() - 1] != lineEnd.back()) return line;
        text += lineEnd.size();
        out += lineLength / 4 * 3;
    }
    return count;
}

#undef KIV_TWICE

#else

size_t EncodeAvx2(const unsigned char*, size_t, char*) noexcept {
    return 0;
}
size_t EncodeLinesAvx2(const unsigned char*, size_t, size_t, std::string_view, char*) noexcept {
    return 0;
}
constexpr size_t kEncodeStep = 24;
size_t DecodeAvx2(const char*, size_t, unsigned char*) noexcept {
    return 0;
}
constexpr size_t kDecodeStep = 32;
size_t DecodeLinesAvx2(const char*, size_t, size_t, std::string_view, unsigned char*) noexcept {
    return 0;
}

#endif

}  // namespace

unsigned GetValue(char c) noexcept {
    const uint32_t value = kDecode[3][static_cast<unsigned char>(c)];
    return value < kForeign ? value : kNoValue;
}

void EncodeGroups(const unsigned char* bytes, size_t size, char* out) noexcept {
    const size_t done = Kernels::HasAvx2() ? EncodeAvx2(bytes, size, out) : 0;
    EncodePortable(bytes + done, size - done, out + done / 3 * 4);
}

size_t EncodeWholeLines(const unsigned char* bytes, size_t size, size_t lineLength,
                        std::string_view lineEnd, char* out) noexcept {
    const size_t lineBytes = lineLength / 4 * 3;
    const bool isLong = lineBytes >= kEncodeStep && (lineEnd.size() == 1 || lineEnd.size() == 2);
    return isLong && Kernels::HasAvx2() ? EncodeLinesAvx2(bytes, size, lineBytes, lineEnd, out) : 0;
}

size_t DecodeGroups(const char* text, size_t size, unsigned char* out) noexcept {
    const size_t taken = Kernels::HasAvx2() ? DecodeAvx2(text, size, out) : 0;
    return taken + DecodePortable(text + taken, size - taken, out + taken / 4 * 3);
}

size_t DecodeLines(const char* text, size_t size, size_t lineLength, std::string_view lineEnd,
                   unsigned char* out) noexcept {
    const size_t count = size / (lineLength + lineEnd.size());
    if (Kernels::HasAvx2() && lineLength >= kDecodeStep) {
        return DecodeLinesAvx2(text, count, lineLength, lineEnd, out);
    }
    for (size_t line = 0; line < count; ++line, out += lineLength / 4 * 3) {
        if (DecodePortable(text, lineLength, out) != lineLength) return line;
        text += lineLength;
        if (!std::string_view(text, lineEnd.size()).starts_with(lineEnd)) return line;
        text += lineEnd.size();
    }
    return count;
}

}  // namespace KivGuiBase::Base64
