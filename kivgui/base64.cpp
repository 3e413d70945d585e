#include <algorithm>
#include <array>
#include <cstring>

#include "kivgui/base64_kernel.h"
#include "kivgui/convert.h"

namespace KivGuiBase {

namespace {

constexpr char kPadding = '=';

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
    AnsiStr broken;
    for (std::string_view rest = text; !rest.empty();) {
        const size_t length = std::min<size_t>(lineLength, rest.size());
        if (!broken.IsEmpty()) broken.Append(separator, Growth::spare);
        broken.Append(rest.substr(0, length), Growth::spare);
        rest.remove_prefix(length);
    }
    broken.Shrink();
    return broken;
}

}  // namespace

char* Base64::EncodeLines(const void* data, size_t size, unsigned lineLength,
                          std::string_view separator, char* out) noexcept {
    const auto* bytes = static_cast<const unsigned char*>(data);
    const size_t lineBytes = lineLength != 0 ? lineLength / 4 * size_t{3} : size;
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
    Base64::EncodeLines(data, size, lineLength, between, out);
    return text;
}

namespace {

/// Collects characters into groups of four; the slow way, for everything but plain runs.
struct GroupDecoder {
    unsigned char* out;
    unsigned char* limit;
    uint32_t bits = 0;
    unsigned inGroup = 0;
    unsigned padding = 0;

    bool Take(char c) noexcept {
        unsigned value = Base64::GetValue(c);
        if (c == kPadding) {
            if (inGroup < 2) return false;
            ++padding;
            value = 0;
        } else if (padding != 0 || value == Base64::kNoValue) {
            return false;
        }
        bits = bits << 6 | value;
        return ++inGroup < 4 || Finish();
    }

    bool Finish() noexcept {
        const unsigned count = 3 - padding;
        if (static_cast<size_t>(limit - out) < count) return false;
        for (unsigned i = 0; i < count; ++i) {
            *out++ = static_cast<unsigned char>(bits >> (16 - 8 * i));
        }
        inGroup = 0;
        bits = 0;
        return true;
    }
};

}  // namespace

bool B64Str2Binary(const AnsiStr& text, void* buffer, unsigned& size,
                   const char* separator) noexcept {
    auto* start = static_cast<unsigned char*>(buffer);
    GroupDecoder groups{start, start + size};
    std::string_view rest = text;
    const std::string_view skipped = separator != nullptr ? separator : "";
    while (!rest.empty()) {
        if (groups.inGroup == 0 && groups.padding == 0) {
            const size_t room = static_cast<size_t>(groups.limit - groups.out) / 3 * 4;
            const size_t taken =
                Base64::DecodeGroups(rest.data(), std::min(rest.size() / 4 * 4, room), groups.out);
            groups.out += taken / 4 * 3;
            rest.remove_prefix(taken);
            if (rest.empty()) break;
        }
        const char c = rest.front();
        if (skipped.find(c) == std::string_view::npos && !groups.Take(c)) return false;
        rest.remove_prefix(1);
    }
    size = static_cast<unsigned>(groups.out - start);
    return groups.inGroup == 0;
}

}  // namespace KivGuiBase
