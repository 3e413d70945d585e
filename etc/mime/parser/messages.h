#pragma once

#include <string_view>

#include "kivgui/kivgui.h"

/// What the reader puts into its error text. Each function and constant is one message.
namespace MIME::Messages {

inline constexpr std::string_view kBoundaryMissing = "boundary missing";
inline constexpr std::string_view kNulInText = "eos in text";
inline constexpr std::string_view kTextBoundaryMissing = "text boundary is missing";
inline constexpr std::string_view kDataBoundaryMissing = "data boundary is missing";
/// A line, or base64 text that belongs together, of 4 GiB or more.
inline constexpr std::string_view kLineTooLong = "line too long";

KivGuiBase::AnsiStr UnexpectedHeaderLine(std::string_view line) noexcept;
KivGuiBase::AnsiStr UnsupportedTransferEncoding(std::string_view name) noexcept;
KivGuiBase::AnsiStr InvalidContentLength(std::string_view value) noexcept;
KivGuiBase::AnsiStr ContentLengthExceedsData(uint64_t length, uint64_t left) noexcept;
KivGuiBase::AnsiStr UnexpectedData(std::string_view encoding, std::string_view text) noexcept;
/// A limit of ReadOptions: "limit reached: more than 5 levels of entities".
KivGuiBase::AnsiStr LimitReached(std::string_view what, unsigned long long limit) noexcept;
/// Names the reason that the last error gives.
KivGuiBase::AnsiStr WriteFailed() noexcept;

}  // namespace MIME::Messages
