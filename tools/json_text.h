#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

namespace Tool {

/// The version of what the commands print as JSON. New keys do not change it.
constexpr unsigned kSchema = 2;

/// Writes one JSON text, piece by piece and in ASCII. For what is written a million times; the order
/// of the calls is the caller's to get right.
class JsonText {
public:
    /// @param mark  '{' or '['
    JsonText& Open(char mark);
    /// @param mark  '}' or ']'
    JsonText& Close(char mark);
    /// @param name  needs no escapes.
    JsonText& Key(std::string_view name);
    /// Bytes that are not UTF-8 become U+FFFD.
    JsonText& Text(std::string_view text);
    /// The text, or null when it is empty.
    JsonText& TextOrNull(std::string_view text) { return text.empty() ? Null() : Text(text); }
    JsonText& Number(int64_t number);
    JsonText& Null();

    std::string Take() { return std::move(text_); }

private:
    void Separate();
    void AppendUnit(unsigned unit);

    std::string text_;
    bool needsComma_ = false;
};

}  // namespace Tool
