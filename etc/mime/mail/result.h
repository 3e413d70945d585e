#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <variant>

#include "kivgui/export.h"

namespace MIME {

/// Why an operation of mail.h failed. The values are part of the interface: hosts may store them.
enum class ErrorCode : unsigned {
#define MIME_ERROR(name, text) name,
#include "mime/mail/errors.inc"
};

/// A sentence without a full stop, such as "too many fields"; empty for a value that is not a code.
/// Any thread.
KIV_EXPORT std::string_view GetText(ErrorCode code) noexcept;

/// A failure: its kind, its place, and a text for people.
///
///   if (!mail) std::cerr << mail.error().GetText() << '\n';   // "x.eml: No such file or folder"
class KIV_EXPORT Error {
public:
    Error() = default;
    /// @param text  for people; when it is empty, GetText returns the text of the code.
    explicit Error(ErrorCode code, std::string text = {}) : code_(code), text_(std::move(text)) {}

    ErrorCode GetCode() const noexcept { return code_; }
    /// One line in UTF-8, without control characters.
    std::string GetText() const;

    /// The system's reason, if a file operation failed: a code of kivgui/error.h; otherwise 0.
    uint32_t GetSystemCode() const noexcept { return systemCode_; }
    /// The place of the fault in the text that was read, in bytes from its start; 0 for other
    /// failures.
    uint64_t GetOffset() const noexcept { return offset_; }
    /// The path of the entity at fault: "" is the top, "2.1" the first child of its second child.
    const std::string& GetEntityPath() const noexcept { return entityPath_; }

    /// @name For code that makes errors
    /// @{
    Error& SetSystemCode(uint32_t code) noexcept {
        systemCode_ = code;
        return *this;
    }
    Error& SetPlace(uint64_t offset, std::string entityPath) {
        offset_ = offset;
        entityPath_ = std::move(entityPath);
        return *this;
    }
    /// @}

private:
    ErrorCode code_ = ErrorCode::none;
    std::string text_;
    uint32_t systemCode_ = 0;
    uint64_t offset_ = 0;
    std::string entityPath_;
};

/// The result of an operation: a value, or the reason why there is none. Reading the value of a
/// failure, or the error of a success, throws std::bad_variant_access; nothing else here throws.
template <class T>
class [[nodiscard]] Result {
public:
    Result(T value) : content_(std::in_place_index<0>, std::move(value)) {}
    Result(Error error) : content_(std::in_place_index<1>, std::move(error)) {}

    /// There is a value.
    explicit operator bool() const noexcept { return content_.index() == 0; }

    /// @name The value, of a success only
    /// @{
    T& operator*() & { return std::get<0>(content_); }
    const T& operator*() const& { return std::get<0>(content_); }
    T&& operator*() && { return std::get<0>(std::move(content_)); }
    T* operator->() { return &std::get<0>(content_); }
    const T* operator->() const { return &std::get<0>(content_); }
    /// @}

    /// The reason, of a failure only.
    const Error& error() const { return std::get<1>(content_); }

private:
    std::variant<T, Error> content_;
};

/// The same for an operation without a value.
template <>
class [[nodiscard]] Result<void> {
public:
    Result() = default;
    Result(Error error) : error_(std::move(error)) {}

    explicit operator bool() const noexcept { return error_.GetCode() == ErrorCode::none; }
    /// The reason; ErrorCode::none after a success.
    const Error& error() const noexcept { return error_; }

private:
    Error error_;
};

}  // namespace MIME
