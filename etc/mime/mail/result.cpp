#include "mime/mail/result.h"

#include <iterator>

namespace MIME {

namespace {

constexpr std::string_view kTexts[] = {
#define MIME_ERROR(name, text) text,
#include "mime/mail/errors.inc"
};

}  // namespace

std::string_view GetText(ErrorCode code) noexcept {
    const auto index = static_cast<size_t>(code);
    return index < std::size(kTexts) ? kTexts[index] : std::string_view();
}

std::string Error::GetText() const {
    return text_.empty() ? std::string(MIME::GetText(code_)) : text_;
}

}  // namespace MIME
