#pragma once

#include <array>
#include <string_view>

namespace MIME {

/// A set of byte values, made at compile time.
class ByteSet {
public:
    constexpr ByteSet() noexcept = default;

    constexpr bool Has(char c) const noexcept { return members_[static_cast<unsigned char>(c)]; }

    constexpr ByteSet With(unsigned first, unsigned last) const noexcept {
        ByteSet set = *this;
        for (unsigned byte = first; byte <= last; ++byte) set.members_[byte] = true;
        return set;
    }
    constexpr ByteSet WithAll(std::string_view bytes) const noexcept {
        ByteSet set = *this;
        for (const char c : bytes) set.members_[static_cast<unsigned char>(c)] = true;
        return set;
    }
    constexpr ByteSet Without(std::string_view bytes) const noexcept {
        ByteSet set = *this;
        for (const char c : bytes) set.members_[static_cast<unsigned char>(c)] = false;
        return set;
    }

private:
    std::array<bool, 256> members_{};
};

/// Characters of an atom: printable ASCII without the specials (RFC 822, 3.3) and "=".
inline constexpr ByteSet kAtomBytes = ByteSet().With(0x21, 0x7E).Without("\"(),.:;<=>@[\\]");

/// Characters that quoted-printable writes as they are, white space apart (RFC 2045, 6.7 (2));
/// "." is left out so that no line can be a lone one.
inline constexpr ByteSet kQpLiteralBytes = ByteSet().With(0x21, 0x7E).Without(".=");

inline constexpr ByteSet kAlphanumericBytes =
    ByteSet().With('0', '9').With('A', 'Z').With('a', 'z');

/// Characters that an encoded word holds as they are (RFC 2047, 5 (3)).
inline constexpr ByteSet kEncodedWordBytes = kAlphanumericBytes.WithAll("!*+-/");

}  // namespace MIME
