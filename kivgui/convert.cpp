#include "kivgui/convert.h"

#include <cerrno>
#include <charconv>
#include <cstdarg>
#include <cstdio>
#include <cstring>

#include "kivgui/ascii.h"
#include "kivgui/hex.h"
#include "kivgui/memory.h"
#include "kivgui/quoted_string.h"
#include "kivgui/text_builder.h"

// Conversions between numbers, bytes and text, without the C locale that the host process has set.
// Base64 is in base64.cpp. A number is digits only: what follows them is left to the caller, who
// learns where they end.

namespace KivGuiBase {

AnsiStr Binary2B16Str(const void* data, unsigned size, unsigned lineLength,
                      const char* separator) noexcept {
    TextBuilder text;
    unsigned onLine = 0;
    for (const char byte : std::string_view(static_cast<const char*>(data), size)) {
        char digits[2];
        WriteHexPair(byte, digits);
        for (const char digit : digits) {
            if (lineLength != 0 && onLine == lineLength) {
                text.Append(separator);
                onLine = 0;
            }
            text.Append(digit);
            ++onLine;
        }
    }
    return text.Finish();
}

namespace {

/// @return the character after the digits, null when they are not a number.
const char* ReadDigits(const char* digits, uint64_t& value, unsigned limit) noexcept {
    const char* stop = digits;
    while (IsDigitAscii(*stop)) ++stop;
    const auto count = static_cast<size_t>(stop - digits);
    if (count == 0 || count > limit) return nullptr;
    return std::from_chars(digits, stop, value).ec == std::errc() ? stop : nullptr;
}

}  // namespace

int Str2Hyper(const char* text, const char** end, int64_t* value, bool /*flag*/,
              unsigned limit) noexcept {
    const bool negative = *text == '-';
    uint64_t magnitude = 0;
    const char* stop = ReadDigits(negative || *text == '+' ? text + 1 : text, magnitude, limit);
    const uint64_t most = uint64_t{INT64_MAX} + (negative ? 1 : 0);
    if (stop == nullptr || magnitude > most) return 1;
    *value = static_cast<int64_t>(negative ? 0 - magnitude : magnitude);
    if (end != nullptr) *end = stop;
    return 0;
}

int Str2UHyper(const char* text, const char** end, uint64_t* value, bool /*flag*/,
               unsigned limit) noexcept {
    uint64_t number = 0;
    const char* stop = ReadDigits(text, number, limit);
    if (stop == nullptr) return 1;
    *value = number;
    if (end != nullptr) *end = stop;
    return 0;
}

char* UInt2Str(char* buffer, unsigned value) noexcept {
    constexpr unsigned kMostDigits = 10;
    *std::to_chars(buffer, buffer + kMostDigits, value).ptr = '\0';
    return buffer;
}

AnsiStr FmtArgs(const char* format, ...) noexcept {
    va_list args;
    va_start(args, format);
    va_list again;
    va_copy(again, args);
    errno = 0;
    const int length = std::vsnprintf(nullptr, 0, format, args);
    va_end(args);
    char* buffer = nullptr;
    int written = -1;
    AnsiStr text;
    if (length > 0) text = AnsiStr(static_cast<unsigned>(length), buffer);
    if (buffer != nullptr) {
        written = std::vsnprintf(buffer, static_cast<size_t>(length) + 1, format, again);
    }
    va_end(again);
    // The C library allocates, too, for some numbers.
    if (errno == ENOMEM) NoteMissingMemory();
    return written == length ? text : AnsiStr();
}

AnsiStr CleanStr(const AnsiStr& text) noexcept {
    const std::string_view trimmed = TrimSpace(text);
    return trimmed.size() == text.GetLength() ? text : AnsiStr(trimmed);
}

AnsiStr ExtendedUnQuote(const AnsiSubStr& text) noexcept {
    const std::string_view whole = text;
    if (!whole.starts_with('"')) return text;
    const auto [inside, length, isClosed] = ScanQuotedString(whole);
    if (!isClosed || length != whole.size()) return text;
    if (inside.find('\\') == std::string_view::npos) return inside;
    TextBuilder plain(inside.size());
    ForEachUnescaped(inside, [&plain](char c) { plain.Append(c); });
    return plain.Finish();
}

}  // namespace KivGuiBase
