#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace MIME::Fuzz {

/// Takes values from the front of an input; zeros and empty texts when nothing is left.
class ByteSource {
public:
    ByteSource(const uint8_t* data, size_t size) noexcept
        : rest_(reinterpret_cast<const char*>(data), size) {}

    bool IsAtEnd() const noexcept { return rest_.empty(); }
    std::string_view GetRest() const noexcept { return rest_; }

    char Take() noexcept {
        if (rest_.empty()) return '\0';
        const char c = rest_.front();
        rest_.remove_prefix(1);
        return c;
    }

    /// One byte as a number, of which '0' is 0, so that seeds can be written by hand.
    unsigned TakeNumber() noexcept { return IsAtEnd() ? 0 : (Take() - '0') & 0xFF; }

    /// A text up to kTextEnd, which is taken too. A mark rather than a length: a text that grows or
    /// shrinks leaves what follows as it was.
    std::string_view TakeText() noexcept {
        const size_t end = rest_.find(kTextEnd);
        const std::string_view text = rest_.substr(0, end);
        rest_.remove_prefix(end == std::string_view::npos ? rest_.size() : end + 1);
        return text;
    }

    static constexpr char kTextEnd = '\x1E';

private:
    std::string_view rest_;
};

}  // namespace MIME::Fuzz
