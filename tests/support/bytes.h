#pragma once

#include <cstddef>
#include <cstdint>
#include <random>
#include <string>
#include <string_view>

namespace MIME::Test {

/// The text as it would stand between the quotes of a C string, so that a failure message shows
/// control bytes and bytes that are no ASCII.
inline std::string Escape(std::string_view text) {
    constexpr char kDigits[] = "0123456789abcdef";
    std::string shown;
    for (const char c : text) {
        const auto byte = static_cast<unsigned char>(c);
        const size_t named = std::string_view("\r\n\t\\\"").find(c);
        if (named != std::string_view::npos) {
            shown += {'\\', "rnt\\\""[named]};
        } else if (byte < 0x20 || byte >= 0x7F) {
            shown += {'\\', 'x', kDigits[byte >> 4], kDigits[byte & 15]};
        } else {
            shown += c;
        }
    }
    return shown;
}

/// Random numbers and bytes that are the same in every run and on every machine.
class Random {
public:
    explicit Random(uint64_t seed) : engine_(seed) {}

    /// A number from 0 to `count` - 1.
    size_t Below(size_t count) { return static_cast<size_t>(engine_() % count); }
    /// Any bytes.
    std::string Bytes(size_t size) {
        std::string bytes(size, '\0');
        for (char& c : bytes) c = static_cast<char>(engine_() & 0xFF);
        return bytes;
    }
    /// Characters of an alphabet, which must not be empty.
    std::string Text(size_t size, std::string_view alphabet) {
        std::string text(size, '\0');
        for (char& c : text) c = alphabet[Below(alphabet.size())];
        return text;
    }

private:
    std::mt19937_64 engine_;
};

/// Calls `visit` with every text of up to `maxLength` characters of the alphabet, the empty one
/// first, shorter ones before longer ones.
template <class Visit>
void ForEachText(std::string_view alphabet, size_t maxLength, Visit visit) {
    size_t count = 1;  // of texts of one length
    for (size_t length = 0; length <= maxLength; ++length, count *= alphabet.size()) {
        std::string text(length, '\0');
        for (size_t number = 0; number < count; ++number) {
            size_t rest = number;
            for (char& c : text) {
                c = alphabet[rest % alphabet.size()];
                rest /= alphabet.size();
            }
            visit(std::string_view(text));
        }
    }
}

}  // namespace MIME::Test
