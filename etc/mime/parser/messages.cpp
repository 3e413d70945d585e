#include "mime/parser/messages.h"

#include <initializer_list>

namespace MIME::Messages {

using KivGuiBase::AnsiStr;

namespace {

// Not printf: a quoted line may be longer than printf can count.
AnsiStr Join(std::initializer_list<std::string_view> pieces) noexcept {
    AnsiStr text;
    for (const std::string_view piece : pieces) text.Append(piece, KivGuiBase::Growth::spare);
    text.Shrink();
    return text;
}

}  // namespace

AnsiStr UnexpectedHeaderLine(std::string_view line) noexcept {
    return Join({"Unexpected header line: \"", line, "\""});
}

AnsiStr UnsupportedTransferEncoding(std::string_view name) noexcept {
    return Join({"unsupported transfer encoding \"", name, "\""});
}

AnsiStr InvalidContentLength(std::string_view value) noexcept {
    return Join({"invalid content-length=\"", value, "\""});
}

AnsiStr ContentLengthExceedsData(uint64_t length, uint64_t left) noexcept {
    return KivGuiBase::FmtArgs("invalid content-length=\"%llu\" exceeds remaining data=%llu",
                               static_cast<unsigned long long>(length),
                               static_cast<unsigned long long>(left));
}

AnsiStr UnexpectedData(std::string_view encoding, std::string_view text) noexcept {
    return Join({"unexpected ", encoding, " data \"", text, "\""});
}

AnsiStr LimitReached(std::string_view what, unsigned long long limit) noexcept {
    return Join({"limit reached: more than ", KivGuiBase::FmtArgs("%llu", limit), " ", what});
}

AnsiStr WriteFailed() noexcept {
    const AnsiStr reason = KivGuiBase::GetErrorMessage(KivGuiBase::GetLastError(), 0, 1);
    return Join({"write failed (", reason, ")"});
}

}  // namespace MIME::Messages
