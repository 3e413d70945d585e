#pragma once

#include <cstddef>
#include <string>
#include <string_view>

#include "mime/mail/result.h"

namespace MIME {

/// Writes one field, word by word, with a blank before each. A word that would pass 76 characters
/// begins a new line, so that all lines are short unless one word is long. The first word is never
/// folded away from the name: some programs give a value that begins with a fold a leading blank.
class FieldLines {
public:
    static constexpr size_t kMaxLine = 76;   ///< RFC 2047, 2; RFC 5322, 2.1.1 asks for 78
    static constexpr size_t kMaxWord = 900;  ///< with any name it fits 998 (RFC 5322, 2.1.1)

    /// @throws WriteFailure  (badField) when it is not the name of a field.
    FieldLines(std::string_view name, std::string_view lineEnd);

    bool IsEmpty() const noexcept { return isEmpty_; }
    /// Characters that a word may have on this line; 0 when it is full.
    size_t GetRoom() const noexcept;
    /// Room in a line of its own.
    static constexpr size_t GetFullRoom() noexcept { return kMaxLine - 1; }

    void Add(std::string_view word);
    /// Begins a line, unless there is no word yet.
    void Break();

    /// The field with its line end.
    std::string Finish();

private:
    std::string text_;
    std::string_view lineEnd_;
    size_t lineStart_ = 0;
    bool isEmpty_ = true;
    bool isAtLineStart_ = false;
};

/// Has the text control characters (C0 and DEL), tabs excepted?
bool HasControls(std::string_view text) noexcept;

/// Fails with "FIELD: WHY", or with the text at fault: `FIELD: "TEXT": WHY`, shown as one line.
[[noreturn]] void FailField(ErrorCode code, std::string_view field, std::string_view why);
[[noreturn]] void FailField(ErrorCode code, std::string_view field, std::string_view text,
                            std::string_view why);

/// Fails (badField) unless the value is UTF-8 without control characters but tabs.
void CheckFieldText(std::string_view field, std::string_view value);

}  // namespace MIME
