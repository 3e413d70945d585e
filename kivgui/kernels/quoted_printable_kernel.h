#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

/// Quoted-printable in memory of the caller (RFC 2045, 6.7): the inner loops of its encoders and decoders.
/// They use AVX2 where the processor has it; the results are the same without, unless a function says that
/// it may stop early. What is decided by how a line ends, or by whole lines, is left to the callers.
namespace KivGuiBase::QuotedPrintable {

/// Bytes of text, and of what they decode to.
struct Progress {
    size_t taken = 0;
    size_t written = 0;
};

/// Decodes escapes and soft breaks and copies the rest, malformed escapes too. Stops before a NUL and
/// before "--" after a CR LF, and at most 130 bytes before the end of the text, never inside an
/// escape. `out` has as much room as there is text.
Progress DecodeExact(std::string_view text, char* out) noexcept;

/// The same, but stops before a malformed escape and before a CR LF or LF that follows a blank.
Progress DecodeClean(std::string_view text, char* out) noexcept;

/// Is "." escaped like a byte that quoted-printable cannot hold?
enum class Dots { plain, escaped };

/// Characters of escaped text, and its line ends.
struct Escaped {
    size_t size = 0;
    size_t lineEnds = 0;
};

/// Writes the first `size` bytes of a text with every byte that needs it as an escape, blanks before a CR LF
/// too, and CR LF as it is: lines that lack only their soft breaks. Looks at up to two bytes after the
/// `size`, which must not divide a CR LF and is at most kMaxEscaped.
/// @param out       room for GetEscapeRoom(size) characters.
/// @param lineEnds  receives the offset in `out` after each CR LF; room for size / 2 + 1.
Escaped Escape(std::string_view text, size_t size, Dots dots, char* out,
               uint16_t* lineEnds) noexcept;

inline constexpr size_t kMaxEscaped = 0xFFFF / 3;

/// Vectors are stored whole, so more is written than counts.
constexpr size_t GetEscapeRoom(size_t size) noexcept {
    return 3 * size + 16;
}

}  // namespace KivGuiBase::QuotedPrintable
