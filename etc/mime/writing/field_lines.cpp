#include "mime/writing/field_lines.h"

#include <algorithm>

#include "kivgui/utf8.h"
#include "mime/mail/shown_text.h"
#include "mime/writing/field_text.h"
#include "mime/writing/write_failure.h"

namespace MIME {

FieldLines::FieldLines(std::string_view name, std::string_view lineEnd) : lineEnd_(lineEnd) {
    CheckFieldName(name);
    text_.append(name).append(":");
}

size_t FieldLines::GetRoom() const noexcept {
    const size_t used = text_.size() - lineStart_ + 1;
    return kMaxLine - std::min(kMaxLine, used);
}

void FieldLines::Add(std::string_view word) {
    if (!isAtLineStart_ && word.size() > GetRoom()) Break();
    text_.append(" ").append(word);
    isEmpty_ = false;
    isAtLineStart_ = false;
}

void FieldLines::Break() {
    if (isEmpty_) return;
    text_ += lineEnd_;
    lineStart_ = text_.size();
    isAtLineStart_ = true;
}

std::string FieldLines::Finish() {
    if (isEmpty_) text_ += ' ';
    text_ += lineEnd_;
    return std::move(text_);
}

bool HasControls(std::string_view text) noexcept {
    return std::any_of(text.begin(), text.end(), [](char c) {
        return (static_cast<unsigned char>(c) < ' ' && c != '\t') || c == '\x7F';
    });
}

void FailField(ErrorCode code, std::string_view field, std::string_view why) {
    Fail(code, ShowOnOneLine(field).append(": ").append(why));
}

void FailField(ErrorCode code, std::string_view field, std::string_view text,
               std::string_view why) {
    constexpr size_t kMaxShown = 400;
    std::string shown = ShowOnOneLine(text);
    if (shown.size() > kMaxShown) {
        size_t end = kMaxShown;
        while (KivGuiBase::IsUtf8Tail(shown[end])) --end;
        shown.replace(end, std::string::npos, "...");
    }
    FailField(code, field, shown.insert(0, "\"").append("\": ").append(why));
}

void CheckFieldText(std::string_view field, std::string_view value) {
    if (HasControls(value)) {
        FailField(ErrorCode::badField, field, "has a line end or another control character");
    }
    if (!KivGuiBase::IsUtf8(value)) FailField(ErrorCode::badField, field, "is not UTF-8");
}

}  // namespace MIME
