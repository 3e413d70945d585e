#include <algorithm>

#include "kivgui/convert.h"
#include "kivgui/error.h"
#include "kivgui/kernels/base64_kernel.h"
#include "kivgui/memory.h"
#include "kivgui/text_builder.h"

// Base64 as whole texts (RFC 2045, 6.8). base64_kernel.h does the work on whole groups; here are
// the incomplete group at the end, its padding, and what may be between groups: the separators of
// lines when encoding, skipped characters when decoding. Decoding takes the longest run of whole
// groups at a time and single characters only where a run ends. Both directions are linear and
// write into one allocation of known size.
//
// Departs from RFC 2045 in one way: a character outside the alphabet fails the decoding instead of
// being skipped, unless the caller names it as a separator.

namespace KivGuiBase {

namespace {

constexpr char kPadding = '=';
constexpr std::string_view kLineEnd = "\r\n";

/// Writes the last, incomplete group of 1 or 2 bytes.
char* EncodeRest(const unsigned char* bytes, size_t size, char* out) noexcept {
    unsigned char group[3] = {bytes[0], size > 1 ? bytes[1] : static_cast<unsigned char>(0), 0};
    Base64::EncodeGroups(group, sizeof group, out);
    out[3] = kPadding;
    if (size == 1) out[2] = kPadding;
    return out + 4;
}

/// Length of base64 text in lines, the separators between them included.
uint64_t MeasureText(unsigned size, unsigned lineLength, size_t separatorLength) noexcept {
    const uint64_t characters = (uint64_t{size} + 2) / 3 * 4;
    if (lineLength == 0 || characters == 0) return characters;
    return characters + (characters - 1) / lineLength * separatorLength;
}

char* EncodeLine(const unsigned char* bytes, size_t size, char* out) noexcept {
    const size_t whole = size / 3 * 3;
    Base64::EncodeGroups(bytes, whole, out);
    out += whole / 3 * 4;
    return whole < size ? EncodeRest(bytes + whole, size - whole, out) : out;
}

/// Breaks text that cannot be encoded line by line, because a line ends inside a group.
AnsiStr BreakLines(const AnsiStr& text, unsigned lineLength, std::string_view separator) noexcept {
    TextBuilder broken;
    for (std::string_view rest = text; !rest.empty();) {
        const size_t length = std::min<size_t>(lineLength, rest.size());
        if (!broken.IsEmpty()) broken.Append(separator);
        broken.Append(rest.substr(0, length));
        rest.remove_prefix(length);
    }
    return broken.Finish();
}

}  // namespace

char* Base64::EncodeLines(const void* data, size_t size, unsigned lineLength,
                          std::string_view separator, char* out) noexcept {
    const auto* bytes = static_cast<const unsigned char*>(data);
    const size_t lineBytes = lineLength != 0 ? lineLength / 4 * size_t{3} : size;
    if (lineLength != 0) {
        const size_t lines = EncodeWholeLines(bytes, size, lineLength, separator, out);
        bytes += lines * lineBytes;
        size -= lines * lineBytes;
        out += lines * (lineLength + separator.size());
    }
    while (size > lineBytes) {
        out = EncodeLine(bytes, lineBytes, out);
        out = std::copy(separator.begin(), separator.end(), out);
        bytes += lineBytes;
        size -= lineBytes;
    }
    return EncodeLine(bytes, size, out);
}

AnsiStr Binary2B64Str(const void* data, unsigned size, unsigned lineLength,
                      const char* separator) noexcept {
    const std::string_view between = separator != nullptr ? separator : "";
    const uint64_t length = MeasureText(size, lineLength, between.size());
    if (length > AnsiStr::kMaxLength) {
        SetLastError(kErrorStringOverflow);
        return {};
    }
    if (lineLength % 4 != 0) {
        return BreakLines(Binary2B64Str(data, size, 0, nullptr), lineLength, between);
    }
    if (size == 0) return {};
    char* out;
    AnsiStr text(static_cast<unsigned>(length), out);
    if (out == nullptr) return {};
    UseLargePages(out, length);
    Base64::EncodeLines(data, size, lineLength, between, out);
    return text;
}

namespace {

/// Decodes one character at a time: whatever is not a plain run of groups.
class GroupDecoder {
public:
    GroupDecoder(unsigned char* out, size_t room) noexcept : out_(out), limit_(out + room) {}

    /// Is everything so far whole groups without padding, so that more of them may follow?
    bool IsBetweenGroups() const noexcept { return count_ == 0 && padding_ == 0; }
    bool IsComplete() const noexcept { return count_ == 0; }
    unsigned char* GetEnd() const noexcept { return out_; }

    /// Decodes whole groups from the start of a text, as many as fit. @return their characters.
    size_t TakeGroups(std::string_view text) noexcept {
        const size_t room = static_cast<size_t>(limit_ - out_) / 3 * 4;
        const size_t taken =
            Base64::DecodeGroups(text.data(), std::min(text.size() / 4 * 4, room), out_);
        out_ += taken / 4 * 3;
        return taken;
    }

    /// Decodes whole lines of `lineLength` characters and CR LF. @return their characters.
    size_t TakeLines(std::string_view text, size_t lineLength) noexcept {
        const size_t room = static_cast<size_t>(limit_ - out_) / (lineLength / 4 * 3);
        const size_t size = std::min(text.size(), room * (lineLength + kLineEnd.size()));
        const size_t lines = Base64::DecodeLines(text.data(), size, lineLength, kLineEnd, out_);
        out_ += lines * (lineLength / 4 * 3);
        return lines * (lineLength + kLineEnd.size());
    }

    bool Take(char c) noexcept {
        if (c == kPadding) {
            if (count_ < 2) return false;
            ++padding_;
            c = kZero;
        } else if (padding_ != 0) {
            return false;
        }
        group_[count_] = c;
        return ++count_ < 4 || CloseGroup();
    }

private:
    static constexpr char kZero = 'A';  // six bits of zero, in place of padding

    bool CloseGroup() noexcept {
        unsigned char bytes[3];
        const size_t size = sizeof bytes - padding_;
        if (Base64::DecodeGroups(group_, sizeof group_, bytes) == 0 ||
            static_cast<size_t>(limit_ - out_) < size) {
            return false;
        }
        out_ = std::copy_n(bytes, size, out_);
        count_ = 0;
        return true;
    }

    unsigned char* out_;
    unsigned char* limit_;
    char group_[4];
    unsigned count_ = 0;
    unsigned padding_ = 0;
};

}  // namespace

bool B64Str2Binary(const AnsiStr& text, void* buffer, unsigned& size,
                   const char* separator) noexcept {
    auto* start = static_cast<unsigned char*>(buffer);
    GroupDecoder groups(start, size);
    std::string_view rest = text;
    const std::string_view skipped = separator != nullptr ? separator : "";
    const bool skipsLineEnds = skipped.find('\r') != std::string_view::npos &&
                               skipped.find('\n') != std::string_view::npos;
    while (!rest.empty()) {
        if (groups.IsBetweenGroups()) {
            const size_t length = groups.TakeGroups(rest);
            rest.remove_prefix(length);
            if (rest.empty()) break;
            if (length != 0 && skipsLineEnds && rest.starts_with(kLineEnd)) {
                // The lines of a text have one length.
                rest.remove_prefix(kLineEnd.size());
                rest.remove_prefix(groups.TakeLines(rest, length));
                continue;
            }
        }
        const char c = rest.front();
        if (skipped.find(c) == std::string_view::npos && !groups.Take(c)) return false;
        rest.remove_prefix(1);
    }
    size = static_cast<unsigned>(groups.GetEnd() - start);
    return groups.IsComplete();
}

}  // namespace KivGuiBase
